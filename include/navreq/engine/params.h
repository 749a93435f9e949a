// The engine's parameter records: what the navigation engine hands the
// serializer for each request. The serializer only reads them.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "navreq/engine/reflect.h"

namespace navcore {

// One positioning fix.
#define NAVREQ_FIELDS_KSLocation(X)                                             \
  X(double, latitude, 0)  /* degrees */                                         \
  X(double, longitude, 0) /* degrees */                                         \
  X(float, speed, 0)      /* metres per second */                               \
  X(float, scalarA, 0)    /* fix measure, sent x1000 (route) or x10 (upload) */ \
  X(float, heading, 0)    /* direction of travel, degrees */                    \
  X(float, scalarC, 0)    /* fix measure, sent as a whole number */             \
  X(float, scalarD, 0)    /* fix measure, sent x10 by the location upload */    \
  X(std::int64_t, timeSeconds, 0)                                               \
  X(std::int32_t, intValueA, 0)                                                 \
  X(std::int32_t, intValueB, 0)                                                 \
  X(std::int32_t, src_type, 0) /* source type of the fix */
NAVREQ_ENGINE_RECORD(KSLocation, NAVREQ_FIELDS_KSLocation);

// One route search point: start, via point or destination.
#define NAVREQ_FIELDS_KSNaviSearchPoint(X) \
  X(double, latitude, 0)                   \
  X(double, longitude, 0)                  \
  X(std::string, primaryText, {})          \
  X(std::string, secondaryText, {})        \
  X(std::int32_t, pointType, 0)
NAVREQ_ENGINE_RECORD(KSNaviSearchPoint, NAVREQ_FIELDS_KSNaviSearchPoint);

// One vertex of an area to avoid.
#define NAVREQ_FIELDS_KSLatLon(X) \
  X(double, latitude, 0)          \
  X(double, longitude, 0)
NAVREQ_ENGINE_RECORD(KSLatLon, NAVREQ_FIELDS_KSLatLon);

// The motorcycle: its type, energy type and engine displacement.
#define NAVREQ_FIELDS_KSMotoParam(X) \
  X(std::int32_t, moto_type, 0)      \
  X(std::int32_t, energy_type, 0)    \
  X(std::int32_t, engine_displacement, 0)
NAVREQ_ENGINE_RECORD(KSMotoParam, NAVREQ_FIELDS_KSMotoParam);

// Four truck values that travel together.
using TruckBlock = std::array<std::int32_t, 4>;

// Truck dimensions; measures are sent as integer thousandths.
#define NAVREQ_FIELDS_KSTruckParam(X) \
  X(float, truckMeasureA, 0)          \
  X(float, truckMeasureB, 0)          \
  X(float, truckMeasureC, 0)          \
  X(float, truckMeasureD, 0)          \
  X(float, truckMeasureE, 0)          \
  X(std::int32_t, truckOption6, 0)    \
  X(std::int32_t, truckOption7, 0)    \
  X(float, truckMeasureF, 0)          \
  X(TruckBlock, truckBlock, {})       \
  X(std::int32_t, truckOption48, 0)   \
  X(std::int32_t, truckOption52, 0)   \
  X(bool, skipMeasureCD, false)       \
  X(bool, truckClientFlag, false)
NAVREQ_ENGINE_RECORD(KSTruckParam, NAVREQ_FIELDS_KSTruckParam);

// A named road link of a follow-explain control.
#define NAVREQ_FIELDS_KSRoadLinkName(X) \
  X(std::int64_t, link_id, 0)           \
  X(std::string, name, {})
NAVREQ_ENGINE_RECORD(KSRoadLinkName, NAVREQ_FIELDS_KSRoadLinkName);

// The engine's follow-explain control; its values map one to one, in order,
// onto the wire's FollowExplainControl (tags 0 to 9).
#define NAVREQ_FIELDS_KSFollowExplainControl(X)   \
  X(std::int64_t, id0, 0)                         \
  X(std::int64_t, id1, 0)                         \
  X(std::int64_t, id2, 0)                         \
  X(std::int64_t, id3, 0)                         \
  X(std::int32_t, code4, 0)                       \
  X(std::string, text5, {})                       \
  X(std::string, text6, {})                       \
  X(std::vector<std::string>, texts7, {})         \
  X(std::vector<KSRoadLinkName>, road_links8, {}) \
  X(std::int32_t, code9, 0)
NAVREQ_ENGINE_RECORD(KSFollowExplainControl, NAVREQ_FIELDS_KSFollowExplainControl);

}  // namespace navcore

namespace zv_navi_core {

using navcore::KSFollowExplainControl;
using navcore::KSLatLon;
using navcore::KSLocation;
using navcore::KSMotoParam;
using navcore::KSNaviSearchPoint;
using navcore::KSTruckParam;

// The client's identity, passed to every entry function.
#define NAVREQ_FIELDS_ReqExtraParam(X) \
  X(std::string, identity_a, {})       \
  X(std::string, imei, {})             \
  X(std::string, identity_b, {})       \
  X(std::int64_t, identity_number, 0)  \
  X(std::string, identity_c, {})       \
  X(std::string, identity_d, {})       \
  X(std::string, api_key, {})          \
  X(std::string, identity_e, {})       \
  X(std::string, identity_f, {})       \
  X(std::string, identity_g, {})       \
  X(std::string, identity_h, {})       \
  X(std::string, alt_device_id1, {})   \
  X(std::string, alt_device_id2, {})   \
  X(std::string, identity_i, {})
NAVREQ_ENGINE_RECORD(ReqExtraParam, NAVREQ_FIELDS_ReqExtraParam);

// Areas the route must avoid, each a polygon of positions.
using LimitAreaPolygons = std::vector<std::vector<KSLatLon>>;

// One route search. routeOptionN members feed CarRouteReq tag N.
#define NAVREQ_FIELDS_DriveRouteReqParam(X)        \
  X(KSNaviSearchPoint, start, {})                  \
  X(KSNaviSearchPoint, destination, {})            \
  X(std::int32_t, reason, 0)                       \
  X(std::string, routeOption52, {})                \
  X(std::string, routeOption65, {})                \
  X(std::vector<KSNaviSearchPoint>, viaPoints, {}) \
  X(std::uint8_t, routeOption3, 0)                 \
  X(std::int32_t, trafficPref, 0)                  \
  X(std::int32_t, noHighway, 0)                    \
  X(std::int32_t, noToll, 0)                       \
  X(std::int32_t, routeOption42, 0)                \
  X(std::int32_t, routeOption73, 0)                \
  X(std::int32_t, routeOption74, 0)                \
  X(std::int32_t, subReason, 0)                    \
  X(float, reasonAngle, 0)                         \
  X(std::string, routeOption11, {})                \
  X(std::vector<KSLocation>, recentFixes, {})      \
  X(std::string, routeOption22, {})                \
  X(bool, routeOption48, false)                    \
  X(std::int32_t, routeOption59, 0)                \
  X(KSTruckParam, truck, {})                       \
  X(LimitAreaPolygons, limitAreas, {})             \
  X(bool, rankEnabled, false)                      \
  X(std::int32_t, routeOption28, 0)                \
  X(std::int32_t, routeOption47, 0)                \
  X(std::int32_t, routeOption60, 0)                \
  X(std::int32_t, routeOption61, 0)                \
  X(std::uint32_t, routeOption58, 0)               \
  X(bool, routeOption43, false)                    \
  X(std::string, routeOption14, {})                \
  X(std::vector<std::string>, routeOption49, {})   \
  X(std::uint32_t, routeOption66, 0)               \
  X(std::int32_t, routeOption37, 0)                \
  X(std::int32_t, routeOption38, 0)                \
  X(double, yawLatitude, 0)                        \
  X(double, yawLongitude, 0)                       \
  X(float, yawAngle, 0)                            \
  X(float, curSpeed, 0)                            \
  X(float, curScalarA, 0)                          \
  X(float, curHeading, 0)                          \
  X(float, curScalarC, 0)                          \
  X(std::int32_t, phValue, 0)                      \
  X(std::int32_t, routeOption19, 0)                \
  X(std::int32_t, routeOption56, 0)                \
  X(std::int32_t, routeOption57, 0)                \
  X(std::int32_t, planMode, 0)                     \
  X(std::int32_t, prefer_shortdist, 0)             \
  X(std::vector<KSLocation>, trajectoryFixes, {})  \
  X(bool, is_search_coords_cut_for_yaw, false)     \
  X(bool, is_reroute_coords_cut_for_yaw, false)    \
  X(std::int32_t, car_energy_type, 0)              \
  X(KSMotoParam, moto, {})                         \
  X(std::int32_t, order_source, 0)                 \
  X(std::string, order_id_, {})
NAVREQ_ENGINE_RECORD(DriveRouteReqParam, NAVREQ_FIELDS_DriveRouteReqParam);

// One route held by the engine, as the traffic refresh asks about it.
#define NAVREQ_FIELDS_OneRouteTrafficReqParam(X) \
  X(std::string, id_text, {})                    \
  X(std::int32_t, num_a, 0)                      \
  X(std::int32_t, num_b, 0)                      \
  X(double, latitude, 0)                         \
  X(double, longitude, 0)                        \
  X(std::int32_t, num_c, 0)                      \
  X(std::int32_t, num_d, 0)                      \
  X(std::int32_t, num_e, 0)                      \
  X(std::int32_t, num_f, 0)
NAVREQ_ENGINE_RECORD(OneRouteTrafficReqParam, NAVREQ_FIELDS_OneRouteTrafficReqParam);

// An entry of the engine's list of pending requests; the refresh only asks
// whether the list is empty.
struct PendingEntry {
  // No fields to visit.
  template <class Visitor>
  void forEachField(Visitor&&) const {}
  // Entries carry nothing the serializer reads: any two are alike.
  friend bool operator==(const PendingEntry&, const PendingEntry&) { return true; }
  // The negation of ==.
  friend bool operator!=(const PendingEntry&, const PendingEntry&) { return false; }
};

// The follow-explain controls by key.
using ExplainControlMap = std::map<std::string, KSFollowExplainControl>;

// A traffic refresh of the routes being driven.
#define NAVREQ_FIELDS_RouteRefreshReqParam(X)         \
  X(std::string, primary_text, {})                    \
  X(std::string, secondary_text, {})                  \
  X(std::string, third_text, {})                      \
  X(std::int32_t, bucket_value, 0)                    \
  X(DriveRouteReqParam, route_param, {})              \
  X(std::vector<PendingEntry>, pending_list, {})      \
  X(bool, research_flag, false)                       \
  X(std::string, bucket_number_text, {})              \
  X(std::int32_t, refresh_value, 0)                   \
  X(std::int32_t, request_number, 0)                  \
  X(ExplainControlMap, explain_controls, {})          \
  X(std::vector<OneRouteTrafficReqParam>, routes, {}) \
  X(std::vector<KSLocation>, fixes, {})
NAVREQ_ENGINE_RECORD(RouteRefreshReqParam, NAVREQ_FIELDS_RouteRefreshReqParam);

// One batch of fixes to upload.
#define NAVREQ_FIELDS_LocationUploadParam(X)  \
  X(std::string, session_id, {})              \
  X(std::string, linked_session_id, {})       \
  X(std::string, extra_text1, {})             \
  X(std::string, extra_text2, {})             \
  X(std::vector<std::string>, extra_list, {}) \
  X(std::vector<KSLocation>, locations, {})   \
  X(bool, gzip, false)
NAVREQ_ENGINE_RECORD(LocationUploadParam, NAVREQ_FIELDS_LocationUploadParam);

// One requested slice of a guidance session.
#define NAVREQ_FIELDS_SliceDesc(X) \
  X(std::string, slice_text, {})   \
  X(std::int32_t, slice_value1, 0) \
  X(std::int32_t, slice_value2, 0)
NAVREQ_ENGINE_RECORD(SliceDesc, NAVREQ_FIELDS_SliceDesc);

// A route plus or guidance slice request: the session and its slices.
#define NAVREQ_FIELDS_SliceRequest(X)  \
  X(std::string, slice_session_id, {}) \
  X(std::vector<SliceDesc>, slices, {})
// Route plus and guidance slice requests have the same shape.
NAVREQ_ENGINE_RECORD(PlusReq, NAVREQ_FIELDS_SliceRequest);
NAVREQ_ENGINE_RECORD(SliceReq, NAVREQ_FIELDS_SliceRequest);

}  // namespace zv_navi_core

// Every engine parameter record, for code that must cover them all (the JSON
// mapping's instantiations, the round-trip tests); a record added above is
// added here too.
#define NAVREQ_ALL_ENGINE_RECORDS(X)         \
  X(::navcore::KSLocation)                   \
  X(::navcore::KSNaviSearchPoint)            \
  X(::navcore::KSLatLon)                     \
  X(::navcore::KSMotoParam)                  \
  X(::navcore::KSTruckParam)                 \
  X(::navcore::KSRoadLinkName)               \
  X(::navcore::KSFollowExplainControl)       \
  X(::zv_navi_core::ReqExtraParam)           \
  X(::zv_navi_core::DriveRouteReqParam)      \
  X(::zv_navi_core::OneRouteTrafficReqParam) \
  X(::zv_navi_core::RouteRefreshReqParam)    \
  X(::zv_navi_core::LocationUploadParam)     \
  X(::zv_navi_core::SliceDesc)               \
  X(::zv_navi_core::PlusReq)                 \
  X(::zv_navi_core::SliceReq)
