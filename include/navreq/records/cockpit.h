// Paths and satellite-positioning samples (namespace navkse::cockpit).
#pragma once

#include "navreq/records/base.h"
#include "navreq/records/common.h"

namespace navkse {
namespace cockpit {

// One road link of a path.
#define NAVKSE_FIELDS_OriginalLink(X) \
  X(0, int32_t, field0, 0)            \
  X(1, int32_t, field1, 0)            \
  X(2, int32_t, field2, 0)            \
  X(3, int32_t, field3, 0)            \
  X(4, string, field4, {})            \
  X(5, int32_t, field5, 0)            \
  X(6, int32_t, field6, 0)            \
  X(7, int8_t, field7, 0)             \
  X(8, int32_t, field8, 0)            \
  X(9, int8_t, field9, 0)             \
  X(10, int32_t, field10, 0)          \
  X(11, int32_t, field11, 0)          \
  X(12, int32_t, field12, 0)          \
  X(13, int32_t, field13, 0)          \
  X(14, int32_t, field14, 0)          \
  X(15, int32_t, field15, 0)          \
  X(16, int32_t, field16, 0)          \
  X(17, int32_t, field17, 0)          \
  X(18, StringMap, attributes, {})    \
  X(19, int32_t, field19, 0)          \
  X(20, int32_t, field20, 0)          \
  X(21, int32_t, field21, 0)          \
  X(22, int32_t, field22, 0)          \
  X(23, int64_t, field23, 0)          \
  X(24, int64_t, field24, 0)          \
  X(25, int32_t, field25, 0)
NAVKSE_RECORD(OriginalLink, NAVKSE_FIELDS_OriginalLink);

// One satellite-positioning sample.
#define NAVKSE_FIELDS_SignalGnss(X) \
  X(0, int32_t, field0, 0)          \
  X(1, int32_t, field1, 0)          \
  X(2, int32_t, field2, 0)          \
  X(3, int32_t, field3, 0)          \
  X(4, int32_t, field4, 0)          \
  X(5, int32_t, field5, 0)          \
  X(6, int32_t, field6, 0)          \
  X(7, int32_t, field7, 0)          \
  X(8, int32_t, field8, 0)          \
  X(9, int32_t, field9, 0)          \
  X(10, int64_t, field10, 0)        \
  X(11, ::navkse::common::Point, position, {})
NAVKSE_RECORD(SignalGnss, NAVKSE_FIELDS_SignalGnss);

// A path: its geometry and road links.
#define NAVKSE_FIELDS_NaviPath(X)                   \
  X(0, string, field0, {})                          \
  X(1, int64_t, field1, 0)                          \
  X(2, List<::navkse::common::Point>, geometry, {}) \
  X(3, List<OriginalLink>, links, {})
NAVKSE_RECORD(NaviPath, NAVKSE_FIELDS_NaviPath);

// CarRouteReq tag 87: paths and GNSS samples; the serializers fill none of it.
#define NAVKSE_FIELDS_MMRequest(X)         \
  X(0, List<NaviPath>, paths, {})          \
  X(1, int64_t, field1, 0)                 \
  X(2, List<SignalGnss>, gnss_samples, {}) \
  X(3, int64_t, field3, 0)
NAVKSE_RECORD(MMRequest, NAVKSE_FIELDS_MMRequest);

}  // namespace cockpit
}  // namespace navkse
