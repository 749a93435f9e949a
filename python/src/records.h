// The records the package knows by name: for each, its defaults and (wire
// records) its bytes both ways, all instantiated through the X-macro lists.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "navreq/kse/record_reader.h"
#include "navreq/kse/reflection.h"

namespace navreq_py {

namespace py = pybind11;

// A record as the package names it: "routesearch.CarRouteReq" for a wire
// record (its namespaces below navkse), "KSLocation" for an engine record.
struct RecordOps {
  std::string name;
  const ::navcore::ryn::RecordInfo* info;  // wire records only
  py::object (*defaults)();                // the declared defaults as plain values
  py::object (*check)(py::handle plain);   // plain values read into the record and back
  // Wire records only: the record's writeTo, and readRecord of its bytes
  // returning (plain, [(path, offset, kind, detail)]).
  py::bytes (*to_bytes)(py::handle plain);
  py::tuple (*from_bytes)(const std::string& data, bool strict);
  // Engine records only: the record's parameter JSON (navreq/params_json.h).
  std::string (*to_json)(py::handle plain);
};

// Every record, wire records first, in the order of their lists.
[[nodiscard]] const std::vector<RecordOps>& AllRecords();
// The record named `name`, or null.
[[nodiscard]] const RecordOps* FindRecord(const std::string& name);
// The package's name of a wire record, from its reflection; empty when unknown.
[[nodiscard]] std::string WireRecordName(const ::navcore::ryn::RecordInfo& info);

// A qualified C++ name ("::navkse::routesearch::CarRouteReq") as the package
// names the record.
[[nodiscard]] std::string PackageName(const char* qualified, bool wire);

// The plain problems list of a reading.
[[nodiscard]] py::list ProblemsList(const std::vector<::navcore::ryn::ReadProblem>& problems);

void BindRecords(py::module_& m);

}  // namespace navreq_py
