// navreq._native: the C++ library as the Python package uses it. The public
// API (names, documentation, types) is the Python package's; this module
// hands it plain values.
#include <pybind11/pybind11.h>

#include <cstring>

#include "bindings.h"
#include "convert.h"
#include "navreq/read/json_error.h"

namespace navreq_py {

void FailAt(const std::string& path, const std::string& what) {
  throw FieldError(path.empty() ? what : path + ": " + what);
}

std::string TypeNameOf(py::handle value) { return Py_TYPE(value.ptr())->tp_name; }

py::object TextObject(const std::string& text) {
  PyObject* s = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
  if (s == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(s);
}

bool TextBytes(py::handle value, std::string& out) {
  if (PyBytes_Check(value.ptr())) {
    out.assign(PyBytes_AS_STRING(value.ptr()), static_cast<std::size_t>(PyBytes_GET_SIZE(value.ptr())));
    return true;
  }
  if (!PyUnicode_Check(value.ptr())) return false;
  // Bytes that are not UTF-8 come as surrogate escapes (TextObject) and go
  // back as the same bytes.
  PyObject* encoded = PyUnicode_AsEncodedString(value.ptr(), "utf-8", "surrogateescape");
  if (encoded == nullptr) {
    // Other lone surrogates: no bytes stand for them.
    PyErr_Clear();
    return false;
  }
  out.assign(PyBytes_AS_STRING(encoded), static_cast<std::size_t>(PyBytes_GET_SIZE(encoded)));
  Py_DECREF(encoded);
  return true;
}

double WidenFloat(float value) noexcept {
  if (!std::isnan(value)) return value;
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  const std::uint64_t wide = (std::uint64_t{bits >> 31} << 63) | (std::uint64_t{0x7ff} << 52) |
                             (std::uint64_t{bits & 0x7fffff} << 29);
  double out = 0;
  std::memcpy(&out, &wide, sizeof out);
  return out;
}

float NarrowDouble(double value) noexcept {
  if (!std::isnan(value)) return static_cast<float>(value);
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  std::uint32_t mantissa = static_cast<std::uint32_t>((bits >> 29) & 0x7fffff);
  // A payload only in the bits a float drops: keep it a NaN, a quiet one.
  if (mantissa == 0) mantissa = 0x400000;
  const std::uint32_t narrow = (static_cast<std::uint32_t>(bits >> 63) << 31) | (0xffu << 23) | mantissa;
  float out = 0;
  std::memcpy(&out, &narrow, sizeof out);
  return out;
}

}  // namespace navreq_py

PYBIND11_MODULE(_native, m) {
  namespace py = pybind11;
  m.doc() = "The navreq C++ library as the navreq package uses it (internal).";
  py::register_exception<navreq_py::FieldError>(m, "FieldError", PyExc_ValueError);
  // A JSON document that does not fit its record; the message names the path.
  py::register_exception<::navreq::JsonError>(m, "JsonError", PyExc_ValueError);
  navreq_py::BindRecords(m);
  navreq_py::BindRequest(m);
  navreq_py::BindReadback(m);
  navreq_py::BindEncode(m);
  navreq_py::BindHar(m);
}
