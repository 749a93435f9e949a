// The JSON mapping of records, inside the libraries and the tool only: the
// public headers take and give text (navreq/read/records.h,
// navreq/params_json.h), so that nlohmann-json stays out of them.
//
// One mapping serves the wire records and the engine's parameter records: it
// walks a record's own field visitor (forEachField), so no field list is
// written here. JsonOf<T> reads and writes one C++ type, in the forms that
// navreq/read/records.h describes; the parameter records' own forms are in
// src/serializer/params_json_mapping.h. Every reading error throws JsonError
// naming the value's path.
#pragma once

#include <array>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "navreq/kse/output_stream.h"
#include "navreq/read/json_error.h"

namespace navreq {
namespace json_map {

using json = nlohmann::json;
// Written documents keep the declared order of the fields.
using ojson = nlohmann::ordered_json;

// Parses a whole JSON document. Malformed text and a key given twice in one
// object throw JsonError.
[[nodiscard]] json ParseStrict(std::string_view text);

// Throws JsonError "PATH: WHAT" ("WHAT" at the top).
[[noreturn]] void Fail(const std::string& path, const std::string& what);

// Path levels: "a.b" ("b" at the top) and "a[3]".
[[nodiscard]] std::string Field(const std::string& path, const char* name);
[[nodiscard]] std::string Index(const std::string& path, std::size_t i);

// The value C++ gives converting `d` to float, without leaving the float
// range in the conversion itself: round to nearest, ties to even, so beyond
// the midpoint between FLT_MAX and 2^128 the result is infinite.
[[nodiscard]] float ToFloat(double d) noexcept;

[[nodiscard]] double ReadDouble(const json& j, const std::string& path);
[[nodiscard]] float ReadFloat(const json& j, const std::string& path);
[[nodiscard]] ojson WriteDouble(double d);
[[nodiscard]] ojson WriteFloat(float f);
[[nodiscard]] std::string ReadString(const json& j, const std::string& path);
[[nodiscard]] ojson WriteString(const std::string& s);
[[nodiscard]] std::string ReadHex(const json& j, const std::string& path);
[[nodiscard]] ojson WriteHex(const char* data, std::size_t size);
[[nodiscard]] bool ValidKeyText(const std::string& key) noexcept;
// An integer map key from its decimal text.
[[nodiscard]] std::int64_t ReadIntegerKey(const std::string& text, const std::string& path);
// The path level of a map value: its key, quoted where it is not a plain word.
[[nodiscard]] std::string KeyLevel(const std::string& path, const std::string& key, bool integer);

// ---- Which records ----

struct ProbeVisitor {
  template <class T>
  void operator()(const char*, T&) const {}
};

template <class T>
constexpr bool kIsWireRecord = std::is_base_of<::navcore::ryn::KseStructBase, T>::value;

template <class T, class = void>
struct HasNamedFields : std::false_type {};
template <class T>
struct HasNamedFields<T, std::void_t<decltype(std::declval<T&>().forEachField(ProbeVisitor{}))>>
    : std::true_type {};

template <class T>
constexpr bool kIsEngineRecord = HasNamedFields<T>::value && !kIsWireRecord<T>;

// Calls visit(name, member) for every field of a record of either kind.
template <class R, class Visit>
void ForEachNamed(R& record, Visit&& visit) {
  if constexpr (kIsWireRecord<std::remove_const_t<R>>) {
    record.forEachField([&visit](std::uint8_t, const char* name, auto& member) { visit(name, member); });
  } else {
    record.forEachField([&visit](const char* name, auto& member) { visit(name, member); });
  }
}

// ---- One specialisation per C++ type ----

template <class T, class Enable = void>
struct JsonOf;

template <>
struct JsonOf<bool> {
  static void read(const json& j, bool& out, const std::string& path) {
    if (!j.is_boolean()) Fail(path, "expected true or false");
    out = j.get<bool>();
  }
  static ojson write(bool v) { return v; }
};

template <class T>
std::string IntegerTypeName() {
  if constexpr (std::is_signed<T>::value) return "int" + std::to_string(8 * sizeof(T));
  return "uint" + std::to_string(8 * sizeof(T));
}

template <class T>
struct JsonOf<T, std::enable_if_t<std::is_integral<T>::value && !std::is_same<T, bool>::value>> {
  static void read(const json& j, T& out, const std::string& path) {
    if (!j.is_number_integer()) Fail(path, "expected an integer");
    const auto too_big = [&] { Fail(path, j.dump() + " is out of range for " + IntegerTypeName<T>()); };
    if (j.is_number_unsigned()) {
      const std::uint64_t v = j.get<std::uint64_t>();
      if (v > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) too_big();
      out = static_cast<T>(v);
      return;
    }
    const std::int64_t v = j.get<std::int64_t>();
    if constexpr (std::is_signed<T>::value) {
      if (v < static_cast<std::int64_t>(std::numeric_limits<T>::min()) ||
          v > static_cast<std::int64_t>(std::numeric_limits<T>::max())) {
        too_big();
      }
    } else {
      if (v < 0 ||
          static_cast<std::uint64_t>(v) > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) {
        too_big();
      }
    }
    out = static_cast<T>(v);
  }
  static ojson write(T v) {
    if constexpr (std::is_signed<T>::value) return static_cast<std::int64_t>(v);
    return static_cast<std::uint64_t>(v);
  }
};

template <>
struct JsonOf<double> {
  static void read(const json& j, double& out, const std::string& path) { out = ReadDouble(j, path); }
  static ojson write(double v) { return WriteDouble(v); }
};

template <>
struct JsonOf<float> {
  static void read(const json& j, float& out, const std::string& path) { out = ReadFloat(j, path); }
  static ojson write(float v) { return WriteFloat(v); }
};

template <>
struct JsonOf<std::string> {
  static void read(const json& j, std::string& out, const std::string& path) { out = ReadString(j, path); }
  static ojson write(const std::string& v) { return WriteString(v); }
};

template <class Byte>
struct HexBytes {
  static void read(const json& j, std::vector<Byte>& out, const std::string& path) {
    const std::string bytes = ReadHex(j, path);
    out.assign(bytes.begin(), bytes.end());
  }
  static ojson write(const std::vector<Byte>& v) {
    return WriteHex(reinterpret_cast<const char*>(v.data()), v.size());
  }
};
template <>
struct JsonOf<std::vector<char>> : HexBytes<char> {};
template <>
struct JsonOf<std::vector<unsigned char>> : HexBytes<unsigned char> {};

template <class T>
struct JsonOf<std::vector<T>> {
  static void read(const json& j, std::vector<T>& out, const std::string& path) {
    if (!j.is_array()) Fail(path, "expected an array");
    out.clear();
    out.resize(j.size());
    for (std::size_t i = 0; i < j.size(); ++i) JsonOf<T>::read(j[i], out[i], Index(path, i));
  }
  static ojson write(const std::vector<T>& v) {
    ojson out = ojson::array();
    for (const T& element : v) out.push_back(JsonOf<T>::write(element));
    return out;
  }
};

template <class T, std::size_t N>
struct JsonOf<std::array<T, N>> {
  static void read(const json& j, std::array<T, N>& out, const std::string& path) {
    if (!j.is_array() || j.size() != N) Fail(path, "expected an array of " + std::to_string(N) + " values");
    for (std::size_t i = 0; i < N; ++i) JsonOf<T>::read(j[i], out[i], Index(path, i));
  }
  static ojson write(const std::array<T, N>& v) {
    ojson out = ojson::array();
    for (const T& element : v) out.push_back(JsonOf<T>::write(element));
    return out;
  }
};

template <class K, class V>
struct JsonOf<std::map<K, V>> {
  static constexpr bool kIntegerKey = std::is_integral<K>::value;
  static_assert(kIntegerKey || std::is_same<K, std::string>::value, "map keys are integers or strings");

  static void read(const json& j, std::map<K, V>& out, const std::string& path) {
    out.clear();
    if (j.is_object()) {
      for (const auto& item : j.items()) {
        K key{};
        if constexpr (kIntegerKey) {
          JsonOf<K>::read(json(ReadIntegerKey(item.key(), path)), key, path);
        } else {
          key = item.key();
        }
        JsonOf<V>::read(item.value(), out[key], KeyLevel(path, item.key(), kIntegerKey));
      }
      return;
    }
    // The pairs are written only for a map that has a key, never empty.
    if (!j.is_array() || j.empty()) Fail(path, "expected an object");
    for (std::size_t i = 0; i < j.size(); ++i) {
      const json& pair = j[i];
      if (!pair.is_array() || pair.size() != 2) Fail(Index(path, i), "expected a [key, value] pair");
      K key{};
      JsonOf<K>::read(pair[0], key, Index(path, i) + "[0]");
      const auto placed = out.emplace(key, V{});
      if (!placed.second) Fail(Index(path, i), "duplicate key");
      JsonOf<V>::read(pair[1], placed.first->second, Index(path, i) + "[1]");
    }
  }

  static ojson write(const std::map<K, V>& v) {
    bool as_object = true;
    if constexpr (!kIntegerKey) {
      for (const auto& entry : v) as_object = as_object && ValidKeyText(entry.first);
    }
    ojson out = as_object ? ojson::object() : ojson::array();
    for (const auto& entry : v) {
      if (!as_object) {
        out.push_back(ojson::array({JsonOf<K>::write(entry.first), JsonOf<V>::write(entry.second)}));
      } else if constexpr (kIntegerKey) {
        out[std::to_string(entry.first)] = JsonOf<V>::write(entry.second);
      } else {
        out[entry.first] = JsonOf<V>::write(entry.second);
      }
    }
    return out;
  }
};

template <class R>
struct JsonOf<R, std::enable_if_t<kIsWireRecord<R> || kIsEngineRecord<R>>> {
  static void read(const json& j, R& out, const std::string& path) {
    if (!j.is_object()) Fail(path, "expected an object");
    for (const auto& item : j.items()) {
      const std::string& key = item.key();
      bool known = false;
      ForEachNamed(out, [&](const char* name, auto& member) {
        if (!known && key == name) {
          known = true;
          JsonOf<std::decay_t<decltype(member)>>::read(item.value(), member, Field(path, name));
        }
      });
      if (!known) Fail(Field(path, key.c_str()), "unknown key");
    }
  }
  static ojson write(const R& v) {
    ojson out = ojson::object();
    ForEachNamed(v, [&out](const char* name, const auto& member) {
      out[name] = JsonOf<std::decay_t<decltype(member)>>::write(member);
    });
    return out;
  }
};

// The document text of a written value: indented by two spaces.
[[nodiscard]] std::string Dump(const ojson& value);

// FromJson and ToJson of the public headers.
template <class R>
R ReadDocument(std::string_view text) {
  R out{};
  JsonOf<R>::read(ParseStrict(text), out, std::string());
  return out;
}
template <class R>
std::string WriteDocument(const R& record) {
  return Dump(JsonOf<R>::write(record));
}

}  // namespace json_map
}  // namespace navreq
