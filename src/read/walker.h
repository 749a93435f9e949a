// The walk's reader: one Walker per Walk or WalkRecord call turns the bytes
// into the sink's events. Its methods are defined in walk.cpp (the top level,
// requests, records, scalar values) and walk_containers.cpp (lists, maps,
// carried bytes, the protocol-buffers message).
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "navreq/read/items_walk.h"
#include "navreq/read/walk.h"
#include "request_records.h"
#include "wire_cursor.h"

namespace navreq {
namespace walk_detail {

inline bool IsIntegerWire(std::uint8_t wire) noexcept { return ::navcore::ryn::isIntegerWire(wire); }

using Kind = ::navcore::ryn::ReadProblemKind;

// The problem a gzip stream that did not inflate stands for.
Kind InflateFailure(const std::string& error);

// What a record walk remembers of its own fields to follow the later ones.
struct RecordState {
  const RecordInfo* record = nullptr;
  std::string command;       // Package: the command name
  std::int64_t number = -1;  // Package: the command number; Packet: the packet kind
  std::bitset<256> seen;
};

// A walk that looks for one container's items (FindItems): which, and what
// was found. `values` counts the values begun, as the sink sees them.
struct Seek {
  std::uint64_t node = 0;
  std::uint64_t from = 0;
  std::string_view input;  // marks in other buffers keep a copy of theirs
  const std::uint64_t* values = nullptr;
  std::optional<ItemsMark> mark;
};

// Ends a seek's walk once the container is found (or is no list or map).
struct SeekDone {};

class Walker {
 public:
  Walker(TreeSink& sink, WalkSummary& summary) : sink_(sink), summary_(summary) {}

  void setFollow(bool follow) { follow_ = follow; }
  void setSeek(Seek* seek) { seek_ = seek; }

  // Walks the items of `mark`'s container from the mark on (WalkItems);
  // `values` counts the values begun, as the sink sees them.
  void resume(ItemsMark& mark, std::uint64_t until, const std::uint64_t& values);

  void record(std::string_view input, const RecordInfo& record);

  void top(std::string_view input);

 private:
  static const TypeInfo* describe(const FieldInfo& f) { return f.type; }

  const RecordInfo* recognize(std::string_view bytes);

  // One request; the bytes of a second one after it are not walked but
  // reported where they start.
  void request(std::string_view bytes, const RecordInfo* envelope);

  // Walks the fields of a record written alone (no begin or end heads).
  // False when decoding stopped.
  bool buffer(std::string_view bytes, const RecordInfo* record, int depth);

  // Returns the tag of the end head that closed the record (in a record).
  std::uint8_t fields(WireCursor& c, const RecordInfo* record, bool in_struct, int depth);

  // Reads the value of head `h`. `state`: the enclosing record's, for a
  // field; `side`: for a map value, the side record its key names.
  // A value that does not decode stops the walk at its head, unless the
  // failure lies inside one of its elements or fields (they stop at their own).
  void value(WireCursor& c, const Head& h, Item& item, const TypeInfo* declared, RecordState* state,
             const CarriedRecord* side, int depth);

  void read(WireCursor& c, const Head& h, Item& item, const TypeInfo* declared, RecordState* state,
            const CarriedRecord* side, int depth);

  // A list element or map key carries tag 0, a map value tag 1.
  void unexpectedTag(Item& item, std::uint8_t expected);
  // The item of a list element, map key or map value whose head is `h`
  // (`place` names it for the error): an end head there stops the walk.
  Item containerItem(const Head& h, Role role, std::int64_t index, const char* place, std::uint8_t expected);

  static void remember(RecordState* state, const Item& item, const Scalar& s);

  // A field read out of order is read all the same; a repeated one is not.
  static CarriedRecord follow(const RecordState* state, const Item& item);

  void carried(Item& item, std::string_view data, const CarriedRecord& where);

  void list(WireCursor& c, Item& item, const TypeInfo* declared, RecordState* state, int depth);

  void map(WireCursor& c, Item& item, const TypeInfo* declared, int depth);

  // The items of a list or map, the first one on; `frame.container` is open.
  void items(WireCursor& c, ItemsMark::Frame& frame);
  // Item `i`: a list element, or a map entry (key, then value).
  void item(WireCursor& c, ItemsMark::Frame& frame, std::int64_t i);
  // The items of the container a seek looks for: marks item `from`, counts
  // the items begun, and ends the walk.
  [[noreturn]] void seekItems(WireCursor& c, ItemsMark::Frame& frame);

  // The navigation stop event: a protocol-buffers message whose map field is
  // written the service's own way (the field's tag, a bare entry count, then
  // key and value as two more occurrences of the same field). Read without
  // its schema, by wire type; a length-delimited field that is followed by a
  // bare varint is taken as such a map.
  void message(std::string_view bytes);

  TreeSink& sink_;
  WalkSummary& summary_;
  std::vector<Item> open_;
  bool follow_ = true;
  Seek* seek_ = nullptr;
  bool inner_stop_ = false;  // the stop being thrown already names the value that failed
};

}  // namespace walk_detail
}  // namespace navreq
