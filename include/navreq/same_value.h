// Value equality of record members, for the operator== that the record
// declarations generate (navreq/kse/record.h, navreq/engine/reflect.h).
//
// Floating-point members compare by bit pattern, not by value: -0.0 differs
// from 0.0 and a NaN equals the same NaN. A record read back, or parsed back
// from JSON, is then equal to the one written exactly when every member came
// back bit for bit, which is what a round trip has to show.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <map>
#include <vector>

namespace navcore {

// Floats and doubles compare bit for bit: -0.0 differs from 0.0, a NaN equals
// the same NaN, so equality follows the bytes on the wire.
inline bool SameValue(float a, float b) noexcept { return std::memcmp(&a, &b, sizeof a) == 0; }
inline bool SameValue(double a, double b) noexcept { return std::memcmp(&a, &b, sizeof a) == 0; }

template <class T>
bool SameValue(const T& a, const T& b);
template <class T>
bool SameValue(const std::vector<T>& a, const std::vector<T>& b);
template <class T, std::size_t N>
bool SameValue(const std::array<T, N>& a, const std::array<T, N>& b);
template <class K, class V>
bool SameValue(const std::map<K, V>& a, const std::map<K, V>& b);

// Integers, strings, records (their own operator==).
template <class T>
bool SameValue(const T& a, const T& b) {
  return a == b;
}

// Lists: the same length and the same values in order.
template <class T>
bool SameValue(const std::vector<T>& a, const std::vector<T>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!SameValue(a[i], b[i])) return false;
  }
  return true;
}

// Arrays: the same values in order.
template <class T, std::size_t N>
bool SameValue(const std::array<T, N>& a, const std::array<T, N>& b) {
  for (std::size_t i = 0; i < N; ++i) {
    if (!SameValue(a[i], b[i])) return false;
  }
  return true;
}

// Maps: the same keys, each with the same value.
template <class K, class V>
bool SameValue(const std::map<K, V>& a, const std::map<K, V>& b) {
  if (a.size() != b.size()) return false;
  auto j = b.begin();
  for (auto i = a.begin(); i != a.end(); ++i, ++j) {
    if (!SameValue(i->first, j->first) || !SameValue(i->second, j->second)) return false;
  }
  return true;
}

}  // namespace navcore
