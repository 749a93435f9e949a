// The parts of the extension module navreq._native, each in its own file.
#pragma once

#include <pybind11/pybind11.h>

namespace navreq_py {

namespace py = pybind11;

void BindRecords(py::module_& m);   // records.cpp
void BindRequest(py::module_& m);   // request.cpp: decode, envelope, dump, tree
void BindReadback(py::module_& m);  // readback.cpp: pack, diff, detect
void BindEncode(py::module_& m);    // encode.cpp
void BindHar(py::module_& m);       // har.cpp: har

}  // namespace navreq_py
