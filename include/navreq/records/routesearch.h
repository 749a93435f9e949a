// The route search request record and what only it nests
// (namespace navkse::routesearch).
#pragma once

#include "navreq/records/base.h"
#include "navreq/records/cockpit.h"
#include "navreq/records/common.h"
#include "navreq/records/mobile_car_uni.h"
#include "navreq/records/nav.h"

namespace navkse {
namespace routesearch {

// CarRouteReq tag 44; the serializers fill none of it.
#define NAVKSE_FIELDS_PhExtraInfo(X)          \
  X(0, int32_t, field0, -1)                   \
  X(1, ::navkse::common::Point, position, {}) \
  X(2, List<float>, values, {})               \
  X(3, string, field3, {})
NAVKSE_RECORD(PhExtraInfo, NAVKSE_FIELDS_PhExtraInfo);

// An area to avoid: the polygon's vertices.
#define NAVKSE_FIELDS_LimitArea(X) X(0, List<::navkse::common::Point>, vertices, {})
NAVKSE_RECORD(LimitArea, NAVKSE_FIELDS_LimitArea);

// CarRouteReq tag 79; the serializers fill none of it.
#define NAVKSE_FIELDS_FavoriteRoute(X) \
  X(0, int32_t, field0, 0)             \
  X(1, string, field1, {})
NAVKSE_RECORD(FavoriteRoute, NAVKSE_FIELDS_FavoriteRoute);

// CarRouteReq tag 80: lists of search points; the serializers fill none of it.
#define NAVKSE_FIELDS_LinkingRouteMeta(X)                                   \
  X(0, int32_t, field0, 0)                                                  \
  X(1, List<List<::navkse::common::SimplePOIRequestInfo>>, point_lists, {}) \
  X(2, int32_t, field2, 0)                                                  \
  X(3, string, field3, {})                                                  \
  X(4, int64_t, field4, 0)                                                  \
  X(5, List<string>, field5, {})                                            \
  X(6, List<string>, field6, {})
NAVKSE_RECORD(LinkingRouteMeta, NAVKSE_FIELDS_LinkingRouteMeta);

// A road link and its name.
#define NAVKSE_FIELDS_RoadLinkName(X) \
  X(0, int64_t, link_id, 0)           \
  X(1, string, name, {})
NAVKSE_RECORD(RoadLinkName, NAVKSE_FIELDS_RoadLinkName);

// One follow-explain control of RouteCloudControl, from the engine's KSFollowExplainControl.
#define NAVKSE_FIELDS_FollowExplainControl(X) \
  X(0, int64_t, id0, 0)                       \
  X(1, int64_t, id1, 0)                       \
  X(2, int64_t, id2, 0)                       \
  X(3, int64_t, id3, 0)                       \
  X(4, int32_t, code4, 0)                     \
  X(5, string, text5, {})                     \
  X(6, string, text6, {})                     \
  X(7, List<string>, texts7, {})              \
  X(8, List<RoadLinkName>, road_links8, {})   \
  X(9, int32_t, code9, 0)
NAVKSE_RECORD(FollowExplainControl, NAVKSE_FIELDS_FollowExplainControl);

// The older truck record; always sent with its defaults.
#define NAVKSE_FIELDS_TruckParamsReq(X) \
  X(0, float, field0, 0.0f)             \
  X(1, float, field1, 0.0f)             \
  X(2, float, field2, 0.0f)             \
  X(3, int32_t, field3, 0)              \
  X(4, int32_t, field4, 0)              \
  X(5, int32_t, field5, 0)              \
  X(6, float, field6, 0.0f)             \
  X(7, int32_t, field7, 0)              \
  X(8, int32_t, field8, 0)
NAVKSE_RECORD(TruckParamsReq, NAVKSE_FIELDS_TruckParamsReq);

// CarRouteReq tag 76; the serializers fill none of it.
#define NAVKSE_FIELDS_ElectricVehicleParams(X)           \
  X(0, ::navkse::nav::PowerConsumeModelParam, model, {}) \
  X(1, float, field1, 0.0f)                              \
  X(2, float, field2, 0.0f)                              \
  X(3, int32_t, field3, 0)                               \
  X(4, int32_t, field4, 0)                               \
  X(5, int32_t, field5, 0)                               \
  X(6, int32_t, field6, 0)                               \
  X(7, int32_t, field7, 0)
NAVKSE_RECORD(ElectricVehicleParams, NAVKSE_FIELDS_ElectricVehicleParams);

// The body of a route search. Fields named routeOptionN carry the engine's
// option of that name; there is no tag 12.
#define NAVKSE_FIELDS_CarRouteReq(X)                                  \
  X(0, ::navkse::common::SimplePOIRequestInfo, start, {})             \
  X(1, ::navkse::common::SimplePOIRequestInfo, destination, {})       \
  X(2, string, field2, {})                                            \
  X(3, int32_t, routeOption3, 0)                                      \
  X(4, int32_t, field4, 0)                                            \
  X(5, int32_t, trafficPref, 0)                                       \
  X(6, int32_t, noHighway, 0)                                         \
  X(7, int32_t, noToll, 0)                                            \
  X(8, string, reason_text, {})                                       \
  X(9, int32_t, field9, 0)                                            \
  X(10, string, heading_text, {})                                     \
  X(11, string, routeOption11, {})                                    \
  X(13, int32_t, ph_value, 0)                                         \
  X(14, string, routeOption14, {})                                    \
  X(15, bool, field15, false)                                         \
  X(16, List<::navkse::common::SimplePOIRequestInfo>, via_points, {}) \
  X(17, Bytes, viaPointFlags, {})                                     \
  X(18, List<::navkse::common::Point>, field18, {})                   \
  X(19, int32_t, routeOption19, 0)                                    \
  X(20, int32_t, field20, 0)                                          \
  X(21, int32_t, field21, 0)                                          \
  X(22, string, routeOption22, {})                                    \
  X(23, int32_t, field23, -1)                                         \
  X(24, List<::navkse::common::Gps>, recent_fixes, {})                \
  X(25, string, identity_a, {})                                       \
  X(26, string, preference_query, {})                                 \
  X(27, string, status_text, {})                                      \
  X(28, int32_t, routeOption28, 0)                                    \
  X(29, int64_t, identity_number, 0)                                  \
  X(30, int32_t, sub_reason, 0)                                       \
  X(31, string, reverse_heading_text, {})                             \
  X(32, ::navkse::common::Point, yaw_position, {})                    \
  X(33, string, reroute_text, {})                                     \
  X(34, ::navkse::common::Point, reroute_yaw_position, {})            \
  X(35, string, reroute_yaw_heading_text, {})                         \
  X(36, int32_t, reroute_ph_value, -1)                                \
  X(37, int32_t, routeOption37, -1)                                   \
  X(38, int32_t, routeOption38, -1)                                   \
  X(39, int32_t, field39, 0)                                          \
  X(40, int32_t, field40, -1)                                         \
  X(41, float, current_measure, -1.0f)                                \
  X(42, int32_t, routeOption42, 0)                                    \
  X(43, bool, routeOption43, false)                                   \
  X(44, PhExtraInfo, ph_extra, {})                                    \
  X(45, string, imei, {})                                             \
  X(46, string, field46, {})                                          \
  X(47, int32_t, routeOption47, 0)                                    \
  X(48, bool, routeOption48, false)                                   \
  X(49, List<string>, routeOption49, {})                              \
  X(50, string, reroute_text_again, {})                               \
  X(51, bool, field51, false)                                         \
  X(52, string, routeOption52, {})                                    \
  X(53, string, field53, {})                                          \
  X(54, List<string>, field54, {})                                    \
  X(55, int32_t, field55, 0)                                          \
  X(56, int32_t, routeOption56, 0)                                    \
  X(57, int32_t, routeOption57, 0)                                    \
  X(58, uint32_t, routeOption58, 0)                                   \
  X(59, int32_t, routeOption59, 0)                                    \
  X(60, int32_t, routeOption60, 0)                                    \
  X(61, int32_t, routeOption61, 0)                                    \
  X(62, string, identity_i, {})                                       \
  X(63, int32_t, field63, 0)                                          \
  X(64, uint32_t, feature_bits, 0)                                    \
  X(65, string, routeOption65, {})                                    \
  X(66, uint32_t, routeOption66, 0)                                   \
  X(67, TruckParamsReq, truck_params_v1, {})                          \
  X(68, bool, field68, false)                                         \
  X(69, List<int32_t>, field69, {})                                   \
  X(70, List<LimitArea>, limit_areas, {})                             \
  X(71, StringMap, field71, {})                                       \
  X(72, BytesMap, side_records, {})                                   \
  X(73, int32_t, routeOption73, 0)                                    \
  X(74, int32_t, routeOption74, 0)                                    \
  X(75, ::navkse::common::ClientParam, cli_param, {})                 \
  X(76, ElectricVehicleParams, ev_params, {})                         \
  X(77, int32_t, prefer_shortdist, 0)                                 \
  X(78, int32_t, field78, 0)                                          \
  X(79, FavoriteRoute, favorite_route, {})                            \
  X(80, LinkingRouteMeta, linking_route_meta, {})                     \
  X(81, ::navkse::common::NavEnergyModelParams, energy_model, {})     \
  X(82, ::navkse::mobile_car_uni::CarSyncInfo, car_sync_info, {})     \
  X(83, ::navkse::common::TruckParamsReq_v2, truck_params, {})        \
  X(84, List<::navkse::common::Gps>, trajectory_fixes, {})            \
  X(85, int32_t, field85, 0)                                          \
  X(86, ::navkse::common::MotoParamsReq, moto_params_req, {})         \
  X(87, ::navkse::cockpit::MMRequest, mm_request, {})
NAVKSE_RECORD(CarRouteReq, NAVKSE_FIELDS_CarRouteReq);

// Keys of CarRouteReq::side_records.
constexpr const char* kGuidanceSideRecordKey = "toGuidance";
constexpr const char* kRankSideRecordKey = "toRank";
// Bits the route search always sets in CarRouteReq::feature_bits.
constexpr uint32_t kRouteSearchFeatureBits = 0x8828;

// The follow-explain controls of a refresh search, by key.
#define NAVKSE_FIELDS_RouteCloudControl(X) X(0, StringMapOf<FollowExplainControl>, controls, {})
NAVKSE_RECORD(RouteCloudControl, NAVKSE_FIELDS_RouteCloudControl);

// The route search re-run by a traffic refresh.
#define NAVKSE_FIELDS_RouteRefreshReq(X)     \
  X(0, CarRouteReq, route_req, {})           \
  X(1, RouteCloudControl, cloud_control, {}) \
  X(2, List<int32_t>, field2, {})
NAVKSE_RECORD(RouteRefreshReq, NAVKSE_FIELDS_RouteRefreshReq);

}  // namespace routesearch
}  // namespace navkse
