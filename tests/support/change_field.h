// Changing one field of a record, whatever its type, so that the record is no
// longer equal to the one it was copied from. Test-side only.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/kse/output_stream.h"

namespace change {

// Calls visit(name, member) for every field of a wire or engine record.
template <class R, class Visit>
void ForEachMember(R& record, Visit&& visit) {
  if constexpr (std::is_base_of<navcore::ryn::KseStructBase, std::remove_const_t<R>>::value) {
    record.forEachField([&visit](std::uint8_t, const char* name, auto& member) { visit(name, member); });
  } else {
    record.forEachField([&visit](const char* name, auto& member) { visit(name, member); });
  }
}

inline void Change(bool& v) { v = !v; }
template <class T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
void Change(T& v) {
  v = static_cast<T>(v ^ 1);
}
// The lowest bit of the pattern: 0.0 becomes the smallest subnormal, a NaN
// stays a NaN with other bits.
inline void Change(float& v) {
  std::uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  bits ^= 1;
  std::memcpy(&v, &bits, sizeof v);
}
inline void Change(double& v) {
  std::uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  bits ^= 1;
  std::memcpy(&v, &bits, sizeof v);
}
inline void Change(std::string& s) { s.push_back('x'); }
template <class T>
void Change(std::vector<T>& v);
template <class T, std::size_t N>
void Change(std::array<T, N>& a);
template <class K, class V>
void Change(std::map<K, V>& m);
template <class R, typename std::enable_if<std::is_class<R>::value, int>::type = 0>
void Change(R& record);

template <class T>
void Change(std::vector<T>& v) {
  if (v.empty()) {
    v.emplace_back();
  } else {
    v.pop_back();
  }
}
template <class T, std::size_t N>
void Change(std::array<T, N>& a) {
  Change(a[0]);
}
template <class K, class V>
void Change(std::map<K, V>& m) {
  if (m.empty()) {
    m.emplace(K{}, V{});
  } else {
    m.erase(m.begin());
  }
}
// A record: its first field.
template <class R, typename std::enable_if<std::is_class<R>::value, int>::type>
void Change(R& record) {
  bool done = false;
  ForEachMember(record, [&done](const char*, auto& member) {
    if (!done) Change(member);
    done = true;
  });
}

}  // namespace change
