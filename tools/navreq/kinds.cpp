#include "kinds.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "navreq/engine/reflect.h"
#include "navreq/requests.h"

namespace navreq {
namespace tool {

namespace {

namespace entry = ::zv_navi_core::drive_route_req_serializer;
using ::zv_navi_core::ReqExtraParam;

// The stop event takes three strings rather than a record; its "param"
// object names them.
#define NAVREQ_FIELDS_NavStopParam(X) \
  X(std::string, text, {})            \
  X(std::string, device_id, {})       \
  X(std::string, client_key, {})
NAVREQ_ENGINE_RECORD(NavStopParam, NAVREQ_FIELDS_NavStopParam);

template <class Param>
std::shared_ptr<Param> ReadParam(const json* param) {
  auto out = std::make_shared<Param>();
  if (param != nullptr) FromJson(*param, *out, "param");
  return out;
}

std::shared_ptr<ReqExtraParam> ReadExtra(const json* extra) {
  auto out = std::make_shared<ReqExtraParam>();
  if (extra != nullptr) FromJson(*extra, *out, "extra");
  return out;
}

// Kinds whose entry function takes (param, extra, out).
template <class Param, class Result>
PreparedRequest WithExtra(const char* function,
                          Result (*fn)(const Param&, const ReqExtraParam&, std::vector<char>&),
                          const json* extra, const json* param) {
  auto p = ReadParam<Param>(param);
  auto e = ReadExtra(extra);
  return {function, [fn, p, e](std::vector<char>& out) { return static_cast<int>(fn(*p, *e, out)); }};
}

}  // namespace

const std::vector<std::string>& KindNames() {
  static const std::vector<std::string> names = {"route", "refresh", "location", "navstop", "plus", "slice"};
  return names;
}

PreparedRequest Prepare(const std::string& kind, const json* extra, const json* param) {
  if (kind == "route") return WithExtra("GetRouteReqData", &entry::GetRouteReqData, extra, param);
  if (kind == "refresh")
    return WithExtra("GetRouteRefreshReqData", &entry::GetRouteRefreshReqData, extra, param);
  if (kind == "location") {
    return WithExtra("GetLocationUploadReqData", &entry::GetLocationUploadReqData, extra, param);
  }
  if (kind == "plus") return WithExtra("GetRoutePlus", &entry::GetRoutePlus, extra, param);
  if (kind == "slice") return WithExtra("GetRouteSlice", &entry::GetRouteSlice, extra, param);
  if (kind == "navstop") {
    if (extra != nullptr) throw InputError("extra: unknown key (the stop event takes no client identity)");
    auto p = ReadParam<NavStopParam>(param);
    return {"GetNavStopActionReqData", [p](std::vector<char>& out) {
              return entry::GetNavStopActionReqData(p->text, p->device_id, p->client_key, out);
            }};
  }
  std::string known;
  for (const std::string& name : KindNames()) known += (known.empty() ? "" : ", ") + name;
  throw InputError("unknown kind \"" + kind + "\" (one of " + known + ")");
}

// Splits a request object into the parameters of its kind. `allowed` names
// the keys of the object besides "extra" and "param".
PreparedRequest PrepareFromObject(const json& doc, const std::string& kind,
                                  const std::vector<std::string>& allowed) {
  if (!doc.is_object()) throw InputError("expected a JSON object with \"extra\" and \"param\"");
  const json* extra = nullptr;
  const json* param = nullptr;
  for (const auto& item : doc.items()) {
    if (item.key() == "extra") {
      extra = &item.value();
    } else if (item.key() == "param") {
      param = &item.value();
    } else if (std::find(allowed.begin(), allowed.end(), item.key()) == allowed.end()) {
      throw InputError(item.key() + ": unknown key");
    }
  }
  return Prepare(kind, extra, param);
}

}  // namespace tool
}  // namespace navreq
