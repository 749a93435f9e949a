#include "navreq/read/walk.h"

#include <bitset>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "navreq/read/envelope.h"
#include "navreq/read/inflate.h"
#include "protobuf_reader.h"
#include "request_records.h"
#include "wire_cursor.h"

namespace navreq {

namespace {

// Whether a head of type `wire` can carry a value declared as `d`.
bool Carries(std::uint8_t wire, const TypeInfo& d) noexcept {
  return ::navcore::ryn::wireTypeFits(d.kind, wire);
}

bool IsIntegerWire(std::uint8_t wire) noexcept { return ::navcore::ryn::isIntegerWire(wire); }

using Kind = ::navcore::ryn::ReadProblemKind;

// Problems of a value's place (its tag, its key) after which it is read all
// the same, and can have a problem of its own.
bool ReadAnyway(Problem p) noexcept {
  return p == Problem::kOutOfOrder || p == Problem::kUnexpectedTag || p == Problem::kDuplicateKey;
}
constexpr std::size_t kNoOffset = static_cast<std::size_t>(-1);

// The problem a gzip stream that did not inflate stands for.
Kind InflateFailure(const std::string& error) {
  return error.find("limit") != std::string::npos ? Kind::kLimitExceeded : Kind::kBadGzip;
}

// What a record walk remembers of its own fields to follow the later ones.
struct RecordState {
  const RecordInfo* record = nullptr;
  std::string command;       // Package: the command name
  std::int64_t number = -1;  // Package: the command number; Packet: the packet kind
  std::bitset<256> seen;
};

// The bytes of an unsigned-byte list, when every element is a byte in the
// form the writer gives it (tag 0, the 16-bit path); else false.
bool GatherUBytes(WireCursor& c, std::int64_t count, std::string& out) {
  out.clear();
  out.reserve(static_cast<std::size_t>(count));
  for (std::int64_t i = 0; i < count; ++i) {
    const Head h = c.head();
    if (h.tag != 0 || h.long_head || !IsIntegerWire(h.type)) return false;
    const std::int64_t v = c.integer(h);
    if (!::navcore::ryn::integerKindHolds(WireKind::kUInt8, v) || h.type != SmallestIntegerWire(v))
      return false;
    out.push_back(static_cast<char>(v));
  }
  return true;
}

class Walker {
 public:
  Walker(TreeSink& sink, WalkSummary& summary) : sink_(sink), summary_(summary) {}

  void setFollow(bool follow) { follow_ = follow; }

  void record(std::string_view input, const RecordInfo& record) {
    sink_.begin(record.name, input.size(), false, 0, {});
    buffer(input, &record, 0);
    sink_.end();
  }

  void top(std::string_view input) {
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

 private:
  static const TypeInfo* describe(const FieldInfo& f) { return f.type; }

  const RecordInfo* recognize(std::string_view bytes) {
    const std::optional<navkse::Envelope> envelope = DetectEnvelope(bytes);
    if (!envelope) {
      summary_.unnamed = true;
      return nullptr;
    }
    return &EnvelopeInfo(*envelope);
  }

  // One request; the bytes of a second one after it are not walked but
  // reported where they start.
  void request(std::string_view bytes, const RecordInfo* envelope) {
    const std::optional<std::size_t> second = envelope != nullptr ? SecondRequestAt(bytes) : std::nullopt;
    if (!buffer(second ? bytes.substr(0, *second) : bytes, envelope, 0) || !second) return;
    ++summary_.undecoded;
    sink_.undecoded(*second, bytes.substr(*second), "a second request starts here");
  }

  // Walks the fields of a record written alone (no begin or end heads).
  // False when decoding stopped.
  bool buffer(std::string_view bytes, const RecordInfo* record, int depth) {
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

  // Returns the tag of the end head that closed the record (in a record).
  std::uint8_t fields(WireCursor& c, const RecordInfo* record, bool in_struct, int depth) {
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
        if (h.long_head) throw WireStop{h.offset, "end-of-record head in the two-byte form", Kind::kBadType};
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

  // Reads the value of head `h`. `state`: the enclosing record's, for a
  // field; `side`: for a map value, the side record its key names.
  // A value that does not decode stops the walk at its head, unless the
  // failure lies inside one of its elements or fields (they stop at their own).
  void value(WireCursor& c, const Head& h, Item& item, const TypeInfo* declared, RecordState* state,
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

  void read(WireCursor& c, const Head& h, Item& item, const TypeInfo* declared, RecordState* state,
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
        throw WireStop{h.offset, "head type " + std::to_string(h.type) + " does not exist", Kind::kBadType};
    }
  }

  // A list element or map key carries tag 0, a map value tag 1.
  void unexpectedTag(Item& item, std::uint8_t expected) {
    if (item.tag == expected) return;
    item.problem = Problem::kUnexpectedTag;
    ++summary_.unknown;
  }

  static void remember(RecordState* state, const Item& item, const Scalar& s) {
    if (state == nullptr || state->record == nullptr) return;
    if (item.problem != Problem::kNone && item.problem != Problem::kOutOfOrder) return;
    if (state->record == &PackageInfo() && item.tag == kPackageCommandNameTag)
      state->command = std::string(s.text);
    if (state->record == &PackageInfo() && item.tag == kPackageCommandTag) state->number = s.integer;
    if (state->record == &PacketInfo() && item.tag == kPacketKindTag) state->number = s.integer;
  }

  // A field read out of order is read all the same; a repeated one is not.
  static CarriedRecord follow(const RecordState* state, const Item& item) {
    if (state == nullptr || state->record == nullptr) return {};
    if (item.problem != Problem::kNone && item.problem != Problem::kOutOfOrder) return {};
    return CarriedBy(*state->record, item.tag, state->command, state->number);
  }

  void carried(Item& item, std::string_view data, const CarriedRecord& where) {
    if (!where.follow || !follow_) {
      sink_.bytes(item, data);
      return;
    }
    Embedding e;
    e.record = where.record != nullptr ? where.record->name : "";
    e.protobuf = where.protobuf;
    if (where.command != nullptr) {
      e.encoding_problem = BodyEncodingProblem(*where.command, data);
      if (e.encoding_problem != nullptr) ++summary_.encoding;
    }
    std::string inflated;
    std::string_view view = data;
    if (where.may_gzip && LooksGzip(data)) {
      e.gzip = true;
      e.compressed = data;
      const GunzipResult g = Gunzip(data, ::navcore::ryn::kKseMaxInflatedSize, inflated);
      if (!g.ok()) {
        e.inflate_error = g.error;
        ++summary_.undecoded;
        sink_.openEmbedded(item, data, e);
        sink_.stopCause(InflateFailure(e.inflate_error), g.offset, false);
        sink_.undecoded(g.offset, data.substr(g.offset),
                        "gzip stream that does not inflate: " + e.inflate_error);
        sink_.closeEmbedded(item);
        return;
      }
      e.inflated = inflated.size();
      view = inflated;
    }
    sink_.openEmbedded(item, view, e);
    if (where.protobuf) {
      message(view);
    } else {
      buffer(view, where.record, 0);  // its own bytes: nesting counts from them
    }
    sink_.closeEmbedded(item);
  }

  void list(WireCursor& c, Item& item, const TypeInfo* declared, RecordState* state, int depth) {
    // The count is bounded by the bytes left, at the fewest each declared element takes.
    const std::size_t least = declared != nullptr && declared->element != nullptr
                                  ? ::navcore::ryn::minWireSize(declared->element->kind)
                                  : 1;
    const std::int64_t count = c.count(least, item.count_wire);
    item.count = count;
    const bool ubytes = declared != nullptr && declared->kind == WireKind::kUBytes;
    if (ubytes) {
      // Shown as bytes when every element is a byte in the writer's form;
      // otherwise element by element.
      std::string gathered;
      bool ok = false;
      {
        WireCursor ahead(std::string_view(c.bytes()), c.pos());
        try {
          ok = GatherUBytes(ahead, count, gathered);
        } catch (const WireStop&) {
        }
      }
      if (ok) {
        for (std::int64_t i = 0; i < count; ++i) (void)c.integer(c.head());  // read again, in place
        carried(item, gathered, follow(state, item));
        return;
      }
    }
    const TypeInfo* element = declared != nullptr ? declared->element : nullptr;
    sink_.open(item, count);
    open_.push_back(item);
    for (std::int64_t i = 0; i < count; ++i) {
      const Head eh = c.head();
      if (eh.type == kKseStructEnd)
        throw WireStop{eh.offset, "end-of-record head in place of a list element", Kind::kUnexpectedEnd};
      Item e;
      e.role = Role::kElement;
      e.index = static_cast<std::size_t>(i);
      e.tag = eh.tag;
      e.wire = eh.type;
      unexpectedTag(e, 0);
      value(c, eh, e, element, nullptr, nullptr, depth + 1);
    }
    open_.pop_back();
    sink_.close(item);
  }

  void map(WireCursor& c, Item& item, const TypeInfo* declared, int depth) {
    const std::size_t least = declared != nullptr && declared->key != nullptr && declared->element != nullptr
                                  ? ::navcore::ryn::minWireSize(declared->key->kind) +
                                        ::navcore::ryn::minWireSize(declared->element->kind)
                                  : 2;
    const std::int64_t count = c.count(least, item.count_wire);
    item.count = count;
    const bool side_records = item.problem == Problem::kNone && IsSideRecordMap(item.field);
    sink_.open(item, count);
    open_.push_back(item);
    std::set<std::pair<std::string, bool>> keys;
    for (std::int64_t i = 0; i < count; ++i) {
      const Head kh = c.head();
      if (kh.type == kKseStructEnd) {
        throw WireStop{kh.offset, "end-of-record head in place of a map key", Kind::kUnexpectedEnd};
      }
      std::string key = c.peekText(kh);
      Item k;
      k.role = Role::kKey;
      k.index = static_cast<std::size_t>(i);
      k.tag = kh.tag;
      k.wire = kh.type;
      unexpectedTag(k, 0);
      const bool repeated = !keys.emplace(key, IsIntegerWire(kh.type)).second;
      if (repeated && k.problem == Problem::kNone) {
        k.problem = Problem::kDuplicateKey;
        ++summary_.unknown;
      }
      value(c, kh, k, declared != nullptr ? declared->key : nullptr, nullptr, nullptr, depth + 1);
      const Head vh = c.head();
      if (vh.type == kKseStructEnd) {
        throw WireStop{vh.offset, "end-of-record head in place of a map value", Kind::kUnexpectedEnd};
      }
      Item v;
      v.role = Role::kValue;
      v.index = static_cast<std::size_t>(i);
      v.tag = vh.tag;
      v.wire = vh.type;
      unexpectedTag(v, 1);
      v.key = key;
      v.key_is_integer = IsIntegerWire(kh.type);
      CarriedRecord side;
      if (side_records && !repeated) {  // only the first value under a key is read
        side.record = SideRecordFor(key);
        side.follow = side.record != nullptr;
      }
      value(c, vh, v, declared != nullptr ? declared->element : nullptr, nullptr,
            side_records ? &side : nullptr, depth + 1);
    }
    open_.pop_back();
    sink_.close(item);
  }

  // The navigation stop event: a protocol-buffers message whose map field is
  // written the service's own way (the field's tag, a bare entry count, then
  // key and value as two more occurrences of the same field). Read without
  // its schema, by wire type; a length-delimited field that is followed by a
  // bare varint is taken as such a map.
  void message(std::string_view bytes) {
    ProtobufReader c(bytes);
    try {
      while (!c.atEnd()) {
        const ProtobufReader::Key k = c.key();
        const std::size_t at = k.offset;
        switch (k.wire) {
          case kProtoVarint: {
            const std::uint64_t v = c.varint();
            sink_.protobufField(at, c.pos() - at, k.number, k.wire, v, {});
            break;
          }
          case kProtoFixed64:
          case kProtoFixed32: {
            const std::uint64_t v = c.fixed(k.wire == kProtoFixed64 ? 8 : 4);
            sink_.protobufField(at, c.pos() - at, k.number, k.wire, v, {});
            break;
          }
          case kProtoLengthDelimited: {
            if (c.mapCountFollows(k.raw)) {
              const std::uint64_t n = c.varint();  // shown as a varint field; the entries follow as fields
              sink_.protobufField(at, c.pos() - at, k.number, kProtoVarint, n, {});
              break;
            }
            const std::string_view data = c.lengthDelimited(at);
            sink_.protobufField(at, c.pos() - at, k.number, k.wire, 0, data);
            break;
          }
          default:
            throw WireStop{at, "protocol-buffers wire type " + std::to_string(k.wire) + " is not read",
                           Kind::kBadEvent};
        }
      }
    } catch (const WireStop& stop) {
      ++summary_.undecoded;
      sink_.stopCause(Kind::kBadEvent, stop.offset, false);
      sink_.undecoded(stop.offset, bytes.substr(stop.offset), stop.why);
    }
  }

  TreeSink& sink_;
  WalkSummary& summary_;
  std::vector<Item> open_;
  bool follow_ = true;
  bool inner_stop_ = false;  // the stop being thrown already names the value that failed
};

}  // namespace

WalkSummary Walk(const unsigned char* data, std::size_t size, TreeSink& sink) {
  WalkSummary summary;
  Walker walker(sink, summary);
  walker.top(std::string_view(reinterpret_cast<const char*>(data), size));
  return summary;
}

WalkSummary WalkRecord(const unsigned char* data, std::size_t size, const RecordInfo& record, TreeSink& sink,
                       bool follow) {
  WalkSummary summary;
  Walker walker(sink, summary);
  walker.setFollow(follow);
  walker.record(std::string_view(reinterpret_cast<const char*>(data), size), record);
  return summary;
}

namespace {

class NullSink final : public TreeSink {
 public:
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
