#include "kinds.h"

#include <algorithm>
#include <memory>
#include <type_traits>
#include <utility>

#include "navreq/engine/reflect.h"
#include "navreq/number_texts.h"
#include "navreq/records/commands.h"
#include "navreq/requests.h"

namespace navreq {
namespace tool {

// The stop event takes three strings rather than a record; its "param"
// object names them. Declared outside the unnamed namespace: there, the
// record's generated == and != would be unused functions of this file.
#define NAVREQ_FIELDS_NavStopParam(X) \
  X(std::string, text, {})            \
  X(std::string, device_id, {})       \
  X(std::string, client_key, {})
NAVREQ_ENGINE_RECORD(NavStopParam, NAVREQ_FIELDS_NavStopParam);

namespace {

namespace entry = ::zv_navi_core::drive_route_req_serializer;
using ::zv_navi_core::ReqExtraParam;

template <class Param>
std::shared_ptr<Param> ReadParam(const json* param) {
  auto out = std::make_shared<Param>();
  if (param != nullptr) FromJson(*param, *out, "param");
  return out;
}

// Records holding texts that their entry function converts to numbers (an
// overload of FindUnconvertibleText names them).
template <class Param, class = void>
struct HasNumberTexts : std::false_type {};
template <class Param>
struct HasNumberTexts<Param, std::void_t<decltype(FindUnconvertibleText(std::declval<const Param&>()))>>
    : std::true_type {};

// A text the entry function would throw on is invalid input: refused here,
// with its path, before the call.
template <class Param>
void CheckNumberTexts(const Param& param) {
  if constexpr (HasNumberTexts<Param>::value) {
    if (const auto found = FindUnconvertibleText(param))
      throw InputError("param." + found->path + ": " + found->message());
  }
}

static_assert(HasNumberTexts<::zv_navi_core::RouteRefreshReqParam>::value,
              "the refresh's number texts are checked before the call");

template <class Fn>
struct WithExtraTraits;
template <class Param, class Result>
struct WithExtraTraits<Result (*)(const Param&, const ReqExtraParam&, std::vector<char>&)> {
  using ParamType = Param;
};

// Kinds whose entry function takes (param, extra, out).
template <auto fn>
std::function<int(std::vector<char>&)> WithExtra(const json* extra, const json* param) {
  using Param = typename WithExtraTraits<decltype(fn)>::ParamType;
  auto p = ReadParam<Param>(param);
  auto e = std::make_shared<ReqExtraParam>();
  if (extra != nullptr) FromJson(*extra, *e, "extra");
  CheckNumberTexts(*p);
  return [p, e](std::vector<char>& out) { return static_cast<int>(fn(*p, *e, out)); };
}

// The entry function of each request kind, as the command table names it.
template <navkse::RequestKind K>
struct EntryOf;
#define NAVREQ_ENTRY_OF_(KIND, ENVELOPE, NUMBER, NAME, BODY, GZIP, ENTRY) \
  template <>                                                             \
  struct EntryOf<navkse::RequestKind::KIND> {                             \
    static constexpr auto fn = &entry::ENTRY;                             \
  };
NAVKSE_REQUEST_COMMANDS(NAVREQ_ENTRY_OF_)
#undef NAVREQ_ENTRY_OF_

// Binds the parameters to the entry function of kind K.
template <navkse::RequestKind K>
std::function<int(std::vector<char>&)> Bind(const json* extra, const json* param) {
  return WithExtra<EntryOf<K>::fn>(extra, param);
}

// The stop event takes three strings and no client identity.
template <>
std::function<int(std::vector<char>&)> Bind<navkse::RequestKind::kNavStopEvent>(const json* extra,
                                                                                const json* param) {
  if (extra != nullptr) throw InputError("extra: unknown key (the stop event takes no client identity)");
  auto p = ReadParam<NavStopParam>(param);
  return [p](std::vector<char>& out) {
    constexpr auto fn = EntryOf<navkse::RequestKind::kNavStopEvent>::fn;
    return fn(p->text, p->device_id, p->client_key, out);
  };
}

// A kind of the command line: its name there, the command it writes (whose
// entry function it calls) and what "param" holds.
Kind KindOf(const char* name, navkse::RequestKind kind, const char* param,
            std::function<int(std::vector<char>&)> (*bind)(const json*, const json*)) {
  return Kind{name, navkse::commandOf(kind).entry, param, bind};
}

}  // namespace

#define NAVREQ_KIND(name, KIND, param) \
  KindOf(name, navkse::RequestKind::KIND, param, &Bind<navkse::RequestKind::KIND>)

const std::vector<Kind>& Kinds() {
  static const std::vector<Kind> kinds = {
      NAVREQ_KIND("route", kRouteSearch, "DriveRouteReqParam"),
      NAVREQ_KIND("refresh", kTrafficRefresh, "RouteRefreshReqParam"),
      NAVREQ_KIND("location", kLocationUpload, "LocationUploadParam"),
      NAVREQ_KIND("navstop", kNavStopEvent, "{\"text\", \"device_id\", \"client_key\"}, no extra"),
      NAVREQ_KIND("plus", kRoutePlus, "PlusReq"),
      NAVREQ_KIND("slice", kGuidanceSlice, "SliceReq"),
  };
  return kinds;
}

#undef NAVREQ_KIND

std::vector<std::string> KindNames() {
  std::vector<std::string> names;
  for (const Kind& kind : Kinds()) names.emplace_back(kind.name);
  return names;
}

std::string KindsHelp() {
  std::string help;
  for (const Kind& kind : Kinds()) {
    help += std::string("  ") + kind.name + ": " + kind.function + ", param " + kind.param + "\n";
  }
  return help;
}

PreparedRequest Prepare(const std::string& kind, const json* extra, const json* param) {
  for (const Kind& k : Kinds()) {
    if (kind == k.name) return {k.function, k.bind(extra, param)};
  }
  std::string known;
  for (const Kind& k : Kinds()) known += (known.empty() ? "" : ", ") + std::string(k.name);
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

CallOutcome Call(const PreparedRequest& request, std::vector<char>& out) {
  CallOutcome outcome;
  try {
    outcome.rc = request.call(out);
  } catch (const std::exception& e) {
    outcome.threw = true;
    outcome.what = request.function + " threw: " + e.what();
  } catch (...) {
    outcome.threw = true;
    outcome.what = request.function + " threw a non-standard exception";
  }
  return outcome;
}

}  // namespace tool
}  // namespace navreq
