// Engine fixes and search points, every field the conversions read: the one
// set of builders for the request tests, the reliability tests and the
// benchmarks' built-in inputs.
#pragma once

#include <cstdint>
#include <string>

#include "navreq/engine/params.h"

namespace navreq {
namespace testing {

inline navcore::KSLocation Fix(double lat, double lon, float speed, float scalar_a, float heading,
                               float scalar_c, std::int64_t time, std::int32_t int_a, std::int32_t int_b,
                               std::int32_t src, float scalar_d = 0.0f) {
  navcore::KSLocation f;
  f.latitude = lat;
  f.longitude = lon;
  f.speed = speed;
  f.scalarA = scalar_a;
  f.heading = heading;
  f.scalarC = scalar_c;
  f.scalarD = scalar_d;
  f.timeSeconds = time;
  f.intValueA = int_a;
  f.intValueB = int_b;
  f.src_type = src;
  return f;
}

// A fix with only its position and time; note longitude first.
inline navcore::KSLocation LonLatFix(double lon, double lat, std::int64_t time) {
  navcore::KSLocation f;
  f.longitude = lon;
  f.latitude = lat;
  f.timeSeconds = time;
  return f;
}

inline navcore::KSNaviSearchPoint SearchPoint(double lat, double lon, const std::string& primary,
                                              const std::string& secondary, std::int32_t type) {
  navcore::KSNaviSearchPoint p;
  p.latitude = lat;
  p.longitude = lon;
  p.primaryText = primary;
  p.secondaryText = secondary;
  p.pointType = type;
  return p;
}

}  // namespace testing
}  // namespace navreq
