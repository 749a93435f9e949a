// Expected route search fields shared by the tests of the route search and of
// the traffic refresh that carries one: records of the tables with the fields
// a search fills, and what every search sets on a default parameter record.
#pragma once

#include <cstdint>
#include <string>

#include "support/record_tables.h"
#include "support/wire.h"

namespace tables {

// A Point at the given micro-degrees.
inline std::string PointAt(std::int64_t lon, std::int64_t lat) {
  return With(DefaultPoint(), {{0, Int(0, lon)}, {1, Int(1, lat)}});
}

// A search point: its position twice (tags 0 and 10), texts and type.
inline std::string PoiAt(std::int64_t lon, std::int64_t lat, const std::string& primary = "",
                         const std::string& secondary = "", std::int64_t type = 0) {
  return With(DefaultSimplePOI(), {{0, Struct(0, PointAt(lon, lat))},
                                   {1, Str(1, primary)},
                                   {3, Str(3, secondary)},
                                   {4, Int(4, type)},
                                   {10, Struct(10, PointAt(lon, lat))}});
}

// The guidance side record carrying the asynchronous-guidance code.
inline std::string GuidanceWithCode(std::int64_t code) {
  return With(DefaultUgsCloudInfo(), {{0, Int(0, code)}});
}

// What GetCarRouteReq writes for a default DriveRouteReqParam and an empty
// client identity, on top of the record's defaults; a later entry for the
// same tag replaces one of these (With keeps the last).
inline Replaced DefaultSearchFields() {
  return {
      {9, Int(9, 40)},
      {10, Str(10, "0.000000")},  // reason 0, reasonAngle 0 replaces "0.0"
      {15, Bool(15, true)},
      {21, Int(21, 1)},
      {23, Int(23, 2)},
      {26, Str(26, "&cond=0&noround=0&nohighway=0&notoll=0&traffic=0")},
      {27, Str(27, "4$$$$0.0")},
      {39, Int(39, 1)},
      {40, Int(40, 0)},
      {41, Float(41, 0.0f)},
      {46, Str(46, "nav")},
      {64, "f24000008828"},  // 0x8828 = 34856, four bytes
      {72, Map(72, 1) + Str(0, "toGuidance") + Bytes(1, wire::Unhex(GuidanceWithCode(0)))},
  };
}

// DefaultSearchFields() followed by `more`.
inline Replaced SearchFieldsWith(const Replaced& more) {
  Replaced all = DefaultSearchFields();
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

}  // namespace tables
