// pack's side of a dump's JSON tree: the members of one object as they stream
// in (pack.cpp reads them), and the bytes they describe (pack_bytes.cpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "navreq/read/pack.h"

namespace navreq {
namespace pack_detail {

[[noreturn]] void Fail(const std::string& path, const std::string& what);

// One JSON value that is not an object or array, as a tree member holds it.
struct Value {
  enum Kind { kAbsent, kInt, kUInt, kFloat, kString, kBool, kOther } kind = kAbsent;
  std::int64_t i = 0;
  std::uint64_t u = 0;
  double d = 0;
  std::string s;
  bool b = false;
};

// The members of one object of the tree that pack reads. What it does not
// read (names, offsets, lengths, the missing list, a message's fields) is
// skipped without being kept.
struct Frame {
  enum Kind { kRoot, kNode, kBuffer, kMessage, kUndecoded, kEntry, kNodes, kEntries, kIgnore };
  Kind kind = kIgnore;
  std::string path;
  std::string key;        // an object's member being read
  std::size_t index = 0;  // an array's next element
  // Scalar members.
  Value tag, type, value, hex, bits, gzip, long_head, incomplete, count, count_type, end_tag, version;
  // Children packed so far: the elements of "fields", "items" or "entries".
  bool has_children = false;
  bool children_are_entries = false;
  std::string children;
  std::int64_t child_count = 0;
  std::string open_entry;  // an entry without a value (allowed in an incomplete map)
  // What "kse" or "message" packed to, and a buffer's undecoded bytes.
  bool has_content = false;
  std::string content;
  bool has_undecoded = false;
  std::string undecoded;
  // An entry's key and value.
  bool has_key = false, has_value = false;
  std::string key_bytes, value_bytes;
};

// The bytes of the objects of a tree, each from its members once they are all
// read. Heads and integers keep the forms the tree records (a long head for a
// small tag, an integer wider than its value needs) where they can hold it.
class TreeBytes {
 public:
  explicit TreeBytes(const Compressor& gzip) : gzip_(gzip) {}

  // A field, element, key or value.
  void node(const Frame& f, std::string& out) const;
  // The fields of a buffer ("kse"), then the bytes that did not decode.
  std::string fields(const Frame& f) const;
  // The whole input.
  std::string root(const Frame& f) const;
  // A member that holds bytes as hex digits.
  static std::string hexOf(const Frame& f, const Value& v, const char* k);

 private:
  static std::int64_t integer(const Frame& f, const Value& v, const char* k, std::int64_t min,
                              std::int64_t max);
  static bool flag(const Frame& f, const Value& v, const char* k);
  std::string content(const Frame& f) const;
  std::string Recompressed(const std::string& original, const std::string& bytes,
                           const std::string& path) const;
  static void count(std::string& out, const Frame& f, std::int64_t n);
  static void real(std::string& out, const Frame& f, int type);

  const Compressor& gzip_;
};

}  // namespace pack_detail
}  // namespace navreq
