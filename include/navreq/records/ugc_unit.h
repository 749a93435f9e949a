// The trajectory bucket: the compact delta encoding of a fix list
// (namespace navkse::ugcUnit).
#pragma once

#include "navreq/records/base.h"

namespace navkse {
namespace ugcUnit {

// Head of a bucket: the first fix in absolute form and the bucket's identity.
#define NAVKSE_FIELDS_gpsTaxi(X) \
  X(0, int32_t, longitude, 0)    \
  X(1, int32_t, latitude, 0)     \
  X(2, int32_t, scalarD_x10, 0)  \
  X(3, int32_t, time_s, 0)       \
  X(4, int8_t, field4, 0)        \
  X(5, int32_t, value, 0)        \
  X(6, int64_t, number, 0)       \
  X(7, string, text, {})         \
  X(8, string, field8, {})       \
  X(9, string, field9, {})       \
  X(10, string, field10, {})
NAVKSE_RECORD(gpsTaxi, NAVKSE_FIELDS_gpsTaxi);

// One fix as differences from the previous one: coordinates in 32 bits, the
// time difference in whole seconds kept to 8 bits.
#define NAVKSE_FIELDS_gpsSpot(X)  \
  X(0, int32_t, d_longitude, 0)   \
  X(1, int32_t, d_latitude, 0)    \
  X(2, int16_t, heading, 0)       \
  X(3, int8_t, d_time_s, 0)       \
  X(4, int16_t, speed_x100, 0)    \
  X(5, int16_t, scalarA_x10, 0)   \
  X(6, int16_t, d_scalarD_x10, 0) \
  X(7, int32_t, field7, 0)        \
  X(8, int32_t, field8, 0)        \
  X(9, int32_t, field9, 0)        \
  X(10, int32_t, field10, 0)      \
  X(11, int32_t, field11, 0)
NAVKSE_RECORD(gpsSpot, NAVKSE_FIELDS_gpsSpot);

// A status entry of gpsBucket; the serializers fill none of it.
#define NAVKSE_FIELDS_gpsStatus(X) \
  X(0, int64_t, field0, 0)         \
  X(1, int32_t, field1, 0)
NAVKSE_RECORD(gpsStatus, NAVKSE_FIELDS_gpsStatus);

// A trajectory bucket: a head, its spots and statuses (a route refresh carries one).
#define NAVKSE_FIELDS_gpsBucket(X)    \
  X(0, gpsTaxi, head, {})             \
  X(1, List<gpsSpot>, spots, {})      \
  X(2, List<gpsStatus>, statuses, {}) \
  X(3, int8_t, flag, 0)
NAVKSE_RECORD(gpsBucket, NAVKSE_FIELDS_gpsBucket);

}  // namespace ugcUnit
}  // namespace navkse
