// State synchronised from a car unit (namespace navkse::mobile_car_uni).
#pragma once

#include "navreq/records/base.h"
#include "navreq/records/common.h"

namespace navkse {
namespace mobile_car_uni {

// A key and its value.
#define NAVKSE_FIELDS_CarSyncKeyPair(X) \
  X(0, string, key, {})                 \
  X(1, string, value, {})
NAVKSE_RECORD(CarSyncKeyPair, NAVKSE_FIELDS_CarSyncKeyPair);

// A list of strings.
#define NAVKSE_FIELDS_CarSyncStringList(X) \
  X(0, List<string>, items, {})            \
  X(1, string, field1, {})
NAVKSE_RECORD(CarSyncStringList, NAVKSE_FIELDS_CarSyncStringList);

// The user's route preferences as held by the car unit.
#define NAVKSE_FIELDS_PreferenceConfig(X) \
  X(0, int32_t, field0, 0)                \
  X(1, int32_t, field1, 0)                \
  X(2, int32_t, field2, 0)                \
  X(3, int32_t, field3, 0)                \
  X(4, int32_t, field4, 0)                \
  X(5, int32_t, field5, 0)                \
  X(6, int32_t, field6, 0)                \
  X(7, int32_t, field7, 0)                \
  X(8, int32_t, field8, 0)                \
  X(9, string, field9, {})                \
  X(10, bool, field10, false)
NAVKSE_RECORD(PreferenceConfig, NAVKSE_FIELDS_PreferenceConfig);

// CarRouteReq tag 82: synchronised trip settings; the serializers fill none of it.
#define NAVKSE_FIELDS_CarSyncInfo(X)                                 \
  X(0, CarSyncKeyPair, key_pair, {})                                 \
  X(1, string, field1, {})                                           \
  X(2, PreferenceConfig, preference, {})                             \
  X(3, ::navkse::common::SimplePOIRequestInfo, start, {})            \
  X(4, ::navkse::common::SimplePOIRequestInfo, destination, {})      \
  X(5, List<::navkse::common::SimplePOIRequestInfo>, via_points, {}) \
  X(6, ::navkse::common::Point, point6, {})                          \
  X(7, ::navkse::common::Point, point7, {})                          \
  X(8, CarSyncStringList, string_list, {})                           \
  X(9, int32_t, field9, 0)                                           \
  X(10, BytesMap, blobs, {})
NAVKSE_RECORD(CarSyncInfo, NAVKSE_FIELDS_CarSyncInfo);

}  // namespace mobile_car_uni
}  // namespace navkse
