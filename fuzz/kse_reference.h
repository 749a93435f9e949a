// A second, deliberately plain writer of the Kse encoding, used to check the
// real one byte for byte. It shares nothing with KseOutputStream: every rule
// is spelled out again here, appending to a std::string one byte at a time,
// with no buffer growth, fast paths or fused pieces.
//
//   head        tag < 15: one byte (tag << 4 | type); else 0xF0 | type, then tag
//   integer     0 -> type 12 and nothing else; otherwise the smallest of
//               1, 2, 4, 8 big-endian bytes (types 0..3) that holds the value
//   float       type 4, 4 bytes of the bit pattern; double: type 5, 8 bytes
//   string      < 256 bytes: type 6, length byte; up to 100 MiB: type 7,
//               4-byte length; longer: the whole write fails
//   byte array  type 13, a 0x00 byte, count as an integer at tag 0, the bytes
//   list        type 9, count as an integer at tag 0, elements at tag 0
//   map         type 8, count, then key at tag 0 and value at tag 1
//   record      type 10, its fields, the byte 0x0B
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/kse/record.h"
#include "navreq/numeric.h"

namespace navreq {
namespace fuzz {

class ReferenceEncoder {
 public:
  // Longest string the encoding carries: 100 MiB.
  static constexpr std::size_t kMaxString = 104857600;

  // The fields of a record written alone (no begin/end heads).
  template <class R>
  void fields(const R& record) {
    ReferenceEncoder& self = *this;
    record.forEachField(
        [&self](std::uint8_t tag, const char*, const auto& member) { self.put(member, tag); });
  }

  const std::string& bytes() const noexcept { return out_; }
  // True when some string was longer than the encoding carries: the real
  // writer must then fail the whole record.
  bool overLimit() const noexcept { return over_limit_; }

  // Bytes that a record of these fields takes, for size checks without the
  // bytes themselves.
  std::size_t size() const noexcept { return out_.size(); }

  void put(bool v, unsigned tag) { integer(v ? 1 : 0, tag); }
  void put(char v, unsigned tag) { integer(WrapTo<std::int8_t>(v), tag); }
  void put(signed char v, unsigned tag) { integer(v, tag); }
  void put(unsigned char v, unsigned tag) { integer(v, tag); }
  void put(std::int16_t v, unsigned tag) { integer(v, tag); }
  void put(std::int32_t v, unsigned tag) { integer(v, tag); }
  void put(std::int64_t v, unsigned tag) { integer(v, tag); }
  void put(std::uint32_t v, unsigned tag) { integer(static_cast<std::int64_t>(v), tag); }

  void put(float v, unsigned tag) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    head(tag, 4);
    bigEndian(bits, 4);
  }
  void put(double v, unsigned tag) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    head(tag, 5);
    bigEndian(bits, 8);
  }

  void put(const std::string& s, unsigned tag) {
    if (s.size() < 256) {
      head(tag, 6);
      bigEndian(s.size(), 1);
    } else if (s.size() <= kMaxString) {
      head(tag, 7);
      bigEndian(s.size(), 4);
    } else {
      over_limit_ = true;
      return;
    }
    out_ += s;
  }

  void put(const std::vector<char>& bytes, unsigned tag) {
    head(tag, 13);
    out_.push_back('\0');
    integer(WrapTo<std::int32_t>(bytes.size()), 0);
    out_.append(bytes.data(), bytes.size());
  }

  template <class T>
  void put(const std::vector<T>& list, unsigned tag) {
    head(tag, 9);
    integer(WrapTo<std::int32_t>(list.size()), 0);
    for (const T& element : list) put(element, 0);
  }

  template <class K, class V>
  void put(const std::map<K, V>& map, unsigned tag) {
    head(tag, 8);
    integer(WrapTo<std::int32_t>(map.size()), 0);
    for (const auto& entry : map) {
      put(entry.first, 0);
      put(entry.second, 1);
    }
  }

  template <class R,
            typename std::enable_if<std::is_base_of<::navcore::ryn::KseStructBase, R>::value, int>::type = 0>
  void put(const R& record, unsigned tag) {
    head(tag, 10);
    fields(record);
    out_.push_back('\x0B');
  }

 private:
  void head(unsigned tag, unsigned type) {
    if (tag < 15) {
      out_.push_back(static_cast<char>((tag << 4) | type));
    } else {
      out_.push_back(static_cast<char>(0xF0 | type));
      out_.push_back(static_cast<char>(tag));
    }
  }

  void bigEndian(std::uint64_t v, int n) {
    for (int i = n - 1; i >= 0; --i) out_.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
  }

  void integer(std::int64_t v, unsigned tag) {
    if (v == 0) {
      head(tag, 12);
    } else if (v >= -128 && v <= 127) {
      head(tag, 0);
      bigEndian(static_cast<std::uint64_t>(v), 1);
    } else if (v >= -32768 && v <= 32767) {
      head(tag, 1);
      bigEndian(static_cast<std::uint64_t>(v), 2);
    } else if (v >= -2147483648LL && v <= 2147483647LL) {
      head(tag, 2);
      bigEndian(static_cast<std::uint64_t>(v), 4);
    } else {
      head(tag, 3);
      bigEndian(static_cast<std::uint64_t>(v), 8);
    }
  }

  std::string out_;
  bool over_limit_ = false;
};

}  // namespace fuzz
}  // namespace navreq
