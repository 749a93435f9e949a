#include "navreq/kse/record_reader.h"

#include <cstring>

namespace navcore {
namespace ryn {

namespace {

// Containers may take this many bytes per input byte, plus a fixed allowance:
// enough for any record the writer produces (a string element takes 2 bytes on
// the wire and 32 in memory), too little for a few bytes to ask for gigabytes.
constexpr std::size_t kMemoryPerInputByte = 64;
constexpr std::size_t kMemoryBase = std::size_t{1} << 20;

std::size_t Allowance(const ReadOptions& options, std::size_t input_size) noexcept {
  if (options.memory_limit != 0) return options.memory_limit;
  if (input_size > (static_cast<std::size_t>(-1) - kMemoryBase) / kMemoryPerInputByte) {
    return static_cast<std::size_t>(-1);
  }
  return input_size * kMemoryPerInputByte + kMemoryBase;
}

}  // namespace

std::string CutShortDetail(int fields) {
  return "record cut short: " + std::to_string(fields) + " declared fields missing from here";
}

std::string MismatchDetail(const char* declared, std::uint8_t type) {
  return std::string(declared) + " declared, " + kseTypeName(type) + " read";
}

std::string OutOfRangeDetail(WireKind kind, std::int64_t value) {
  return "value " + std::to_string(value) + ", expected " + wireKindName(kind) + " (" +
         std::to_string(integerKindMin(kind)) + " to " + std::to_string(integerKindMax(kind)) + ")";
}

std::string UnexpectedTagDetail(std::uint8_t tag, int expected) {
  return "tag " + std::to_string(tag) + ", expected " + std::to_string(expected);
}

const FieldInfo* RecordInfo::find(const char* field_name) const noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    if (std::strcmp(fields[i].name, field_name) == 0) return &fields[i];
  }
  return nullptr;
}

std::string ReadProblem::toString() const {
  std::string out = path.empty() ? std::string("(root)") : path;
  out += " @ " + std::to_string(offset) + ": " + readProblemName(kind);
  if (!detail.empty()) out += " (" + detail + ")";
  return out;
}

KseRecordReader::KseRecordReader(KseInputStream& in, const ReadOptions& options,
                                 std::vector<ReadProblem>& problems) noexcept
    : in_(in),
      problems_(problems),
      root_(options.root),
      mode_(options.mode),
      allowance_(Allowance(options, in.size())),
      key_level_(options.key_level) {}

std::string KseRecordReader::path() const {
  std::string out = root_;
  auto add_name = [&out](const char* name) {
    if (name == nullptr) return;
    if (!out.empty()) out += '.';
    out += name;
  };
  for (int i = 0; i < segments_; ++i) {
    add_name(segs_[i].name);
    if (segs_[i].index != kNoIndex) out += "[" + std::to_string(segs_[i].index) + "]";
    if (segs_[i].keyed) key_level_(out, keys_[i], segs_[i].key_integer);
  }
  if (field_ == nullptr && unknown_tag_ >= 0) {
    const std::string tag = std::to_string(unknown_tag_);
    add_name(tag.c_str());
  }
  add_name(field_);
  return out;
}

void KseRecordReader::stop(ReadProblemKind kind, std::size_t offset, const std::string& detail) {
  problems_.push_back(ReadProblem{kind, path(), offset, detail});
}

void KseRecordReader::report(ReadProblemKind kind, std::size_t offset, const std::string& detail) {
  if (mode_ == ReadMode::kStrict) throw KseReadError(kind, offset, detail);
  problems_.push_back(ReadProblem{kind, path(), offset, detail});
}

void KseRecordReader::unknownField(const KseHead& h) {
  field_ = nullptr;
  unknown_tag_ = h.tag;  // stays while its value is skipped: a stop inside it is named by it
  report(ReadProblemKind::kUnknownField, h.offset,
         "tag " + std::to_string(h.tag) + ", " + kseTypeName(h.type));
  in_.skipValue(h);
  unknown_tag_ = -1;
}

bool KseRecordReader::takeField(const KseHead& h, const char* name, FieldSet& seen, int& last, int& count) {
  field_ = name;
  if (NAVKSE_UNLIKELY(static_cast<int>(h.tag) <= last)) {
    if (seen.has(h.tag)) {
      report(ReadProblemKind::kDuplicateField, h.offset, "tag " + std::to_string(h.tag));
      in_.skipValue(h);
      return false;
    }
    report(ReadProblemKind::kOutOfOrder, h.offset, "tag " + std::to_string(h.tag));
  } else {
    last = h.tag;
  }
  seen.set(h.tag);
  ++count;
  return true;
}

void KseRecordReader::missingFields(const RecordInfo& record, const FieldSet& seen, int last) {
  const int count = static_cast<int>(record.count);
  for (int i = 0; i < count; ++i) {
    const FieldInfo& f = record.fields[i];
    if (seen.has(f.tag)) continue;
    field_ = f.name;
    if (static_cast<int>(f.tag) < last) {
      report(ReadProblemKind::kMissingField, end_offset_, "");
      continue;
    }
    const int rest = count - i;  // every tag above the highest read is absent
    report(ReadProblemKind::kMissingField, end_offset_, rest == 1 ? std::string() : CutShortDetail(rest));
    return;
  }
}

void KseRecordReader::mismatch(KseHead h, const char* expected) {
  report(ReadProblemKind::kTypeMismatch, h.offset, MismatchDetail(expected, h.type));
  in_.skipValue(h);
}

void KseRecordReader::outOfRange(KseHead h, std::int64_t v, WireKind kind) {
  report(ReadProblemKind::kOutOfRange, h.offset, OutOfRangeDetail(kind, v));
}

void KseRecordReader::unexpectedTag(KseHead h, int expected) {
  report(ReadProblemKind::kUnexpectedTag, h.offset, UnexpectedTagDetail(h.tag, expected));
}

void KseRecordReader::endOutsideRecord(KseHead h) {
  throw KseReadError(ReadProblemKind::kUnexpectedEnd, h.offset, "end of record outside a record");
}

void KseRecordReader::endInContainer(KseHead h) {
  throw KseReadError(ReadProblemKind::kUnexpectedEnd, h.offset, "end of record in place of a value");
}

void KseRecordReader::longEndHead(KseHead h) { throwLongEndHead(h.offset, h.tag); }

void KseRecordReader::overLimit(std::size_t offset) {
  throw KseReadError(ReadProblemKind::kLimitExceeded, offset, "containers over the memory limit");
}

void KseRecordReader::value(const KseHead& h, Bytes& out) {
  if (h.type != kKseSimpleList) return mismatch(h, "bytes");
  const KseSpan s = in_.readSimpleList();
  out.assign(s.data, s.data + s.size);
}

void KseRecordReader::value(const KseHead& h, UBytes& out) {
  if (h.type != kKseList) return mismatch(h, "ubytes");
  in_.enter(h.offset);
  const std::size_t n = in_.readCount(1);
  out.clear();
  out.resize(n);
  const int seg = push();
  for (std::size_t i = 0; i < n; ++i) {
    segs_[seg].index = i;
    const KseHead e = in_.readHead();
    if (e.type == kKseStructEnd) endInContainer(e);
    if (e.tag != 0) unexpectedTag(e, 0);
    value(e, out[i]);
  }
  pop(seg);
  in_.leave();
}

}  // namespace ryn
}  // namespace navcore
