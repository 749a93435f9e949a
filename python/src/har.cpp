// navreq.har and har_text over the library's HAR reader: every entry of
// `log.entries` with its body recovered, or why it was skipped.
#include "navreq/read/har.h"

#include <pybind11/pybind11.h>

#include <string>

#include "bindings.h"
#include "convert.h"

namespace navreq_py {

namespace {

// None when no body text was read, else the form's name as the tool prints it.
py::object FormOf(::navreq::HarBodyForm form) {
  if (form == ::navreq::HarBodyForm::kNone) return py::none();
  return py::str(std::string(::navreq::HarBodyFormName(form)));
}

// None for a request, else the reason's name as `dump --json` writes it.
py::object SkipOf(::navreq::HarSkip skip) {
  if (skip == ::navreq::HarSkip::kNone) return py::none();
  return py::str(std::string(::navreq::HarSkipName(skip)));
}

}  // namespace

void BindHar(py::module_& m) {
  // (entries, None) or (None, the library's one-line error). Each entry:
  // (index, method, url, bytes, form, gzip, inflated_by_writer, skipped, reason).
  m.def("har", [](py::bytes text) {
    // The HAR text is copied once so that the GIL can go while it is read.
    const std::string input = text;
    ::navreq::HarReading reading;
    {
      py::gil_scoped_release release;
      reading = ::navreq::ReadHar(input);
    }
    if (!reading.ok()) return py::make_tuple(py::none(), TextObject(*reading.error));
    py::list entries;
    for (const auto& e : reading.entries) {
      entries.append(py::make_tuple(e.index, TextObject(e.method), TextObject(e.url), py::bytes(e.bytes),
                                    FormOf(e.form), e.gzip, e.inflated_by_writer, SkipOf(e.skip),
                                    TextObject(e.reason)));
    }
    return py::make_tuple(entries, py::none());
  });
}

}  // namespace navreq_py
