// The location report: the body of a location upload
// (namespace navkse::locationReportDMQ).
#pragma once

#include "navreq/records/base.h"
#include "navreq/records/map_session.h"

namespace navkse {
namespace locationReportDMQ {

// The upload's extra texts; written alone (no frame) into LocationHeader tag 6.
#define NAVKSE_FIELDS_NavExtraData(X) \
  X(0, string, session_id, {})        \
  X(1, string, extra_text1, {})       \
  X(2, string, extra_text2, {})       \
  X(3, List<string>, extra_list, {})  \
  X(4, string, field4, {})            \
  X(5, string, linked_session_id, {})
NAVKSE_RECORD(NavExtraData, NAVKSE_FIELDS_NavExtraData);

// The first fix in absolute form and the report's identity.
#define NAVKSE_FIELDS_LocationHeader(X) \
  X(0, int32_t, longitude, 0)           \
  X(1, int32_t, latitude, 0)            \
  X(2, int32_t, scalarD_x10, 0)         \
  X(3, int64_t, time_ms, 0)             \
  X(4, int64_t, time_ms_again, 0)       \
  X(5, int32_t, field5, 0)              \
  X(6, Bytes, extra_data, {})           \
  X(7, int64_t, loc_session_id, 0)      \
  X(8, int64_t, request_time_ms, 0)     \
  X(9, int32_t, sequence_number, 0)     \
  X(10, int32_t, field10, 0)
NAVKSE_RECORD(LocationHeader, NAVKSE_FIELDS_LocationHeader);

// One later fix as differences from the previously accepted one: coordinates
// kept to 16 bits, the time difference in milliseconds (written twice).
#define NAVKSE_FIELDS_LocationPoint(X) \
  X(0, int32_t, field0, 0)             \
  X(1, int16_t, d_longitude, 0)        \
  X(2, int16_t, d_latitude, 0)         \
  X(3, int16_t, d_scalarD_x10, 0)      \
  X(4, int16_t, heading, 0)            \
  X(5, int16_t, speed_x100, 0)         \
  X(6, int16_t, scalarA_x10, 0)        \
  X(7, int8_t, field7, 0)              \
  X(8, int8_t, field8, 0)              \
  X(9, int32_t, d_time_ms, 0)          \
  X(10, int32_t, d_time_ms_again, 0)   \
  X(11, int32_t, intValueA, 0)         \
  X(12, int32_t, field12, 0)           \
  X(13, int32_t, d_heading, 0)         \
  X(14, int32_t, d_speed_x100, 0)      \
  X(15, int32_t, intValueB, 0)         \
  X(16, int32_t, field16, 0)
NAVKSE_RECORD(LocationPoint, NAVKSE_FIELDS_LocationPoint);

// The report proper; there is no tag 0.
#define NAVKSE_FIELDS_LocationReportRequest(X) \
  X(1, LocationHeader, header, {})             \
  X(2, List<LocationPoint>, points, {})
NAVKSE_RECORD(LocationReportRequest, NAVKSE_FIELDS_LocationReportRequest);

// The location upload's body: the device, the report and the session.
#define NAVKSE_FIELDS_LocationReportRequestDMQ(X) \
  X(0, string, imei, {})                          \
  X(1, LocationReportRequest, report, {})         \
  X(100, ::navkse::MapSession::SessionInfo, session, {})
NAVKSE_RECORD(LocationReportRequestDMQ, NAVKSE_FIELDS_LocationReportRequestDMQ);

}  // namespace locationReportDMQ
}  // namespace navkse
