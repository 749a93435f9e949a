// navreq.decode, envelope, dump, tree: reading whole requests back.
#include <pybind11/pybind11.h>

#include <sstream>
#include <string>

#include "bindings.h"
#include "convert.h"
#include "navreq/read/envelope.h"
#include "navreq/read/inflate.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "navreq/records/commands.h"
#include "navreq/request_reader.h"
#include "records.h"

namespace navreq_py {

namespace {

const char* KindName(::navkse::RequestKind kind) {
#define NAVREQ_PY_KIND_(KIND, ENVELOPE, NUMBER, NAME, BODY, GZIP, ENTRY) \
  if (kind == ::navkse::RequestKind::KIND) return #ENTRY;
  NAVKSE_REQUEST_COMMANDS(NAVREQ_PY_KIND_)
#undef NAVREQ_PY_KIND_
  return "";
}

// A record as (its package name, its plain values).
template <class R>
py::tuple Named(const R& record) {
  return py::make_tuple(WireRecordName(R::kseInfo()), ToPy(record));
}

// The body's record name and plain values, or None.
py::object BodyOf(const ::navreq::RequestBody& body) {
  return std::visit(
      [](const auto& b) -> py::object {
        using B = std::decay_t<decltype(b)>;
        if constexpr (std::is_same_v<B, std::monostate>) {
          return py::none();
        } else if constexpr (std::is_same_v<B, ::navreq::StopEvent>) {
          return py::make_tuple("StopEvent", ToPy(b));
        } else {
          return Named(b);
        }
      },
      body);
}

// The decoded request as plain values: a dict that navreq/_request.py turns
// into a Request.
py::dict Plain(const ::navreq::DecodedRequest& r) {
  py::dict out;
  if (const auto* p = r.package()) {
    out["envelope"] = Named(p->package);
    out["header"] = Named(p->header);
  } else if (const auto* k = r.packet()) {
    out["envelope"] = Named(*k);
    out["header"] = py::none();
  } else {
    out["envelope"] = py::none();
    out["header"] = py::none();
  }
  if (r.command != nullptr) {
    out["command"] =
        py::make_tuple(r.command->number, r.command->name, KindName(r.command->kind),
                       r.command->envelope == ::navkse::Envelope::kPackage ? "Package" : "Packet");
  } else {
    out["command"] = py::none();
  }
  out["request_gzip"] = r.request_gzip;
  out["body_gzip"] = r.body_gzip;
  out["body_size"] = r.body_size;
  out["body"] = BodyOf(r.body);
  py::dict side;
  if (r.side_records.guidance) side["toGuidance"] = Named(*r.side_records.guidance);
  if (r.side_records.rank) side["toRank"] = Named(*r.side_records.rank);
  out["side_records"] = side;
  out["extra_data"] = r.extra_data ? py::object(Named(*r.extra_data)) : py::object(py::none());
  out["problems"] = ProblemsList(r.problems);
  return out;
}

std::string Walked(const std::string& bytes, bool json, bool full) {
  std::ostringstream out;
  {
    const std::unique_ptr<::navreq::TreeSink> view =
        json ? ::navreq::MakeJsonView(out) : ::navreq::MakeTextView(out, full);
    (void)::navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  return out.str();
}

}  // namespace

void BindRequest(py::module_& m) {
  m.def(
      "decode",
      [](py::bytes data, bool strict, std::size_t max_inflated) {
        const std::string bytes = data;
        ::navreq::DecodeOptions options;
        options.mode = strict ? ::navreq::ReadMode::kStrict : ::navreq::ReadMode::kTolerant;
        options.max_inflated_size = max_inflated;
        std::optional<::navreq::DecodedRequest> r;
        {
          py::gil_scoped_release release;
          r.emplace(::navreq::DecodeRequest(bytes.data(), bytes.size(), options));
        }
        py::dict plain = Plain(*r);
        plain["envelope_read"] = r->envelope_read();
        return plain;
      },
      py::arg("data"), py::arg("strict"), py::arg("max_inflated"));
  m.def("walk_text", [](py::bytes data, bool json, bool full) {
    const std::string bytes = data;
    std::string text;
    {
      py::gil_scoped_release release;
      text = Walked(bytes, json, full);
    }
    // The tool writes these bytes as they are: any that are not UTF-8 come
    // as surrogate escapes, so that encoding back gives the tool's bytes.
    return TextObject(text);
  });
  m.def("envelope", [](py::bytes data) -> py::object {
    std::string bytes = data;
    std::optional<::navkse::Envelope> found;
    {
      py::gil_scoped_release release;
      if (::navreq::LooksGzip(bytes)) {
        std::string inflated;
        try {
          if (::navreq::Gunzip(bytes, ::navreq::kKseMaxInflatedSize, inflated).ok()) {
            found = ::navreq::DetectEnvelope(inflated);
          }
        } catch (const std::bad_alloc&) {
          // No memory for the inflated bytes: no envelope to name.
        }
      } else {
        found = ::navreq::DetectEnvelope(bytes);
      }
    }
    if (!found) return py::none();
    return py::str(*found == ::navkse::Envelope::kPackage ? "Package" : "Packet");
  });
}

}  // namespace navreq_py
