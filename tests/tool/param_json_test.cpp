// The strict JSON mapping onto the engine's parameter records.
#include "param_json.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "kinds.h"
#include "navreq/engine/params.h"

namespace {

using navreq::tool::FromJson;
using navreq::tool::InputError;
using navreq::tool::json;
using navreq::tool::ParseJsonDocument;
using zv_navi_core::DriveRouteReqParam;
using zv_navi_core::RouteRefreshReqParam;

template <class T>
T Read(const std::string& text) {
  T out{};
  FromJson(ParseJsonDocument(text), out, "param");
  return out;
}

// The message of the InputError that reading `text` as T throws.
template <class T>
std::string ErrorOf(const std::string& text) {
  try {
    T out{};
    FromJson(ParseJsonDocument(text), out, "param");
  } catch (const InputError& e) {
    return e.what();
  }
  return "(no error)";
}

std::uint32_t Bits(float f) {
  std::uint32_t b;
  std::memcpy(&b, &f, sizeof b);
  return b;
}

TEST(ParamJson, AbsentKeysKeepDefaults) {
  const auto p = Read<DriveRouteReqParam>(R"({"reason": -1})");
  EXPECT_EQ(p.reason, -1);
  EXPECT_EQ(p.trafficPref, 0);
  EXPECT_TRUE(p.viaPoints.empty());
  EXPECT_EQ(p.start.primaryText, "");
  EXPECT_FALSE(p.rankEnabled);
}

TEST(ParamJson, NestedRecordsAndVectors) {
  const auto p = Read<DriveRouteReqParam>(R"({
    "start": {"latitude": 39.865195, "longitude": 116.378624, "primaryText": "北京南站", "pointType": 1},
    "viaPoints": [{"pointType": 3}, {"latitude": -0.5}],
    "recentFixes": [{"timeSeconds": 1699999980, "speed": 12.5, "src_type": 2}],
    "limitAreas": [[{"latitude": 39.6, "longitude": 116.6}], []],
    "routeOption49": ["a", "b"],
    "moto": {"moto_type": 2, "energy_type": 1, "engine_displacement": 250},
    "order_id_": "order-1"
  })");
  EXPECT_EQ(p.start.latitude, 39.865195);
  EXPECT_EQ(p.start.longitude, 116.378624);
  EXPECT_EQ(p.start.primaryText, "\xe5\x8c\x97\xe4\xba\xac\xe5\x8d\x97\xe7\xab\x99");  // UTF-8 bytes as given
  EXPECT_EQ(p.start.pointType, 1);
  ASSERT_EQ(p.viaPoints.size(), 2u);
  EXPECT_EQ(p.viaPoints[0].pointType, 3);
  EXPECT_EQ(p.viaPoints[1].latitude, -0.5);
  ASSERT_EQ(p.recentFixes.size(), 1u);
  EXPECT_EQ(p.recentFixes[0].timeSeconds, 1699999980);
  EXPECT_EQ(p.recentFixes[0].speed, 12.5f);
  EXPECT_EQ(p.recentFixes[0].src_type, 2);
  ASSERT_EQ(p.limitAreas.size(), 2u);
  ASSERT_EQ(p.limitAreas[0].size(), 1u);
  EXPECT_EQ(p.limitAreas[0][0].longitude, 116.6);
  EXPECT_TRUE(p.limitAreas[1].empty());
  EXPECT_EQ(p.routeOption49, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(p.moto.engine_displacement, 250);
  EXPECT_EQ(p.order_id_, "order-1");
}

TEST(ParamJson, MessagesNameThePath) {
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"start": {"latitude": "north"}})"),
            "param.start.latitude: expected a number");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"viaPoints": [{}, {"pointType": 4294967296}]})"),
            "param.viaPoints[1].pointType: 4294967296 is out of range for int32");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"bogus": 1})"), "param.bogus: unknown key");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"truck": {"truckBlock": [1, 2, 3]}})"),
            "param.truck.truckBlock: expected an array of four integers");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"truck": {"truckBlock": [1, 2, 3, true]}})"),
            "param.truck.truckBlock[3]: expected an integer");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"viaPoints": {}})"), "param.viaPoints: expected an array");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"moto": []})"), "param.moto: expected an object");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"order_id_": 5})"), "param.order_id_: expected a string");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"rankEnabled": 1})"),
            "param.rankEnabled: expected true or false");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"recentFixes": [{"bogus": 1}]})"),
            "param.recentFixes[0].bogus: unknown key");
}

TEST(ParamJson, IntegersAreCheckedAgainstTheirDeclaredType) {
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"reason": 3.0})"), "param.reason: expected an integer");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"reason": 2147483648})"),
            "param.reason: 2147483648 is out of range for int32");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"reason": -2147483649})"),
            "param.reason: -2147483649 is out of range for int32");
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"reason": -2147483648})").reason, INT32_MIN);
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"routeOption3": 256})"),
            "param.routeOption3: 256 is out of range for uint8");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"routeOption3": -1})"),
            "param.routeOption3: -1 is out of range for uint8");
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"routeOption3": 255})").routeOption3, 255);
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"routeOption58": 4294967295})").routeOption58, 4294967295u);
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"routeOption58": 4294967296})"),
            "param.routeOption58: 4294967296 is out of range for uint32");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"routeOption66": -1})"),
            "param.routeOption66: -1 is out of range for uint32");
  EXPECT_EQ(Read<zv_navi_core::ReqExtraParam>(R"({"identity_number": -9223372036854775808})").identity_number,
            INT64_MIN);
  EXPECT_EQ(ErrorOf<zv_navi_core::ReqExtraParam>(R"({"identity_number": 9223372036854775808})"),
            "param.identity_number: 9223372036854775808 is out of range for int64");
}

TEST(ParamJson, FloatingPointFields) {
  auto p = Read<DriveRouteReqParam>(
      R"({"reasonAngle": "NaN", "curSpeed": "Infinity", "curHeading": "-Infinity", "yawLatitude": "NaN"})");
  EXPECT_TRUE(std::isnan(p.reasonAngle));
  EXPECT_EQ(p.curSpeed, std::numeric_limits<float>::infinity());
  EXPECT_EQ(p.curHeading, -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(p.yawLatitude));

  // 0.1 rounds to the nearest float, 0x3DCCCCCD.
  EXPECT_EQ(Bits(Read<DriveRouteReqParam>(R"({"curSpeed": 0.1})").curSpeed), 0x3DCCCCCDu);
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"yawLongitude": 0.1})").yawLongitude, 0.1);
  // An integer is a number too.
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"curSpeed": 12})").curSpeed, 12.0f);
  // Beyond the float range: FLT_MAX up to the midpoint towards 2^128, infinity from it on.
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"curSpeed": 3.4028235e38})").curSpeed, FLT_MAX);
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"curSpeed": 3.4028235677e38})").curSpeed, FLT_MAX);
  // The midpoint itself, 0x1.ffffffp127, is a tie: to even, which is 2^128, infinite.
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"curSpeed": 3.4028235677973366e38})").curSpeed,
            std::numeric_limits<float>::infinity());
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"curSpeed": 3.4028236e38})").curSpeed,
            std::numeric_limits<float>::infinity());
  EXPECT_EQ(Read<DriveRouteReqParam>(R"({"curSpeed": -1e300})").curSpeed,
            -std::numeric_limits<float>::infinity());

  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"curSpeed": "fast"})"), "param.curSpeed: expected a number");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"curSpeed": "nan"})"), "param.curSpeed: expected a number");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"curSpeed": null})"), "param.curSpeed: expected a number");
}

TEST(ParamJson, TruckBlockIsFourIntegers) {
  const auto p =
      Read<DriveRouteReqParam>(R"({"truck": {"truckMeasureB": 2.55, "truckBlock": [1, 0, -2, 7]}})");
  EXPECT_EQ(p.truck.truckMeasureB, 2.55f);
  EXPECT_EQ(p.truck.truckBlock, (navcore::TruckBlock{1, 0, -2, 7}));
}

TEST(ParamJson, ExplainControlsAreArraysInTagOrder) {
  const auto p = Read<RouteRefreshReqParam>(R"({
    "explain_controls": {
      "route-a": [1700000000001, 2, 3, -4, 5, "follow", "main road", ["G2", "S15"],
                  [[5001001001, "link one"], [-7, ""]], 9]
    },
    "pending_list": [1, "x", null, {}]
  })");
  ASSERT_EQ(p.explain_controls.size(), 1u);
  const auto& c = p.explain_controls.at("route-a");
  EXPECT_EQ(c.id0, 1700000000001);
  EXPECT_EQ(c.id1, 2);
  EXPECT_EQ(c.id2, 3);
  EXPECT_EQ(c.id3, -4);
  EXPECT_EQ(c.code4, 5);
  EXPECT_EQ(c.text5, "follow");
  EXPECT_EQ(c.text6, "main road");
  EXPECT_EQ(c.texts7, (std::vector<std::string>{"G2", "S15"}));
  ASSERT_EQ(c.road_links8.size(), 2u);
  EXPECT_EQ(c.road_links8[0].link_id, 5001001001);
  EXPECT_EQ(c.road_links8[0].name, "link one");
  EXPECT_EQ(c.road_links8[1].link_id, -7);
  EXPECT_EQ(c.code9, 9);
  EXPECT_EQ(p.pending_list.size(), 4u);

  EXPECT_EQ(ErrorOf<RouteRefreshReqParam>(R"({"explain_controls": {"k": [1, 2, 3]}})"),
            "param.explain_controls[\"k\"]: expected an array of 10 values");
  EXPECT_EQ(ErrorOf<RouteRefreshReqParam>(
                R"({"explain_controls": {"k": [1, 2, 3, 4, 2147483648, "", "", [], [], 0]}})"),
            "param.explain_controls[\"k\"][4]: 2147483648 is out of range for int32");
  EXPECT_EQ(
      ErrorOf<RouteRefreshReqParam>(R"({"explain_controls": {"k": [1, 2, 3, 4, 5, "", "", [], [[1]], 0]}})"),
      "param.explain_controls[\"k\"][8][0]: expected an array of 2 values");
  EXPECT_EQ(ErrorOf<RouteRefreshReqParam>(R"({"explain_controls": []})"),
            "param.explain_controls: expected an object");
  EXPECT_EQ(ErrorOf<RouteRefreshReqParam>(R"({"pending_list": 3})"), "param.pending_list: expected an array");
}

TEST(ParamJson, MalformedDocuments) {
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"reason": 1, "reason": 2})"), "duplicate key \"reason\"");
  // Deeper down, the message names the object that holds the key twice.
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(
                R"({"viaPoints": [{}, {"pointType": 1, "latitude": 2, "pointType": 3}], "reason": 1})"),
            "viaPoints[1]: duplicate key \"pointType\"");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"start": {"latitude": 1, "x": {"a": [[{"b": 1, "b": 1}]]}}})"),
            "start.x.a[0][0]: duplicate key \"b\"");
  // The same key in sibling objects, or as a key and a string value, is no duplicate.
  EXPECT_EQ(
      ErrorOf<DriveRouteReqParam>(R"({"viaPoints": [{"pointType": 1}, {"pointType": 2}], "reason": 1})"),
      "(no error)");
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"start": {"primaryText": "primaryText"}, "primaryText": 1})"),
            "param.primaryText: unknown key");
  const std::string truncated = ErrorOf<DriveRouteReqParam>(R"({"start": {"latitude": 39.8)");
  EXPECT_EQ(truncated.rfind("invalid JSON: parse error at line 1, column 28:", 0), 0u) << truncated;
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>("[]"), "param: expected an object");
  // A number beyond double range is invalid input too, not a crash.
  EXPECT_EQ(ErrorOf<DriveRouteReqParam>(R"({"curSpeed": 1e400})"),
            "invalid JSON: number overflow parsing '1e400'");
}

TEST(Kinds, PrepareReadsExtraAndParam) {
  const json extra = ParseJsonDocument(R"({"imei": "860000000000001"})");
  const json param = ParseJsonDocument(R"({"slice_session_id": "s"})");
  const auto request = navreq::tool::Prepare("slice", &extra, &param);
  EXPECT_EQ(request.function, "GetRouteSlice");

  const json bad = ParseJsonDocument(R"({"imei": 5})");
  try {
    (void)navreq::tool::Prepare("plus", &bad, nullptr);
    ADD_FAILURE() << "no error";
  } catch (const InputError& e) {
    EXPECT_STREQ(e.what(), "extra.imei: expected a string");
  }
  try {
    (void)navreq::tool::Prepare("navstop", &extra, nullptr);
    ADD_FAILURE() << "no error";
  } catch (const InputError& e) {
    EXPECT_STREQ(e.what(), "extra: unknown key (the stop event takes no client identity)");
  }
  const json stop = ParseJsonDocument(R"({"text": "t", "device": "d"})");
  try {
    (void)navreq::tool::Prepare("navstop", nullptr, &stop);
    ADD_FAILURE() << "no error";
  } catch (const InputError& e) {
    EXPECT_STREQ(e.what(), "param.device: unknown key");
  }
}

TEST(Kinds, OneTableForNamesFunctionsAndHelp) {
  EXPECT_EQ(navreq::tool::KindNames(),
            (std::vector<std::string>{"route", "refresh", "location", "navstop", "plus", "slice"}));
  const std::pair<const char*, const char*> calls[] = {{"route", "GetRouteReqData"},
                                                       {"refresh", "GetRouteRefreshReqData"},
                                                       {"location", "GetLocationUploadReqData"},
                                                       {"navstop", "GetNavStopActionReqData"},
                                                       {"plus", "GetRoutePlus"},
                                                       {"slice", "GetRouteSlice"}};
  const std::string help = navreq::tool::KindsHelp();
  for (const auto& call : calls) {
    EXPECT_EQ(navreq::tool::Prepare(call.first, nullptr, nullptr).function, call.second);
    EXPECT_NE(help.find(std::string("  ") + call.first + ": " + call.second + ", param "), std::string::npos)
        << call.first;
  }
}

}  // namespace
