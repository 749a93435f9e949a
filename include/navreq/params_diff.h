// navreq::Diff for the engine's parameter records (navreq/engine/params.h):
// the comparison of `navreq diff` (navreq/read/diff.h) run on two records in
// memory. Each member is sent to it as a walk sends a field: named by its
// member name, lists by position, maps by key, nested records as records; so
// paths read "route_param.viaPoints[1].pointType" and values show as in
// `navreq diff` (integers in decimal, floating-point values as their shortest
// decimal, strings quoted).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/kse/wire_types.h"
#include "navreq/params_json.h"
#include "navreq/read/diff.h"
#include "navreq/read/walk.h"

namespace navreq {

namespace params_diff_detail {

// Sends a parameter record to a TreeSink as the events of a walk.
class Emitter {
 public:
  explicit Emitter(TreeSink& sink) : sink_(sink) {}

  template <class R>
  void top(const R& record) {
    sink_.begin("", 0, false, 0, {});
    members(record);
    sink_.end();
  }

 private:
  template <class R>
  void members(const R& record) {
    int tag = 0;  // the member's position orders the fields, as a tag would
    record.forEachField([&](const char* name, const auto& member) {
      Item item;
      item.tag = static_cast<std::uint8_t>(tag++);
      const FieldInfo field{item.tag, name, nullptr};
      item.field = &field;
      value(item, member);
    });
  }

  template <class T>
  void value(Item& item, const T& v) {
    Scalar s;
    if constexpr (std::is_integral<T>::value) {
      item.wire = ::navcore::ryn::kKseInt64;
      s.integer = static_cast<std::int64_t>(v);
      sink_.scalar(item, s);
    } else if constexpr (std::is_same<T, float>::value) {
      std::uint32_t bits;
      std::memcpy(&bits, &v, sizeof bits);
      item.wire = ::navcore::ryn::kKseFloat;
      s.real = static_cast<double>(v);
      s.bits = bits;
      sink_.scalar(item, s);
    } else if constexpr (std::is_same<T, double>::value) {
      item.wire = ::navcore::ryn::kKseDouble;
      s.real = v;
      std::memcpy(&s.bits, &v, sizeof s.bits);
      sink_.scalar(item, s);
    } else if constexpr (std::is_same<T, std::string>::value) {
      item.wire = ::navcore::ryn::kKseString4;
      s.text = v;
      sink_.scalar(item, s);
    } else {
      container(item, v);
    }
  }

  template <class T>
  void elements(Item& item, const T& list) {
    item.wire = ::navcore::ryn::kKseList;
    sink_.open(item, static_cast<std::int64_t>(list.size()));
    std::size_t i = 0;
    for (const auto& element : list) {
      Item e;
      e.role = Role::kElement;
      e.index = i++;
      value(e, element);
    }
    sink_.close(item);
  }

  template <class T>
  void container(Item& item, const std::vector<T>& list) {
    elements(item, list);
  }
  template <class T, std::size_t N>
  void container(Item& item, const std::array<T, N>& list) {
    elements(item, list);
  }
  template <class K, class V>
  void container(Item& item, const std::map<K, V>& map) {
    item.wire = ::navcore::ryn::kKseMap;
    sink_.open(item, static_cast<std::int64_t>(map.size()));
    for (const auto& entry : map) {
      Item e;
      e.role = Role::kValue;
      std::string key;
      if constexpr (std::is_integral<K>::value) {
        key = std::to_string(entry.first);
        e.key_is_integer = true;
      } else {
        key = entry.first;
      }
      e.key = key;
      value(e, entry.second);
    }
    sink_.close(item);
  }
  template <class R>
  void container(Item& item, const R& record) {
    item.wire = ::navcore::ryn::kKseStructBegin;
    sink_.open(item, 0);
    members(record);
    sink_.close(item);
  }

  TreeSink& sink_;
};

}  // namespace params_diff_detail

// The differences between two parameter records of one type, each with its
// member path and both values as text.
template <class R, IfEngineRecord<R> = 0>
[[nodiscard]] std::vector<Difference> Diff(const R& a, const R& b) {
  return DiffWalks([&a](TreeSink& sink) { params_diff_detail::Emitter(sink).top(a); },
                   [&b](TreeSink& sink) { params_diff_detail::Emitter(sink).top(b); });
}

}  // namespace navreq
