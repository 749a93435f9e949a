// The Kse output stream: writes values as tag/type-prefixed fields.
//
// The head layout and the type codes are in wire_types.h.
//
// Speed: a request writes about a thousand fields, so the per-field path is
// what costs. Every write is inlined into the record writer that calls it (the
// tag is then a constant and the head byte folds), checks the buffer's room
// once for the widest form of the whole field and stores head and payload
// directly. Only when that check fails does it take the out-of-line path that
// appends head and payload as separate pieces, each with its own growth check,
// so the buffer grows exactly as the piece-by-piece rule says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/kse/buffer_writer.h"
#include "navreq/kse/wire_format.h"
#include "navreq/kse/wire_types.h"
#include "navreq/numeric.h"

namespace navcore {
namespace ryn {

// Base of every wire record. A record writes its own fields, in ascending tag
// order, with `void writeTo(KseOutputStream<BufferWriter>&) const`.
struct KseStructBase {};

// Writes fields into a Writer (BufferWriter), each value with its head.
template <class Writer>
class KseOutputStream;

// Throws KseDecodeInvalidValue with "invalid string size, tag: %d, size: %u".
[[noreturn]] void throwStringTooLong(std::uint8_t tag, std::size_t size);

// Writes one field head.
struct DataHead {
  // Writes the head of a value of type code `type` at `tag`.
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

  // The bytes written so far.
  const char* data() const noexcept { return buf_.data(); }
  std::size_t length() const noexcept { return buf_.length(); }  // bytes written
  const Writer& buffer() const noexcept { return buf_; }         // the buffer itself

  // Integers of every width. The declared width only sets where the
  // smallest-fitting chain starts: 64 -> 32 -> 16 -> 8 bits -> zero head.
  // Unsigned types widen without sign to the next signed width (a uint32
  // field goes through the 64-bit rule and is never negative on the wire).
  // `char` is always one two's-complement byte, whatever its signedness.
  template <class T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
  NAVKSE_INLINE void write(T v, std::uint8_t tag) {
    if constexpr (std::is_same<T, bool>::value) {
      putInteger<8>(v ? 1 : 0, tag);
    } else if constexpr (std::is_same<T, char>::value) {
      putInteger<8>(navreq::WrapTo<std::int8_t>(v), tag);
    } else if constexpr (std::is_signed<T>::value) {
      putInteger<8 * static_cast<int>(sizeof(T))>(static_cast<std::int64_t>(v), tag);
    } else if constexpr (sizeof(T) < 8) {
      putInteger<16 * static_cast<int>(sizeof(T))>(static_cast<std::int64_t>(v), tag);
    } else {
      putInteger<64>(navreq::WrapTo<std::int64_t>(v), tag);
    }
  }

  // A float: its 4 IEEE bytes, big-endian.
  NAVKSE_INLINE void write(float v, std::uint8_t tag) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    putFixed(kKseFloat, tag, bits);
  }

  // A double: its 8 IEEE bytes, big-endian.
  NAVKSE_INLINE void write(double v, std::uint8_t tag) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    putFixed(kKseDouble, tag, bits);
  }

  // A string literal would otherwise convert to bool.
  void write(const char*, std::uint8_t) = delete;

  // Short form below 256 bytes, long form up to 100 MiB, an exception above.
  NAVKSE_INLINE void write(const std::string& s, std::uint8_t tag) {
    const std::size_t n = s.size();
    const std::size_t len = buf_.length();
    // Head, length byte and bytes are three pieces; one check when all fit.
    if (NAVKSE_LIKELY(n <= kKseMaxShortStringLength && buf_.room() >= 3 + n)) {
      char* p = buf_.at(len);
      std::size_t h = storeHead(p, kKseString1, tag);
      p[h++] = static_cast<char>(n);
      if (n != 0) std::memcpy(p + h, s.data(), n);
      buf_.setLength(len + h + n);
      return;
    }
    writeStringPieces(s, tag);
  }

  // Byte array: written in one piece as a simple list.
  NAVKSE_INLINE void write(const std::vector<char>& bytes, std::uint8_t tag) {
    const std::size_t n = bytes.size();
    const std::size_t len = buf_.length();
    // Head, element type byte, count (at most 5 bytes) and the bytes.
    if (NAVKSE_LIKELY(buf_.room() >= 8 && buf_.room() - 8 >= n)) {
      char* p = buf_.at(len);
      std::size_t k = storeHead(p, kKseSimpleList, tag);
      p[k++] = static_cast<char>(kKseSimpleListElement);
      k += storeIntegerAt<32>(p + k, countOf(n), 0);
      if (n != 0) std::memcpy(p + k, bytes.data(), n);
      buf_.setLength(len + k + n);
      return;
    }
    writeBytesPieces(bytes, tag);
  }

  // Unsigned bytes go out as an ordinary list, each byte zero-extended through
  // the 16-bit rule (0 -> 0C, 1..127 -> 00 xx, 128..255 -> 01 00 xx). Peers
  // expect exactly this; it is not the simple list of std::vector<char>.
  void write(const std::vector<unsigned char>& bytes, std::uint8_t tag) {
    const std::size_t n = bytes.size();
    // List head, count, then at most 3 bytes per element.
    if (buf_.room() >= 7 && (buf_.room() - 7) / 3 >= n) {
      const std::size_t len = buf_.length();
      char* const start = buf_.at(len);
      char* p = start + storeHead(start, kKseList, tag);
      p += storeIntegerAt<32>(p, countOf(n), 0);
      for (unsigned char b : bytes) {
        if (b == 0) {
          *p++ = static_cast<char>(kKseZero);
        } else if (b < 128) {
          p[0] = static_cast<char>(kKseInt8);
          p[1] = static_cast<char>(b);
          p += 2;
        } else {
          p[0] = static_cast<char>(kKseInt16);
          p[1] = 0;
          p[2] = static_cast<char>(b);
          p += 3;
        }
      }
      buf_.setLength(len + static_cast<std::size_t>(p - start));
      return;
    }
    putListHead(kKseList, tag, countOf(n));
    for (unsigned char b : bytes) putInteger<16>(b, 0);
  }

  // A list: its count, then each element at tag 0.
  template <class T>
  void write(const std::vector<T>& list, std::uint8_t tag) {
    putListHead(kKseList, tag, countOf(list.size()));
    for (const T& element : list) write(element, 0);
  }

  // Entries in the map's ascending key order.
  template <class K, class V>
  void write(const std::map<K, V>& map, std::uint8_t tag) {
    putListHead(kKseMap, tag, countOf(map.size()));
    for (const auto& entry : map) {
      write(entry.first, 0);
      write(entry.second, 1);
    }
  }

  // Nested record: begin head, the record's own fields, end head.
  template <class R, typename std::enable_if<std::is_base_of<KseStructBase, R>::value, int>::type = 0>
  NAVKSE_INLINE void write(const R& record, std::uint8_t tag) {
    putHead(kKseStructBegin, tag);
    record.writeTo(*this);
    putHead(kKseStructEnd, 0);
  }

 private:
  friend struct DataHead;

  // Counts are 32-bit signed on the wire; larger sizes keep their low bits.
  static std::int32_t countOf(std::size_t n) noexcept { return navreq::WrapTo<std::int32_t>(n); }

  // Stores an integer field (head and the form kseIntegerType picks) at `p`;
  // returns its size.
  template <int Bits>
  static NAVKSE_INLINE std::size_t storeIntegerAt(char* p, std::int64_t v, std::uint8_t tag) noexcept {
    const std::uint8_t type = kseIntegerType<Bits>(v);
    const std::size_t h = storeHead(p, type, tag);
    return h + storeIntegerPayload(p + h, type, v);
  }

  NAVKSE_INLINE void putHead(std::uint8_t type, std::uint8_t tag) {
    const std::size_t len = buf_.length();
    if (NAVKSE_LIKELY(buf_.hasRoom(2))) {
      buf_.setLength(len + storeHead(buf_.at(len), type, tag));
      return;
    }
    putHeadPiece(type, tag);
  }

  NAVKSE_NOINLINE void putHeadPiece(std::uint8_t type, std::uint8_t tag) {
    char head[2];
    buf_.append(head, storeHead(head, type, tag));
  }

  // Head and payload of an integer; at most 2 + Bits / 8 bytes in all.
  template <int Bits>
  NAVKSE_INLINE void putInteger(std::int64_t v, std::uint8_t tag) {
    const std::size_t len = buf_.length();
    if (NAVKSE_LIKELY(buf_.hasRoom(2 + Bits / 8))) {
      buf_.setLength(len + storeIntegerAt<Bits>(buf_.at(len), v, tag));
      return;
    }
    putIntegerPieces(v, tag);
  }

  // The head, then the payload (if any): two pieces, two growth checks. The
  // field is first stored whole with tag 0 (a one-byte head whose low bits
  // are the form), then appended piece by piece under the real tag.
  NAVKSE_NOINLINE void putIntegerPieces(std::int64_t v, std::uint8_t tag) {
    char field[9];
    const std::size_t n = storeIntegerAt<64>(field, v, 0);
    putHeadPiece(static_cast<std::uint8_t>(field[0] & 0x0F), tag);
    if (n > 1) buf_.append(field + 1, n - 1);
  }

  // Head, then the big-endian bits of a float or double.
  template <class U>
  NAVKSE_INLINE void putFixed(std::uint8_t type, std::uint8_t tag, U bits) {
    const std::size_t len = buf_.length();
    if (NAVKSE_LIKELY(buf_.hasRoom(2 + sizeof(U)))) {
      char* p = buf_.at(len);
      const std::size_t h = storeHead(p, type, tag);
      storeBigEndian(p + h, bits);
      buf_.setLength(len + h + sizeof(U));
      return;
    }
    putFixedPieces(type, tag, bits);
  }

  template <class U>
  NAVKSE_NOINLINE void putFixedPieces(std::uint8_t type, std::uint8_t tag, U bits) {
    putHeadPiece(type, tag);
    char payload[sizeof(U)];
    storeBigEndian(payload, bits);
    buf_.append(payload, sizeof(U));
  }

  // The head of a list or map and its element count.
  NAVKSE_INLINE void putListHead(std::uint8_t type, std::uint8_t tag, std::int32_t count) {
    const std::size_t len = buf_.length();
    if (NAVKSE_LIKELY(buf_.hasRoom(2 + 5))) {
      char* p = buf_.at(len);
      const std::size_t h = storeHead(p, type, tag);
      buf_.setLength(len + h + storeIntegerAt<32>(p + h, count, 0));
      return;
    }
    putHeadPiece(type, tag);
    putIntegerPieces(count, 0);
  }

  NAVKSE_NOINLINE void writeStringPieces(const std::string& s, std::uint8_t tag) {
    const std::size_t n = s.size();
    if (n <= kKseMaxShortStringLength) {
      putHeadPiece(kKseString1, tag);
      const char length = static_cast<char>(n);
      buf_.append(&length, 1);
      buf_.append(s.data(), n);
      return;
    }
    if (n > kKseMaxStringLength) throwStringTooLong(tag, n);
    putFixed(kKseString4, tag, static_cast<std::uint32_t>(n));
    buf_.append(s.data(), n);
  }

  NAVKSE_NOINLINE void writeBytesPieces(const std::vector<char>& bytes, std::uint8_t tag) {
    putHeadPiece(kKseSimpleList, tag);
    putHeadPiece(kKseInt8, 0);  // kKseSimpleListElement
    putInteger<32>(countOf(bytes.size()), 0);
    buf_.append(bytes.data(), bytes.size());
  }

  Writer buf_;
};

}  // namespace ryn
}  // namespace navcore
