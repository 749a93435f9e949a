// One converter between the C++ records and Python's plain values, for every
// wire record (NAVKSE_RECORD), engine parameter record (NAVREQ_ENGINE_RECORD)
// and the stop event, driven by their forEachField: no record is spelt here.
//
// The plain values the Python classes are built from (navreq/_record.py):
//   bool, integer kinds  -> int (bool for bool)
//   float, double        -> float; a float's NaN keeps its payload both ways
//   string               -> str; bytes that are not UTF-8 as surrogate escapes
//                           (str or bytes accepted back)
//   bytes, ubytes        -> bytes
//   list, array          -> list;  map -> dict;  record -> dict by field name
#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "navreq/kse/record.h"
#include "navreq/params_json.h"
#include "navreq/request_reader.h"

namespace navreq_py {

namespace py = pybind11;

// A value that does not fit its field; what() is "PATH: what" (raised in
// Python as navreq.FieldError).
class FieldError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

[[noreturn]] void FailAt(const std::string& path, const std::string& what);

// Python's name of a value's type, for messages.
std::string TypeNameOf(py::handle value);

// The str of a string's bytes, those that are not UTF-8 as surrogate escapes.
py::object TextObject(const std::string& text);
// The bytes of a str (UTF-8, surrogate escapes as the bytes they stand for)
// or bytes value; false for anything else.
bool TextBytes(py::handle value, std::string& out);

// A float widened to a double and back without touching a NaN's payload
// (the hardware conversion would set its quiet bit).
double WidenFloat(float value) noexcept;
float NarrowDouble(double value) noexcept;

// A path one level down: "a.b", "[3]", "[key]".
inline std::string Member(const std::string& path, const char* name) {
  return path.empty() ? std::string(name) : path + "." + name;
}
inline std::string Index(const std::string& path, std::size_t i) {
  return path + "[" + std::to_string(i) + "]";
}

template <class T, class = void>
struct Conv;

template <class R>
using IsWireRecord = std::is_base_of<::navcore::ryn::KseStructBase, R>;

// Calls f(name, member) for each field, whichever kind of record R is.
template <class R, class F>
void ForEachNamed(R& record, F&& f) {
  if constexpr (IsWireRecord<std::remove_const_t<R>>::value) {
    record.forEachField([&f](std::uint8_t, const char* name, auto& member) { f(name, member); });
  } else if constexpr (std::is_same_v<std::remove_const_t<R>, ::navreq::StopEvent>) {
#define NAVREQ_PY_STOP_FIELD_(NUMBER, MEMBER, TYPE, DEFAULT) f(#MEMBER, record.MEMBER);
    NAVREQ_STOP_EVENT_FIELDS(NAVREQ_PY_STOP_FIELD_)
#undef NAVREQ_PY_STOP_FIELD_
  } else {
    record.forEachField([&f](const char* name, auto& member) { f(name, member); });
  }
}

template <class R>
struct IsRecord : std::bool_constant<IsWireRecord<R>::value || std::is_same_v<R, ::navreq::StopEvent> ||
                                     ::navreq::params_json_detail::IsEngineRecord<R>::value> {};

template <class T>
struct Conv<T, std::enable_if_t<std::is_integral_v<T>>> {
  static constexpr std::int64_t lo =
      std::is_same_v<T, char> ? -128 : static_cast<std::int64_t>(std::numeric_limits<T>::min());
  static constexpr std::int64_t hi =
      std::is_same_v<T, char> ? 127 : static_cast<std::int64_t>(std::numeric_limits<T>::max());
  static py::object to(T v) {
    if constexpr (std::is_same_v<T, bool>) {
      return py::bool_(v);
    } else if constexpr (std::is_same_v<T, char>) {
      return py::int_(static_cast<int>(static_cast<signed char>(v)));
    } else {
      return py::int_(v);
    }
  }
  static void from(py::handle h, T& out, const std::string& path) {
    if constexpr (std::is_same_v<T, bool>) {
      if (!PyBool_Check(h.ptr())) FailAt(path, "expected a bool, got " + TypeNameOf(h));
      out = h.ptr() == Py_True;
    } else {
      if (!PyLong_Check(h.ptr()) || PyBool_Check(h.ptr()))
        FailAt(path, "expected an int, got " + TypeNameOf(h));
      int overflow = 0;
      const long long v = PyLong_AsLongLongAndOverflow(h.ptr(), &overflow);
      if (overflow != 0 || v < lo || v > hi) {
        FailAt(path, py::str(h).cast<std::string>() + " is out of range (" + std::to_string(lo) + " to " +
                         std::to_string(hi) + ")");
      }
      out = static_cast<T>(v);
    }
  }
};

template <class T>
struct Conv<T, std::enable_if_t<std::is_floating_point_v<T>>> {
  static py::object to(T v) {
    if constexpr (std::is_same_v<T, float>) {
      return py::float_(WidenFloat(v));
    } else {
      return py::float_(v);
    }
  }
  static void from(py::handle h, T& out, const std::string& path) {
    if (!PyFloat_Check(h.ptr()) && !(PyLong_Check(h.ptr()) && !PyBool_Check(h.ptr())))
      FailAt(path, "expected a float, got " + TypeNameOf(h));
    const double d = PyFloat_AsDouble(h.ptr());
    if (d == -1.0 && PyErr_Occurred() != nullptr) {
      PyErr_Clear();
      FailAt(path, py::str(h).cast<std::string>() + " is out of range for a float");
    }
    if constexpr (std::is_same_v<T, float>) {
      out = NarrowDouble(d);
    } else {
      out = d;
    }
  }
};

template <>
struct Conv<std::string> {
  static py::object to(const std::string& v) { return TextObject(v); }
  static void from(py::handle h, std::string& out, const std::string& path) {
    if (!TextBytes(h, out)) FailAt(path, "expected a str or bytes, got " + TypeNameOf(h));
  }
};

// Byte arrays (bytes) and unsigned-byte lists (ubytes) are bytes in Python.
template <class C>
struct ByteConv {
  static py::object to(const C& v) { return py::bytes(reinterpret_cast<const char*>(v.data()), v.size()); }
  static void from(py::handle h, C& out, const std::string& path) {
    if (!PyBytes_Check(h.ptr()) && !PyByteArray_Check(h.ptr()))
      FailAt(path, "expected bytes, got " + TypeNameOf(h));
    const std::string s = PyBytes_Check(h.ptr())
                              ? h.cast<std::string>()
                              : std::string(PyByteArray_AS_STRING(h.ptr()),
                                            static_cast<std::size_t>(PyByteArray_GET_SIZE(h.ptr())));
    out.assign(s.begin(), s.end());
  }
};
template <>
struct Conv<std::vector<char>> : ByteConv<std::vector<char>> {};
template <>
struct Conv<std::vector<unsigned char>> : ByteConv<std::vector<unsigned char>> {};

template <class T>
struct Conv<std::vector<T>, std::enable_if_t<!std::is_same_v<T, char> && !std::is_same_v<T, unsigned char>>> {
  static py::object to(const std::vector<T>& v) {
    py::list out(v.size());
    for (std::size_t i = 0; i < v.size(); ++i) out[i] = Conv<T>::to(v[i]);
    return std::move(out);
  }
  static void from(py::handle h, std::vector<T>& out, const std::string& path) {
    if (!PyList_Check(h.ptr()) && !PyTuple_Check(h.ptr()))
      FailAt(path, "expected a list, got " + TypeNameOf(h));
    const py::sequence seq = py::reinterpret_borrow<py::sequence>(h);
    out.clear();
    out.resize(seq.size());
    for (std::size_t i = 0; i < out.size(); ++i) Conv<T>::from(seq[i], out[i], Index(path, i));
  }
};

template <class T, std::size_t N>
struct Conv<std::array<T, N>> {
  static py::object to(const std::array<T, N>& v) {
    py::list out(N);
    for (std::size_t i = 0; i < N; ++i) out[i] = Conv<T>::to(v[i]);
    return std::move(out);
  }
  static void from(py::handle h, std::array<T, N>& out, const std::string& path) {
    if (!PyList_Check(h.ptr()) && !PyTuple_Check(h.ptr()))
      FailAt(path, "expected a list, got " + TypeNameOf(h));
    const py::sequence seq = py::reinterpret_borrow<py::sequence>(h);
    if (seq.size() != N)
      FailAt(path, "expected " + std::to_string(N) + " items, got " + std::to_string(seq.size()));
    for (std::size_t i = 0; i < N; ++i) Conv<T>::from(seq[i], out[i], Index(path, i));
  }
};

// A map key's text in a path.
inline std::string KeyText(py::handle key) {
  std::string text;
  if (PyUnicode_Check(key.ptr()) && TextBytes(key, text)) return text;
  if (PyBytes_Check(key.ptr())) return py::repr(key).cast<std::string>();
  return py::str(key).cast<std::string>();
}

template <class K, class V>
struct Conv<std::map<K, V>> {
  static py::object to(const std::map<K, V>& v) {
    py::dict out;
    for (const auto& [key, value] : v) out[Conv<K>::to(key)] = Conv<V>::to(value);
    return std::move(out);
  }
  static void from(py::handle h, std::map<K, V>& out, const std::string& path) {
    if (!PyDict_Check(h.ptr())) FailAt(path, "expected a dict, got " + TypeNameOf(h));
    out.clear();
    for (const auto& item : py::reinterpret_borrow<py::dict>(h)) {
      const std::string at = path + "[" + KeyText(item.first) + "]";
      K key{};
      Conv<K>::from(item.first, key, at);
      V value{};
      Conv<V>::from(item.second, value, at);
      if (!out.emplace(std::move(key), std::move(value)).second) FailAt(at, "the same key twice");
    }
  }
};

template <class R>
struct Conv<R, std::enable_if_t<IsRecord<R>::value>> {
  static py::object to(const R& record) {
    // The field names as interned str, made once per record type (under the
    // GIL, as every conversion is): reading a request back gives thousands of
    // fields, and a new str for each name was a fair part of the cost. Never
    // released: the module is never unloaded.
    static const std::vector<PyObject*> keys = [] {
      std::vector<PyObject*> made;
      const R probe{};
      ForEachNamed(probe, [&made](const char* name, const auto&) {
        PyObject* key = PyUnicode_InternFromString(name);
        if (key == nullptr) throw py::error_already_set();
        made.push_back(key);
      });
      return made;
    }();
    py::dict out;
    std::size_t i = 0;
    ForEachNamed(record, [&out, &i](const char*, const auto& member) {
      const py::object value = Conv<std::decay_t<decltype(member)>>::to(member);
      if (PyDict_SetItem(out.ptr(), keys[i++], value.ptr()) != 0) throw py::error_already_set();
    });
    return std::move(out);
  }
  // Fields absent from `h` keep their defaults; a key that names no field is an error.
  static void from(py::handle h, R& out, const std::string& path) {
    if (!PyDict_Check(h.ptr())) FailAt(path, "expected a dict of fields, got " + TypeNameOf(h));
    const py::dict d = py::reinterpret_borrow<py::dict>(h);
    std::size_t used = 0;
    ForEachNamed(out, [&](const char* name, auto& member) {
      if (PyObject* v = PyDict_GetItemString(d.ptr(), name)) {
        ++used;
        Conv<std::decay_t<decltype(member)>>::from(v, member, Member(path, name));
      }
    });
    if (used != d.size()) {
      for (const auto& item : d) {
        bool known = false;
        const std::string key = KeyText(item.first);
        ForEachNamed(out, [&](const char* name, auto&) { known = known || key == name; });
        if (!known) FailAt(Member(path, key.c_str()), "unknown field");
      }
    }
  }
};

template <class T>
py::object ToPy(const T& value) {
  return Conv<T>::to(value);
}
template <class T>
void FromPy(py::handle h, T& out, const std::string& path) {
  Conv<T>::from(h, out, path);
}

}  // namespace navreq_py
