// Electric-vehicle energy model (namespace navkse::nav).
#pragma once

#include "navreq/records/base.h"

namespace navkse {
namespace nav {

// Identifies the electric vehicle model.
#define NAVKSE_FIELDS_EVType(X) \
  X(0, string, field0, {})      \
  X(1, string, field1, {})      \
  X(2, string, field2, {})
NAVKSE_RECORD(EVType, NAVKSE_FIELDS_EVType);

// The vehicle's energy consumption model; tag 9 is an opaque model blob,
// written as one byte array.
#define NAVKSE_FIELDS_PowerConsumeModelParam(X) \
  X(0, EVType, ev_type, {})                     \
  X(1, int32_t, field1, 0)                      \
  X(2, int32_t, field2, 0)                      \
  X(3, int32_t, field3, 0)                      \
  X(4, int32_t, field4, 0)                      \
  X(5, int32_t, field5, 0)                      \
  X(6, float, field6, 0.0f)                     \
  X(7, float, field7, 0.0f)                     \
  X(8, int32_t, field8, 0)                      \
  X(9, Bytes, model_blob, {})
NAVKSE_RECORD(PowerConsumeModelParam, NAVKSE_FIELDS_PowerConsumeModelParam);

}  // namespace nav
}  // namespace navkse
