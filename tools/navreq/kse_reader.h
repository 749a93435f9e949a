// Reading Kse bytes back: a bounds-checked decoder for any input.
//
// The wire is self-describing (every value carries its type code), so bytes
// decode into a tree without knowing the record. Where the record is known,
// its reflection (kseInfo()) names the fields and gives the records nested at
// each field. The reader never reads past its input, never recurses deeper
// than kMaxDepth, never trusts a count beyond the bytes left, and stops at the
// first byte it cannot decode, keeping everything decoded before it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "navreq/kse/record.h"

namespace navreq {
namespace tool {

using ::navcore::ryn::FieldInfo;
using ::navcore::ryn::RecordInfo;

// Records, lists and maps nested deeper than this stop the decoding.
constexpr int kMaxDepth = 64;
// A gzip stream that inflates to more than this is not followed.
constexpr std::size_t kMaxInflatedSize = 64u << 20;

struct Embedded;

// One decoded value: a field of a record, an element of a list, or a key or
// value of a map.
struct Node {
  std::size_t offset = 0;  // of the value's head, in the buffer it was read from
  std::uint8_t tag = 0;
  std::uint8_t wire = 0;               // type code of the head (navcore::ryn::KseType)
  const FieldInfo* field = nullptr;    // the record's declaration of this field
  const RecordInfo* record = nullptr;  // the record of a nested-record value, when known
  std::int64_t integer = 0;            // integer types and the zero head
  double real = 0;                     // float (widened exactly) and double
  std::string bytes;                   // string and simple-list contents
  std::int64_t count = 0;              // declared element count of lists, maps, simple lists
  std::vector<Node> items;             // record fields, list elements, map keys and values alternately
  bool complete = true;                // false when decoding stopped inside this value
  bool ubytes = false;                 // a list of unsigned bytes, gathered into `bytes`
  std::shared_ptr<Embedded> embedded;  // what bytes carried inside this value decode to
};

// A sequence of fields read from one buffer: a record written alone (no
// begin/end heads), as every request body and envelope is.
struct Decoded {
  const RecordInfo* record = nullptr;  // null: decoded without a declaration
  std::size_t size = 0;                // bytes in the buffer
  std::vector<Node> fields;
  bool complete = true;
  std::size_t stop_offset = 0;  // where decoding stopped, when not complete
  std::string error;            // why it stopped
  std::string rest;             // the bytes from stop_offset to the end
};

// One field of a protocol-buffers message, read without its schema.
struct PbField {
  std::size_t offset = 0;
  std::uint64_t number = 0;
  int wire = 0;             // 0 varint, 1 fixed64, 2 length-delimited, 5 fixed32
  std::uint64_t value = 0;  // varint, fixed64 and fixed32 values
  std::string bytes;        // length-delimited contents
};

struct PbDecoded {
  std::size_t size = 0;
  std::vector<PbField> fields;
  bool complete = true;
  std::size_t stop_offset = 0;
  std::string error;
  std::string rest;
};

// What the bytes of a bytes field (or an unsigned-byte list) carry.
struct Embedded {
  std::size_t size = 0;      // bytes carried
  bool gzip = false;         // they were a gzip stream
  std::size_t inflated = 0;  // size once inflated
  std::string gzip_error;    // the stream did not inflate; nothing below is set
  bool is_protobuf = false;
  Decoded kse;         // when !is_protobuf
  PbDecoded protobuf;  // when is_protobuf
};

// Decodes `size` bytes at `data` as the fields of a record written alone.
// `record` (may be null) names the fields and nested records.
[[nodiscard]] Decoded DecodeFields(const unsigned char* data, std::size_t size,
                                   const RecordInfo* record = nullptr, int depth = 0);

// Reads a protocol-buffers message field by field, without a schema.
[[nodiscard]] PbDecoded DecodeProtobuf(const unsigned char* data, std::size_t size);

// True when the bytes begin with the gzip magic 1f 8b.
[[nodiscard]] bool LooksGzip(const std::string& bytes) noexcept;

// Inflates one gzip stream. False with `error` set when the stream is broken,
// truncated or inflates beyond kMaxInflatedSize.
[[nodiscard]] bool Gunzip(const std::string& in, std::string& out, std::string& error);

// Whether a value written with wire type code `wire` can be a field declared
// with the type `declared` ("int32", "list<Point>", a record name, ...).
[[nodiscard]] bool WireMatchesDeclared(std::uint8_t wire, const char* declared) noexcept;

// Short name of a wire type code: "int8", "string", "struct", ...
[[nodiscard]] const char* WireTypeName(std::uint8_t wire) noexcept;

}  // namespace tool
}  // namespace navreq
