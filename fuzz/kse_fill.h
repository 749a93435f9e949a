// Fills any wire record from fuzzer bytes, field by field through the
// record's forEachField, so every record declared with NAVKSE_RECORD can be
// fuzzed without a line of its own here.
//
// Values lean towards the places where the encoding changes form: integers at
// the edges of the 8/16/32-bit ranges, NaN and infinities, strings at 255/256
// bytes, a few MiB, and exactly at or one past the 100 MiB limit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "fuzz_support.h"
#include "navreq/kse/output_stream.h"
#include "navreq/numeric.h"

namespace navreq {
namespace fuzz {

// Longest string the encoding carries.
constexpr std::size_t kStringLimit = navcore::ryn::kKseMaxStringLength;
// Second bytes that ask for a string exactly at the limit, or one byte over.
constexpr std::uint8_t kAtLimit = 0xA5;
constexpr std::uint8_t kOverLimit = 0x5A;
// Most elements of a list of records, strings or lists.
constexpr std::size_t kMaxCompoundElements = 2048;

// Keeps one input's records small enough to write in milliseconds. The one
// string at (or just past) the limit is allowed once per input and not
// counted against the byte budget.
struct FillBudget {
  std::size_t bytes = 8u << 20;     // contents of strings and byte arrays
  std::size_t elements = 1u << 16;  // list and map elements
  bool huge_string_used = false;
  int max_depth = 6;  // nested records below this keep their defaults
};

template <class T>
struct IsWireRecord : std::is_base_of<navcore::ryn::KseStructBase, T> {};

class RecordFiller {
 public:
  RecordFiller(ByteSource& src, FillBudget& budget) noexcept : src_(src), budget_(budget) {}

  // Every field: one time in four it keeps its default, otherwise it is filled.
  template <class R>
  void fillRecord(R& record, int depth) {
    record.forEachField([this, depth](std::uint8_t, const char*, auto& member) {
      if ((src_.u8() & 3) == 0) return;
      fill(member, depth);
    });
  }

  void fill(bool& v, int) { v = (src_.u8() & 1) != 0; }

  template <class T, typename std::enable_if<std::is_integral<T>::value && !std::is_same<T, bool>::value,
                                             int>::type = 0>
  void fill(T& v, int) {
    const std::uint8_t pick = src_.u8();
    if (pick < 96) {
      v = WrapTo<T>(kEdgeIntegers[pick % kEdgeIntegerCount]);
      return;
    }
    std::uint64_t raw = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) raw = (raw << 8) | src_.u8();
    v = WrapTo<T>(raw);
  }

  void fill(float& v, int) {
    const std::uint8_t pick = src_.u8();
    std::uint32_t bits = pick < 96 ? kEdgeFloatBits[pick % kEdgeFloatCount] : src_.u32();
    std::memcpy(&v, &bits, sizeof v);
  }

  void fill(double& v, int) {
    const std::uint8_t pick = src_.u8();
    std::uint64_t bits = pick < 96 ? kEdgeDoubleBits[pick % kEdgeDoubleCount] : src_.u64();
    std::memcpy(&v, &bits, sizeof v);
  }

  void fill(std::string& s, int) {
    const std::uint8_t pick = src_.u8();
    if (pick == 255) {
      // A string at the limit (still written) or one past it (the whole write
      // fails) takes a second byte to ask for it: 100 MiB strings make a run
      // slow, so random bytes seldom reach them.
      const std::uint8_t size_class = src_.u8();
      const bool at_limit = size_class == kAtLimit;
      const bool over_limit = size_class == kOverLimit;
      s.clear();
      if ((at_limit || over_limit) && !budget_.huge_string_used) {
        budget_.huge_string_used = true;
        s.assign(kStringLimit + (over_limit ? 1 : 0), static_cast<char>('a' + (src_.u8() % 26)));
      }
      return;
    }
    assignBytes(s, pick);
  }

  void fill(std::vector<char>& bytes, int) {
    std::string s;
    assignBytes(s, src_.u8());
    bytes.assign(s.begin(), s.end());
  }

  void fill(std::vector<unsigned char>& bytes, int) {
    std::string s;
    assignBytes(s, src_.u8() % 240);  // no MiB lists: each byte is a list element
    bytes.assign(s.begin(), s.end());
  }

  template <class T>
  void fill(std::vector<T>& list, int depth) {
    std::size_t n = count();
    // Scalars go up to 65535 elements; records, whose defaults alone take
    // hundreds of bytes, stop at 2048 so that one input stays quick.
    if (!std::is_arithmetic<T>::value && n > kMaxCompoundElements) n = kMaxCompoundElements;
    list.clear();
    list.resize(n);
    for (T& element : list) fill(element, depth);
  }

  template <class K, class V>
  void fill(std::map<K, V>& map, int depth) {
    const std::size_t n = count() % 8;
    map.clear();
    for (std::size_t i = 0; i < n; ++i) {
      K key{};
      fill(key, depth);
      fill(map[key], depth);
    }
  }

  template <class R, typename std::enable_if<IsWireRecord<R>::value, int>::type = 0>
  void fill(R& record, int depth) {
    if (depth >= budget_.max_depth) return;
    fillRecord(record, depth + 1);
  }

 private:
  static constexpr std::int64_t kEdgeIntegers[] = {0,
                                                   1,
                                                   -1,
                                                   127,
                                                   128,
                                                   -128,
                                                   -129,
                                                   255,
                                                   256,
                                                   32767,
                                                   32768,
                                                   -32768,
                                                   -32769,
                                                   65535,
                                                   65536,
                                                   2147483647,
                                                   2147483648,
                                                   -2147483647 - 1,
                                                   -2147483649,
                                                   4294967295,
                                                   4294967296,
                                                   std::numeric_limits<std::int64_t>::max(),
                                                   std::numeric_limits<std::int64_t>::min(),
                                                   269,
                                                   34856,
                                                   100};
  static constexpr std::size_t kEdgeIntegerCount = sizeof kEdgeIntegers / sizeof kEdgeIntegers[0];

  // Zeros of both signs, NaNs (quiet, negative, signalling, with payload),
  // infinities, the smallest subnormal, the largest finite values and the
  // int32 edges.
  static constexpr std::uint32_t kEdgeFloatBits[] = {
      0x00000000u, 0x80000000u, 0x7FC00000u, 0xFFC00000u, 0x7FA00000u, 0x7FC12345u, 0x7F800000u, 0xFF800000u,
      0x00000001u, 0x80000001u, 0x7F7FFFFFu, 0xFF7FFFFFu, 0x4F000000u, 0xCF000000u, 0x3F800000u, 0x3DCCCCCDu};
  static constexpr std::size_t kEdgeFloatCount = sizeof kEdgeFloatBits / sizeof kEdgeFloatBits[0];

  static constexpr std::uint64_t kEdgeDoubleBits[] = {
      0x0000000000000000u, 0x8000000000000000u, 0x7FF8000000000000u, 0xFFF8000000000000u,
      0x7FF4000000000000u, 0x7FF8000000001234u, 0x7FF0000000000000u, 0xFFF0000000000000u,
      0x0000000000000001u, 0x8000000000000001u, 0x7FEFFFFFFFFFFFFFu, 0xFFEFFFFFFFFFFFFFu,
      0x41E0000000000000u, 0xC1E0000000200000u, 0x7E37E43C8800759Cu, 0x3FF0000000000000u};
  static constexpr std::size_t kEdgeDoubleCount = sizeof kEdgeDoubleBits / sizeof kEdgeDoubleBits[0];

  // Element count of a list or map: mostly 0 to 15, sometimes up to 65535.
  std::size_t count() {
    const std::uint8_t pick = src_.u8();
    std::size_t n = (pick & 0xF0) == 0xF0 ? src_.u16() : (pick & 0x0F);
    if (n > budget_.elements) n = budget_.elements;
    budget_.elements -= n;
    return n;
  }

  // Bytes of a string or byte array of a length class picked by `pick`:
  //   0..199   up to 255 bytes taken from the input
  //   200..239 the lengths around the short/long string boundary
  //   240..249 up to 4 MiB of one repeated byte
  //   250..    empty
  void assignBytes(std::string& s, std::uint8_t pick) {
    static constexpr std::size_t kBoundaryLengths[] = {254, 255, 256, 257, 65535, 65536, 65537};
    std::size_t n = 0;
    bool from_input = false;
    if (pick < 200) {
      n = src_.u8();
      from_input = true;
    } else if (pick < 240) {
      n = kBoundaryLengths[pick % (sizeof kBoundaryLengths / sizeof kBoundaryLengths[0])];
    } else if (pick < 250) {
      n = (static_cast<std::size_t>(src_.u16()) + 1) * 64;
    }
    if (n > budget_.bytes) n = budget_.bytes;
    budget_.bytes -= n;
    const char fill_byte = static_cast<char>(src_.u8());
    s.assign(n, fill_byte);
    if (from_input) {
      const std::string taken = src_.bytes(n);
      if (!taken.empty()) std::memcpy(&s[0], taken.data(), taken.size());
    }
  }

  ByteSource& src_;
  FillBudget& budget_;
};

}  // namespace fuzz
}  // namespace navreq
