// ToJson and FromJson of wire records and engine parameter records: literal
// documents worked out by hand, the round trip of random records of every
// type, and the paths that reading errors name.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "navreq/params_json.h"
#include "navreq/read.h"
#include "navreq/records/all.h"
#include "support/random_records.h"

namespace {

using navkse::common::Point;

float FloatOf(std::uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, sizeof f);
  return f;
}
std::uint32_t BitsOf(float f) {
  std::uint32_t bits;
  std::memcpy(&bits, &f, sizeof bits);
  return bits;
}

// The message of the JsonError that reading `text` as R throws.
template <class R>
std::string WireError(const std::string& text) {
  try {
    (void)navreq::FromJson<R>(text);
  } catch (const navreq::JsonError& e) {
    return e.what();
  }
  return "(no error)";
}
template <class R>
std::string ParamError(const std::string& text) {
  try {
    (void)navreq::FromJson<R>(text, "param");
  } catch (const navreq::JsonError& e) {
    return e.what();
  }
  return "(no error)";
}

// ---- Documents by hand ----

TEST(RecordJson, PointIsAnObjectOfItsFieldsInDeclaredOrder) {
  Point p;
  p.longitude = 116397128;
  p.latitude = -128;
  EXPECT_EQ(navreq::ToJson(p), "{\n  \"longitude\": 116397128,\n  \"latitude\": -128,\n  \"field2\": 0\n}");
  EXPECT_EQ(navreq::FromJson<Point>(R"({"latitude": -128, "longitude": 116397128})"), p);
}

TEST(RecordJson, Int64ListsAndIntegerMapKeysAreExact) {
  navkse::common::ReqLinksData r;
  r.link_ids = {1, std::numeric_limits<std::int64_t>::min()};
  r.link_map[-5] = std::numeric_limits<std::int64_t>::max();
  const std::string expected = R"({
  "field0": 0,
  "link_ids": [
    1,
    -9223372036854775808
  ],
  "link_map": {
    "-5": 9223372036854775807
  }
})";
  EXPECT_EQ(navreq::ToJson(r), expected);
  EXPECT_EQ(navreq::FromJson<navkse::common::ReqLinksData>(expected), r);
}

TEST(RecordJson, FloatsAreShortestDecimalsOrNamedAndNanBitsAreKept) {
  navkse::routesearch::PhExtraInfo r;
  r.position.longitude = 1;
  r.values = {0.1f, -0.0f, std::numeric_limits<float>::infinity(), FloatOf(0x7FC00000u),
              FloatOf(0x7FA00001u)};
  r.field3 = "\xc3\xa9t\xc3\xa9";  // "été": well-formed UTF-8 stays text
  const std::string expected = R"({
  "field0": -1,
  "position": {
    "longitude": 1,
    "latitude": 0,
    "field2": 0
  },
  "values": [
    0.1,
    -0.0,
    "Infinity",
    "NaN",
    "NaN:7fa00001"
  ],
  "field3": "été"
})";
  EXPECT_EQ(navreq::ToJson(r), expected);
  const auto back = navreq::FromJson<navkse::routesearch::PhExtraInfo>(expected);
  EXPECT_EQ(back, r);
  ASSERT_EQ(back.values.size(), 5u);
  EXPECT_EQ(BitsOf(back.values[1]), 0x80000000u);
  EXPECT_EQ(BitsOf(back.values[4]), 0x7FA00001u);
}

TEST(RecordJson, BytesAreHexAndStringsThatAreNotUtf8AreHexObjects) {
  navkse::duromap::Tag t;
  t.key = "k\xff";
  t.value = {'\x00', '\xab'};
  const std::string expected = "{\n  \"key\": {\n    \"hex\": \"6bff\"\n  },\n  \"value\": \"00ab\"\n}";
  EXPECT_EQ(navreq::ToJson(t), expected);
  EXPECT_EQ(navreq::FromJson<navkse::duromap::Tag>(expected), t);
  EXPECT_EQ(navreq::FromJson<navkse::duromap::Tag>(R"({"value": "00AB"})").value, t.value);
}

TEST(RecordJson, UnsignedBytesAreHexToo) {
  navkse::NavSDKGateway::Packet p;
  p.payload = {0x01, 0xfe};
  EXPECT_NE(navreq::ToJson(p).find("\"payload\": \"01fe\""), std::string::npos) << navreq::ToJson(p);
  EXPECT_EQ(navreq::FromJson<navkse::NavSDKGateway::Packet>(navreq::ToJson(p)), p);
}

TEST(RecordJson, MapWithAKeyThatIsNotUtf8IsAnArrayOfPairs) {
  navkse::cockpit::OriginalLink r;
  r.attributes["a"] = "1";
  r.attributes["\xfe"] = "2";
  const std::string json = navreq::ToJson(r);
  EXPECT_NE(
      json.find(
          "\"attributes\": [\n    [\n      \"a\",\n      \"1\"\n    ],\n    [\n      {\n        \"hex\": "
          "\"fe\"\n      },\n      \"2\"\n    ]\n  ]"),
      std::string::npos)
      << json;
  EXPECT_EQ(navreq::FromJson<navkse::cockpit::OriginalLink>(json), r);
}

// ---- Round trips of every record ----

template <class R>
void CheckRoundTrip(const char* name, std::uint64_t seed) {
  SCOPED_TRACE(std::string(name) + " seed " + std::to_string(seed));
  R r;
  randrec::Filler(seed).fill(r);
  const std::string json = navreq::ToJson(r);
  const R back = navreq::FromJson<R>(json);
  EXPECT_TRUE(back == r) << json;
  EXPECT_EQ(navreq::ToJson(back), json);
}

TEST(RecordJson, RandomWireRecordsOfEveryTypeRoundTrip) {
  for (std::uint64_t seed = 1; seed <= 24; ++seed) {
#define ROUND_TRIP_(R) CheckRoundTrip<R>(#R, seed);
    NAVKSE_ALL_RECORDS(ROUND_TRIP_)
#undef ROUND_TRIP_
  }
}

TEST(RecordJson, RandomEngineParameterRecordsOfEveryTypeRoundTrip) {
  for (std::uint64_t seed = 1; seed <= 24; ++seed) {
#define ROUND_TRIP_(R) CheckRoundTrip<R>(#R, seed);
    NAVREQ_ALL_ENGINE_RECORDS(ROUND_TRIP_)
#undef ROUND_TRIP_
  }
}

// ---- Engine parameter records: the forms of `navreq encode` ----

TEST(ParamsJson, ExplainControlsAndRoadLinksArePositional) {
  zv_navi_core::RouteRefreshReqParam p;
  auto& control = p.explain_controls["r1"];
  control.id0 = 7;
  control.road_links8.push_back({9, "n"});
  p.pending_list.resize(2);
  const std::string json = navreq::ToJson(p);
  EXPECT_NE(json.find(R"("pending_list": [
    {},
    {}
  ])"),
            std::string::npos)
      << json;
  EXPECT_NE(json.find(R"("r1": [
      7,
      0,
      0,
      0,
      0,
      "",
      "",
      [],
      [
        [
          9,
          "n"
        ]
      ],
      0
    ])"),
            std::string::npos)
      << json;
  EXPECT_EQ(navreq::FromJson<zv_navi_core::RouteRefreshReqParam>(json), p);
}

TEST(ParamsJson, TruckBlockIsFourIntegers) {
  navcore::KSTruckParam t;
  t.truckBlock = {1, -2, 3, 2147483647};
  EXPECT_NE(navreq::ToJson(t).find("\"truckBlock\": [\n    1,\n    -2,\n    3,\n    2147483647\n  ]"),
            std::string::npos);
  EXPECT_EQ(ParamError<navcore::KSTruckParam>(R"({"truckBlock": [1, 2, 3]})"),
            "param.truckBlock: expected an array of four integers");
}

TEST(ParamsJson, ErrorsNameTheMemberPathBelowTheRoot) {
  using zv_navi_core::DriveRouteReqParam;
  EXPECT_EQ(ParamError<DriveRouteReqParam>(R"({"viaPoints": [{}, {"pointType": 4294967296}]})"),
            "param.viaPoints[1].pointType: 4294967296 is out of range for int32");
  EXPECT_EQ(ParamError<DriveRouteReqParam>(R"({"start": {"latitud": 1}})"),
            "param.start.latitud: unknown key");
  EXPECT_EQ(ParamError<DriveRouteReqParam>(R"({"reason": 1, "reason": 2})"), "duplicate key \"reason\"");
  EXPECT_EQ(ParamError<DriveRouteReqParam>("[]"), "param: expected an object");
  try {
    (void)navreq::FromJson<DriveRouteReqParam>(R"({"noToll": true})");
    FAIL() << "no error";
  } catch (const navreq::JsonError& e) {
    EXPECT_STREQ(e.what(), "noToll: expected an integer");  // no root: the path begins at the member
  }
}

// ---- Wire records: errors name the path of paths.h ----

TEST(RecordJson, ErrorsNameTheFieldPath) {
  using navkse::routesearch::CarRouteReq;
  EXPECT_EQ(WireError<CarRouteReq>(R"({"via_points": [{}, {"point": {"latitude": "5"}}]})"),
            "via_points[1].point.latitude: expected an integer");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"routeOption3": 2147483648})"),
            "routeOption3: 2147483648 is out of range for int32");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"start": {"pointt": 1}})"), "start.pointt: unknown key");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"viaPointFlags": "0g"})"), "viaPointFlags: not a hex digit at 1");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"viaPointFlags": "abc"})"), "viaPointFlags: odd number of hex digits");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"side_records": {"a b": 1}})"),
            "side_records[\"a b\"]: expected a string of hex digits");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"field71": [["a", "1"], ["a", "2"]]})"), "field71[1]: duplicate key");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"field71": []})"), "field71: expected an object");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"field71": [["a"]]})"), "field71[0]: expected a [key, value] pair");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"field2": {"hex": 1}})"),
            "field2.hex: expected a string of hex digits");
  EXPECT_EQ(WireError<CarRouteReq>(R"({"field2": {"text": "a"}})"), "field2: expected a string");
  EXPECT_EQ(WireError<CarRouteReq>("{\"start\": "),
            "invalid JSON: parse error at line 1, column 11: syntax error while parsing value - unexpected "
            "end of input; expected '[', '{', or a literal");
  EXPECT_EQ(WireError<CarRouteReq>("3"), "expected an object");
  EXPECT_EQ(WireError<navkse::common::ReqLinksData>(R"({"link_map": {"x": 1}})"),
            "link_map: key \"x\" is not an integer");
  EXPECT_EQ(WireError<navkse::common::ReqLinksData>(R"({"link_map": {"3": 1.5}})"),
            "link_map[3]: expected an integer");
  EXPECT_EQ(WireError<navkse::routesearch::PhExtraInfo>(R"({"values": ["NaN:7fc0"]})"),
            "values[0]: expected a number");
  EXPECT_EQ(WireError<navkse::routesearch::PhExtraInfo>(R"({"values": ["NaN:7f800000"]})"),
            "values[0]: expected a number");  // the bits of infinity, not a NaN
  EXPECT_EQ(WireError<navkse::routesearch::PhExtraInfo>(R"({"values": [true]})"),
            "values[0]: expected a number");
}

}  // namespace
