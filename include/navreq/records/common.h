// Common building blocks: coordinates, fixes, search points, client
// parameters, truck and motorcycle parameters (namespace navkse::common).
#pragma once

#include "navreq/records/base.h"
#include "navreq/records/common_cmd.h"

namespace navkse {
namespace common {

// A coordinate pair in micro-degrees, longitude first.
#define NAVKSE_FIELDS_Point(X) \
  X(0, int32_t, longitude, 0)  \
  X(1, int32_t, latitude, 0)   \
  X(2, int32_t, field2, 0)
NAVKSE_RECORD(Point, NAVKSE_FIELDS_Point);

// One positioning fix.
#define NAVKSE_FIELDS_Gps(X)      \
  X(0, int32_t, longitude, 0)     \
  X(1, int32_t, latitude, 0)      \
  X(2, int32_t, scalarC, 0)       \
  X(3, int32_t, heading, 0)       \
  X(4, int32_t, scalarA_x1000, 0) \
  X(5, int32_t, speed_kmh, 0)     \
  X(6, int64_t, timeSeconds, 0)   \
  X(7, int32_t, intValueA, 0)     \
  X(8, int32_t, field8, 0)        \
  X(9, int32_t, field9, 0)        \
  X(10, int32_t, field10, 0)      \
  X(11, int32_t, intValueB, 0)    \
  X(12, int32_t, src_type, 0)     \
  X(13, int32_t, field13, 0)      \
  X(14, int32_t, field14, 0)      \
  X(15, int32_t, field15, 2)      \
  X(16, int32_t, field16, 2)      \
  X(17, int32_t, field17, 0)      \
  X(18, int32_t, field18, 2)      \
  X(19, int32_t, field19, -1)
NAVKSE_RECORD(Gps, NAVKSE_FIELDS_Gps);

// A search point (start, via point or destination) as the route service wants it.
#define NAVKSE_FIELDS_SimplePOIRequestInfo(X) \
  X(0, Point, point, {})                      \
  X(1, string, primaryText, {})               \
  X(2, string, field2, {})                    \
  X(3, string, secondaryText, {})             \
  X(4, int32_t, pointType, 0)                 \
  X(5, string, field5, {})                    \
  X(6, string, field6, {})                    \
  X(7, string, field7, {})                    \
  X(8, int32_t, field8, -1)                   \
  X(9, bool, field9, false)                   \
  X(10, Point, point_again, {})               \
  X(11, string, field11, {})                  \
  X(12, string, field12, {})                  \
  X(13, int32_t, field13, 0)                  \
  X(14, int32_t, field14, 85)                 \
  X(15, string, field15, {})                  \
  X(16, int32_t, field16, 0)                  \
  X(17, string, field17, {})                  \
  X(18, int32_t, field18, -1)                 \
  X(19, List<int32_t>, field19, {})           \
  X(20, Point, field20, {})                   \
  X(21, int32_t, field21, 0)                  \
  X(22, bool, field22, false)                 \
  X(23, int32_t, field23, 0)
NAVKSE_RECORD(SimplePOIRequestInfo, NAVKSE_FIELDS_SimplePOIRequestInfo);

// ClientParam tag 9; the serializers fill none of it.
#define NAVKSE_FIELDS_TravelJamSearch(X) X(0, int32_t, field0, 0)
NAVKSE_RECORD(TravelJamSearch, NAVKSE_FIELDS_TravelJamSearch);

// ClientParam tag 12: link ids; the serializers fill none of it.
#define NAVKSE_FIELDS_ReqLinksData(X) \
  X(0, int32_t, field0, 0)            \
  X(1, List<int64_t>, link_ids, {})   \
  X(2, LongMap, link_map, {})
NAVKSE_RECORD(ReqLinksData, NAVKSE_FIELDS_ReqLinksData);

// ClientParam tag 22; the serializers fill none of it.
#define NAVKSE_FIELDS_NavFusingControlParam(X) \
  X(0, bool, field0, false)                    \
  X(1, int32_t, field1, 0)                     \
  X(2, int32_t, field2, 0)
NAVKSE_RECORD(NavFusingControlParam, NAVKSE_FIELDS_NavFusingControlParam);

// ClientParam tag 23; the serializers fill none of it.
#define NAVKSE_FIELDS_BrokerReq(X) \
  X(0, string, field0, {})         \
  X(1, string, field1, {})         \
  X(2, bool, field2, false)        \
  X(3, string, field3, {})         \
  X(4, int32_t, field4, 0)         \
  X(5, int32_t, field5, 0)         \
  X(6, string, field6, {})
NAVKSE_RECORD(BrokerReq, NAVKSE_FIELDS_BrokerReq);

// The client's parameters of a route request.
#define NAVKSE_FIELDS_ClientParam(X)               \
  X(0, int32_t, field0, -1)                        \
  X(1, string, field1, {})                         \
  X(2, string, field2, {})                         \
  X(3, int32_t, field3, 0)                         \
  X(4, int32_t, field4, 0)                         \
  X(5, int32_t, field5, 0)                         \
  X(6, int32_t, field6, 0)                         \
  X(7, int32_t, field7, 0)                         \
  X(8, string, field8, {})                         \
  X(9, TravelJamSearch, travel_jam_search, {})     \
  X(10, int32_t, field10, 0)                       \
  X(11, string, field11, {})                       \
  X(12, ReqLinksData, req_links, {})               \
  X(13, int32_t, field13, 0)                       \
  X(14, int32_t, field14, 0)                       \
  X(15, int32_t, field15, 0)                       \
  X(16, int32_t, field16, 0)                       \
  X(17, int32_t, field17, 0)                       \
  X(18, int32_t, field18, 0)                       \
  X(19, int32_t, field19, 0)                       \
  X(20, int32_t, field20, 1)                       \
  X(21, int32_t, field21, 0)                       \
  X(22, NavFusingControlParam, fusing_control, {}) \
  X(23, BrokerReq, broker, {})                     \
  X(24, int32_t, field24, 0)                       \
  X(25, int32_t, field25, 0)                       \
  X(26, int32_t, field26, 0)                       \
  X(27, int32_t, field27, 0)                       \
  X(28, int32_t, field28, 0)                       \
  X(29, int32_t, field29, 0)                       \
  X(30, int32_t, field30, 0)                       \
  X(31, int32_t, order_source, 0)                  \
  X(32, string, order_id_, {})
// Set by the route search and read by its log lines, but the server's table
// has no tag for them: they are never written.
#define NAVKSE_MEMORY_ClientParam(M) \
  M(int32_t, car_energy_type, 0)     \
  M(bool, coords_cut_for_yaw, false) \
  M(bool, truck_flag, false)
NAVKSE_RECORD_WITH_MEMORY(ClientParam, NAVKSE_FIELDS_ClientParam, NAVKSE_MEMORY_ClientParam);

// CarRouteReq tag 81; the serializers fill none of it.
#define NAVKSE_FIELDS_NavEnergyModelParams(X) X(0, int32_t, field0, 0)
NAVKSE_RECORD(NavEnergyModelParams, NAVKSE_FIELDS_NavEnergyModelParams);

// Truck dimensions as integer thousandths (filled only for a truck).
#define NAVKSE_FIELDS_TruckParamsReq_v2(X) \
  X(0, int32_t, measureF_x1000, 0)         \
  X(1, int32_t, measureB_x1000, 0)         \
  X(2, int32_t, measureA_x1000, 0)         \
  X(3, int32_t, measureD_x1000, 0)         \
  X(4, int32_t, measureC_x1000, 0)         \
  X(5, int32_t, measureE_x1000, 0)         \
  X(6, int32_t, truckOption6, 0)           \
  X(7, int32_t, truckOption7, 0)           \
  X(8, int32_t, truckBlock0, 0)            \
  X(9, int32_t, truckBlock1, 0)            \
  X(10, int32_t, truckBlock2, 0)           \
  X(11, int32_t, truckBlock3, 0)           \
  X(12, int32_t, truckOption48, 0)         \
  X(13, int32_t, truckOption52, 0)
NAVKSE_RECORD(TruckParamsReq_v2, NAVKSE_FIELDS_TruckParamsReq_v2);

// The motorcycle of a route search (CarRouteReq tag 86), from the engine's KSMotoParam.
#define NAVKSE_FIELDS_MotoParamsReq(X) \
  X(0, int32_t, moto_type, 0)          \
  X(1, int32_t, energy_type, 0)        \
  X(2, int32_t, engine_displacement, 0)
NAVKSE_RECORD(MotoParamsReq, NAVKSE_FIELDS_MotoParamsReq);

}  // namespace common
}  // namespace navkse
