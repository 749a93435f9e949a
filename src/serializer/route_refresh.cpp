// The traffic refresh: traffic, travel time and re-routing questions about
// every route the engine holds, in one batch inside a Package.
#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "navreq/envelope.h"
#include "navreq/numeric.h"
#include "navreq/records/commands.h"
#include "navreq/records/dynamicroute.h"
#include "navreq/records/routesearch.h"
#include "navreq/records/traffic.h"
#include "navreq/records/ugc_unit.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "number_text.h"

namespace zv_navi_core {
namespace drive_route_req_serializer {

namespace {

// Metres per degree along the equator (equator length / 360).
constexpr double kMetresPerDegree = 111319.49077777778;
constexpr double kHalfDegreeRadians = 0.008726646259971648;  // pi / 360
constexpr double kDegreeRadians = 0.017453292519943295;      // pi / 180

// Whole metres, stored as a double: rounded, saturated to 64 bits, then cut to
// 32. Far outside the int32 range the position wraps around rather than
// sticking at a limit: a longitude of 1e10 degrees gives -485803278.
double WholeMetres(double metres) { return static_cast<double>(navreq::RoundedMetresLow32(metres)); }

// Spherical Mercator x of a longitude, in whole metres.
double MercatorX(double longitude) { return WholeMetres(longitude * kMetresPerDegree); }

// Spherical Mercator y of a latitude, in whole metres.
double MercatorY(double latitude) {
  return WholeMetres(std::log(std::tan((latitude + 90.0) * kHalfDegreeRadians)) / kDegreeRadians *
                     kMetresPerDegree);
}

// The route's identifier: leading blanks and a sign accepted, trailing text
// ignored; no number or out of range throws out of the request.
std::int64_t RouteId(const std::string& id_text) { return navreq::TextToInt64(id_text); }

const std::string& SecondaryOrPrimary(const RouteRefreshReqParam& param) {
  return param.secondary_text.empty() ? param.primary_text : param.secondary_text;
}

}  // namespace

void GetOnRouteReq(navkse::dynamicroute::OnRouteReq& target, const OneRouteTrafficReqParam& route,
                   const RouteRefreshReqParam& param, const ReqExtraParam& extra) {
  target.primary_text = param.primary_text;
  target.secondary_text = SecondaryOrPrimary(param);
  target.third_text = param.third_text;
  target.imei = extra.imei;
  target.identity_f = extra.identity_f;
  target.route_id = RouteId(route.id_text);
  target.field3 = 0;
  target.version = "2.0";
  target.field6 = 0;
  target.field7 = 1;
  target.field12 = 1;
  target.num_a = route.num_a;
  target.num_e = route.num_e;
  target.num_f = route.num_f;
  target.mercator_x = MercatorX(route.longitude);
  target.mercator_y = MercatorY(route.latitude);
}

void GetTrafficTimeReq(navkse::dynamicroute::TrafficTimeReq& target, const OneRouteTrafficReqParam& route,
                       const RouteRefreshReqParam& param, const ReqExtraParam& /*extra*/, int value) {
  target.route_id = RouteId(route.id_text);
  target.num_b = route.num_b;
  target.refresh_value = value;
  target.primary_text = param.primary_text;
  target.secondary_text = SecondaryOrPrimary(param);
  target.num_d = route.num_d;
  target.num_c = route.num_c;
  target.num_a = route.num_a;
  target.mercator_x = MercatorX(route.longitude);
  target.mercator_y = MercatorY(route.latitude);
  target.field11 = 0;
}

void GetAllOnRouteReq(navkse::dynamicroute::AllOnRouteReq& target, const OneRouteTrafficReqParam& route,
                      const RouteRefreshReqParam& param, const ReqExtraParam& extra, int value) {
  target.dynamic.refresh_value = value;
  GetOnRouteReq(target.on_route, route, param, extra);
  GetTrafficTimeReq(target.traffic_time, route, param, extra, value);
}

void GetKSEExplainControl(navkse::routesearch::RouteCloudControl& target,
                          const std::map<std::string, KSFollowExplainControl>& controls) {
  if (controls.empty()) return;
  for (const auto& entry : controls) {
    const KSFollowExplainControl& in = entry.second;
    navkse::routesearch::FollowExplainControl control;
    control.id0 = in.id0;
    control.id1 = in.id1;
    control.id2 = in.id2;
    control.id3 = in.id3;
    control.code4 = in.code4;
    control.text5 = in.text5;
    control.text6 = in.text6;
    control.texts7 = in.texts7;
    control.road_links8.reserve(in.road_links8.size());
    for (const navcore::KSRoadLinkName& link : in.road_links8) {
      navkse::routesearch::RoadLinkName name;
      name.link_id = link.link_id;
      name.name = link.name;
      control.road_links8.push_back(name);
    }
    control.code9 = in.code9;
    target.controls.emplace(entry.first, std::move(control));  // an existing key keeps its control
  }
}

int GetRouteRefreshReqData(const RouteRefreshReqParam& param, const ReqExtraParam& extra,
                           std::vector<char>& out) {
  navkse::traffic::AllOnRouteReqBatch batch;
  batch.request_number = std::to_string(param.request_number);

  // Without a search to re-run the CarRouteReq still goes out, all defaults.
  if (param.research_flag && param.pending_list.empty()) {
    GetCarRouteReq(batch.refresh.route_req, param.route_param, extra);
  }
  GetKSEExplainControl(batch.refresh.cloud_control, param.explain_controls);

  for (const OneRouteTrafficReqParam& route : param.routes) {
    navkse::dynamicroute::AllOnRouteReq one;
    GetAllOnRouteReq(one, route, param, extra, param.refresh_value);
    batch.routes.push_back(std::move(one));
  }

  GetGPSBuket(batch.bucket, param.bucket_number_text, extra.imei, param.bucket_value, param.fixes);

  std::vector<char> body;
  if (!SerializeKSE(batch, body)) return 1;

  using Command = navkse::PackageCommand<navkse::RequestKind::kTrafficRefresh>;
  navkse::duromap::Package package;
  // Flagged as compressed although the body goes out plain: the server expects it.
  if (route_req_serializer::GetPackage(package, extra, navkse::duromap::CMD{Command::number}, Command::name,
                                       body, true) != 0) {
    return 1;
  }
  return SerializeKSE(package, out) ? 0 : 1;
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
