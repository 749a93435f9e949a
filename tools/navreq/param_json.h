// Reading the engine's parameter records from JSON, strictly.
//
// One mapping for every record: it walks the record's own member list
// (forEachField, navreq/engine/params.h), so a member's name is written only
// where the record is declared. Each C++ member type has one reader below;
// any mismatch throws InputError with the member's path, for example
// "param.viaPoints[1].pointType: 4294967296 is out of range for int32".
#pragma once

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "navreq/engine/params.h"

namespace navreq {
namespace tool {

using json = nlohmann::json;

// Input that is not valid: the message names the problem and its path.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Parses a whole JSON document. Malformed text and duplicate keys in one
// object throw InputError.
[[nodiscard]] json ParseJsonDocument(const std::string& text);

namespace detail {

struct ProbeVisitor {
  template <class T>
  void operator()(const char*, T&) const {}
};

template <class T, class = void>
struct IsEngineRecord : std::false_type {};
template <class T>
struct IsEngineRecord<T, std::void_t<decltype(std::declval<T&>().forEachField(ProbeVisitor{}))>>
    : std::true_type {};

template <class T>
std::string IntegerTypeName() {
  if constexpr (std::is_signed<T>::value) return "int" + std::to_string(8 * sizeof(T));
  return "uint" + std::to_string(8 * sizeof(T));
}

inline std::string Index(const std::string& path, std::size_t i) {
  return path + "[" + std::to_string(i) + "]";
}

// The value C++ gives converting `d` to float, without leaving the float
// range in the conversion itself: round to nearest, ties to even, so beyond
// the midpoint between FLT_MAX and 2^128 the result is infinite.
inline float ToFloat(double d) noexcept {
  constexpr double kOverflowMidpoint = 0x1.ffffffp127;
  constexpr double kFloatMax = static_cast<double>(FLT_MAX);
  if (d >= kOverflowMidpoint) return std::numeric_limits<float>::infinity();
  if (d <= -kOverflowMidpoint) return -std::numeric_limits<float>::infinity();
  if (d > kFloatMax) return FLT_MAX;
  if (d < -kFloatMax) return -FLT_MAX;
  return static_cast<float>(d);  // NaN and in-range values
}

double ReadReal(const json& j, const std::string& path);

}  // namespace detail

// ---- Readers, one per member type ----

void FromJson(const json& j, bool& out, const std::string& path);
void FromJson(const json& j, std::string& out, const std::string& path);
void FromJson(const json& j, double& out, const std::string& path);
void FromJson(const json& j, float& out, const std::string& path);
void FromJson(const json& j, navcore::TruckBlock& out, const std::string& path);
void FromJson(const json& j, std::vector<zv_navi_core::PendingEntry>& out, const std::string& path);
void FromJson(const json& j, zv_navi_core::ExplainControlMap& out, const std::string& path);

template <class T, typename std::enable_if<std::is_integral<T>::value, int>::type = 0>
void FromJson(const json& j, T& out, const std::string& path) {
  if (!j.is_number_integer()) throw InputError(path + ": expected an integer");
  const auto too_big = [&] {
    return InputError(path + ": " + j.dump() + " is out of range for " + detail::IntegerTypeName<T>());
  };
  if (j.is_number_unsigned()) {
    const std::uint64_t v = j.get<std::uint64_t>();
    if (v > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) throw too_big();
    out = static_cast<T>(v);
    return;
  }
  const std::int64_t v = j.get<std::int64_t>();
  if constexpr (std::is_signed<T>::value) {
    if (v < static_cast<std::int64_t>(std::numeric_limits<T>::min()) ||
        v > static_cast<std::int64_t>(std::numeric_limits<T>::max())) {
      throw too_big();
    }
  } else {
    if (v < 0 || static_cast<std::uint64_t>(v) > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) {
      throw too_big();
    }
  }
  out = static_cast<T>(v);
}

template <class R, typename std::enable_if<detail::IsEngineRecord<R>::value, int>::type = 0>
void FromJson(const json& j, R& out, const std::string& path);

template <class T>
void FromJson(const json& j, std::vector<T>& out, const std::string& path) {
  if (!j.is_array()) throw InputError(path + ": expected an array");
  out.clear();
  out.resize(j.size());
  for (std::size_t i = 0; i < j.size(); ++i) FromJson(j[i], out[i], detail::Index(path, i));
}

// A record as an object of its members by name. Absent members keep their
// defaults; a key the record does not have is an error.
template <class R, typename std::enable_if<detail::IsEngineRecord<R>::value, int>::type>
void FromJson(const json& j, R& out, const std::string& path) {
  if (!j.is_object()) throw InputError(path + ": expected an object");
  for (const auto& item : j.items()) {
    const std::string& key = item.key();
    bool known = false;
    out.forEachField([&](const char* name, auto& member) {
      if (!known && key == name) {
        known = true;
        FromJson(item.value(), member, path + "." + key);
      }
    });
    if (!known) throw InputError(path + "." + key + ": unknown key");
  }
}

// ---- Records as arrays of their members in declared order ----
// (the values of explain_controls, and the road links inside them)

template <class T>
void FromJsonPositional(const json& j, T& out, const std::string& path) {
  FromJson(j, out, path);
}

template <class R, typename std::enable_if<detail::IsEngineRecord<R>::value, int>::type = 0>
void FromJsonPositional(const json& j, std::vector<R>& out, const std::string& path);

template <class R, typename std::enable_if<detail::IsEngineRecord<R>::value, int>::type = 0>
void RecordFromArray(const json& j, R& out, const std::string& path) {
  std::size_t count = 0;
  out.forEachField([&count](const char*, auto&) { ++count; });
  if (!j.is_array() || j.size() != count) {
    throw InputError(path + ": expected an array of " + std::to_string(count) + " values");
  }
  std::size_t i = 0;
  out.forEachField([&](const char*, auto& member) {
    FromJsonPositional(j[i], member, detail::Index(path, i));
    ++i;
  });
}

template <class R, typename std::enable_if<detail::IsEngineRecord<R>::value, int>::type>
void FromJsonPositional(const json& j, std::vector<R>& out, const std::string& path) {
  if (!j.is_array()) throw InputError(path + ": expected an array");
  out.clear();
  out.resize(j.size());
  for (std::size_t i = 0; i < j.size(); ++i) RecordFromArray(j[i], out[i], detail::Index(path, i));
}

}  // namespace tool
}  // namespace navreq
