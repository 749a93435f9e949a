// The Kse wire vocabulary shared by the writer, the reader and the tool: the
// four-bit type codes of a head and how a head is laid out. (The writer's
// choice of integer form is KseOutputStream::storeIntegerAt.)
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

// Hot-path hints of the writer and the reader.
#if defined(__GNUC__)
#define NAVKSE_INLINE inline __attribute__((always_inline))
#define NAVKSE_NOINLINE __attribute__((noinline))
#define NAVKSE_LIKELY(x) __builtin_expect(!!(x), 1)
#define NAVKSE_UNLIKELY(x) __builtin_expect(!!(x), 0)
#else
#define NAVKSE_INLINE inline
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

// Tags from this one on take the two-byte head.
constexpr std::uint8_t kKseFirstLongHeadTag = 15;

// Bytes of the head of a field at `tag`: 1, or 2 from kKseFirstLongHeadTag on.
constexpr std::size_t kseHeadSize(std::uint8_t tag) noexcept { return tag < kKseFirstLongHeadTag ? 1 : 2; }

// Whether a head of this type carries an integer (any width, or the zero head).
constexpr bool isIntegerWire(std::uint8_t type) noexcept { return type <= kKseInt64 || type == kKseZero; }

// Short name of a type code, for messages and listings.
constexpr const char* kseTypeName(std::uint8_t type) noexcept {
  switch (type) {
    case kKseInt8:
      return "int8";
    case kKseInt16:
      return "int16";
    case kKseInt32:
      return "int32";
    case kKseInt64:
      return "int64";
    case kKseFloat:
      return "float";
    case kKseDouble:
      return "double";
    case kKseString1:
      return "string1";
    case kKseString4:
      return "string4";
    case kKseMap:
      return "map";
    case kKseList:
      return "list";
    case kKseStructBegin:
      return "struct-begin";
    case kKseStructEnd:
      return "struct-end";
    case kKseZero:
      return "zero";
    case kKseSimpleList:
      return "simple-list";
    default:
      return "unknown";
  }
}

// The integer-form ladder, the one place that states it: the type code an
// integer of declared width `Bits` goes out with. The declared width only sets
// where the chain starts (64 -> 32 -> 16 -> 8 bits -> zero head); each step is
// taken while the value fits the next smaller signed width.
template <int Bits>
constexpr std::uint8_t kseIntegerType(std::int64_t v) noexcept {
  if (v == 0) return kKseZero;
  if (Bits == 8 || (v >= -128 && v <= 127)) return kKseInt8;
  if (Bits == 16 || (v >= -32768 && v <= 32767)) return kKseInt16;
  if (Bits == 32 || (v >= INT32_MIN && v <= INT32_MAX)) return kKseInt32;
  return kKseInt64;
}

// Payload bytes after the head of an integer form (0 for the zero head).
constexpr std::size_t kseIntegerPayloadSize(std::uint8_t type) noexcept {
  return type == kKseInt8 ? 1 : type == kKseInt16 ? 2 : type == kKseInt32 ? 4 : type == kKseInt64 ? 8 : 0;
}

}  // namespace ryn
}  // namespace navcore
