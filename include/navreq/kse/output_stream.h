// The Kse output stream: writes values as tag/type-prefixed fields.
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
// Integers take the smallest form that holds the value; floating-point values
// always go out at full width, zero included. All multi-byte numbers are
// big-endian whatever the host's order: they are shifted out byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/kse/buffer_writer.h"
#include "navreq/numeric.h"

namespace navcore {
namespace ryn {

// Base of every wire record. A record writes its own fields, in ascending tag
// order, with `void writeTo(KseOutputStream<BufferWriter>&) const`.
struct KseStructBase {};

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

// Longest string the encoding carries: 100 MiB.
constexpr std::size_t kKseMaxStringLength = 104857600;

template <class Writer>
class KseOutputStream;

// Throws KseDecodeInvalidValue with "invalid string size, tag: %d, size: %u".
[[noreturn]] void throwStringTooLong(std::uint8_t tag, std::size_t size);

// Writes one field head.
struct DataHead {
  template <class Writer>
  static void writeTo(KseOutputStream<Writer>& os, std::uint8_t type, std::uint8_t tag) {
    os.putHead(type, tag);
  }
};

template <class Writer>
class KseOutputStream {
 public:
  KseOutputStream() = default;
  KseOutputStream(const KseOutputStream&) = delete;
  KseOutputStream& operator=(const KseOutputStream&) = delete;

  const char* data() const noexcept { return buf_.data(); }
  std::size_t length() const noexcept { return buf_.length(); }
  const Writer& buffer() const noexcept { return buf_; }

  // Integers of every width. The declared width only sets where the
  // smallest-fitting chain starts: 64 -> 32 -> 16 -> 8 bits -> zero head.
  // Unsigned types widen without sign to the next signed width (a uint32
  // field goes through the 64-bit rule and is never negative on the wire).
  // `char` is always one two's-complement byte, whatever its signedness.
  template <class T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
  void write(T v, std::uint8_t tag) {
    if constexpr (std::is_same<T, bool>::value) {
      write8(v ? 1 : 0, tag);
    } else if constexpr (std::is_same<T, char>::value) {
      write8(navreq::WrapTo<std::int8_t>(v), tag);
    } else if constexpr (std::is_signed<T>::value) {
      if constexpr (sizeof(T) == 1) write8(static_cast<std::int8_t>(v), tag);
      else if constexpr (sizeof(T) == 2) write16(static_cast<std::int16_t>(v), tag);
      else if constexpr (sizeof(T) == 4) write32(static_cast<std::int32_t>(v), tag);
      else write64(static_cast<std::int64_t>(v), tag);
    } else {
      if constexpr (sizeof(T) == 1) write16(static_cast<std::int16_t>(v), tag);
      else if constexpr (sizeof(T) == 2) write32(static_cast<std::int32_t>(v), tag);
      else if constexpr (sizeof(T) == 4) write64(static_cast<std::int64_t>(v), tag);
      else write64(navreq::WrapTo<std::int64_t>(v), tag);
    }
  }

  void write(float v, std::uint8_t tag) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    putFixed<4>(kKseFloat, tag, bits);
  }

  void write(double v, std::uint8_t tag) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    putFixed<8>(kKseDouble, tag, bits);
  }

  // A string literal would otherwise convert to bool.
  void write(const char*, std::uint8_t) = delete;

  // Short form below 256 bytes, long form up to 100 MiB, an exception above.
  void write(const std::string& s, std::uint8_t tag);

  // Byte array: written in one piece as a simple list.
  void write(const std::vector<char>& bytes, std::uint8_t tag);

  // Unsigned bytes go out as an ordinary list, each byte zero-extended through
  // the 16-bit rule (0 -> 0C, 1..127 -> 00 xx, 128..255 -> 01 00 xx). Peers
  // expect exactly this; it is not the simple list of std::vector<char>.
  void write(const std::vector<unsigned char>& bytes, std::uint8_t tag);

  template <class T>
  void write(const std::vector<T>& list, std::uint8_t tag) {
    putHead(kKseList, tag);
    write32(countOf(list.size()), 0);
    for (const T& element : list) write(element, 0);
  }

  // Entries in the map's ascending key order.
  template <class K, class V>
  void write(const std::map<K, V>& map, std::uint8_t tag) {
    putHead(kKseMap, tag);
    write32(countOf(map.size()), 0);
    for (const auto& entry : map) {
      write(entry.first, 0);
      write(entry.second, 1);
    }
  }

  // Nested record: begin head, the record's own fields, end head.
  template <class R, typename std::enable_if<std::is_base_of<KseStructBase, R>::value, int>::type = 0>
  void write(const R& record, std::uint8_t tag) {
    putHead(kKseStructBegin, tag);
    record.writeTo(*this);
    putHead(kKseStructEnd, 0);
  }

 private:
  friend struct DataHead;

  // Counts are 32-bit signed on the wire; larger sizes keep their low bits.
  static std::int32_t countOf(std::size_t n) noexcept { return navreq::WrapTo<std::int32_t>(n); }

  static std::size_t encodeHead(char* out, std::uint8_t type, std::uint8_t tag) noexcept {
    if (tag < 15) {
      out[0] = static_cast<char>((tag << 4) | (type & 0x0F));
      return 1;
    }
    out[0] = static_cast<char>(0xF0 | (type & 0x0F));
    out[1] = static_cast<char>(tag);
    return 2;
  }

  template <std::size_t N>
  static void storeBigEndian(char* out, std::uint64_t value) noexcept {
    for (std::size_t i = 0; i < N; ++i) out[i] = static_cast<char>(value >> (8 * (N - 1 - i)));
  }

  void putHead(std::uint8_t type, std::uint8_t tag) {
    char head[2];
    buf_.append(head, encodeHead(head, type, tag));
  }

  // Head, then N payload bytes: two pieces. When both fit already, both
  // growth checks would pass, so they are written in one go.
  template <std::size_t N>
  void putFixed(std::uint8_t type, std::uint8_t tag, std::uint64_t value) {
    if (buf_.hasRoom(2 + N)) {
      char* p = buf_.tail();
      const std::size_t h = encodeHead(p, type, tag);
      storeBigEndian<N>(p + h, value);
      buf_.advance(h + N);
      return;
    }
    putHead(type, tag);
    char payload[N];
    storeBigEndian<N>(payload, value);
    buf_.append(payload, N);
  }

  void write8(std::int8_t v, std::uint8_t tag) {
    if (v == 0) {
      putHead(kKseZero, tag);
    } else {
      putFixed<1>(kKseInt8, tag, static_cast<std::uint8_t>(v));
    }
  }
  void write16(std::int16_t v, std::uint8_t tag) {
    if (v < -128 || v > 127) {
      putFixed<2>(kKseInt16, tag, static_cast<std::uint16_t>(v));
    } else {
      write8(static_cast<std::int8_t>(v), tag);
    }
  }
  void write32(std::int32_t v, std::uint8_t tag) {
    if (v < -32768 || v > 32767) {
      putFixed<4>(kKseInt32, tag, static_cast<std::uint32_t>(v));
    } else {
      write16(static_cast<std::int16_t>(v), tag);
    }
  }
  void write64(std::int64_t v, std::uint8_t tag) {
    if (v < INT32_MIN || v > INT32_MAX) {
      putFixed<8>(kKseInt64, tag, static_cast<std::uint64_t>(v));
    } else {
      write32(static_cast<std::int32_t>(v), tag);
    }
  }

  Writer buf_;
};

template <class Writer>
void KseOutputStream<Writer>::write(const std::string& s, std::uint8_t tag) {
  const std::size_t n = s.size();
  if (n < 256) {
    // Head, length byte and bytes are three pieces; one check when all fit.
    if (buf_.hasRoom(3 + n)) {
      char* p = buf_.tail();
      std::size_t h = encodeHead(p, kKseString1, tag);
      p[h++] = static_cast<char>(n);
      if (n != 0) std::memcpy(p + h, s.data(), n);
      buf_.advance(h + n);
      return;
    }
    putHead(kKseString1, tag);
    const char length = static_cast<char>(n);
    buf_.append(&length, 1);
    buf_.append(s.data(), n);
    return;
  }
  if (n > kKseMaxStringLength) throwStringTooLong(tag, n);
  putFixed<4>(kKseString4, tag, n);
  buf_.append(s.data(), n);
}

template <class Writer>
void KseOutputStream<Writer>::write(const std::vector<char>& bytes, std::uint8_t tag) {
  putHead(kKseSimpleList, tag);
  putHead(kKseInt8, 0);  // element type of the simple list: bytes
  write32(countOf(bytes.size()), 0);
  buf_.append(bytes.data(), bytes.size());
}

template <class Writer>
void KseOutputStream<Writer>::write(const std::vector<unsigned char>& bytes, std::uint8_t tag) {
  putHead(kKseList, tag);
  write32(countOf(bytes.size()), 0);
  for (unsigned char b : bytes) write16(static_cast<std::int16_t>(b), 0);
}

}  // namespace ryn
}  // namespace navcore
