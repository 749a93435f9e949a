// Route search pieces around the assembly (fallback of the current values,
// asynchronous-guidance code, truck, motorcycle, ranking, explain controls,
// non-finite inputs) and the complete request of GetRouteReqData.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/records/routesearch.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "support/capture.h"
#include "support/encoded.h"
#include "support/extra.h"
#include "support/fixes.h"
#include "support/gunzip.h"
#include "support/record_tables.h"
#include "support/search_fields.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::routesearch::CarRouteReq;
using navreq::testing::Gunzip;
using navreq::testing::LogCapture;
using navreq::testing::StdoutCapture;
using zv_navi_core::DriveRouteReqParam;
using zv_navi_core::KSFollowExplainControl;
using zv_navi_core::KSLocation;
using zv_navi_core::KSTruckParam;
using zv_navi_core::ReqExtraParam;
using zv_navi_core::SerializeKSE;
using zv_navi_core::drive_route_req_serializer::GetCarRouteReq;
using zv_navi_core::drive_route_req_serializer::GetKSEExplainControl;
using zv_navi_core::drive_route_req_serializer::GetMotoParam;
using zv_navi_core::drive_route_req_serializer::GetRankInfo;
using zv_navi_core::drive_route_req_serializer::GetRouteReqData;
using zv_navi_core::drive_route_req_serializer::GetTruckParam;

constexpr float kNanF = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfF = std::numeric_limits<float>::infinity();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr std::int64_t kMax = 2147483647;
constexpr std::int64_t kMin = -2147483647 - 1;

using navreq::testing::Encoded;

using tables::GuidanceWithCode;

using navreq::testing::Fix;

// ---- Heading, measure and speed fallback (reason 3 keeps tag 10) ----

struct Current {
  float heading, scalar_c, scalar_a, speed;
};
struct Outcome {
  std::string heading_text;
  float measure;
  std::string status;
};

Outcome Fallback(const Current& c, bool with_fixes) {
  DriveRouteReqParam p;
  p.reason = 3;
  p.curHeading = c.heading;
  p.curScalarC = c.scalar_c;
  p.curScalarA = c.scalar_a;
  p.curSpeed = c.speed;
  if (with_fixes) {
    p.recentFixes = {Fix(0, 0, 99.0f, 99.0f, 99.0f, 99.0f, 0, 0, 0, 0),
                     Fix(0, 0, 8.25f, 2.25f, 45.0f, 7.5f, 0, 0, 0, 0)};  // the last one counts
  }
  ReqExtraParam e;
  e.identity_b = "abc";
  CarRouteReq r;
  GetCarRouteReq(r, p, e);
  return {r.heading_text, r.current_measure, r.status_text};
}

void ExpectOutcome(const Current& c, bool with_fixes, const std::string& heading, float measure,
                   const std::string& status) {
  SCOPED_TRACE(::testing::Message() << c.heading << " " << c.scalar_c << " " << c.scalar_a << " " << c.speed
                                    << (with_fixes ? " with fixes" : " without fixes"));
  const Outcome o = Fallback(c, with_fixes);
  EXPECT_EQ(o.heading_text, heading);
  EXPECT_EQ(o.measure, measure);
  EXPECT_EQ(o.status, status);
}

TEST(GetCarRouteReq, FallbackWithAFixList) {
  // All known: nothing replaced; the measure is scalarC.
  ExpectOutcome({10, 20, 30, 5}, true, "10.0", 20.0f, "30$$abc$$5.0");
  // Heading: only a negative value is replaced; 0 is kept.
  ExpectOutcome({-1, 20, 30, 5}, true, "45.0", 20.0f, "30$$abc$$5.0");
  ExpectOutcome({0, 20, 30, 5}, true, "0.0", 20.0f, "30$$abc$$5.0");
  // scalarC: only a negative value takes the fix's scalarC.
  ExpectOutcome({10, -1, 30, 5}, true, "10.0", 7.5f, "30$$abc$$5.0");
  ExpectOutcome({10, 0, 30, 5}, true, "10.0", 0.0f, "30$$abc$$5.0");
  // scalarA zero or negative: the measure takes the fix's scalarA, even with
  // a valid scalarC; the status text floors the current value to 4.
  ExpectOutcome({10, -1, -1, 5}, true, "10.0", 2.25f, "4$$abc$$5.0");
  ExpectOutcome({10, 20, -1, 5}, true, "10.0", 2.25f, "4$$abc$$5.0");
  ExpectOutcome({10, 20, 0, 5}, true, "10.0", 2.25f, "4$$abc$$5.0");
  // Speed: zero or negative takes the fix's 8.25 (one decimal, tie to even).
  ExpectOutcome({10, 20, 30, -1}, true, "10.0", 20.0f, "30$$abc$$8.2");
  ExpectOutcome({10, 20, 30, 0}, true, "10.0", 20.0f, "30$$abc$$8.2");
}

TEST(GetCarRouteReq, FallbackWithAnEmptyFixList) {
  ExpectOutcome({10, 20, 30, 5}, false, "10.0", 20.0f, "30$$abc$$5.0");
  ExpectOutcome({-1, 20, 30, 5}, false, "-1", 20.0f, "30$$abc$$5.0");
  ExpectOutcome({0, 20, 30, 5}, false, "0.0", 20.0f, "30$$abc$$5.0");
  ExpectOutcome({10, -1, 30, 5}, false, "10.0", -1.0f, "30$$abc$$5.0");
  ExpectOutcome({10, 0, 30, 5}, false, "10.0", 0.0f, "30$$abc$$5.0");
  ExpectOutcome({10, 20, -1, 5}, false, "10.0", 20.0f, "4$$abc$$5.0");
  ExpectOutcome({10, 20, 0, 5}, false, "10.0", 20.0f, "4$$abc$$5.0");
  ExpectOutcome({10, 20, 30, -1}, false, "10.0", 20.0f, "30$$abc$$-1.0");
  ExpectOutcome({10, 20, 30, 0}, false, "10.0", 20.0f, "30$$abc$$0.0");
}

TEST(GetCarRouteReq, StatusTextFloorsTheMeasureToFour) {
  ExpectOutcome({10, 20, 12.7f, 8.25f}, false, "10.0", 20.0f, "12$$abc$$8.2");
  ExpectOutcome({10, 20, 3.9f, 5}, false, "10.0", 20.0f, "4$$abc$$5.0");
  ExpectOutcome({10, 20, 4.99f, 5}, false, "10.0", 20.0f, "4$$abc$$5.0");
  ExpectOutcome({10, 20, 5.0f, 5}, false, "10.0", 20.0f, "5$$abc$$5.0");
  ExpectOutcome({10, 20, 1e30f, 5}, false, "10.0", 20.0f, "2147483647$$abc$$5.0");
  ExpectOutcome({10, 20, -std::numeric_limits<float>::infinity(), 5}, false, "10.0", 20.0f, "4$$abc$$5.0");
  ExpectOutcome({10, 20, std::numeric_limits<float>::quiet_NaN(), 5}, false, "10.0", 20.0f, "4$$abc$$5.0");
}

// ---- Asynchronous-guidance code ----

// The "toGuidance" bytes of a search from (0, 0) to (dest_lat, 0).
std::string GuidanceFor(std::int32_t reason, std::int32_t plan_mode, double dest_lat = 0.0) {
  DriveRouteReqParam p;
  p.reason = reason;
  p.planMode = plan_mode;
  p.destination.latitude = dest_lat;
  CarRouteReq r;
  GetCarRouteReq(r, p, ReqExtraParam());
  EXPECT_EQ(r.side_records.count("toGuidance"), 1u);
  return Hex(r.side_records["toGuidance"]);
}

// One degree of latitude is about 111,195 m: 0.4496 deg is about 49,993 m,
// 0.4497 deg about 50,004 m.
constexpr double kJustUnder50Km = 0.4496;
constexpr double kJustOver50Km = 0.4497;

TEST(AsyncGuidanceCode, ReasonZero) {
  EXPECT_EQ(GuidanceFor(0, 0), GuidanceWithCode(0));
  EXPECT_EQ(GuidanceFor(0, 1), GuidanceWithCode(201));
  EXPECT_EQ(GuidanceFor(0, 2), GuidanceWithCode(200));
  EXPECT_EQ(GuidanceFor(0, 3), GuidanceWithCode(0));
  EXPECT_EQ(GuidanceFor(0, 9, kJustUnder50Km), GuidanceWithCode(0));
  EXPECT_EQ(GuidanceFor(0, 9, kJustOver50Km), GuidanceWithCode(201));
  EXPECT_EQ(GuidanceFor(0, 9, 0.0), GuidanceWithCode(0));
}

TEST(AsyncGuidanceCode, OtherReasons) {
  for (std::int32_t reason : {-3, -1, 2, 9}) {
    SCOPED_TRACE(reason);
    EXPECT_EQ(GuidanceFor(reason, 0), GuidanceWithCode(0));
    EXPECT_EQ(GuidanceFor(reason, 1), GuidanceWithCode(201));
    EXPECT_EQ(GuidanceFor(reason, 2), GuidanceWithCode(201));  // 200 only for reason 0
    EXPECT_EQ(GuidanceFor(reason, 5), GuidanceWithCode(0));
    EXPECT_EQ(GuidanceFor(reason, 9, kJustUnder50Km), GuidanceWithCode(0));
    EXPECT_EQ(GuidanceFor(reason, 9, kJustOver50Km), GuidanceWithCode(201));
  }
}

TEST(AsyncGuidanceCode, IsLoggedWithTheReason) {
  LogCapture log;
  GuidanceFor(0, 2);
  ASSERT_GE(log.lines().size(), 3u);
  EXPECT_EQ(log.lines()[2], "L0 E8 RoutePlus::RequestPlus reason=0 isAsync=200");
}

TEST(AsyncGuidanceCode, ExistingGuidanceEntryIsKept) {
  CarRouteReq r;
  r.side_records["toGuidance"] = {'y'};
  DriveRouteReqParam p;
  p.planMode = 1;
  GetCarRouteReq(r, p, ReqExtraParam());
  EXPECT_EQ(r.side_records["toGuidance"], std::vector<char>{'y'});
}

// ---- Truck ----

KSTruckParam Truck(float measure_b, bool skip_cd, std::int32_t option6) {
  KSTruckParam t;
  t.truckMeasureA = 2.3f;  // 2300 in float, 2299 in double
  t.truckMeasureB = measure_b;
  t.truckMeasureC = 1.5f;
  t.truckMeasureD = 0.25f;
  t.truckMeasureE = 10.0f;
  t.truckOption6 = option6;
  t.truckOption7 = -7;
  t.truckMeasureF = 0.0015f;
  t.truckBlock = {1, -2, 300, 40000};
  t.truckOption48 = 48;
  t.truckOption52 = 52;
  t.skipMeasureCD = skip_cd;
  t.truckClientFlag = true;
  return t;
}

std::string TruckHex(std::int64_t b, std::int64_t d, std::int64_t c, std::int64_t option6) {
  return Int(0, 1) + Int(1, b) + Int(2, 2300) + Int(3, d) + Int(4, c) + Int(5, 10000) + Int(6, option6) +
         Int(7, -7) + Int(8, 1) + Int(9, -2) + Int(10, 300) + Int(11, 40000) + Int(12, 48) + Int(13, 52);
}

TEST(Truck, OffWhenMeasureBIsNotPositive) {
  for (float b : {0.0f, -1.0f, -0.0f, kNanF}) {
    SCOPED_TRACE(b);
    DriveRouteReqParam p;
    p.routeOption59 = 5;
    p.truck = Truck(b, false, 8);
    CarRouteReq r;
    GetCarRouteReq(r, p, ReqExtraParam());
    EXPECT_EQ(Encoded(r.truck_params), tables::DefaultTruckParamsReqV2());
    EXPECT_EQ(r.routeOption59, 5);
    EXPECT_FALSE(r.cli_param.truck_flag);
  }
}

TEST(Truck, OnWritesThousandthsAndOption59) {
  DriveRouteReqParam p;
  p.routeOption59 = 5;
  p.truck = Truck(4.0f, false, 8);
  CarRouteReq r;
  GetCarRouteReq(r, p, ReqExtraParam());
  EXPECT_EQ(Encoded(r.truck_params), TruckHex(4000, 250, 1500, 6));  // option 6 capped at 6
  EXPECT_EQ(r.routeOption59, 301);
  EXPECT_TRUE(r.cli_param.truck_flag);
  // Spelled out: F 0.0015f x 1000 = 1.5 -> 1, B 4000 = 0x0FA0, A 2300 = 0x08FC.
  EXPECT_EQ(Encoded(r.truck_params).substr(0, 16), "0001110fa02108fc");
}

TEST(Truck, SkipMeasureCDLeavesTagsThreeAndFourZero) {
  CarRouteReq r;
  GetTruckParam(r, Truck(4.0f, true, 5));
  EXPECT_EQ(Encoded(r.truck_params), TruckHex(4000, 0, 0, 5));
}

TEST(Truck, OptionSixIsCappedWithASignedComparison) {
  for (std::int32_t option6 : {8, 6, 5, -1, -2147483647 - 1}) {
    SCOPED_TRACE(option6);
    CarRouteReq r;
    GetTruckParam(r, Truck(4.0f, false, option6));
    EXPECT_EQ(r.truck_params.truckOption6, option6 > 6 ? 6 : option6);
  }
  CarRouteReq r;
  GetTruckParam(r, Truck(4.0f, false, -1));
  EXPECT_EQ(Encoded(r.truck_params), TruckHex(4000, 250, 1500, -1));
}

TEST(Truck, StandaloneOffChangesNothing) {
  CarRouteReq r;
  r.routeOption59 = 9;
  GetTruckParam(r, Truck(0.0f, false, 8));
  EXPECT_EQ(Encoded(r.truck_params), tables::DefaultTruckParamsReqV2());
  EXPECT_EQ(r.routeOption59, 9);
  EXPECT_FALSE(r.cli_param.truck_flag);
}

TEST(Truck, NonFiniteAndHugeMeasuresSaturate) {
  KSTruckParam t = Truck(3e6f, false, 0);  // 3e9 thousandths
  t.truckMeasureA = kNanF;
  t.truckMeasureC = kInfF;
  t.truckMeasureD = 1e30f;  // the float product overflows to infinity
  t.truckMeasureE = -1e30f;
  t.truckMeasureF = -kInfF;
  CarRouteReq r;
  GetTruckParam(r, t);
  EXPECT_EQ(Encoded(r.truck_params), Int(0, kMin) + Int(1, kMax) + Int(2, 0) + Int(3, kMax) + Int(4, kMax) +
                                         Int(5, kMin) + Int(6, 0) + Int(7, -7) + Int(8, 1) + Int(9, -2) +
                                         Int(10, 300) + Int(11, 40000) + Int(12, 48) + Int(13, 52));
}

// ---- Motorcycle ----

TEST(Moto, CopiesTheThreeValuesAndLogsThem) {
  zv_navi_core::KSMotoParam m;
  m.moto_type = 2;
  m.energy_type = -1;
  m.engine_displacement = 40000;
  CarRouteReq r;
  LogCapture log;
  GetMotoParam(r, m);
  EXPECT_EQ(Encoded(r.moto_params_req), "000210ff2200009c40");
  EXPECT_EQ(log.lines(), std::vector<std::string>{"L0 E8 GetMotoParam: route_req.moto_params_req.moto_type=2,"
                                                  "route_req.moto_params_req.energy_type=-1, "
                                                  "route_req.moto_params_req.engine_displacement=40000"});
}

// ---- Ranking ----

TEST(Rank, DisabledAddsNothing) {
  CarRouteReq r;
  GetRankInfo(r, DriveRouteReqParam());
  EXPECT_TRUE(r.side_records.empty());
  DriveRouteReqParam p;
  GetCarRouteReq(r, p, ReqExtraParam());
  EXPECT_EQ(r.side_records.count("toRank"), 0u);
  EXPECT_EQ(r.side_records.size(), 1u);
}

TEST(Rank, EnabledAddsTheRankRecordWrittenAlone) {
  DriveRouteReqParam p;
  p.rankEnabled = true;
  CarRouteReq r;
  GetRankInfo(r, p);
  ASSERT_EQ(r.side_records.count("toRank"), 1u);
  // No struct frame: list, zero, list of one 269, zero.
  EXPECT_EQ(Hex(r.side_records["toRank"]), List(0, 0) + Int(1, 0) + List(2, 1) + Int(0, 269) + Int(3, 0));
  EXPECT_EQ(Hex(r.side_records["toRank"]), "090c1c29000101010d3c");
}

TEST(Rank, ExistingRankEntryIsKept) {
  DriveRouteReqParam p;
  p.rankEnabled = true;
  CarRouteReq r;
  r.side_records["toRank"] = {'x'};
  GetRankInfo(r, p);
  EXPECT_EQ(r.side_records["toRank"], std::vector<char>{'x'});
}

// ---- Non-finite and huge inputs ----

TEST(GetCarRouteReq, NonFiniteAndHugeInputsSaturate) {
  DriveRouteReqParam p;
  p.reason = -1;
  p.planMode = 9;  // the distance is NaN: not over 50 km
  p.start.latitude = std::nan("");
  p.start.longitude = kInf;
  p.destination.latitude = 1e300;
  p.destination.longitude = -1e300;
  p.yawLatitude = -kInf;
  p.yawLongitude = std::nan("");
  p.yawAngle = kNanF;
  p.curHeading = kNanF;
  p.curScalarC = kNanF;
  p.curScalarA = kInfF;
  p.curSpeed = -1.0f;
  p.recentFixes = {Fix(1e300, -kInf, kNanF, kInfF, -kInfF, 1e30f, 0, 0, 0, 0)};
  p.limitAreas = {{zv_navi_core::KSLatLon{}}};
  p.limitAreas[0][0].latitude = -1e300;
  p.limitAreas[0][0].longitude = std::nan("");
  CarRouteReq r;
  GetCarRouteReq(r, p, ReqExtraParam());
  EXPECT_EQ(Encoded(r.start.point), Int(0, kMax) + Int(1, 0) + Int(2, 0));
  EXPECT_EQ(Encoded(r.destination.point_again), Int(0, kMin) + Int(1, kMax) + Int(2, 0));
  EXPECT_EQ(Encoded(r.yaw_position), Int(0, 0) + Int(1, kMin) + Int(2, 0));
  EXPECT_EQ(Encoded(r.reroute_yaw_position), Int(0, 0) + Int(1, kMin) + Int(2, 0));
  EXPECT_EQ(Encoded(r.limit_areas[0]), List(0, 1) + Struct(0, Int(0, 0) + Int(1, kMin) + Int(2, 0)));
  EXPECT_EQ(r.reroute_yaw_heading_text, "-1");
  // NaN compares false: heading and scalarC stay NaN, no fallback.
  EXPECT_EQ(r.heading_text, "-1");
  EXPECT_TRUE(std::isnan(r.current_measure));
  // scalarA +inf saturates in the status text; the speed falls back to the
  // fix's NaN.
  EXPECT_EQ(r.status_text, "2147483647$$$$nan");
  ASSERT_EQ(r.recent_fixes.size(), 1u);
  // Longitude -inf, latitude 1e300.
  EXPECT_EQ(Encoded(r.recent_fixes[0]).substr(0, 20), "0280000000127fffffff");
  EXPECT_EQ(r.recent_fixes[0].speed_kmh, 0);
  EXPECT_EQ(r.recent_fixes[0].scalarA_x1000, kMax);
  EXPECT_EQ(r.recent_fixes[0].heading, kMin);
  EXPECT_EQ(r.recent_fixes[0].scalarC, kMax);
  EXPECT_EQ(Hex(r.side_records["toGuidance"]), GuidanceWithCode(0));
}

// ---- Explain controls ----

KSFollowExplainControl Control(std::int64_t id0, const std::string& text5) {
  KSFollowExplainControl c;
  c.id0 = id0;
  c.id1 = -1;
  c.id2 = 5000000000;
  c.id3 = 0;
  c.code4 = 4;
  c.text5 = text5;
  c.text6 = "t6";
  c.texts7 = {"a", "b"};
  c.road_links8.resize(1);
  c.road_links8[0].link_id = 77;
  c.road_links8[0].name = "Ring";
  c.code9 = 9;
  return c;
}

std::string ControlHex(std::int64_t id0, const std::string& text5) {
  return Int(0, id0) + Int(1, -1) + Int(2, 5000000000) + Int(3, 0) + Int(4, 4) + Str(5, text5) +
         Str(6, "t6") + List(7, 2) + Str(0, "a") + Str(0, "b") + List(8, 1) +
         Struct(0, Int(0, 77) + Str(1, "Ring")) + Int(9, 9);
}

TEST(ExplainControl, EmptyMapChangesNothing) {
  navkse::routesearch::RouteCloudControl target;
  target.controls["k"].code9 = 3;
  GetKSEExplainControl(target, {});
  ASSERT_EQ(target.controls.size(), 1u);
  EXPECT_EQ(target.controls["k"].code9, 3);
}

TEST(ExplainControl, CopiesEveryValueInKeyOrderAndKeepsExistingKeys) {
  navkse::routesearch::RouteCloudControl target;
  target.controls["b"].code9 = 3;
  GetKSEExplainControl(target,
                       {{"c", Control(1, "third")}, {"a", Control(2, "first")}, {"b", Control(3, "")}});
  EXPECT_EQ(Encoded(target), Map(0, 3) + Str(0, "a") + Struct(1, ControlHex(2, "first")) + Str(0, "b") +
                                 Struct(1, tables::With(tables::DefaultFollowExplainControl(), {Int(9, 3)})) +
                                 Str(0, "c") + Struct(1, ControlHex(1, "third")));
}

// ---- GetRouteReqData ----

ReqExtraParam Extra() {
  ReqExtraParam e = navreq::testing::LetteredExtra("IM", 77);
  e.identity_i = "I";
  return e;
}

DriveRouteReqParam Param() {
  DriveRouteReqParam p;
  p.reason = 2;
  p.subReason = 5;
  p.yawAngle = 10.0f;
  p.start.latitude = 39.9;
  p.start.longitude = 116.4;
  p.destination.latitude = 31.2;
  p.destination.longitude = 121.5;
  p.recentFixes = {Fix(39.9, 116.4, 12.0f, 3.0f, 90.0f, 4.0f, 1700000000, 1, 2, 3)};
  p.rankEnabled = true;
  p.planMode = 9;
  return p;
}

// The Header spelled from its table for Extra(): tags 0 to 32.
std::string ExtraHeaderHex() {
  return Int(0, 77) + Struct(1, Int(0, 0) + Str(1, "") + Int(2, 0)) + Int(2, 0) + Str(3, "") + Str(4, "A") +
         Str(5, "") + Str(6, "D") + Str(7, "E") + Str(8, "IM") + Str(9, "G") + Str(10, "B") + Str(11, "") +
         Str(12, "F") + Str(13, "G") + Str(14, "0") + Str(15, "A") + Str(16, "H") + Str(17, "") + Int(18, 0) +
         Str(19, "") + Int(20, 0) + Str(21, "") + Str(22, "IM") + Str(23, "C") + Str(24, "") +
         Bytes(25, std::string()) + Str(26, "") + Str(27, "") + Str(28, "") + Str(29, "A") + Str(30, "") +
         Str(31, "") + Bytes(32, std::string());
}

// Reads the simple list that starts at `pos` (head, 0x00, count) and returns
// its bytes; `pos` moves past it.
std::vector<char> TakeBytes(const std::vector<char>& in, std::size_t& pos, unsigned char head) {
  EXPECT_EQ(static_cast<unsigned char>(in.at(pos)), head);
  EXPECT_EQ(in.at(pos + 1), 0);
  const unsigned char count_head = static_cast<unsigned char>(in.at(pos + 2));
  pos += 3;
  std::size_t count = 0;
  const int width = count_head == 0x0C ? 0 : count_head == 0x00 ? 1 : count_head == 0x01 ? 2 : 4;
  for (int i = 0; i < width; ++i) count = count * 256 + static_cast<unsigned char>(in.at(pos++));
  std::vector<char> bytes(in.begin() + static_cast<std::ptrdiff_t>(pos),
                          in.begin() + static_cast<std::ptrdiff_t>(pos + count));
  pos += count;
  return bytes;
}

TEST(GetRouteReqData, SuccessIsAPackageAroundTheGzippedRequest) {
  CarRouteReq direct;
  GetCarRouteReq(direct, Param(), Extra());
  std::vector<char> direct_bytes;
  ASSERT_TRUE(SerializeKSE(direct, direct_bytes));

  std::vector<char> out = {'z'};
  StdoutCapture stdout_capture;
  LogCapture log;
  ASSERT_EQ(GetRouteReqData(Param(), Extra(), out), 0u);
  EXPECT_EQ(stdout_capture.text(), "");

  // Version 0, command 10101 (0x2775), its name, tag 3 zero, tag 4 = 3 (gzip),
  // tag 5 empty, tag 6 "0".
  const std::string prefix = "0c112775" + Str(2, "CMD_ROUTE_CAR_SNS") + "3c40035600660130";
  ASSERT_GT(out.size(), prefix.size() / 2);
  EXPECT_EQ(Hex(out.data(), prefix.size() / 2), prefix);
  std::size_t pos = prefix.size() / 2;
  EXPECT_EQ(Hex(TakeBytes(out, pos, 0x7D)), ExtraHeaderHex());
  const std::vector<char> body = TakeBytes(out, pos, 0x8D);
  EXPECT_EQ(Gunzip(body), direct_bytes);
  EXPECT_EQ(Hex(out.data() + pos, out.size() - pos),
            List(9, 1) + Struct(0, Str(0, "apikey") + Bytes(1, "KEY")));

  // The request's lines, then the envelope's.
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines().front(), "L0 E1 zelto SetupSearchPreference prefer_shortdist=0");
  EXPECT_EQ(log.lines().back(), "L0 E8 RoutePlus::RequestPlus imei=IM");
  EXPECT_EQ(log.lines().size(), 9u);
}

TEST(GetRouteReqData, CompressorFailureStopsBeforeTheEnvelope) {
  std::vector<char> seen;
  navreq::services::ScopedGzip gzip([&seen](std::vector<char>& in, std::vector<char>&) {
    seen = in;
    return false;
  });
  std::vector<char> out = {'z'};
  StdoutCapture stdout_capture;
  LogCapture log;
  EXPECT_EQ(GetRouteReqData(Param(), Extra(), out), 1u);
  EXPECT_EQ(stdout_capture.text(), "GZipCompress_route_req_buf_fail\n");
  EXPECT_EQ(out, std::vector<char>{'z'});
  for (const std::string& line : log.lines()) EXPECT_EQ(line.find("imei="), std::string::npos) << line;
  // The compressor was handed exactly the request's bytes.
  CarRouteReq direct;
  GetCarRouteReq(direct, Param(), Extra());
  std::vector<char> direct_bytes;
  ASSERT_TRUE(SerializeKSE(direct, direct_bytes));
  EXPECT_EQ(seen, direct_bytes);
}

TEST(GetRouteReqData, OversizedRequestStringFailsTheRequestStage) {
  bool compressed = false;
  navreq::services::ScopedGzip gzip([&compressed](std::vector<char>&, std::vector<char>&) {
    compressed = true;
    return true;
  });
  DriveRouteReqParam p = Param();
  p.routeOption11.assign(104857601, 'a');
  std::vector<char> out = {'z'};
  StdoutCapture stdout_capture;
  EXPECT_EQ(GetRouteReqData(p, Extra(), out), 1u);
  EXPECT_EQ(stdout_capture.text(), "SerializeKSE_route_req_fail\n");
  EXPECT_EQ(out, std::vector<char>{'z'});
  EXPECT_FALSE(compressed);
}

TEST(GetRouteReqData, OversizedHeaderStringFailsTheEnvelopeStage) {
  ReqExtraParam e = Extra();
  e.identity_h.assign(104857601, 'h');  // carried by the Header only
  std::vector<char> out = {'z'};
  StdoutCapture stdout_capture;
  LogCapture log;
  EXPECT_EQ(GetRouteReqData(Param(), e, out), 1u);
  EXPECT_EQ(stdout_capture.text(), "SerializeKSE_header_fail\nret_pkg_fail\n");
  EXPECT_EQ(out, std::vector<char>{'z'});
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines().back(), "L0 E8 RoutePlus::RequestPlus imei=IM");
}

}  // namespace
