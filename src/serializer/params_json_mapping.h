// The forms of their own that three parameter members take in JSON
// (navreq/params_json.h), on top of the records' common mapping
// (src/read/json_mapping.h). Included wherever parameter records are read or
// written as JSON: the serializer library and the navreq tool.
#pragma once

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "json_mapping.h"
#include "navreq/engine/params.h"

namespace navreq {
namespace json_map {

template <>
struct JsonOf<::navcore::TruckBlock> {
  static void read(const json& j, ::navcore::TruckBlock& out, const std::string& path) {
    if (!j.is_array() || j.size() != out.size()) Fail(path, "expected an array of four integers");
    for (std::size_t i = 0; i < out.size(); ++i) JsonOf<std::int32_t>::read(j[i], out[i], Index(path, i));
  }
  static ojson write(const ::navcore::TruckBlock& v) {
    ojson out = ojson::array();
    for (std::int32_t x : v) out.push_back(x);
    return out;
  }
};

// The refresh only asks whether the list is empty: any values will do.
template <>
struct JsonOf<std::vector<::zv_navi_core::PendingEntry>> {
  static void read(const json& j, std::vector<::zv_navi_core::PendingEntry>& out, const std::string& path) {
    if (!j.is_array()) Fail(path, "expected an array");
    out.assign(j.size(), ::zv_navi_core::PendingEntry{});
  }
  static ojson write(const std::vector<::zv_navi_core::PendingEntry>& v) {
    ojson out = ojson::array();
    for (std::size_t i = 0; i < v.size(); ++i) out.push_back(ojson::object());
    return out;
  }
};

// ---- Records as arrays of their members in declared order ----
// (the values of explain_controls, and the road links inside them: a member
// that is a list of records holds them as arrays as well)

template <class T>
struct Positional {
  static void read(const json& j, T& out, const std::string& path) { JsonOf<T>::read(j, out, path); }
  static ojson write(const T& v) { return JsonOf<T>::write(v); }
};

template <class R>
struct RecordArray {
  static void read(const json& j, R& out, const std::string& path) {
    std::size_t count = 0;
    out.forEachField([&count](const char*, auto&) { ++count; });
    if (!j.is_array() || j.size() != count) {
      Fail(path, "expected an array of " + std::to_string(count) + " values");
    }
    std::size_t i = 0;
    out.forEachField([&](const char*, auto& member) {
      Positional<std::decay_t<decltype(member)>>::read(j[i], member, Index(path, i));
      ++i;
    });
  }
  static ojson write(const R& v) {
    ojson out = ojson::array();
    v.forEachField([&out](const char*, const auto& member) {
      out.push_back(Positional<std::decay_t<decltype(member)>>::write(member));
    });
    return out;
  }
};

template <class R>
struct Positional<std::vector<R>> {
  static void read(const json& j, std::vector<R>& out, const std::string& path) {
    if constexpr (kIsEngineRecord<R>) {
      if (!j.is_array()) Fail(path, "expected an array");
      out.clear();
      out.resize(j.size());
      for (std::size_t i = 0; i < j.size(); ++i) RecordArray<R>::read(j[i], out[i], Index(path, i));
    } else {
      JsonOf<std::vector<R>>::read(j, out, path);
    }
  }
  static ojson write(const std::vector<R>& v) {
    if constexpr (kIsEngineRecord<R>) {
      ojson out = ojson::array();
      for (const R& element : v) out.push_back(RecordArray<R>::write(element));
      return out;
    } else {
      return JsonOf<std::vector<R>>::write(v);
    }
  }
};

// An object of positional records keyed by route identifier; like any map
// (json_mapping.h), an array of [key, value] pairs when a key is not
// well-formed UTF-8.
template <>
struct JsonOf<::zv_navi_core::ExplainControlMap> {
  using Control = ::navcore::KSFollowExplainControl;

  static void read(const json& j, ::zv_navi_core::ExplainControlMap& out, const std::string& path) {
    out.clear();
    if (j.is_object()) {
      for (const auto& item : j.items()) {
        RecordArray<Control>::read(item.value(), out[item.key()], path + "[" + json(item.key()).dump() + "]");
      }
      return;
    }
    // The pairs are written only for a map that has a key, never empty.
    if (!j.is_array() || j.empty()) Fail(path, "expected an object");
    for (std::size_t i = 0; i < j.size(); ++i) {
      const json& pair = j[i];
      if (!pair.is_array() || pair.size() != 2) Fail(Index(path, i), "expected a [key, value] pair");
      const auto placed = out.emplace(ReadString(pair[0], Index(path, i) + "[0]"), Control{});
      if (!placed.second) Fail(Index(path, i), "duplicate key");
      RecordArray<Control>::read(pair[1], placed.first->second, Index(path, i) + "[1]");
    }
  }

  static ojson write(const ::zv_navi_core::ExplainControlMap& v) {
    bool as_object = true;
    for (const auto& entry : v) as_object = as_object && ValidKeyText(entry.first);
    ojson out = as_object ? ojson::object() : ojson::array();
    for (const auto& entry : v) {
      if (as_object) {
        out[entry.first] = RecordArray<Control>::write(entry.second);
      } else {
        out.push_back(ojson::array({WriteString(entry.first), RecordArray<Control>::write(entry.second)}));
      }
    }
    return out;
  }
};

}  // namespace json_map
}  // namespace navreq
