// The byte layout of heads and fixed-width payloads, below the output stream:
// stores into a caller's buffer, no growth, no choice of form. The output
// stream picks the forms a writer gives (the smallest integer, the one-byte
// head below tag 15); a byte-exact copy of read bytes (the reading library's
// pack) calls these directly to keep whatever forms it was given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "navreq/kse/wire_types.h"

namespace navcore {
namespace ryn {

// Most bytes one head takes.
constexpr std::size_t kKseMaxHeadSize = 2;

// The byte after a simple list's head: the type of its elements, bytes.
constexpr std::uint8_t kKseSimpleListElement = kKseInt8 << 4;

// Big-endian stores of 2, 4 and 8 bytes. The shift loop is the definition;
// where the compiler knows the host's byte order, one swapped store does the
// same in fewer instructions (measured: the plain loop makes the route body
// write about 11 % slower). Identical bytes on every host: the test suite runs
// on little-endian x86-64 and aarch64 and on big-endian s390x.
template <class U>
NAVKSE_INLINE void storeBigEndian(char* out, U value) noexcept {
#if defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  if constexpr (sizeof(U) == 2) value = __builtin_bswap16(value);
  if constexpr (sizeof(U) == 4) value = __builtin_bswap32(value);
  if constexpr (sizeof(U) == 8) value = __builtin_bswap64(value);
  std::memcpy(out, &value, sizeof value);
#elif defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  std::memcpy(out, &value, sizeof value);
#else
  for (std::size_t i = 0; i < sizeof(U); ++i) {
    out[i] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * (sizeof(U) - 1 - i)));
  }
#endif
}

// Writes the two-byte head at `out`, whatever the tag; returns 2. Readers
// accept it for any tag; the writer uses it from kKseFirstLongHeadTag on.
NAVKSE_INLINE std::size_t storeLongHead(char* out, std::uint8_t type, std::uint8_t tag) noexcept {
  out[0] = static_cast<char>(0xF0 | (type & 0x0F));
  out[1] = static_cast<char>(tag);
  return 2;
}

// Writes the head at `out` in the form its tag takes; returns its size (1 or 2).
NAVKSE_INLINE std::size_t storeHead(char* out, std::uint8_t type, std::uint8_t tag) noexcept {
  if (tag < kKseFirstLongHeadTag) {
    out[0] = static_cast<char>((tag << 4) | (type & 0x0F));
    return 1;
  }
  return storeLongHead(out, type, tag);
}

// Writes the payload of integer form `type` (kKseInt8 .. kKseInt64, or
// nothing for kKseZero) at `out`; returns its size. `v` must fit the form
// (kseIntegerFits); only its low bytes are stored.
NAVKSE_INLINE std::size_t storeIntegerPayload(char* out, std::uint8_t type, std::int64_t v) noexcept {
  switch (type) {
    case kKseZero:
      return 0;
    case kKseInt8:
      out[0] = static_cast<char>(static_cast<std::uint8_t>(v));
      return 1;
    case kKseInt16:
      storeBigEndian(out, static_cast<std::uint16_t>(v));
      return 2;
    case kKseInt32:
      storeBigEndian(out, static_cast<std::uint32_t>(v));
      return 4;
    default:
      storeBigEndian(out, static_cast<std::uint64_t>(v));
      return 8;
  }
}

}  // namespace ryn
}  // namespace navcore
