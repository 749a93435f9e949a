// pack's side of a dump's JSON tree: the members of one object as they stream
// in (pack.cpp reads them), the bytes they describe (pack_bytes.cpp), and the
// checks that no key of the tree goes unwritten (pack_check.cpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "navreq/read/pack.h"

namespace navreq {
namespace pack_detail {

// A tree that does not describe bytes: the JSON position of the offending
// node or key, and what is wrong. The packer adds the field path as diff
// names it before it becomes a PackError.
struct TreeFault {
  std::string path;
  std::string what;
  std::string dpath;  // the field path, when not that of the value being read
};

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

// Where a value's bytes were, as dump read them ("at", "len"), and where it is
// in the tree (JSON position, field path), for the offset checks.
struct Span {
  std::int64_t at = 0;
  std::int64_t len = 0;
  std::string path;
  std::string dpath;
};

// What the tree says of one value beyond the bytes pack writes from it
// (names, declared types, problems, record names, missing fields, why
// decoding stopped), in the order of the values. The same is read from the
// packed bytes and compared (pack_check.cpp).
struct Note {
  enum Role : std::uint8_t { kTop, kField, kElement, kKey, kValue, kProto };
  Role role = kTop;
  std::int64_t tag = -1;   // tag; a protocol-buffers field's number
  std::int64_t type = -1;  // head type; a protocol-buffers field's wire type
  std::string path;        // JSON position (the tree's side only)
  std::string dpath;       // field path (the tree's side only)
  struct Key {
    std::string key;
    std::string value;
    std::string path;  // JSON position of the key (the tree's side only)
  };
  std::vector<Key> keys;
};

// The members of one object (or array) of the tree that pack reads.
struct Frame {
  enum Kind {
    kRoot,
    kNode,
    kBuffer,        // "kse"
    kMessage,       // "message"
    kUndecoded,     // "undecoded"
    kEntry,         // a map entry {"key", "value"}
    kNodes,         // "fields" or "items"
    kEntries,       // "entries"
    kProtoFields,   // a message's "fields"
    kProtoField,    // one protocol-buffers field
    kMissing,       // "missing"
    kMissingEntry,  // one missing field
    kIgnore
  };
  Kind kind = kIgnore;
  std::string path;  // JSON position
  std::string key;   // an object's member being read
  std::size_t index = 0;
  Note::Role role = Note::kTop;  // kNode, kProtoField: where the value sits
  bool items = false;            // kNodes: a list's items, not a record's fields
  std::size_t note = 0;          // the Note this object adds to
  std::uint64_t repetition = 0;  // kProtoField: earlier fields of its number
  // Scalar members.
  Value tag, type, value, hex, bits, gzip, long_head, incomplete, count, count_type, end_tag, version;
  Value at, len, size, inflated, number, wire, raw, name, declared;
  // Children packed so far: the elements of "fields", "items" or "entries".
  bool has_children = false;
  bool children_are_entries = false;
  std::string children;
  std::int64_t child_count = 0;
  std::string open_entry;   // an entry without a value (allowed in an incomplete map)
  std::vector<Span> spans;  // the children's offsets
  std::map<std::uint64_t, std::uint64_t> repetitions;  // kProtoFields: field numbers seen
  // What "kse" or "message" packed to, and a buffer's undecoded bytes.
  bool has_content = false;
  std::string content;
  Value content_size;  // the "size" of that "kse" or "message"
  bool has_undecoded = false;
  std::string undecoded;
  Value undecoded_at;
  // An entry's key and value.
  bool has_key = false, has_value = false;
  std::string key_bytes, value_bytes;
  std::string key_text;  // the key as its value's path level names it
  bool key_integer = false;
};

// The bytes of the objects of a tree, each from its members once they are all
// read. Heads and integers keep the forms the tree records (a long head for a
// small tag, an integer wider than its value needs) where they can hold it.
class TreeBytes {
 public:
  explicit TreeBytes(const Compressor& gzip) : gzip_(gzip) {}

  // A field, element, key or value.
  void node(const Frame& f, std::string& out) const;
  // One protocol-buffers field.
  static void protoField(const Frame& f, std::string& out);
  // The fields of a buffer ("kse", "message"), then the bytes that did not decode.
  std::string fields(const Frame& f) const;
  // The whole input.
  std::string root(const Frame& f) const;
  // A member that holds bytes as hex digits.
  static std::string hexOf(const Frame& f, const Value& v, const char* k);
  // The bytes a node holds as "value" (text) or "hex", both agreeing when both are given.
  static std::string textOrHex(const Frame& f);
  static std::int64_t integer(const Frame& f, const Value& v, const char* k, std::int64_t min,
                              std::int64_t max);

 private:
  static bool flag(const Frame& f, const Value& v, const char* k);
  std::string content(const Frame& f) const;
  std::string Recompressed(const Frame& f, const std::string& bytes) const;
  static void count(std::string& out, const Frame& f, std::int64_t n);
  static void real(std::string& out, const Frame& f, int type);

  const Compressor& gzip_;
};

// ---- pack_check.cpp ----

// The offsets of a container's values against its own (docs/tree-format.md,
// "Keys that pack checks"): throws TreeFault for one that was edited.
void CheckOffsets(const Frame& owner);

// The notes read back from `bytes` (what dump shows for them) compared with
// the tree's: throws PackError naming the first key that was not written.
void CheckNotes(const std::string& bytes, const std::vector<Note>& tree);

}  // namespace pack_detail
}  // namespace navreq
