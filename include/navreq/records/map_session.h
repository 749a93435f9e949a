// The location-report session record.
#pragma once

#include "navreq/records/base.h"

namespace navkse {
namespace MapSession {

// Carried by the location report at its tag 100. There is no tag 0.
#define NAVKSE_FIELDS_SessionInfo(X) \
  X(1, int64_t, loc_session_id, 0)   \
  X(2, string, imei, {})             \
  X(3, string, reserved3, {})        \
  X(4, string, device_id, {})        \
  X(5, string, identity_e, {})       \
  X(6, string, identity_a, {})       \
  X(7, string, identity_g, {})       \
  X(8, string, identity_f, {})       \
  X(9, string, identity_h, {})       \
  X(10, int32_t, request_time_s, 0)  \
  X(11, string, identity_c, {})      \
  X(12, string, device_id2, {})
NAVKSE_RECORD(SessionInfo, NAVKSE_FIELDS_SessionInfo);

}  // namespace MapSession
}  // namespace navkse
