// navreq.pack, diff and detect over the reading library.
#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "bindings.h"
#include "gzip_compress.h"
#include "navreq/read/diff.h"
#include "navreq/read/input.h"
#include "navreq/read/pack.h"

namespace navreq_py {

namespace {

py::object Side(const std::string& text, bool absent) {
  if (absent) return py::none();
  return py::reinterpret_steal<py::str>(
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape"));
}

const char* FormName(::navreq::InputForm form) {
  switch (form) {
    case ::navreq::InputForm::kRaw:
      return "raw";
    case ::navreq::InputForm::kHex:
      return "hex";
    case ::navreq::InputForm::kXxd:
      return "xxd";
    case ::navreq::InputForm::kHexdump:
      return "hexdump";
    case ::navreq::InputForm::kCArray:
      return "c_array";
    case ::navreq::InputForm::kBase64:
      return "base64";
    case ::navreq::InputForm::kBase64Url:
      return "base64url";
    case ::navreq::InputForm::kText:
      break;
  }
  return "text";
}

}  // namespace

void BindReadback(py::module_& m) {
  py::register_exception<::navreq::PackError>(m, "PackError", PyExc_ValueError);
  m.def("pack", [](const std::string& tree) {
    std::string bytes;
    {
      py::gil_scoped_release release;
      bytes = ::navreq::PackJson(tree, ::navreq::tool::Gzip);
    }
    return py::bytes(bytes);
  });
  // (differences, report): each difference (path, a, b, only_a, only_b,
  // head_changed, line); the report (status, a (status, problem, kind), b,
  // kind_mismatch, unmatched ignores, trouble lines).
  m.def("diff", [](py::bytes a_bytes, py::bytes b_bytes, std::vector<std::string> ignore, bool force) {
    const std::string a = a_bytes;
    const std::string b = b_bytes;
    ::navreq::DiffOptions options;
    options.ignore = std::move(ignore);
    options.force = force;
    ::navreq::DiffResult result;
    std::vector<std::string> lines;
    std::vector<std::string> trouble;
    {
      py::gil_scoped_release release;
      result = ::navreq::CollectDifferences(a, b, options);
      for (const auto& d : result.differences) lines.push_back(::navreq::DifferenceLine(d));
      trouble = ::navreq::DiffTroubleLines(result.report);
    }
    py::list diffs;
    for (std::size_t i = 0; i < result.differences.size(); ++i) {
      const auto& d = result.differences[i];
      diffs.append(py::make_tuple(d.path, Side(d.a, d.only_b), Side(d.b, d.only_a), d.only_a, d.only_b,
                                  d.head_changed, Side(lines[i], false)));
    }
    const auto& r = result.report;
    auto input = [](const ::navreq::DiffInput& in) { return py::make_tuple(in.status, in.problem, in.kind); };
    py::list unmatched;
    for (const auto& u : r.unmatched_ignores) unmatched.append(u);
    py::list trouble_list;
    for (const auto& t : trouble) trouble_list.append(Side(t, false));
    return py::make_tuple(
        diffs, py::make_tuple(r.status(), input(r.a), input(r.b), r.kind_mismatch, unmatched, trouble_list));
  });
  // (bytes, form) or (None, (form, offset, line, column, message)).
  m.def("detect", [](py::bytes text) {
    std::string input = text;
    ::navreq::InputReading reading;
    {
      py::gil_scoped_release release;
      reading = ::navreq::ReadInput(std::move(input));
    }
    if (!reading.ok()) {
      const auto& e = *reading.error;
      return py::make_tuple(py::none(),
                            py::make_tuple(FormName(e.form), e.offset, e.line, e.column, e.message));
    }
    return py::make_tuple(py::bytes(reading.bytes), FormName(reading.form));
  });
}

}  // namespace navreq_py
