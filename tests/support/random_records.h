// Random wire records and engine parameter records for round-trip tests:
// every field of any record filled through its field visitor, leaning on the values where the encoding
// changes form (integer range edges, NaN and infinities, strings of 255 and 256 bytes, empty and nested
// containers). Test-side only: nothing of the library's reading or writing is used here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "navreq/kse/record.h"

namespace randrec {

// What an engine parameter record's forEachField accepts.
struct NamedProbe {
  template <class T>
  void operator()(const char*, T&) const {}
};

class Filler {
 public:
  explicit Filler(std::uint64_t seed) : rng_(seed) {}

  template <class R,
            typename std::enable_if<std::is_base_of<navcore::ryn::KseStructBase, R>::value, int>::type = 0>
  void fill(R& record, int depth = 0) {
    if (depth > kMaxDepth) return;  // deeper records keep their defaults
    record.forEachField([this, depth](std::uint8_t, const char*, auto& member) {
      if (pick(5) == 0) return;  // one field in five keeps its default
      fill(member, depth + 1);
    });
  }

  // Engine parameter records: visit(name, member).
  template <class R,
            typename std::enable_if<!std::is_base_of<navcore::ryn::KseStructBase, R>::value, int>::type = 0,
            class = decltype(std::declval<R&>().forEachField(NamedProbe{}))>
  void fill(R& record, int depth = 0) {
    if (depth > kMaxDepth) return;
    record.forEachField([this, depth](const char*, auto& member) {
      if (pick(5) == 0) return;
      fill(member, depth + 1);
    });
  }

  template <class T, std::size_t N>
  void fill(std::array<T, N>& values, int depth) {
    for (T& v : values) fill(v, depth + 1);
  }

  void fill(bool& v, int) { v = pick(2) != 0; }

  template <class T, typename std::enable_if<std::is_integral<T>::value && !std::is_same<T, bool>::value,
                                             int>::type = 0>
  void fill(T& v, int) {
    using L = std::numeric_limits<T>;
    const std::int64_t edges[] = {0,
                                  1,
                                  -1,
                                  127,
                                  -128,
                                  128,
                                  -129,
                                  255,
                                  256,
                                  32767,
                                  -32768,
                                  32768,
                                  -32769,
                                  65535,
                                  2147483647,
                                  -2147483647 - 1,
                                  2147483648LL,
                                  -2147483649LL,
                                  4294967295LL,
                                  std::numeric_limits<std::int64_t>::max(),
                                  std::numeric_limits<std::int64_t>::min()};
    std::uint64_t raw;
    if (pick(2) == 0) {
      raw = static_cast<std::uint64_t>(edges[pick(sizeof edges / sizeof edges[0])]);
    } else {
      raw = rng_();
    }
    // Keep the value inside T's range by its low bits (two's complement).
    typename std::make_unsigned<T>::type bits = static_cast<typename std::make_unsigned<T>::type>(raw);
    std::memcpy(&v, &bits, sizeof v);
    static_assert(L::is_integer, "integers only");
  }

  void fill(float& v, int) {
    const std::uint32_t edges[] = {0x00000000u, 0x80000000u, 0x7FC00000u, 0x7F800000u, 0xFF800000u,
                                   0x7FA00001u, 0x00000001u, 0x7F7FFFFFu, 0x3F800000u};
    const std::uint32_t bits =
        pick(2) == 0 ? edges[pick(sizeof edges / sizeof edges[0])] : static_cast<std::uint32_t>(rng_());
    std::memcpy(&v, &bits, sizeof v);
  }

  void fill(double& v, int) {
    const std::uint64_t edges[] = {0,
                                   0x8000000000000000ull,
                                   0x7FF8000000000000ull,
                                   0x7FF0000000000000ull,
                                   0xFFF0000000000000ull,
                                   0x7FF4000000000001ull,
                                   1,
                                   0x3FF0000000000000ull};
    const std::uint64_t bits = pick(2) == 0 ? edges[pick(sizeof edges / sizeof edges[0])] : rng_();
    std::memcpy(&v, &bits, sizeof v);
  }

  void fill(std::string& s, int) { s = text(); }

  void fill(std::vector<char>& bytes, int) {
    const std::string t = text();
    bytes.assign(t.begin(), t.end());
  }

  void fill(std::vector<unsigned char>& bytes, int) {
    bytes.resize(count());
    for (unsigned char& b : bytes) b = static_cast<unsigned char>(pick(3) == 0 ? 0 : rng_());
  }

  template <class T>
  void fill(std::vector<T>& list, int depth) {
    list.resize(count());
    for (T& element : list) fill(element, depth + 1);
  }

  template <class K, class V>
  void fill(std::map<K, V>& map, int depth) {
    const std::size_t n = count();
    map.clear();
    for (std::size_t i = 0; i < n; ++i) {
      K key{};
      fill(key, depth + 1);
      V value{};
      fill(value, depth + 1);
      map[key] = std::move(value);
    }
  }

 private:
  static constexpr int kMaxDepth = 3;

  std::size_t pick(std::size_t n) { return static_cast<std::size_t>(rng_() % n); }

  // Mostly 0-3 elements, now and then a longer run.
  std::size_t count() { return pick(32) == 0 ? 4 + pick(8) : pick(3); }

  std::string text() {
    std::size_t n;
    switch (pick(32)) {
      case 0:
        n = 0;
        break;
      case 1:
        n = 255;
        break;
      case 2:
        n = 256;
        break;
      case 3:
        n = 257 + pick(300);
        break;
      default:
        n = pick(16);
        break;
    }
    std::string s(n, '\0');
    for (char& c : s) c = static_cast<char>(rng_());
    return s;
  }

  std::mt19937_64 rng_;
};

// Field-by-field equality; floating-point values compare by bit pattern.
inline bool Same(bool a, bool b) { return a == b; }
template <class T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
bool Same(T a, T b) {
  return a == b;
}
inline bool Same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }
inline bool Same(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
inline bool Same(const std::string& a, const std::string& b) { return a == b; }
template <class T>
bool Same(const std::vector<T>& a, const std::vector<T>& b);
template <class K, class V>
bool Same(const std::map<K, V>& a, const std::map<K, V>& b);

template <class R,
          typename std::enable_if<std::is_base_of<navcore::ryn::KseStructBase, R>::value, int>::type = 0>
bool Same(const R& a, const R& b) {
  std::vector<const void*> others;
  b.forEachField([&](std::uint8_t, const char*, const auto& member) { others.push_back(&member); });
  std::size_t i = 0;
  bool same = true;
  a.forEachField([&](std::uint8_t, const char*, const auto& member) {
    using T = typename std::decay<decltype(member)>::type;
    same = same && Same(member, *static_cast<const T*>(others[i]));
    ++i;
  });
  return same;
}

template <class T>
bool Same(const std::vector<T>& a, const std::vector<T>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!Same(a[i], b[i])) return false;
  }
  return true;
}

template <class K, class V>
bool Same(const std::map<K, V>& a, const std::map<K, V>& b) {
  if (a.size() != b.size()) return false;
  auto j = b.begin();
  for (auto i = a.begin(); i != a.end(); ++i, ++j) {
    if (!Same(i->first, j->first) || !Same(i->second, j->second)) return false;
  }
  return true;
}

}  // namespace randrec
