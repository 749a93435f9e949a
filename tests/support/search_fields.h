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
  return With(DefaultPoint(), {Int(0, lon), Int(1, lat)});
}

// A search point: its position twice (tags 0 and 10), texts and type.
inline std::string PoiAt(std::int64_t lon, std::int64_t lat, const std::string& primary = "",
                         const std::string& secondary = "", std::int64_t type = 0) {
  return With(DefaultSimplePOI(), {Struct(0, PointAt(lon, lat)), Str(1, primary), Str(3, secondary),
                                   Int(4, type), Struct(10, PointAt(lon, lat))});
}

// The guidance side record carrying the asynchronous-guidance code.
inline std::string GuidanceWithCode(std::int64_t code) { return With(DefaultUgsCloudInfo(), {Int(0, code)}); }

// What GetCarRouteReq writes for a default DriveRouteReqParam and an empty
// client identity, on top of the record's defaults; a later entry for the
// same tag replaces one of these (With keeps the last).
inline Replaced DefaultSearchFields() {
  return {
      Int(9, 40),
      Str(10, "0.000000"),  // reason 0, reasonAngle 0 replaces "0.0"
      Bool(15, true),
      Int(21, 1),
      Int(23, 2),
      Str(26, "&cond=0&noround=0&nohighway=0&notoll=0&traffic=0"),
      Str(27, "4$$$$0.0"),
      Int(39, 1),
      Int(40, 0),
      Float(41, 0.0f),
      Str(46, "nav"),
      "f24000008828",  // 0x8828 = 34856, four bytes
      Map(72, 1) + Str(0, "toGuidance") + Bytes(1, wire::Unhex(GuidanceWithCode(0))),
  };
}

// DefaultSearchFields() followed by `more`.
inline Replaced SearchFieldsWith(const Replaced& more) {
  Replaced all = DefaultSearchFields();
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

}  // namespace tables
