// Guidance-slice records (namespace navkse::navicore::nav).
#pragma once

#include "navreq/records/base.h"

namespace navkse {
namespace navicore {
namespace nav {

// Asynchronous-guidance side record of a route search ("toGuidance").
#define NAVKSE_FIELDS_ugs_cloud_info(X) \
  X(0, int32_t, async_guidance_code, 0) \
  X(1, string, field1, {})              \
  X(2, int8_t, field2, 0)               \
  X(3, int32_t, field3, 0)              \
  X(4, int32_t, field4, 0)              \
  X(5, int32_t, field5, 0)              \
  X(6, int32_t, field6, 0)              \
  X(7, int32_t, field7, 0)              \
  X(8, int32_t, field8, 0)              \
  X(9, int8_t, field9, 0)               \
  X(10, int8_t, field10, 0)             \
  X(11, int32_t, field11, 0)            \
  X(12, int32_t, field12, 0)            \
  X(13, int32_t, field13, 0)            \
  X(14, int32_t, field14, 0)
NAVKSE_RECORD(ugs_cloud_info, NAVKSE_FIELDS_ugs_cloud_info);

// One requested slice of a guidance session.
#define NAVKSE_FIELDS_ugs_guidance_slice_params_t(X) \
  X(0, string, slice_text, {})                       \
  X(1, int32_t, slice_value1, 0)                     \
  X(2, int32_t, slice_value2, 0)
NAVKSE_RECORD(ugs_guidance_slice_params_t, NAVKSE_FIELDS_ugs_guidance_slice_params_t);

// Body of the route plus and guidance slice requests.
#define NAVKSE_FIELDS_ugs_guidance_slice_req_t(X) \
  X(0, string, slice_session_id, {})              \
  X(1, List<ugs_guidance_slice_params_t>, slices, {})
NAVKSE_RECORD(ugs_guidance_slice_req_t, NAVKSE_FIELDS_ugs_guidance_slice_req_t);

}  // namespace nav
}  // namespace navicore
}  // namespace navkse
