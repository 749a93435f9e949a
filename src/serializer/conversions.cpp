// Engine positions and fixes into the protocol's integer records.
//
// The engine keeps degrees and SI units in floating point; the wire wants
// integer micro-degrees, whole degrees, thousandths and km/h. The numbers go
// through the named conversions of navreq/numeric.h, which truncate toward zero
// (never round) and pin what NaN, infinities and out-of-range values become (0,
// INT32_MAX, INT32_MIN), so a bad fix from the positioning layer can never make
// the request depend on the host.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fixed_text.h"
#include "navreq/engine/services.h"
#include "navreq/numeric.h"
#include "navreq/records/common.h"
#include "navreq/records/routesearch.h"
#include "navreq/requests.h"

namespace zv_navi_core {

namespace {

using navreq::MicroDegrees;

// The ten converted fields of a fix, shared by the single and list forms.
void FillGps(navkse::common::Gps& gps, const KSLocation& fix) {
  gps.longitude = MicroDegrees(fix.longitude);
  gps.latitude = MicroDegrees(fix.latitude);
  gps.scalarC = navreq::WholeUnits(fix.scalarC);
  gps.heading = navreq::WholeUnits(fix.heading);
  gps.scalarA_x1000 = navreq::Thousandths(fix.scalarA);
  gps.speed_kmh = navreq::KmhFromMetresPerSecond(fix.speed);
  gps.timeSeconds = fix.timeSeconds;
  gps.intValueA = fix.intValueA;
  gps.intValueB = fix.intValueB;
  gps.src_type = fix.src_type;
  // The wording names the route plus feature; the server-side log parsers
  // expect it as it is.
  Log::record(kLevelInfo, kEventRequest, "RoutePlus::RequestPlus src_type=%d", fix.src_type);
}

}  // namespace

namespace route_req_serializer {

void GetSimplePOIRequestInfo(navkse::common::SimplePOIRequestInfo& target, const KSNaviSearchPoint& point) {
  const std::int32_t longitude = MicroDegrees(point.longitude);
  const std::int32_t latitude = MicroDegrees(point.latitude);
  // The service reads the coordinate from either slot, so both carry it.
  target.point.longitude = longitude;
  target.point.latitude = latitude;
  target.point_again.longitude = longitude;
  target.point_again.latitude = latitude;
  target.pointType = point.pointType;
  target.primaryText = point.primaryText;
  target.secondaryText = point.secondaryText;
}

}  // namespace route_req_serializer

namespace drive_route_req_serializer {

void ConvertLocationToCommGPS(navkse::common::Gps& target, const KSLocation& fix) { FillGps(target, fix); }

void ConvertLocationsToCommGPS(std::vector<navkse::common::Gps>& target,
                               const std::vector<KSLocation>& fixes) {
  target.reserve(target.size() + fixes.size());
  for (const KSLocation& fix : fixes) {
    target.emplace_back();  // a fresh Gps: tags 15 to 19 keep their non-zero defaults
    FillGps(target.back(), fix);
  }
}

void GetViaPoints(navkse::routesearch::CarRouteReq& request,
                  const std::vector<KSNaviSearchPoint>& via_points) {
  request.via_points.reserve(request.via_points.size() + via_points.size());
  request.viaPointFlags.reserve(request.viaPointFlags.size() + via_points.size());
  for (const KSNaviSearchPoint& via : via_points) {
    request.via_points.emplace_back();  // a fresh SimplePOIRequestInfo with its defaults
    route_req_serializer::GetSimplePOIRequestInfo(request.via_points.back(), via);
    // One flag per via point: the two lists must stay the same length.
    request.viaPointFlags.push_back(0);
  }
}

void GetLimitAreaList(std::vector<navkse::routesearch::LimitArea>& target,
                      const std::vector<std::vector<KSLatLon>>& polygons) {
  target.reserve(target.size() + polygons.size());
  for (const std::vector<KSLatLon>& polygon : polygons) {
    navkse::routesearch::LimitArea area;  // an empty polygon is still sent
    area.vertices.reserve(polygon.size());
    for (const KSLatLon& vertex : polygon) {
      navkse::common::Point point;
      point.longitude = MicroDegrees(vertex.longitude);
      point.latitude = MicroDegrees(vertex.latitude);
      area.vertices.push_back(point);
    }
    target.push_back(std::move(area));
  }
}

std::string AngleToStr(float angle) {
  std::string text = "-1";  // the server's "no heading"
  // Compared as float; NaN fails both tests. -0.0 passes and prints "-0.0".
  if (angle >= 0.0f && angle < 360.0f) {
    // One decimal of the exact stored value: an exact tie goes to even (90.25
    // gives "90.2"), and 359.97 gives "360.0".
    text = FixedText(static_cast<double>(angle), 1);
  }
  return text;
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
