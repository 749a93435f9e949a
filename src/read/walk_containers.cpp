#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "navreq/read/envelope.h"
#include "navreq/read/inflate.h"
#include "protobuf_reader.h"
#include "walker.h"

namespace navreq {
namespace walk_detail {

namespace {

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

}  // namespace

void Walker::unexpectedTag(Item& item, std::uint8_t expected) {
  if (item.tag == expected) return;
  item.problem = Problem::kUnexpectedTag;
  ++summary_.unknown;
}

CarriedRecord Walker::follow(const RecordState* state, const Item& item) {
  if (state == nullptr || state->record == nullptr) return {};
  if (item.problem != Problem::kNone && item.problem != Problem::kOutOfOrder) return {};
  return CarriedBy(*state->record, item.tag, state->command, state->number);
}

void Walker::carried(Item& item, std::string_view data, const CarriedRecord& where) {
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

void Walker::list(WireCursor& c, Item& item, const TypeInfo* declared, RecordState* state, int depth) {
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
  ItemsMark::Frame frame;
  frame.container = item;
  frame.element = declared != nullptr ? declared->element : nullptr;
  frame.depth = depth + 1;
  sink_.open(item, count);
  open_.push_back(item);
  items(c, frame);
  open_.pop_back();
  sink_.close(item);
}

Item Walker::containerItem(const Head& h, Role role, std::int64_t index, const char* place,
                           std::uint8_t expected) {
  if (h.type == kKseStructEnd) {
    throw WireStop{h.offset, std::string("end-of-record head in place of ") + place, Kind::kUnexpectedEnd};
  }
  Item item;
  item.role = role;
  item.index = static_cast<std::size_t>(index);
  item.tag = h.tag;
  item.wire = h.type;
  unexpectedTag(item, expected);
  return item;
}

void Walker::map(WireCursor& c, Item& item, const TypeInfo* declared, int depth) {
  const std::size_t least = declared != nullptr && declared->key != nullptr && declared->element != nullptr
                                ? ::navcore::ryn::minWireSize(declared->key->kind) +
                                      ::navcore::ryn::minWireSize(declared->element->kind)
                                : 2;
  const std::int64_t count = c.count(least, item.count_wire);
  item.count = count;
  ItemsMark::Frame frame;
  frame.container = item;
  frame.key = declared != nullptr ? declared->key : nullptr;
  frame.element = declared != nullptr ? declared->element : nullptr;
  frame.depth = depth + 1;
  frame.side_records = item.problem == Problem::kNone && IsSideRecordMap(item.field);
  sink_.open(item, count);
  open_.push_back(item);
  items(c, frame);
  open_.pop_back();
  sink_.close(item);
}

void Walker::items(WireCursor& c, ItemsMark::Frame& frame) {
  if (seek_ != nullptr && *seek_->values == seek_->node) seekItems(c, frame);
  for (std::int64_t i = 0; i < frame.container.count; ++i) item(c, frame, i);
}

void Walker::item(WireCursor& c, ItemsMark::Frame& frame, std::int64_t i) {
  if (frame.container.wire == kKseList) {
    const Head eh = c.head();
    Item e = containerItem(eh, Role::kElement, i, "a list element", 0);
    value(c, eh, e, frame.element, nullptr, nullptr, frame.depth);
    return;
  }
  const Head kh = c.head();
  Item k = containerItem(kh, Role::kKey, i, "a map key", 0);
  std::string key = c.peekText(kh);
  const bool repeated = !frame.keys.emplace(key, IsIntegerWire(kh.type)).second;
  if (repeated && k.problem == Problem::kNone) {
    k.problem = Problem::kDuplicateKey;
    ++summary_.unknown;
  }
  value(c, kh, k, frame.key, nullptr, nullptr, frame.depth);
  const Head vh = c.head();
  Item v = containerItem(vh, Role::kValue, i, "a map value", 1);
  v.key = key;
  v.key_is_integer = IsIntegerWire(kh.type);
  CarriedRecord side;
  if (frame.side_records && !repeated) {  // only the first value under a key is read
    side.record = SideRecordFor(key);
    side.follow = side.record != nullptr;
  }
  value(c, vh, v, frame.element, nullptr, frame.side_records ? &side : nullptr, frame.depth);
}

void Walker::message(std::string_view bytes) {
  ProtobufReader c(bytes);
  std::size_t field_at = 0;  // the bytes not shown start with the field that fails
  try {
    while (!c.atEnd()) {
      field_at = c.pos();
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
            const std::uint64_t n = c.varint();  // the entries follow as fields
            sink_.protobufMapCount(at, c.pos() - at, k.number, n);
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
    sink_.undecoded(field_at, bytes.substr(field_at), stop.why);
  }
}

}  // namespace walk_detail
}  // namespace navreq
