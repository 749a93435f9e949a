// Walking Kse bytes as a stream of events, for dump, diff and their views.
//
// The walker reads a request the way this system writes it: a Package or a
// Packet at the top, the bytes that carry other records followed into them
// (the Package's Header and body, the Packet's payload, the location header's
// extra data, the route search's side records), gzip streams inflated with a
// bounded size. Every value is announced to a TreeSink as it is read, with
// where its bytes are; nothing of the tree is kept, so memory does not grow
// with the number of fields. Where a record is known, the walker also checks
// it: declared fields that are absent, heads that cannot carry the declared
// type, integers outside the declared range, tags that are not declared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "navreq/kse/input_stream.h"
#include "navreq/kse/record.h"
#include "navreq/kse/reflection.h"
#include "navreq/read/inflate.h"

namespace navreq {

using ::navcore::ryn::FieldInfo;
using ::navcore::ryn::RecordInfo;

using ::navcore::ryn::TypeInfo;
using ::navcore::ryn::WireKind;

// Where a value sits in its container.
enum class Role { kField, kElement, kKey, kValue };

// What is wrong with a value of a known record, if anything.
// kDuplicateTag: a field seen before in the same record (the first is the
// one read); kOutOfOrder: a field below one read before, read all the same.
// kUnexpectedTag: a list element or map key with a tag other than 0, a map
// value with one other than 1. kDuplicateKey: a map key seen before in the
// same map (the first value under it is the one read).
enum class Problem {
  kNone,
  kUnknownTag,
  kTypeMismatch,
  kOutOfRange,
  kDuplicateTag,
  kOutOfOrder,
  kUnexpectedTag,
  kDuplicateKey
};

// One value: a field, a list element, or a map key or value.
struct Item {
  std::size_t offset = 0;              // of the head, in the buffer being walked
  std::size_t length = 0;              // head and value; the rest of the buffer when incomplete
  bool incomplete = false;             // the value runs past the end of its buffer or does not decode
  bool stopped = false;                // close(): decoding stopped inside it (though its extent was readable)
  std::uint8_t tag = 0;                // the head's tag
  std::uint8_t wire = 0;               // type code of the head
  bool long_head = false;              // a tag below 15 written with the two-byte head
  Role role = Role::kField;            // where the value sits
  std::size_t index = 0;               // element or entry number
  const FieldInfo* field = nullptr;    // the declaration, for a field of a known record
  const TypeInfo* declared = nullptr;  // the declared type, when known (see `problem`)
  const RecordInfo* record = nullptr;  // a nested record's declaration, when known
  Problem problem = Problem::kNone;    // what is wrong with it
  // A value read in spite of `problem` (out of order, unexpected tag, repeated
  // key): its own type mismatch or value out of range.
  Problem also = Problem::kNone;
  std::string_view key;         // a map value: its key as text (string bytes, or decimal)
  bool key_is_integer = false;  // ... and the key is an integer
  int count_wire = -1;          // a list, map or byte array: the count's head type when not the smallest form
  std::int64_t count = 0;       // a list or map: its element count; a byte array: its size
  std::uint8_t end_tag = 0;     // a record: the tag of its end head (the writer gives 0)
};

// A scalar value.
struct Scalar {
  std::int64_t integer = 0;  // integer heads and the zero head
  double real = 0;           // float (widened exactly) and double
  std::uint64_t bits = 0;    // the IEEE bit pattern of a float or double
  std::string_view text;     // string bytes
};

// Bytes that the walker decodes in their turn.
struct Embedding {
  std::string_view record;      // the record they hold; empty: unnamed fields or a message
  bool gzip = false;            // they are a gzip stream
  std::size_t inflated = 0;     // bytes once inflated
  std::string_view compressed;  // the gzip stream itself (gzip only)
  std::string inflate_error;    // the gzip stream did not inflate: nothing is decoded below
  bool protobuf = false;        // a protocol-buffers message, shown field by field
  // A body not encoded as its command's gzip column says (BodyEncodingProblem,
  // read/envelope.h); it is decoded all the same.
  const char* encoding_problem = nullptr;
};

// Receives the walk. Offsets are relative to the buffer being walked: the
// input, or the bytes of the innermost embedding.
class TreeSink {
 public:
  virtual ~TreeSink() = default;
  // Whether Item::length and Item::incomplete are wanted (they cost a skip
  // over every value before it is read).
  virtual bool wantsLengths() const { return true; }
  // Whether the sink wants no more items of a container walked from a mark
  // (WalkItems asks before each item; the other walks never do).
  virtual bool full() const { return false; }
  // The top of the input: `record` is the envelope recognised, or empty.
  virtual void begin(std::string_view record, std::size_t size, bool gzip, std::size_t inflated,
                     std::string_view compressed) = 0;
  // The end of the input.
  virtual void end() = 0;
  // An integer, float, double or string value.
  virtual void scalar(const Item& item, const Scalar& value) = 0;
  // Byte arrays and unsigned-byte lists that are not decoded further.
  virtual void bytes(const Item& item, std::string_view data) = 0;
  // Records (count unused), lists and maps; close() follows their items.
  virtual void open(const Item& item, std::int64_t count) = 0;
  // After the items of a record, list or map.
  virtual void close(const Item& item) = 0;
  // Byte arrays and unsigned-byte lists whose bytes are walked in their turn.
  virtual void openEmbedded(const Item& item, std::string_view data, const Embedding& embedding) = 0;
  // After the walk of carried bytes.
  virtual void closeEmbedded(const Item& item) = 0;
  // A field of a protocol-buffers message (read without its schema).
  virtual void protobufField(std::size_t offset, std::size_t length, std::uint64_t number, int wire,
                             std::uint64_t value, std::string_view data) = 0;
  // The bare entry count that follows the key of the stop event's attribute
  // map (its writer's own layout, protobuf_reader.h); the entries follow as
  // length-delimited fields of the same number. Shown as a varint field
  // unless the sink tells them apart (it needs to, to write the bytes again).
  virtual void protobufMapCount(std::size_t offset, std::size_t length, std::uint64_t number,
                                std::uint64_t count) {
    protobufField(offset, length, number, 0, count, {});
  }
  // A declared field that the record does not hold (reported before close()).
  virtual void missing(const FieldInfo& field) = 0;
  // Decoding of the current buffer stopped at `offset`; `rest` is every byte
  // from there to its end. Comes after the close() of every value left open.
  virtual void undecoded(std::size_t offset, std::string_view rest, const std::string& why) = 0;
  // Comes just before undecoded(): what stopped the decoding, as a problem
  // kind, and the offset of the byte that could not be read. `in_value`: the
  // failure lies in a value that was never shown, whose head is at
  // undecoded()'s offset (where the bytes not shown start).
  virtual void stopCause(::navcore::ryn::ReadProblemKind /*kind*/, std::size_t /*offset*/,
                         bool /*in_value*/) {}
};

// What the walk found, for the exit status.
struct WalkSummary {
  std::size_t undecoded = 0;   // buffers whose decoding stopped, bodies that did not inflate
  std::size_t missing = 0;     // declared fields absent
  std::size_t mismatches = 0;  // type mismatches and values out of range
  std::size_t unknown = 0;     // unknown, repeated and unexpected tags, repeated keys
  std::size_t encoding = 0;    // bodies not encoded as the command table says
  bool unnamed = false;        // no envelope recognised at the top

  // The exit status of dump: 0 clean, 2 decoded with findings, 1 undecoded bytes.
  [[nodiscard]] int status() const noexcept {
    if (undecoded > 0) return 1;
    return missing + mismatches + unknown + encoding > 0 || unnamed ? 2 : 0;
  }
};

// Walks `size` bytes at `data` (the input of dump, already converted from
// hex). Never reads outside them; never throws for any input.
[[nodiscard]] WalkSummary Walk(const unsigned char* data, std::size_t size, TreeSink& sink);

// Walks bytes as the fields of `record` written alone, without looking for
// an envelope (what a record's own writeTo gives). With `follow` false, byte
// arrays are not decoded further even where they carry a record.
[[nodiscard]] WalkSummary WalkRecord(const unsigned char* data, std::size_t size, const RecordInfo& record,
                                     TreeSink& sink, bool follow = true);

// A sink that ignores the walk, for its summary alone.
[[nodiscard]] std::unique_ptr<TreeSink> MakeNullSink();

// The short name of a head type code: "int8", "string", "struct", ...
[[nodiscard]] constexpr const char* WireName(std::uint8_t wire) noexcept {
  return ::navcore::ryn::kseTypeShownName(wire);
}

}  // namespace navreq
