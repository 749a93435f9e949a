// Parameter records as the engine fills them on a real drive, for the
// reliability tests (allocation failures, concurrency, string limits): every
// request family with its lists, nested records and texts populated, texts
// long enough that copying them allocates.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "navreq/engine/params.h"
#include "support/fixes.h"

namespace navreq {
namespace reliability {

inline zv_navi_core::ReqExtraParam RealisticExtra() {
  zv_navi_core::ReqExtraParam extra;
  extra.identity_a = "navreq-reliability-user-000001";
  extra.imei = "860000000000001-reliability-device";
  extra.identity_b = "android-14-build-UP1A.231005.007";
  extra.identity_number = 20231114;
  extra.identity_c = "zh-CN-reliability-locale";
  extra.identity_d = "nav-sdk-7.2.0-reliability-build";
  extra.api_key = "reliability-api-key-0000000000001";
  extra.identity_e = "phone-reliability-model-x";
  extra.identity_f = "beijing-reliability-region";
  extra.identity_g = "release-reliability-channel";
  extra.identity_h = "wifi-reliability-network";
  extra.alt_device_id1 = "";
  extra.alt_device_id2 = "alternate-device-identifier-2";
  extra.identity_i = "identity-i-reliability-value";
  return extra;
}

inline std::vector<zv_navi_core::KSLocation> Fixes(int count, std::int64_t first_time_s,
                                                   std::int32_t src_type) {
  std::vector<zv_navi_core::KSLocation> fixes;
  for (int i = 0; i < count; ++i) {
    fixes.push_back(navreq::testing::Fix(39.865195 - 0.00012 * i, 116.378624 + 0.00015 * i,
                                         12.5f + 0.25f * static_cast<float>(i), 6.5f, 135.0f, 42.0f,
                                         first_time_s + 2 * i, 3, 12, src_type, 38.5f));
  }
  return fixes;
}

using navreq::testing::SearchPoint;

// A reroute (reason -1) of a truck, with via points, fixes, an area to
// avoid, the ranking side record and a motorcycle record: every branch of
// the route search that allocates.
inline zv_navi_core::DriveRouteReqParam RealisticRoute() {
  zv_navi_core::DriveRouteReqParam p;
  p.start = SearchPoint(39.865195, 116.378624, "北京南站", "北京市丰台区永外大街车站路12号", 1);
  p.destination = SearchPoint(39.136305, 117.210913, "天津站", "天津市河北区新纬路1号", 2);
  p.reason = -1;
  p.routeOption52 = "car-route-option-52-value";
  p.routeOption65 = "";
  p.viaPoints.push_back(SearchPoint(39.538045, 116.683752, "廊坊", "河北省廊坊市广阳区", 3));
  p.viaPoints.push_back(SearchPoint(39.384119, 117.044265, "武清", "天津市武清区", 3));
  p.routeOption3 = 1;
  p.trafficPref = 1;
  p.noHighway = 0;
  p.noToll = 1;
  p.subReason = 5;
  p.reasonAngle = 135.5f;
  p.routeOption11 = "route-option-eleven-text";
  p.recentFixes = Fixes(4, 1699999980, 1);
  p.routeOption22 = "route-option-twenty-two";
  p.routeOption48 = true;
  p.routeOption59 = 7;
  p.truck.truckMeasureA = 4.2f;
  p.truck.truckMeasureB = 2.55f;
  p.truck.truckMeasureC = 3.9f;
  p.truck.truckMeasureD = 18.0f;
  p.truck.truckMeasureE = 12.5f;
  p.truck.truckOption6 = 3;
  p.truck.truckOption7 = 2;
  p.truck.truckMeasureF = 9.6f;
  p.truck.truckBlock = {1, 0, 2, 0};
  p.truck.truckClientFlag = true;
  p.limitAreas.push_back({});
  for (int i = 0; i < 4; ++i) {
    zv_navi_core::KSLatLon vertex;
    vertex.latitude = 39.55 + 0.05 * (i / 2);
    vertex.longitude = 116.6 + 0.1 * (i % 2);
    p.limitAreas.back().push_back(vertex);
  }
  p.rankEnabled = true;
  p.routeOption14 = "route-option-fourteen-reroute";
  p.routeOption49 = {"avoid-link-0000000001", "avoid-link-0000000002"};
  p.routeOption37 = 12;
  p.routeOption38 = 34;
  p.yawLatitude = 39.7;
  p.yawLongitude = 116.9;
  p.yawAngle = 270.0f;
  p.curSpeed = 14.75f;
  p.curScalarA = 6.5f;
  p.curHeading = -1.0f;
  p.curScalarC = 42.0f;
  p.phValue = 2;
  p.planMode = 9;
  p.trajectoryFixes = Fixes(3, 1699999960, 2);
  p.is_reroute_coords_cut_for_yaw = true;
  p.car_energy_type = 1;
  p.moto.moto_type = 2;
  p.moto.energy_type = 1;
  p.moto.engine_displacement = 250;
  p.order_source = 4;
  p.order_id_ = "ride-order-identifier-000000042";
  return p;
}

// A refresh that re-runs the route search, with two routes, a follow-explain
// control and a trajectory.
inline zv_navi_core::RouteRefreshReqParam RealisticRefresh() {
  zv_navi_core::RouteRefreshReqParam p;
  p.primary_text = "京津高速-primary-text";
  p.secondary_text = "";
  p.third_text = "G2-third-text-of-the-refresh";
  p.bucket_value = 3;
  p.route_param = RealisticRoute();
  p.research_flag = true;
  p.bucket_number_text = "4200000000";
  p.refresh_value = 2;
  p.request_number = 7;
  zv_navi_core::KSFollowExplainControl control;
  control.id0 = 1700000000001;
  control.id1 = 1700000000002;
  control.code4 = 1;
  control.text5 = "follow-the-main-road-text";
  control.text6 = "main road explanation text";
  control.texts7 = {"G2-expressway-name", "S15-expressway-name"};
  navcore::KSRoadLinkName link;
  link.link_id = 5001001001;
  link.name = "京津塘高速公路主线";
  control.road_links8.push_back(link);
  control.code9 = 3;
  p.explain_controls["route-a-explain-control"] = control;
  for (int i = 0; i < 2; ++i) {
    zv_navi_core::OneRouteTrafficReqParam route;
    route.id_text = "170000000012345" + std::to_string(6 + i);
    route.num_a = 1 + i;
    route.num_b = 3600 + 300 * i;
    route.latitude = 39.854;
    route.longitude = 116.392;
    route.num_c = 118000;
    route.num_d = 2;
    route.num_e = i;
    route.num_f = 1 - i;
    p.routes.push_back(route);
  }
  p.fixes = Fixes(3, 1699999990, 1);
  return p;
}

inline zv_navi_core::LocationUploadParam RealisticLocation(bool gzip) {
  zv_navi_core::LocationUploadParam p;
  p.session_id = "navigation-session-20231114-0001";
  p.linked_session_id = "";
  p.extra_text1 = "drive-mode-extra-text-one";
  p.extra_text2 = "foreground-extra-text-two";
  p.extra_list = {"tts-on-extra-list-entry", "hud-off-extra-list-entry"};
  p.locations = Fixes(4, 1699999940, 1);
  p.gzip = gzip;
  return p;
}

template <class Request>
Request RealisticSlices() {
  Request p;
  p.slice_session_id = "guidance-session-20231114-0001";
  const char* texts[] = {"lane-guidance-slice", "camera-guidance-slice", "junction-view-slice"};
  for (int i = 0; i < 3; ++i) {
    zv_navi_core::SliceDesc slice;
    slice.slice_text = texts[i];
    slice.slice_value1 = 2000 * i;
    slice.slice_value2 = 2000 * i + 40000;
    p.slices.push_back(slice);
  }
  return p;
}

// The three strings of a stop event.
struct StopEventInput {
  std::string text = "navigation stopped: arrived at the destination";
  std::string device_id = "860000000000001-reliability-device";
  std::string client_key = "reliability-client-key-000000001";
};

}  // namespace reliability
}  // namespace navreq
