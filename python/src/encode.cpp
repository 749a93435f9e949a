// navreq.encode: the bytes `navreq encode` writes for the same parameters,
// through the tool's own table of request kinds (tools/navreq/kinds.h) and
// the engine's service seams, each installed for the calling thread only.
#include <pybind11/pybind11.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bindings.h"
#include "convert.h"
#include "kinds.h"
#include "navreq/engine/service_overrides.h"
#include "navreq/engine/services.h"
#include "navreq/location_session.h"
#include "records.h"

namespace navreq_py {

namespace {

namespace tool = ::navreq::tool;

// A parameter object as the tool reads it: an engine record's JSON through
// the library's mapping, or (the stop event's three strings) an object of texts.
tool::json ParamDocument(const std::string& record, py::handle plain, const std::string& root) {
  if (const RecordOps* ops = FindRecord(record); ops != nullptr && ops->to_json != nullptr) {
    try {
      return tool::ParseJsonDocument(ops->to_json(plain));
    } catch (const FieldError& e) {
      throw FieldError(root + "." + e.what());
    }
  }
  if (!PyDict_Check(plain.ptr())) FailAt(root, "expected a dict, got " + TypeNameOf(plain));
  tool::json doc = tool::json::object();
  for (const auto& item : py::reinterpret_borrow<py::dict>(plain)) {
    const std::string key = KeyText(item.first);
    std::string text;
    if (!TextBytes(item.second, text))
      FailAt(root + "." + key, "expected a str, got " + TypeNameOf(item.second));
    doc[key] = text;
  }
  return doc;
}

struct Outcome {
  int rc = 0;
  bool threw = false;
  std::string what;
  std::string function;
  std::vector<char> bytes;
  py::list printed;
  py::list logged;
};

}  // namespace

void BindEncode(py::module_& m) {
  py::register_exception<tool::InputError>(m, "ParamError", PyExc_ValueError);
  m.def("kinds", [] {
    py::list out;
    for (const tool::Kind& k : tool::Kinds()) out.append(py::make_tuple(k.name, k.function, k.param));
    return out;
  });
  // (rc, bytes, printed lines, log lines, what it threw or "").
  m.def("encode", [](const std::string& kind, py::handle param, py::handle extra,
                     std::optional<std::int64_t> now_ms, std::optional<std::uint64_t> seed,
                     bool new_session) {
    const tool::Kind* found = nullptr;
    for (const tool::Kind& k : tool::Kinds()) {
      if (kind == k.name) found = &k;
    }
    std::optional<tool::json> param_doc;
    std::optional<tool::json> extra_doc;
    if (found != nullptr) {
      if (!param.is_none()) param_doc = ParamDocument(found->param, param, "param");
      if (!extra.is_none()) extra_doc = ParamDocument("ReqExtraParam", extra, "extra");
    }
    std::vector<std::string> printed;
    std::vector<std::string> logged;
    std::vector<char> bytes;
    tool::CallOutcome outcome;
    std::string function;
    {
      py::gil_scoped_release release;
      const tool::PreparedRequest request =
          tool::Prepare(kind, extra_doc ? &*extra_doc : nullptr, param_doc ? &*param_doc : nullptr);
      function = request.function;
      std::unique_ptr<::navreq::services::ScopedClock> clock;
      if (now_ms) clock = std::make_unique<::navreq::services::ScopedClock>(*now_ms);
      std::unique_ptr<::navreq::ScopedSessionDigits> digits;
      if (seed)
        digits = std::make_unique<::navreq::ScopedSessionDigits>(::navreq::SeededSessionDigits(*seed));
      if (new_session) ::navreq::StartFreshLocationSession();
      ::navreq::services::ScopedLogSink log_sink([&logged](int level, int event, const std::string& message) {
        logged.push_back("L" + std::to_string(level) + " E" + std::to_string(event) + " " + message);
      });
      ::navreq::services::ScopedPrintSink print_sink(
          [&printed](const std::string& line) { printed.push_back(line); });
      outcome = tool::Call(request, bytes);
    }
    py::list printed_list;
    for (const auto& line : printed) printed_list.append(TextObject(line));
    py::list logged_list;
    for (const auto& line : logged) logged_list.append(TextObject(line));
    return py::make_tuple(outcome.rc, py::bytes(bytes.data(), bytes.size()), printed_list, logged_list,
                          outcome.threw ? outcome.what : std::string(), function);
  });
}

}  // namespace navreq_py
