// The ranking side record of a route search ("toRank").
#pragma once

#include "navreq/records/base.h"

namespace navkse {
namespace CarRankTrans {

// A city entry of ToRankTransInfo.
#define NAVKSE_FIELDS_ToRankLimitCityInfo(X) \
  X(0, int32_t, field0, 0)                   \
  X(1, List<int32_t>, field1, {})            \
  X(2, List<int32_t>, field2, {})
NAVKSE_RECORD(ToRankLimitCityInfo, NAVKSE_FIELDS_ToRankLimitCityInfo);

// The ranking side record of a route search ("toRank"): cities and rank values.
#define NAVKSE_FIELDS_ToRankTransInfo(X)            \
  X(0, List<ToRankLimitCityInfo>, limit_cities, {}) \
  X(1, int32_t, field1, 0)                          \
  X(2, List<int32_t>, rank_values, {})              \
  X(3, int32_t, field3, 0)
NAVKSE_RECORD(ToRankTransInfo, NAVKSE_FIELDS_ToRankTransInfo);

}  // namespace CarRankTrans
}  // namespace navkse
