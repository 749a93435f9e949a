// The Kse wire vocabulary shared by the writer, the reader and the tool: the
// four-bit type codes of a head and how a head is laid out. (The writer's
// choice of integer form is kseIntegerType below; the stores that lay the
// bytes out are in wire_format.h.)
//
// Every value on the wire is preceded by a head that carries the field's tag and
// a four-bit type code:
//
//   tag 0..14    one byte    [ tag (high 4 bits) | type (low 4 bits) ]
//   tag 15..255  two bytes   [ 0xF0 | type ] [ tag ]
//
//   type  payload after the head
//   0     8-bit integer (bool, char): 1 byte
//   1     16-bit integer: 2 bytes big-endian
//   2     32-bit integer: 4 bytes big-endian
//   3     64-bit integer: 8 bytes big-endian
//   4     float: IEEE-754 single bits, 4 bytes big-endian
//   5     double: IEEE-754 double bits, 8 bytes big-endian
//   6     short string: 1 length byte, then the bytes
//   7     long string: 4-byte big-endian length, then the bytes
//   8     map: count (int, tag 0), then key (tag 0) / value (tag 1) pairs
//   9     list: count (int, tag 0), then the elements (tag 0)
//   10    start of a nested record; its fields follow
//   11    end of a nested record (always written as the byte 0x0B)
//   12    integer zero: nothing follows
//   13    simple list (byte array): 0x00, count (int, tag 0), the raw bytes
//
// Codes 14 and 15 are unused. Integers take the smallest form that holds the
// value; floating-point values always go out at full width, zero included. All
// multi-byte numbers are big-endian whatever the host's order.
#pragma once

#include <cstddef>
#include <cstdint>

// Hot-path hints of the writer and the reader. The size configuration
// (NAVREQ_SIZE_OPTIMIZED, defined for every user of the libraries) leaves
// inlining to the compiler's -Os judgement: forced inlining copies every
// field's write and read into each record's code.
#if defined(__GNUC__) && !defined(NAVREQ_SIZE_OPTIMIZED)
#define NAVKSE_INLINE inline __attribute__((always_inline))
#else
#define NAVKSE_INLINE inline
#endif
#if defined(__GNUC__)
#define NAVKSE_NOINLINE __attribute__((noinline))
#define NAVKSE_LIKELY(x) __builtin_expect(!!(x), 1)
#define NAVKSE_UNLIKELY(x) __builtin_expect(!!(x), 0)
#else
#define NAVKSE_NOINLINE
#define NAVKSE_LIKELY(x) (x)
#define NAVKSE_UNLIKELY(x) (x)
#endif

namespace navcore {
namespace ryn {

// Type codes of the head's low four bits.
enum KseType : std::uint8_t {
  kKseInt8 = 0,
  kKseInt16 = 1,
  kKseInt32 = 2,
  kKseInt64 = 3,
  kKseFloat = 4,
  kKseDouble = 5,
  kKseString1 = 6,
  kKseString4 = 7,
  kKseMap = 8,
  kKseList = 9,
  kKseStructBegin = 10,
  kKseStructEnd = 11,
  kKseZero = 12,
  kKseSimpleList = 13,
};

// Highest type code in use; 14 and 15 never appear in a valid head.
constexpr std::uint8_t kKseLastType = kKseSimpleList;

// Longest string the encoding carries: 100 MiB.
constexpr std::size_t kKseMaxStringLength = 104857600;

// Longest string the short form carries: its length is one byte.
constexpr std::size_t kKseMaxShortStringLength = 255;

// The form a string of `n` bytes goes out in.
constexpr std::uint8_t kseStringType(std::size_t n) noexcept {
  return n <= kKseMaxShortStringLength ? kKseString1 : kKseString4;
}

// Tags from this one on take the two-byte head.
constexpr std::uint8_t kKseFirstLongHeadTag = 15;

// Bytes of the head of a field at `tag`: 1, or 2 from kKseFirstLongHeadTag on.
constexpr std::size_t kseHeadSize(std::uint8_t tag) noexcept { return tag < kKseFirstLongHeadTag ? 1 : 2; }

// Whether a head of this type carries an integer (any width, or the zero head).
constexpr bool isIntegerWire(std::uint8_t type) noexcept { return type <= kKseInt64 || type == kKseZero; }

// Names of the sixteen type codes. `name` tells the codes apart, for messages
// about a head ("string1 read"); `shown` is what a value read by its head
// alone is listed as, in the words the declared types use ("string").
struct KseTypeNames {
  const char* name;   // tells the codes apart
  const char* shown;  // what a value read by its head alone is listed as
};
// The names of each type code, indexed by the code.
inline constexpr KseTypeNames kKseTypeNames[16] = {
    {"int8", "int8"},   {"int16", "int16"},       {"int32", "int32"},         {"int64", "int64"},
    {"float", "float"}, {"double", "double"},     {"string1", "string"},      {"string4", "string"},
    {"map", "map"},     {"list", "list"},         {"struct-begin", "struct"}, {"struct-end", "end"},
    {"zero", "zero"},   {"simple-list", "bytes"}, {"unknown", "type14"},      {"unknown", "type15"},
};

// Name of a type code, for messages about the head itself.
constexpr const char* kseTypeName(std::uint8_t type) noexcept { return kKseTypeNames[type & 15].name; }

// Name of a type code where a value is listed by its head alone.
constexpr const char* kseTypeShownName(std::uint8_t type) noexcept { return kKseTypeNames[type & 15].shown; }

// The signed range each integer form carries (the zero head: 0 alone; other
// codes carry no integer).
constexpr std::int64_t kseIntegerMin(std::uint8_t type) noexcept {
  return type == kKseInt8    ? INT8_MIN
         : type == kKseInt16 ? INT16_MIN
         : type == kKseInt32 ? INT32_MIN
         : type == kKseInt64 ? INT64_MIN
                             : 0;
}
constexpr std::int64_t kseIntegerMax(std::uint8_t type) noexcept {
  return type == kKseInt8    ? INT8_MAX
         : type == kKseInt16 ? INT16_MAX
         : type == kKseInt32 ? INT32_MAX
         : type == kKseInt64 ? INT64_MAX
                             : 0;
}
constexpr bool kseIntegerFits(std::uint8_t type, std::int64_t v) noexcept {
  return isIntegerWire(type) && v >= kseIntegerMin(type) && v <= kseIntegerMax(type);
}

// The integer-form ladder, the one place that states it: the type code an
// integer of declared width `Bits` goes out with. The declared width only sets
// where the chain starts (64 -> 32 -> 16 -> 8 bits -> zero head); each step is
// taken while the value fits the next smaller signed width.
template <int Bits>
constexpr std::uint8_t kseIntegerType(std::int64_t v) noexcept {
  if (v == 0) return kKseZero;
  if (Bits == 8 || kseIntegerFits(kKseInt8, v)) return kKseInt8;
  if (Bits == 16 || kseIntegerFits(kKseInt16, v)) return kKseInt16;
  if (Bits == 32 || kseIntegerFits(kKseInt32, v)) return kKseInt32;
  return kKseInt64;
}

// Payload bytes after the head of an integer form (0 for the zero head).
constexpr std::size_t kseIntegerPayloadSize(std::uint8_t type) noexcept {
  return type == kKseInt8 ? 1 : type == kKseInt16 ? 2 : type == kKseInt32 ? 4 : type == kKseInt64 ? 8 : 0;
}

}  // namespace ryn
}  // namespace navcore
