#include "navreq/read/walk.h"

#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "navreq/read/envelope.h"
#include "navreq/read/inflate.h"
#include "walker.h"

namespace navreq {
namespace walk_detail {

namespace {

// Whether a head of type `wire` can carry a value declared as `d`.
bool Carries(std::uint8_t wire, const TypeInfo& d) noexcept {
  return ::navcore::ryn::wireTypeFits(d.kind, wire);
}

// Problems of a value's place (its tag, its key) after which it is read all
// the same, and can have a problem of its own.
bool ReadAnyway(Problem p) noexcept {
  return p == Problem::kOutOfOrder || p == Problem::kUnexpectedTag || p == Problem::kDuplicateKey;
}
constexpr std::size_t kNoOffset = static_cast<std::size_t>(-1);

}  // namespace

Kind InflateFailure(const std::string& error) {
  return error.find("limit") != std::string::npos ? Kind::kLimitExceeded : Kind::kBadGzip;
}

void Walker::record(std::string_view input, const RecordInfo& record) {
  sink_.begin(record.name, input.size(), false, 0, {});
  buffer(input, &record, 0);
  sink_.end();
}

void Walker::top(std::string_view input) {
  if (LooksGzip(input)) {
    std::string inflated;
    const GunzipResult g = Gunzip(input, ::navcore::ryn::kKseMaxInflatedSize, inflated);
    if (!g.ok()) {
      sink_.begin("", input.size(), true, 0, input);
      ++summary_.undecoded;
      sink_.stopCause(InflateFailure(g.error), g.offset, false);
      sink_.undecoded(g.offset, input.substr(g.offset), "gzip stream that does not inflate: " + g.error);
      sink_.end();
      return;
    }
    const RecordInfo* envelope = recognize(inflated);
    sink_.begin(envelope != nullptr ? envelope->name : "", input.size(), true, inflated.size(), input);
    request(inflated, envelope);
    sink_.end();
    return;
  }
  const RecordInfo* envelope = recognize(input);
  sink_.begin(envelope != nullptr ? envelope->name : "", input.size(), false, 0, {});
  if (input.empty()) {
    ++summary_.undecoded;
    sink_.stopCause(Kind::kTruncated, 0, false);
    sink_.undecoded(0, input, "empty input");
  } else {
    request(input, envelope);
  }
  sink_.end();
}

const RecordInfo* Walker::recognize(std::string_view bytes) {
  const std::optional<navkse::Envelope> envelope = DetectEnvelope(bytes);
  if (!envelope) {
    summary_.unnamed = true;
    return nullptr;
  }
  return &EnvelopeInfo(*envelope);
}

void Walker::request(std::string_view bytes, const RecordInfo* envelope) {
  // Where a second request starts, or the end of the bytes. (A plain offset:
  // -Os builds of GCC see the optional's value as maybe uninitialised.)
  const std::size_t second =
      envelope != nullptr ? SecondRequestAt(bytes).value_or(bytes.size()) : bytes.size();
  if (!buffer(bytes.substr(0, second), envelope, 0) || second == bytes.size()) return;
  ++summary_.undecoded;
  sink_.undecoded(second, bytes.substr(second), "a second request starts here");
}

bool Walker::buffer(std::string_view bytes, const RecordInfo* record, int depth) {
  WireCursor c(bytes);
  const std::size_t open_before = open_.size();
  inner_stop_ = false;
  try {
    fields(c, record, false, depth);
  } catch (const WireStop& stop) {
    inner_stop_ = false;
    while (open_.size() > open_before) {
      Item item = open_.back();
      open_.pop_back();
      item.stopped = true;
      sink_.close(item);
    }
    ++summary_.undecoded;
    sink_.stopCause(stop.kind, stop.at != kNoOffset ? stop.at : stop.offset, stop.at != kNoOffset);
    sink_.undecoded(stop.offset, bytes.substr(stop.offset), stop.why);
    return false;
  }
  return true;
}

std::uint8_t Walker::fields(WireCursor& c, const RecordInfo* record, bool in_struct, int depth) {
  RecordState state;
  state.record = record;
  int previous = -1;
  std::uint8_t end_tag = 0;
  while (true) {
    if (c.atEnd()) {
      if (in_struct)
        throw WireStop{c.pos(), "record not closed before the end of the bytes", Kind::kTruncated};
      break;
    }
    const Head h = c.head();
    if (h.type == kKseStructEnd) {
      if (!in_struct) throw WireStop{h.offset, "end-of-record head outside a record", Kind::kUnexpectedEnd};
      if (h.long_head) {
        throw WireStop{h.offset,
                       "end-of-record head with tag " + std::to_string(h.tag) + " in the two-byte form",
                       Kind::kBadType};
      }
      end_tag = h.tag;
      break;
    }
    const std::size_t unknown = summary_.unknown;
    Item item;
    item.role = Role::kField;
    item.tag = h.tag;
    item.wire = h.type;
    const TypeInfo* declared = nullptr;
    if (record != nullptr) {
      item.field = record->find(h.tag);
      if (item.field == nullptr) {
        item.problem = Problem::kUnknownTag;
        ++summary_.unknown;
      } else {
        declared = describe(*item.field);
        if (state.seen.test(h.tag) || h.tag < previous) {
          item.problem = state.seen.test(h.tag) ? Problem::kDuplicateTag : Problem::kOutOfOrder;
          ++summary_.unknown;
        }
        state.seen.set(h.tag);
        // Only declared fields set the order: an undeclared one is skipped.
        if (h.tag > previous) previous = h.tag;
      }
    }
    try {
      value(c, h, item, declared, &state, nullptr, depth);
    } catch (const WireStop& stop) {
      if (stop.offset == h.offset) summary_.unknown = unknown;  // the field was never shown
      throw;
    }
  }
  if (record != nullptr) {
    for (std::size_t i = 0; i < record->count; ++i) {
      const FieldInfo& f = record->fields[i];
      if (state.seen.test(f.tag)) continue;
      ++summary_.missing;
      sink_.missing(f);
    }
  }
  return end_tag;
}

void Walker::value(WireCursor& c, const Head& h, Item& item, const TypeInfo* declared, RecordState* state,
                   const CarriedRecord* side, int depth) {
  const std::size_t opened = open_.size();
  const std::size_t mismatches = summary_.mismatches;
  try {
    read(c, h, item, declared, state, side, depth);
  } catch (WireStop& stop) {
    if (open_.size() == opened && !inner_stop_) {
      // Never shown: its bytes are reported as undecoded, not its problems.
      if (stop.at == kNoOffset) stop.at = stop.offset;
      stop.offset = h.offset;
      summary_.mismatches = mismatches;
    }
    inner_stop_ = true;
    throw;
  }
}

void Walker::read(WireCursor& c, const Head& h, Item& item, const TypeInfo* declared, RecordState* state,
                  const CarriedRecord* side, int depth) {
  using ::navcore::ryn::kKseMaxDepth;
  const bool container = h.type == kKseList || h.type == kKseMap || h.type == kKseStructBegin;
  if (container && depth >= kKseMaxDepth) {
    throw WireStop{h.offset, "nested deeper than " + std::to_string(kKseMaxDepth), Kind::kTooDeep};
  }
  item.offset = h.offset;
  item.long_head = h.long_head;
  if (sink_.wantsLengths()) {
    try {
      item.length = c.measure(h) - h.offset;
    } catch (const WireStop&) {
      item.incomplete = true;
      item.length = c.size() - h.offset;
    }
  }
  item.declared = declared;
  if (declared != nullptr && !Carries(h.type, *declared)) {
    if (item.problem == Problem::kNone) {
      item.problem = Problem::kTypeMismatch;
      ++summary_.mismatches;
    } else if (ReadAnyway(item.problem)) {
      item.also = Problem::kTypeMismatch;
      ++summary_.mismatches;
    }
    declared = nullptr;  // read as the head says
  }
  Scalar s;
  switch (h.type) {
    case kKseInt8:
    case kKseInt16:
    case kKseInt32:
    case kKseInt64:
    case kKseZero:
      s.integer = c.integer(h);
      if (declared != nullptr && ::navcore::ryn::isIntegerKind(declared->kind) &&
          !::navcore::ryn::integerKindHolds(declared->kind, s.integer)) {
        if (item.problem == Problem::kNone) {
          item.problem = Problem::kOutOfRange;
          ++summary_.mismatches;
        } else if (ReadAnyway(item.problem)) {
          item.also = Problem::kOutOfRange;
          ++summary_.mismatches;
        }
      }
      remember(state, item, s);
      sink_.scalar(item, s);
      return;
    case kKseFloat: {
      s.bits = c.realBits(h);
      const auto b = static_cast<std::uint32_t>(s.bits);
      float f = 0;
      std::memcpy(&f, &b, sizeof f);
      s.real = static_cast<double>(f);
      sink_.scalar(item, s);
      return;
    }
    case kKseDouble:
      s.bits = c.realBits(h);
      std::memcpy(&s.real, &s.bits, sizeof s.real);
      sink_.scalar(item, s);
      return;
    case kKseString1:
    case kKseString4:
      s.text = c.string(h);
      remember(state, item, s);
      sink_.scalar(item, s);
      return;
    case kKseSimpleList: {
      const std::string_view data = c.byteArray(item.count_wire);
      item.count = static_cast<std::int64_t>(data.size());
      carried(item, data, side != nullptr ? *side : follow(state, item));
      return;
    }
    case kKseList:
      list(c, item, declared, state, depth);
      return;
    case kKseMap:
      map(c, item, declared, depth);
      return;
    case kKseStructBegin:
      item.record = declared != nullptr && declared->record != nullptr ? &declared->record() : nullptr;
      sink_.open(item, 0);
      open_.push_back(item);
      item.end_tag = fields(c, item.record, true, depth + 1);
      open_.pop_back();
      sink_.close(item);
      return;
    default:
      throw WireStop{h.offset,
                     "type code " + std::to_string(h.type) + ", expected 0-" +
                         std::to_string(::navcore::ryn::kKseLastType),
                     Kind::kBadType};
  }
}

void Walker::remember(RecordState* state, const Item& item, const Scalar& s) {
  if (state == nullptr || state->record == nullptr) return;
  if (item.problem != Problem::kNone && item.problem != Problem::kOutOfOrder) return;
  if (state->record == &PackageInfo() && item.tag == kPackageCommandNameTag)
    state->command = std::string(s.text);
  if (state->record == &PackageInfo() && item.tag == kPackageCommandTag) state->number = s.integer;
  if (state->record == &PacketInfo() && item.tag == kPacketKindTag) state->number = s.integer;
}

}  // namespace walk_detail

WalkSummary Walk(const unsigned char* data, std::size_t size, TreeSink& sink) {
  WalkSummary summary;
  walk_detail::Walker walker(sink, summary);
  walker.top(std::string_view(reinterpret_cast<const char*>(data), size));
  return summary;
}

WalkSummary WalkRecord(const unsigned char* data, std::size_t size, const RecordInfo& record, TreeSink& sink,
                       bool follow) {
  WalkSummary summary;
  walk_detail::Walker walker(sink, summary);
  walker.setFollow(follow);
  walker.record(std::string_view(reinterpret_cast<const char*>(data), size), record);
  return summary;
}

namespace {

class NullSink final : public TreeSink {
 public:
  bool wantsLengths() const override { return false; }  // the summary does not depend on them
  void begin(std::string_view, std::size_t, bool, std::size_t, std::string_view) override {}
  void end() override {}
  void scalar(const Item&, const Scalar&) override {}
  void bytes(const Item&, std::string_view) override {}
  void open(const Item&, std::int64_t) override {}
  void close(const Item&) override {}
  void openEmbedded(const Item&, std::string_view, const Embedding&) override {}
  void closeEmbedded(const Item&) override {}
  void protobufField(std::size_t, std::size_t, std::uint64_t, int, std::uint64_t, std::string_view) override {
  }
  void missing(const FieldInfo&) override {}
  void undecoded(std::size_t, std::string_view, const std::string&) override {}
};

}  // namespace

std::unique_ptr<TreeSink> MakeNullSink() { return std::make_unique<NullSink>(); }

}  // namespace navreq
