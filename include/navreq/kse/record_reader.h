// Reading records back: the reader behind every record's generated `readFrom`
// and the public entry `readRecord`.
//
//   navkse::common::Point point;
//   const ReadResult r = readRecord(bytes.data(), bytes.size(), point);
//   if (!r.ok()) for (const ReadProblem& p : r.problems) puts(p.toString().c_str());
//
// Strict mode (the default) stops at the first problem: a missing field, an
// unknown tag, a type mismatch, an integer outside the declared width, bytes
// that end early. Tolerant mode reads what it can, leaves the rest at the
// record's defaults and reports every problem; only damage that leaves no way
// to go on (truncation, a bad type code, too deep a nesting, a bad count or
// length, an end-of-record head out of place, the memory limit) stops it. The
// declared fields after the last one read are one problem, at the first of
// them: the record was cut short. Every problem carries the field path
// (`start.point.latitude`, `via_points[2].field19[0]`, an undeclared field by
// its tag) and the byte offset.
// Nothing throws out of readRecord.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "navreq/kse/input_stream.h"
#include "navreq/kse/reflection.h"

namespace navcore {
namespace ryn {

// Strict stops at the first problem; tolerant reads on where it can.
enum class ReadMode : std::uint8_t { kStrict, kTolerant };

// One thing wrong with the bytes read, and where.
struct ReadProblem {
  ReadProblemKind kind = ReadProblemKind::kInternal;  // what is wrong
  std::string path;                                   // field names from the root, list/map index in brackets
  std::size_t offset = 0;                             // byte offset in the bytes being read
  std::string detail;                                 // what was found
  std::string toString() const;  // "start.point.latitude @ 12: out of range (value 5000000000)"
};

// Appends the path level that names a map value by its key (the key's text:
// string bytes, or the decimal of an integer key when `integer`).
using KeyLevelSpeller = void (*)(std::string& path, std::string_view key, bool integer);

// The detail of the one problem that stands for `fields` (more than one)
// declared fields missing at the end of a record.
[[nodiscard]] std::string CutShortDetail(int fields);

// The details of value problems, shared by every reader so that each names
// the same things: "int32 declared, string read".
[[nodiscard]] std::string MismatchDetail(const char* declared, std::uint8_t type);
// "value 300, expected int8 (-128 to 127)".
[[nodiscard]] std::string OutOfRangeDetail(WireKind kind, std::int64_t value);
// "tag 3, expected 0".
[[nodiscard]] std::string UnexpectedTagDetail(std::uint8_t tag, int expected);

// How a record is read.
struct ReadOptions {
  ReadMode mode = ReadMode::kStrict;  // stop at the first problem, or read on
  std::string root;                   // prefix of every path ("body"), may be empty
  std::size_t memory_limit = 0;       // bytes of containers; 0: 64 x the input + 1 MiB
  // Null: a map value is named by its entry number and its key as `[i].key`.
  // Set: a map value is named by its key, spelt by this function, and a
  // problem of the key itself by the map's path (a key names its value, it
  // has no level of its own).
  KeyLevelSpeller key_level = nullptr;
};

// What reading a record found.
struct [[nodiscard]] ReadResult {
  std::vector<ReadProblem> problems;  // in the order found
  std::size_t consumed = 0;           // bytes read
  bool stopped = false;               // a problem ended reading early
  // No problem, read to the end.
  bool ok() const noexcept { return problems.empty() && !stopped; }
  explicit operator bool() const noexcept { return ok(); }  // ok()
};

// Tags seen while reading one record.
class FieldSet {
 public:
  // Whether `tag` was seen.
  NAVKSE_INLINE bool has(std::uint8_t tag) const noexcept { return (bits_[tag >> 6] >> (tag & 63)) & 1; }
  // Marks `tag` seen.
  NAVKSE_INLINE void set(std::uint8_t tag) noexcept { bits_[tag >> 6] |= std::uint64_t{1} << (tag & 63); }

 private:
  std::uint64_t bits_[4] = {0, 0, 0, 0};
};

namespace kse_detail {

// Fewest bytes one element of type T takes on the wire, which bounds a count
// by the bytes left.
template <class T>
struct MinWire {
  static constexpr std::size_t value = minWireSize(FieldType<T>::kind);
};

// The values an integer member of type T holds, as constants: the range check
// of every integer read is two compares, never a call.
template <class T>
constexpr std::int64_t kMinOf = integerKindMin(FieldType<T>::kind);
template <class T>
constexpr std::int64_t kMaxOf = integerKindMax(FieldType<T>::kind);

}  // namespace kse_detail

// Reads records field by field from a KseInputStream, recording problems with their paths.
class KseRecordReader {
 public:
  // Reads from `in`, adding what it finds wrong to `problems`.
  KseRecordReader(KseInputStream& in, const ReadOptions& options,
                  std::vector<ReadProblem>& problems) noexcept;

  // The stream read from.
  KseInputStream& stream() noexcept { return in_; }

  // Records a problem that ends reading (called by readRecord's catch).
  void stop(ReadProblemKind kind, std::size_t offset, const std::string& detail);

  // --- Called by the code NAVKSE_RECORD generates. ---

  // Fast path for fields in declared order: reads the next field into
  // `member` when it has this tag and a wire type its declared type accepts;
  // false (nothing consumed) otherwise.
  //
  // Integers, floats, doubles and strings first try the stream's one-check
  // path and leave everything unusual to the general path (out of line, one
  // copy per member type). Only a string's copy can fail there, so only it
  // names the field for the problem path.
  template <class T>
  NAVKSE_INLINE bool expect(std::uint8_t tag, T& member, const char* name) {
    if constexpr (std::is_integral<T>::value) {
      std::int64_t v;
      if (NAVKSE_LIKELY((in_.takeInteger<kse_detail::kMinOf<T>, kse_detail::kMaxOf<T>>(tag, v)))) {
        member = static_cast<T>(v);
        return true;
      }
      return expectAnyHead(tag, member, name);
    } else if constexpr (std::is_same<T, float>::value || std::is_same<T, double>::value) {
      using Bits = typename std::conditional<sizeof(T) == 4, std::uint32_t, std::uint64_t>::type;
      Bits bits;
      if (NAVKSE_LIKELY(
              in_.takeFixed(tag, FieldType<T>::kind == WireKind::kFloat ? kKseFloat : kKseDouble, bits))) {
        std::memcpy(&member, &bits, sizeof member);
        return true;
      }
      return expectAnyHead(tag, member, name);
    } else if constexpr (std::is_same<T, std::string>::value) {
      const char* data;
      std::size_t size;
      if (NAVKSE_LIKELY(in_.takeShortString(tag, data, size))) {
        if (size == 0) {
          member.clear();  // most strings of a request are empty: no call for them
        } else {
          field_ = name;  // an allocation that fails names the field
          member.assign(data, size);
        }
        return true;
      }
      return expectAnyHead(tag, member, name);
    } else {
      return expectHead(tag, member, name);
    }
  }

  // Consumes the end of the record being read, if it is next: the end head of
  // a nested record, the end of the input for a record written alone.
  NAVKSE_INLINE bool endOfRecord() noexcept { return record_depth_ == 0 ? in_.atEnd() : in_.takeEndHead(); }

  // The next field head of the record being read; false at its end (the end
  // head of a nested record, or the end of the input for a record written
  // alone).
  NAVKSE_INLINE bool nextField(KseHead& h) {
    if (record_depth_ == 0 && in_.atEnd()) {
      end_offset_ = in_.position();
      return false;
    }
    field_ = nullptr;
    h = in_.readHead();
    if (NAVKSE_LIKELY(h.type != kKseStructEnd)) return true;
    if (NAVKSE_UNLIKELY(record_depth_ == 0)) endOutsideRecord(h);
    if (NAVKSE_UNLIKELY(h.size == 2 && h.tag < 15)) longEndHead(h);
    end_offset_ = h.offset;
    return false;
  }

  // Reads the field whose head is `h` into `member`, noting its tag in `seen`; a tag out of order or seen
  // before is a problem. The slow path (the writer gives every field in
  // order, so `expect` reads them): out of line, one copy per member type
  // shared by every record, not one per field of each record's reader.
  template <class T>
  NAVKSE_NOINLINE void field(const KseHead& h, T& member, const char* name, FieldSet& seen, int& last,
                             int& count) {
    if (takeField(h, name, seen, last, count)) value(h, member);
  }
  // The bookkeeping of `field`, the same for every type: notes the tag; false
  // when it was seen before (reported, its value skipped).
  bool takeField(const KseHead& h, const char* name, FieldSet& seen, int& last, int& count);

  // The general path of `expect`: the head at the position, if it has this
  // tag and a fitting type, then the value whatever its form.
  template <class T>
  NAVKSE_INLINE bool expectHead(std::uint8_t tag, T& member, const char* name) {
    field_ = nullptr;  // a head cut short belongs to the record, not the field before it
    KseHead h;
    if (!in_.takeHeadIf(tag, h, [](std::uint8_t type) { return wireTypeFits(FieldType<T>::kind, type); })) {
      return false;
    }
    field_ = name;
    value(h, member);
    return true;
  }
  template <class T>
  NAVKSE_NOINLINE bool expectAnyHead(std::uint8_t tag, T& member, const char* name) {
    return expectHead(tag, member, name);
  }

  // A tag the record does not declare: a problem; its value is skipped.
  void unknownField(const KseHead& h);
  // The declared fields of `record` that `seen` lacks. Those below `last`,
  // the highest tag read, are missing one by one; those above it are where the
  // record was cut short, reported once at the first.
  void missingFields(const RecordInfo& record, const FieldSet& seen, int last);

  // --- Values by declared type. ---

  // An integer, checked against the range of T.
  template <class T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
  NAVKSE_INLINE void value(const KseHead& h, T& out) {
    if (NAVKSE_UNLIKELY(!isIntegerWire(h.type))) return mismatch(h, FieldType<T>::typeName());
    const std::int64_t v = in_.readInteger(h.type);
    if (NAVKSE_UNLIKELY(v < kse_detail::kMinOf<T> || v > kse_detail::kMaxOf<T>)) {
      return outOfRange(h, v, FieldType<T>::kind);
    }
    out = static_cast<T>(v);
  }

  // A float; any other head is a type mismatch.
  NAVKSE_INLINE void value(const KseHead& h, float& out) {
    if (NAVKSE_UNLIKELY(h.type != kKseFloat)) return mismatch(h, "float");
    out = in_.readFloat();
  }

  // A double; any other head is a type mismatch.
  NAVKSE_INLINE void value(const KseHead& h, double& out) {
    if (NAVKSE_UNLIKELY(h.type != kKseDouble)) return mismatch(h, "double");
    out = in_.readDouble();
  }

  // A string.
  NAVKSE_INLINE void value(const KseHead& h, std::string& out) {
    if (NAVKSE_UNLIKELY(h.type != kKseString1 && h.type != kKseString4)) return mismatch(h, "string");
    const KseSpan s = in_.readString(h.type);
    if (s.size == 0) {
      out.clear();  // most strings of a request are empty: no call for them
      return;
    }
    out.assign(s.data, s.size);
  }

  // A byte array.
  void value(const KseHead& h, Bytes& out);
  // Unsigned bytes: a list of integers.
  void value(const KseHead& h, UBytes& out);

  // A list, its count checked before allocating.
  template <class T>
  void value(const KseHead& h, std::vector<T>& out) {
    if (NAVKSE_UNLIKELY(h.type != kKseList)) return mismatch(h, "list");
    in_.enter(h.offset);
    const std::size_t n = in_.readCount(kse_detail::MinWire<T>::value);
    charge(n, sizeof(T), h.offset);
    out.clear();
    out.resize(n);
    const int seg = push();
    for (std::size_t i = 0; i < n; ++i) {
      if constexpr (std::is_integral<T>::value) {
        std::int64_t v;
        if (NAVKSE_LIKELY((in_.takeInteger<kse_detail::kMinOf<T>, kse_detail::kMaxOf<T>>(0, v)))) {
          out[i] = static_cast<T>(v);
          continue;
        }
      }
      segs_[seg].index = i;
      field_ = nullptr;
      const KseHead e = in_.readHead();
      if (NAVKSE_UNLIKELY(e.type == kKseStructEnd)) endInContainer(e);
      if (NAVKSE_UNLIKELY(e.tag != 0)) unexpectedTag(e, 0);
      value(e, out[i]);
    }
    pop(seg);
    in_.leave();
  }

  // A map, its count checked before allocating.
  template <class K, class V>
  void value(const KseHead& h, std::map<K, V>& out) {
    if (NAVKSE_UNLIKELY(h.type != kKseMap)) return mismatch(h, "map");
    in_.enter(h.offset);
    const std::size_t n = in_.readCount(kse_detail::MinWire<K>::value + kse_detail::MinWire<V>::value);
    charge(n, sizeof(K) + sizeof(V) + kMapNodeOverhead, h.offset);
    out.clear();
    const int seg = push();
    const bool keyed = key_level_ != nullptr;
    for (std::size_t i = 0; i < n; ++i) {
      segs_[seg].index = keyed ? kNoIndex : i;
      field_ = keyed ? nullptr : "key";
      const KseHead kh = in_.readHead();
      if (NAVKSE_UNLIKELY(kh.type == kKseStructEnd)) endInContainer(kh);
      if (NAVKSE_UNLIKELY(kh.tag != 0)) unexpectedTag(kh, 0);
      K key{};
      value(kh, key);
      if (keyed) {
        // Kept by the reader: a problem that ends reading names the path
        // after this frame is gone.
        if (keys_.size() <= static_cast<std::size_t>(seg)) keys_.resize(seg + 1);
        keys_[seg] = keyText(key);
        segs_[seg].keyed = true;
        segs_[seg].key_integer = std::is_integral<K>::value;
      }
      // The first value under a key is kept; a repeated key is reported at
      // its head, before its value.
      const bool repeated = !out.empty() && !(std::prev(out.end())->first < key) && out.count(key) != 0;
      if (NAVKSE_UNLIKELY(repeated)) report(ReadProblemKind::kDuplicateKey, kh.offset, "");
      field_ = nullptr;
      const KseHead vh = in_.readHead();
      if (NAVKSE_UNLIKELY(vh.type == kKseStructEnd)) endInContainer(vh);
      if (NAVKSE_UNLIKELY(vh.tag != 1)) unexpectedTag(vh, 1);
      V v{};
      value(vh, v);
      segs_[seg].keyed = false;
      if (!repeated) out.emplace_hint(out.end(), std::move(key), std::move(v));
    }
    pop(seg);
    in_.leave();
  }

  // A nested record.
  template <class R, typename std::enable_if<std::is_base_of<KseStructBase, R>::value, int>::type = 0>
  NAVKSE_INLINE void value(const KseHead& h, R& out) {
    if (NAVKSE_UNLIKELY(h.type != kKseStructBegin)) return mismatch(h, R::kseInfo().name);
    in_.enter(h.offset);
    const int seg = push();
    ++record_depth_;
    out.readFrom(*this);
    --record_depth_;
    pop(seg);
    in_.leave();
  }

 private:
  // A std::map node beyond its key and value (links and colour), rounded up.
  static constexpr std::size_t kMapNodeOverhead = 48;

  struct Segment {
    const char* name;
    std::size_t index;   // npos: no index
    bool keyed = false;  // a map value named by its key
    bool key_integer = false;
  };
  static constexpr std::size_t kNoIndex = static_cast<std::size_t>(-1);

  // Opens a path segment named after the current field; returns its slot.
  NAVKSE_INLINE int push() noexcept {
    const int seg = segments_++;
    segs_[seg].name = field_;
    segs_[seg].index = kNoIndex;
    segs_[seg].keyed = false;
    field_ = nullptr;
    return seg;
  }
  NAVKSE_INLINE void pop(int seg) noexcept {
    segments_ = seg;
    field_ = segs_[seg].name;
  }

  std::string path() const;

  static std::string keyText(const std::string& key) { return key; }
  template <class K>
  static std::string keyText(const K& key) {
    return std::to_string(key);
  }

  // Records a problem; in strict mode it ends reading (throws).
  void report(ReadProblemKind kind, std::size_t offset, const std::string& detail);
  // The head goes by value: a reference would keep it in memory on the hot path.
  NAVKSE_NOINLINE void mismatch(KseHead h, const char* expected);
  NAVKSE_NOINLINE void outOfRange(KseHead h, std::int64_t v, WireKind kind);
  NAVKSE_NOINLINE void unexpectedTag(KseHead h, int expected);
  // An end-of-record head where a list element, map key or value belongs:
  // nothing after it can be placed.
  // An end-of-record head at the top: the bytes after it belong to no record.
  [[noreturn]] NAVKSE_NOINLINE void endOutsideRecord(KseHead h);
  [[noreturn]] NAVKSE_NOINLINE void endInContainer(KseHead h);
  // An end-of-record head with a tag below 15 in the two-byte form, which
  // the writer never gives: where the record ends is in doubt.
  [[noreturn]] NAVKSE_NOINLINE void longEndHead(KseHead h);

  // Takes n elements of the given size from the memory allowance.
  NAVKSE_INLINE void charge(std::size_t n, std::size_t size, std::size_t offset) {
    if (NAVKSE_UNLIKELY(n > allowance_ / size)) overLimit(offset);
    allowance_ -= n * size;
  }
  [[noreturn]] NAVKSE_NOINLINE void overLimit(std::size_t offset);

  KseInputStream& in_;
  std::vector<ReadProblem>& problems_;
  const std::string root_;
  const ReadMode mode_;
  std::size_t allowance_;
  std::size_t end_offset_ = 0;
  int record_depth_ = 0;
  const char* field_ = nullptr;
  int unknown_tag_ = -1;  // an undeclared field being skipped: named by its tag
  const KeyLevelSpeller key_level_;
  int segments_ = 0;
  Segment segs_[kKseMaxDepth + 1];
  // The key of each keyed segment, by slot: only keyed reading (key_level)
  // grows it, so a reader without one constructs no string per level.
  std::vector<std::string> keys_;
};

// Reads `out` from bytes holding it written alone (its fields, no frame).
template <class R>
ReadResult readRecord(const void* data, std::size_t size, R& out, const ReadOptions& options = {}) noexcept {
  ReadResult result;
  KseInputStream in(data, size);
  try {
    KseRecordReader reader(in, options, result.problems);
    try {
      out.readFrom(reader);
    } catch (const KseReadError& e) {
      result.stopped = true;
      reader.stop(e.kind(), e.offset(), e.detail());
    } catch (const std::bad_alloc&) {
      result.stopped = true;
      reader.stop(ReadProblemKind::kOutOfMemory, in.position(), "");
    } catch (const std::exception& e) {
      result.stopped = true;
      reader.stop(ReadProblemKind::kInternal, in.position(), e.what());
    }
  } catch (...) {
    result.stopped = true;  // no room even for the problem: ok() is still false
  }
  result.consumed = in.position();
  return result;
}

// The same over the bytes of a vector.
template <class R>
ReadResult readRecord(const std::vector<char>& bytes, R& out, const ReadOptions& options = {}) noexcept {
  return readRecord(bytes.data(), bytes.size(), out, options);
}

}  // namespace ryn
}  // namespace navcore
