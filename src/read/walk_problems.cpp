#include "navreq/read/walk_problems.h"

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "navreq/read/paths.h"
#include "navreq/read/walk.h"
#include "request_records.h"
#include "wire_cursor.h"

namespace navreq {

namespace {

using Kind = ReadProblemKind;

// An open record, list or map of the buffer being walked.
struct Frame {
  enum Shape { kRecord, kList, kMap } shape = kRecord;
  std::string path;
  const RecordInfo* record = nullptr;  // a record of known declaration
  const TypeInfo* element = nullptr;   // a list's element or a map's value type, when declared
  const TypeInfo* key = nullptr;       // a map's key type, when declared
  bool opaque = false;                 // inside a value the reader skips: nothing below is reported
  std::string opaque_path;             // ... and the path of that value
  std::bitset<256> seen;               // record: declared tags read
  int last = -1;                       // record: the highest declared tag read
  std::vector<const FieldInfo*> missing;
  std::string command;       // the Package's command name and number, the Packet's kind:
  std::int64_t number = -1;  // what their bytes carry
  std::size_t next = 0;      // list: the next element's number
  bool value_next = false;   // map: a key was read, its value comes next
  std::string value_path;    // ... and its path
};

// The bytes of one part: the envelope, or bytes that a field carries.
struct Buffer {
  std::string root;
  std::size_t size = 0;
  bool ignored = false;  // the reader does not read these bytes
  bool side = false;     // a route search's side record, read in key order
  std::string key;
  std::vector<ReadProblem> problems;
  std::vector<std::unique_ptr<Buffer>> children;
  std::vector<Frame> frames;
  bool stop_framed = false;  // `stop` is the innermost value left open by a stop
  Frame stop;
  Kind cause = Kind::kTruncated;
  std::size_t cause_at = 0;
  bool cause_in_value = false;
};

class ProblemSink final : public TreeSink {
 public:
  void begin(std::string_view record, std::size_t size, bool gzip, std::size_t inflated,
             std::string_view) override {
    top_ = std::make_unique<Buffer>();
    top_->size = gzip ? inflated : size;
    Frame f;
    if (record == PackageInfo().name) {
      top_->root = "package";
      f.record = &PackageInfo();
    } else if (record == PacketInfo().name) {
      top_->root = "packet";
      f.record = &PacketInfo();
    } else {
      top_->problems.push_back(ReadProblem{Kind::kUnknownEnvelope, "", 0, "neither a Package nor a Packet"});
      top_->ignored = true;
    }
    f.path = top_->root;
    top_->frames.push_back(std::move(f));
    active_.push_back(top_.get());
  }

  void end() override {
    if (!active_.empty()) finishBuffer(*active_.back());
    active_.clear();
  }

  void scalar(const Item& item, const Scalar& value) override {
    Frame& parent = frame();
    const std::string path = itemPath(parent, item);
    report(parent, item, path, &value);
    const bool read = item.problem == Problem::kNone || item.problem == Problem::kOutOfOrder;
    if (parent.shape == Frame::kRecord && !parent.opaque && read) {
      if (parent.record == &PackageInfo() && item.tag == kPackageCommandNameTag) parent.command = value.text;
      if (parent.record == &PackageInfo() && item.tag == kPackageCommandTag) parent.number = value.integer;
      if (parent.record == &PacketInfo() && item.tag == kPacketKindTag) parent.number = value.integer;
    }
  }

  void bytes(const Item& item, std::string_view) override {
    Frame& parent = frame();
    report(parent, item, itemPath(parent, item), nullptr);
    // The payload of a Packet whose kind the command table does not hold.
    const bool read = item.problem == Problem::kNone || item.problem == Problem::kOutOfOrder;
    if (!parent.opaque && parent.record == &PacketInfo() && read && item.field != nullptr &&
        item.tag == ::navkse::NavSDKGateway::Packet::FieldTag::payload) {
      buffer().problems.push_back(
          ReadProblem{Kind::kUnknownCommand, "packet.kind", 0, "kind " + std::to_string(parent.number)});
    }
  }

  void open(const Item& item, std::int64_t) override {
    Frame& parent = frame();
    Frame f;
    f.path = itemPath(parent, item);
    report(parent, item, f.path, nullptr);
    f.shape = item.wire == kKseStructBegin ? Frame::kRecord
              : item.wire == kKseList      ? Frame::kList
                                           : Frame::kMap;
    f.record = item.record;
    f.element = !Skipped(item) && item.declared != nullptr ? item.declared->element : nullptr;
    f.key = !Skipped(item) && item.declared != nullptr ? item.declared->key : nullptr;
    inherit(parent, item, f);
    buffer().frames.push_back(std::move(f));
  }

  void close(const Item& item) override {
    Buffer& b = buffer();
    Frame& f = b.frames.back();
    if (item.stopped) {
      if (!b.stop_framed) {
        b.stop = f;
        b.stop_framed = true;
      }
    } else if (f.shape == Frame::kRecord && !f.opaque) {
      // The end head closes the record: one byte, two for a tag from 15 on.
      flushMissing(b, f, item.offset + item.length - (item.end_tag >= 15 ? 2 : 1));
    }
    b.frames.pop_back();
  }

  void openEmbedded(const Item& item, std::string_view data, const Embedding& e) override {
    Frame& parent = frame();
    const std::string path = itemPath(parent, item);
    report(parent, item, path, nullptr);
    auto child = std::make_unique<Buffer>();
    child->size = data.size();
    child->ignored = parent.opaque || buffer().ignored;
    const bool envelope_field = active_.size() == 1 && buffer().frames.size() == 1;
    if (envelope_field && parent.record == &PackageInfo()) {
      child->root = item.tag == ::navkse::duromap::Package::FieldTag::header ? "header" : "body";
    } else if (envelope_field && parent.record == &PacketInfo()) {
      child->root = "body";
    } else {
      child->root = path;
    }
    if (e.encoding_problem != nullptr) {
      // The reader says so before it reads the body (and in strict mode stops).
      child->problems.push_back(ReadProblem{Kind::kBadGzip, child->root, 0, e.encoding_problem});
    }
    if (item.role == Role::kValue) {
      child->side = true;
      child->key = std::string(item.key);
    }
    Frame f;
    f.path = child->root;
    if (e.record.empty() && !e.protobuf) {
      // The Package's body under a command the table does not hold: the
      // reader stops at the command.
      child->problems.push_back(
          ReadProblem{Kind::kUnknownCommand, "package.cmd_name", 0,
                      "command " + std::to_string(parent.number) + " \"" + parent.command + "\""});
      child->ignored = true;
    } else if (child->side) {
      f.record = SideRecordFor(child->key);
    } else if (parent.record != nullptr) {
      f.record = CarriedBy(*parent.record, item.tag, parent.command, parent.number).record;
    }
    child->frames.push_back(std::move(f));
    Buffer* raw = child.get();
    buffer().children.push_back(std::move(child));
    active_.push_back(raw);
  }

  void closeEmbedded(const Item&) override {
    finishBuffer(buffer());
    active_.pop_back();
  }

  void protobufField(std::size_t, std::size_t, std::uint64_t, int, std::uint64_t, std::string_view) override {
  }

  void missing(const FieldInfo& field) override { frame().missing.push_back(&field); }

  void stopCause(Kind kind, std::size_t offset, bool in_value) override {
    Buffer& b = buffer();
    b.cause = kind;
    b.cause_at = offset;
    b.cause_in_value = in_value;
  }

  void undecoded(std::size_t offset, std::string_view rest, const std::string& why) override {
    Buffer& b = buffer();
    const Frame f = b.stop_framed ? b.stop : b.frames.back();
    b.frames.resize(1);
    b.frames.back().missing.clear();  // nothing is missing from a record cut off by a stop
    b.stop_framed = true;
    b.stop = Frame();
    b.stop.opaque = true;  // what remains of the buffer is not read
    if (f.opaque) {
      add(b, ReadProblem{b.cause, f.opaque_path, b.cause_at, Detail(b.cause, why)});
      return;
    }
    std::string path = f.path;
    if (b.cause_in_value) {
      path = unshown(b, f, offset, rest);
    } else if (f.shape == Frame::kMap) {
      if (f.value_next) path = f.value_path;
    } else if (f.shape == Frame::kList) {
      AppendIndexLevel(path, static_cast<std::int64_t>(f.next));
    }
    add(b, ReadProblem{b.cause, std::move(path), b.cause_at, Detail(b.cause, why)});
  }

  std::vector<ReadProblem> take() {
    std::vector<ReadProblem> out;
    if (top_ != nullptr) collect(*top_, out);
    return out;
  }

 private:
  Buffer& buffer() { return *active_.back(); }
  Frame& frame() { return buffer().frames.back(); }

  // The walk's reason without the kind it starts with ("truncated: ...").
  static std::string Detail(Kind kind, const std::string& why) {
    const std::string prefix = std::string(::navcore::ryn::readProblemName(kind)) + ": ";
    return why.rfind(prefix, 0) == 0 ? why.substr(prefix.size()) : why;
  }

  static void add(Buffer& b, ReadProblem p) {
    if (!b.ignored) b.problems.push_back(std::move(p));
  }

  // The path of a value in its container, as the reader spells it: a map
  // key has no level of its own.
  static std::string itemPath(const Frame& parent, const Item& item) {
    std::string path = parent.path;
    switch (item.role) {
      case Role::kField:
        AppendFieldLevel(path, item.field != nullptr ? item.field->name : nullptr, item.tag, path.empty());
        break;
      case Role::kElement:
        AppendIndexLevel(path, static_cast<std::int64_t>(item.index));
        break;
      case Role::kKey:
        break;
      case Role::kValue:
        AppendKeyLevel(path, item.key, item.key_is_integer);
        break;
    }
    return path;
  }

  // Whether the reader skips the value rather than reading it.
  static bool Skipped(const Item& item) {
    return item.problem == Problem::kUnknownTag || item.problem == Problem::kTypeMismatch ||
           item.problem == Problem::kDuplicateTag || item.also == Problem::kTypeMismatch;
  }

  void inherit(const Frame& parent, const Item& item, Frame& f) {
    if (parent.opaque) {
      f.opaque = true;
      f.opaque_path = parent.opaque_path;
    } else if (Skipped(item)) {
      f.opaque = true;
      f.opaque_path = itemPath(parent, item);
    }
  }

  // Reports what is wrong with a value shown, and keeps its container's account.
  void report(Frame& parent, const Item& item, const std::string& path, const Scalar* value) {
    Buffer& b = buffer();
    if (parent.shape == Frame::kList) parent.next = item.index + 1;
    if (parent.shape == Frame::kMap) {
      parent.value_next = item.role == Role::kKey;
      if (item.role == Role::kKey) {
        parent.value_path = parent.path;
        const bool integer = ::navcore::ryn::isIntegerWire(item.wire);
        std::string text = value == nullptr ? "#" + std::to_string(item.offset)
                           : integer        ? std::to_string(value->integer)
                                            : std::string(value->text);
        AppendKeyLevel(parent.value_path, text, integer);
      }
    }
    if (parent.opaque) return;
    if (parent.shape == Frame::kRecord && item.field != nullptr && item.problem != Problem::kDuplicateTag) {
      parent.seen.set(item.tag);
      parent.last = std::max(parent.last, static_cast<int>(item.tag));
    }
    reportOne(b, parent, item, path, value, item.problem);
    if (item.also != Problem::kNone) reportOne(b, parent, item, path, value, item.also);
  }

  // The type the value was declared with, by name.
  static const char* DeclaredName(const TypeInfo* declared) {
    return declared != nullptr ? declared->name() : "?";
  }

  // The tag a list element, map key or map value must have.
  static int ExpectedTag(const Item& item) { return item.role == Role::kValue ? 1 : 0; }

  static void reportOne(Buffer& b, const Frame& parent, const Item& item, const std::string& path,
                        const Scalar* value, Problem problem) {
    switch (problem) {
      case Problem::kNone:
        return;
      case Problem::kUnknownTag:
        return add(b, ReadProblem{
                          Kind::kUnknownField, path, item.offset,
                          "tag " + std::to_string(item.tag) + ", " + ::navcore::ryn::kseTypeName(item.wire)});
      case Problem::kTypeMismatch:
        return add(b, ReadProblem{Kind::kTypeMismatch, path, item.offset,
                                  ::navcore::ryn::MismatchDetail(DeclaredName(item.declared), item.wire)});
      case Problem::kOutOfRange:
        return add(b, ReadProblem{Kind::kOutOfRange, path, item.offset,
                                  value != nullptr && item.declared != nullptr
                                      ? ::navcore::ryn::OutOfRangeDetail(item.declared->kind, value->integer)
                                      : std::string()});
      case Problem::kDuplicateTag:
        return add(b,
                   ReadProblem{Kind::kDuplicateField, path, item.offset, "tag " + std::to_string(item.tag)});
      case Problem::kOutOfOrder:
        return add(b, ReadProblem{Kind::kOutOfOrder, path, item.offset, "tag " + std::to_string(item.tag)});
      case Problem::kUnexpectedTag:
        return add(b, ReadProblem{Kind::kUnexpectedTag, path, item.offset,
                                  ::navcore::ryn::UnexpectedTagDetail(item.tag, ExpectedTag(item))});
      case Problem::kDuplicateKey:
        return add(b, ReadProblem{Kind::kDuplicateKey, parent.value_path, item.offset, ""});
    }
  }

  // A value that stopped the walk before it was shown: the reader names it,
  // and reports first what its head alone says is wrong with it.
  std::string unshown(Buffer& b, const Frame& f, std::size_t offset, std::string_view rest) {
    ::navcore::ryn::KseInputStream in(rest.data(), rest.size());
    ::navcore::ryn::KseHead h;
    try {
      h = in.readHead();
    } catch (const ::navcore::ryn::KseReadError&) {
      return f.path;
    }
    std::string path = f.path;
    if (f.shape != Frame::kRecord) {
      // A list element, or a map key (named by the map) or value (by its key).
      const bool value = f.shape == Frame::kMap && f.value_next;
      if (f.shape == Frame::kList) AppendIndexLevel(path, static_cast<std::int64_t>(f.next));
      if (value) path = f.value_path;
      const TypeInfo* declared = f.shape == Frame::kMap && !value ? f.key : f.element;
      const int expected = value ? 1 : 0;
      if (h.tag != expected) {
        add(b, ReadProblem{Kind::kUnexpectedTag, path, offset,
                           ::navcore::ryn::UnexpectedTagDetail(h.tag, expected)});
      }
      if (declared != nullptr && !::navcore::ryn::wireTypeFits(declared->kind, h.type)) {
        add(b, ReadProblem{Kind::kTypeMismatch, path, offset,
                           ::navcore::ryn::MismatchDetail(declared->name(), h.type)});
      }
      return path;
    }
    const FieldInfo* field = f.record != nullptr ? f.record->find(h.tag) : nullptr;
    AppendFieldLevel(path, field != nullptr ? field->name : nullptr, h.tag, path.empty());
    if (f.record == nullptr) return path;
    if (field == nullptr) {
      add(b, ReadProblem{Kind::kUnknownField, path, offset,
                         "tag " + std::to_string(h.tag) + ", " + ::navcore::ryn::kseTypeName(h.type)});
    } else if (f.seen.test(h.tag)) {
      add(b, ReadProblem{Kind::kDuplicateField, path, offset, "tag " + std::to_string(h.tag)});
    } else {
      if (h.tag < f.last)
        add(b, ReadProblem{Kind::kOutOfOrder, path, offset, "tag " + std::to_string(h.tag)});
      if (!::navcore::ryn::wireTypeFits(field->type->kind, h.type)) {
        add(b, ReadProblem{Kind::kTypeMismatch, path, offset,
                           ::navcore::ryn::MismatchDetail(field->type->name(), h.type)});
      }
    }
    return path;
  }

  // The declared fields a record does not hold: one by one below the highest
  // tag read, once for all from the first one above it (the record cut short).
  static void flushMissing(Buffer& b, Frame& f, std::size_t end) {
    for (std::size_t i = 0; i < f.missing.size(); ++i) {
      const FieldInfo& field = *f.missing[i];
      std::string path = f.path;
      AppendFieldLevel(path, field.name, field.tag, path.empty());
      if (static_cast<int>(field.tag) < f.last) {
        add(b, ReadProblem{Kind::kMissingField, std::move(path), end, ""});
        continue;
      }
      const int rest = static_cast<int>(f.missing.size() - i);
      add(b, ReadProblem{Kind::kMissingField, std::move(path), end,
                         rest == 1 ? std::string() : ::navcore::ryn::CutShortDetail(rest)});
      break;
    }
    f.missing.clear();
  }

  static void finishBuffer(Buffer& b) {
    if (b.frames.empty()) return;
    Frame& f = b.frames.front();
    if (!b.stop_framed && !f.opaque) flushMissing(b, f, b.size);
  }

  // A part's own problems, then those of the parts it carries (side records
  // in key order, as the reader takes them from its map).
  static void collect(Buffer& b, std::vector<ReadProblem>& out) {
    for (ReadProblem& p : b.problems) out.push_back(std::move(p));
    std::stable_sort(b.children.begin(), b.children.end(),
                     [](const std::unique_ptr<Buffer>& x, const std::unique_ptr<Buffer>& y) {
                       return x->side && y->side && x->key < y->key;
                     });
    for (const std::unique_ptr<Buffer>& c : b.children) collect(*c, out);
  }

  std::unique_ptr<Buffer> top_;
  std::vector<Buffer*> active_;
};

}  // namespace

std::vector<ReadProblem> WalkProblems(const void* data, std::size_t size) {
  ProblemSink sink;
  (void)Walk(static_cast<const unsigned char*>(data), size, sink);
  return sink.take();
}

}  // namespace navreq
