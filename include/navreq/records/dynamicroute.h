// Per-route questions of a traffic refresh (namespace navkse::dynamicroute).
#pragma once

#include "navreq/records/base.h"
#include "navreq/records/nav.h"
#include "navreq/records/ugc_unit.h"

namespace navkse {
namespace dynamicroute {

// Traffic events on one route. Positions are spherical Mercator metres,
// whole numbers carried as doubles.
#define NAVKSE_FIELDS_OnRouteReq(X) \
  X(0, int64_t, route_id, 0)        \
  X(1, int32_t, num_a, 0)           \
  X(2, int32_t, field2, 0)          \
  X(3, uint32_t, field3, 0)         \
  X(4, string, third_text, {})      \
  X(5, string, imei, {})            \
  X(6, int32_t, field6, 0)          \
  X(7, int32_t, field7, 0)          \
  X(8, string, identity_f, {})      \
  X(9, string, version, {})         \
  X(10, double, mercator_x, 0.0)    \
  X(11, double, mercator_y, 0.0)    \
  X(12, int32_t, field12, 0)        \
  X(13, string, primary_text, {})   \
  X(14, string, secondary_text, {}) \
  X(15, int32_t, field15, 0)        \
  X(16, int32_t, num_e, 0)          \
  X(17, int32_t, num_f, 0)
NAVKSE_RECORD(OnRouteReq, NAVKSE_FIELDS_OnRouteReq);

// Travel time along one route.
#define NAVKSE_FIELDS_TrafficTimeReq(X) \
  X(0, int64_t, route_id, 0)            \
  X(1, int32_t, num_b, 0)               \
  X(2, int32_t, num_a, -1)              \
  X(3, double, mercator_x, 0.0)         \
  X(4, double, mercator_y, 0.0)         \
  X(5, int32_t, refresh_value, 2)       \
  X(6, int32_t, num_d, 0)               \
  X(7, int32_t, num_c, 0)               \
  X(8, string, primary_text, {})        \
  X(9, string, secondary_text, {})      \
  X(10, int32_t, field10, 0)            \
  X(11, int32_t, field11, 0)
NAVKSE_RECORD(TrafficTimeReq, NAVKSE_FIELDS_TrafficTimeReq);

// Dynamic re-routing on one route.
#define NAVKSE_FIELDS_DynamicReq(X) \
  X(0, int32_t, field0, 1)          \
  X(1, int64_t, field1, 0)          \
  X(2, int32_t, field2, 0)          \
  X(3, double, field3, 0.0)         \
  X(4, double, field4, 0.0)         \
  X(5, double, field5, 0.0)         \
  X(6, double, field6, 0.0)         \
  X(7, double, field7, 0.0)         \
  X(8, double, field8, 0.0)         \
  X(9, int64_t, field9, 0)          \
  X(10, double, field10, 0.0)       \
  X(11, string, field11, {})        \
  X(12, string, field12, {})        \
  X(13, int32_t, field13, 0)        \
  X(14, string, field14, {})        \
  X(15, string, field15, {})        \
  X(16, bool, field16, false)       \
  X(17, bool, field17, false)       \
  X(18, bool, field18, false)       \
  X(19, int32_t, field19, 0)        \
  X(20, int32_t, field20, 0)        \
  X(21, int32_t, field21, 0)        \
  X(22, int32_t, field22, 0)        \
  X(23, int32_t, field23, 0)        \
  X(24, string, field24, {})        \
  X(25, int32_t, refresh_value, 0)  \
  X(26, string, field26, {})
NAVKSE_RECORD(DynamicReq, NAVKSE_FIELDS_DynamicReq);

// Energy consumption along one route.
#define NAVKSE_FIELDS_EnergyConsumeReq(X)                \
  X(0, ::navkse::nav::PowerConsumeModelParam, model, {}) \
  X(1, int64_t, field1, 0)                               \
  X(2, int32_t, field2, 0)                               \
  X(3, int32_t, field3, -1)                              \
  X(4, double, field4, 0.0)                              \
  X(5, double, field5, 0.0)                              \
  X(6, int32_t, field6, 85)                              \
  X(7, int32_t, field7, 10)                              \
  X(8, float, field8, 0.0f)
NAVKSE_RECORD(EnergyConsumeReq, NAVKSE_FIELDS_EnergyConsumeReq);

// The four questions about one route.
#define NAVKSE_FIELDS_AllOnRouteReq(X)           \
  X(0, OnRouteReq, on_route, {})                 \
  X(1, TrafficTimeReq, traffic_time, {})         \
  X(2, DynamicReq, dynamic, {})                  \
  X(3, ::navkse::ugcUnit::gpsBucket, bucket, {}) \
  X(4, EnergyConsumeReq, energy, {})
NAVKSE_RECORD(AllOnRouteReq, NAVKSE_FIELDS_AllOnRouteReq);

}  // namespace dynamicroute
}  // namespace navkse
