#include "records.h"

#include <pybind11/stl.h>

#include <string_view>

#include "convert.h"
#include "navreq/engine/params.h"
#include "navreq/kse/record_reader.h"
#include "navreq/read/records.h"
#include "navreq/records/all.h"

namespace navreq_py {

namespace {

template <class R>
py::object Defaults() {
  return ToPy(R{});
}

template <class R>
py::object Check(py::handle plain) {
  R record;
  FromPy(plain, record, "");
  return ToPy(record);
}

template <class R>
py::bytes ToBytes(py::handle plain) {
  R record;
  FromPy(plain, record, "");
  std::string bytes;
  {
    py::gil_scoped_release release;
    bytes = ::navreq::RecordBytes(record);
  }
  return py::bytes(bytes);
}

template <class R>
py::tuple FromBytes(const std::string& data, bool strict) {
  R record;
  ::navcore::ryn::ReadResult result;
  {
    py::gil_scoped_release release;
    ::navcore::ryn::ReadOptions options;
    options.mode = strict ? ::navcore::ryn::ReadMode::kStrict : ::navcore::ryn::ReadMode::kTolerant;
    result = ::navcore::ryn::readRecord(data.data(), data.size(), record, options);
  }
  return py::make_tuple(ToPy(record), ProblemsList(result.problems));
}

template <class R>
std::string ParamJson(py::handle plain) {
  R record;
  FromPy(plain, record, "");
  return ::navreq::ToJson(record);
}

std::vector<RecordOps> MakeAll() {
  std::vector<RecordOps> all;
#define NAVREQ_PY_WIRE_(T)                                                                            \
  all.push_back(RecordOps{PackageName(#T, true), &T::kseInfo(), &Defaults<T>, &Check<T>, &ToBytes<T>, \
                          &FromBytes<T>, nullptr});
  NAVKSE_ALL_RECORDS(NAVREQ_PY_WIRE_)
#undef NAVREQ_PY_WIRE_
#define NAVREQ_PY_ENGINE_(T) \
  all.push_back(             \
      RecordOps{PackageName(#T, false), nullptr, &Defaults<T>, &Check<T>, nullptr, nullptr, &ParamJson<T>});
  NAVREQ_ALL_ENGINE_RECORDS(NAVREQ_PY_ENGINE_)
#undef NAVREQ_PY_ENGINE_
  // Reached only as the element of RouteRefreshReqParam::pending_list, and
  // never a document of its own.
  using Pending = ::zv_navi_core::PendingEntry;
  all.push_back(RecordOps{"StopEvent", nullptr, &Defaults<::navreq::StopEvent>, &Check<::navreq::StopEvent>,
                          nullptr, nullptr, nullptr});
  all.push_back(
      RecordOps{"PendingEntry", nullptr, &Defaults<Pending>, &Check<Pending>, nullptr, nullptr, nullptr});
  return all;
}

const char* ProblemKindName(::navcore::ryn::ReadProblemKind kind) {
  using K = ::navcore::ryn::ReadProblemKind;
  switch (kind) {
    case K::kTruncated:
      return "truncated";
    case K::kBadType:
      return "bad_type";
    case K::kTooDeep:
      return "too_deep";
    case K::kBadCount:
      return "bad_count";
    case K::kBadLength:
      return "bad_length";
    case K::kUnexpectedEnd:
      return "unexpected_end";
    case K::kMissingField:
      return "missing_field";
    case K::kUnknownField:
      return "unknown_field";
    case K::kDuplicateField:
      return "duplicate_field";
    case K::kOutOfOrder:
      return "out_of_order";
    case K::kTypeMismatch:
      return "type_mismatch";
    case K::kOutOfRange:
      return "out_of_range";
    case K::kUnexpectedTag:
      return "unexpected_tag";
    case K::kDuplicateKey:
      return "duplicate_key";
    case K::kTrailingBytes:
      return "trailing_bytes";
    case K::kLimitExceeded:
      return "limit_exceeded";
    case K::kBadGzip:
      return "bad_gzip";
    case K::kUnknownEnvelope:
      return "unknown_envelope";
    case K::kUnknownCommand:
      return "unknown_command";
    case K::kBadEvent:
      return "bad_event";
    default:
      return "internal";
  }
}

}  // namespace

std::string PackageName(const char* qualified, bool wire) {
  std::string_view q(qualified);
  const std::string_view prefix = wire ? "::navkse::" : "";
  if (wire) {
    q.remove_prefix(prefix.size());
  } else {
    q = q.substr(q.rfind("::") + 2);
  }
  std::string out;
  for (std::size_t i = 0; i < q.size(); ++i) {
    if (q.compare(i, 2, "::") == 0) {
      out += '.';
      ++i;
    } else {
      out += q[i];
    }
  }
  return out;
}

const std::vector<RecordOps>& AllRecords() {
  static const std::vector<RecordOps> all = MakeAll();
  return all;
}

const RecordOps* FindRecord(const std::string& name) {
  for (const RecordOps& ops : AllRecords()) {
    if (ops.name == name) return &ops;
  }
  return nullptr;
}

std::string WireRecordName(const ::navcore::ryn::RecordInfo& info) {
  for (const RecordOps& ops : AllRecords()) {
    if (ops.info == &info) return ops.name;
  }
  return {};
}

py::list ProblemsList(const std::vector<::navcore::ryn::ReadProblem>& problems) {
  py::list out;
  for (const auto& p : problems) {
    out.append(py::make_tuple(p.path, p.offset, ProblemKindName(p.kind), p.detail, p.toString()));
  }
  return out;
}

void BindRecords(py::module_& m) {
  m.def("record_names", [] {
    py::list names;
    for (const RecordOps& ops : AllRecords()) names.append(ops.name);
    return names;
  });
  auto find = [](const std::string& name) -> const RecordOps& {
    const RecordOps* ops = FindRecord(name);
    if (ops == nullptr) throw py::key_error(name);
    return *ops;
  };
  m.def("record_defaults", [find](const std::string& name) { return find(name).defaults(); });
  m.def("record_check",
        [find](const std::string& name, py::handle plain) { return find(name).check(plain); });
  m.def("record_to_bytes", [find](const std::string& name, py::handle plain) {
    const RecordOps& ops = find(name);
    if (ops.to_bytes == nullptr) throw py::type_error(name + " is not a wire record");
    return ops.to_bytes(plain);
  });
  m.def("record_from_bytes", [find](const std::string& name, py::bytes data, bool strict) {
    const RecordOps& ops = find(name);
    if (ops.from_bytes == nullptr) throw py::type_error(name + " is not a wire record");
    return ops.from_bytes(data.cast<std::string>(), strict);
  });
}

}  // namespace navreq_py
