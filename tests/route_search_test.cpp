// Route search assembly: the whole CarRouteReq after GetCarRouteReq, spelled
// from the record's table, its log lines and the reason table.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/records/routesearch.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "support/capture.h"
#include "support/encoded.h"
#include "support/fixes.h"
#include "support/record_tables.h"
#include "support/search_fields.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::routesearch::CarRouteReq;
using navreq::testing::LogCapture;
using zv_navi_core::DriveRouteReqParam;
using zv_navi_core::KSLatLon;
using zv_navi_core::KSLocation;
using zv_navi_core::ReqExtraParam;
using zv_navi_core::SerializeKSE;
using zv_navi_core::drive_route_req_serializer::GetCarRouteReq;

using navreq::testing::Encoded;
using tables::CarRouteReqWith;
using tables::GuidanceWithCode;
using tables::PoiAt;
using tables::PointAt;
using tables::With;

// ---- Expected bytes: the record tables with the fields a test changes ----

std::string GpsHex(std::int64_t lon, std::int64_t lat, std::int64_t c, std::int64_t heading, std::int64_t a,
                   std::int64_t kmh, std::int64_t time, std::int64_t int_a, std::int64_t int_b,
                   std::int64_t src) {
  return With(tables::DefaultGps(), {Int(0, lon), Int(1, lat), Int(2, c), Int(3, heading), Int(4, a),
                                     Int(5, kmh), Int(6, time), Int(7, int_a), Int(11, int_b), Int(12, src)});
}

std::string ClientParamHex(std::int64_t order_source, const std::string& order_id) {
  return With(tables::DefaultClientParam(), {Int(31, order_source), Str(32, order_id)});
}

// The ranking side record holding 269.
std::string RankHex() { return With(tables::DefaultToRankTransInfo(), {List(2, 1) + Int(0, 269)}); }

// ---- A default DriveRouteReqParam ----

TEST(GetCarRouteReq, DefaultParamSetsTheFixedFieldsOnTopOfTheDefaults) {
  CarRouteReq request;
  GetCarRouteReq(request, DriveRouteReqParam(), ReqExtraParam());
  EXPECT_EQ(Encoded(request), CarRouteReqWith(tables::DefaultSearchFields()));
  EXPECT_EQ(request.cli_param.car_energy_type, 0);
  EXPECT_FALSE(request.cli_param.coords_cut_for_yaw);
  EXPECT_FALSE(request.cli_param.truck_flag);
}

// ---- Every input set ----

using navreq::testing::Fix;
using navreq::testing::SearchPoint;

KSLatLon LatLon(double lat, double lon) {
  KSLatLon v;
  v.latitude = lat;
  v.longitude = lon;
  return v;
}

DriveRouteReqParam LoadedParam() {
  DriveRouteReqParam p;
  p.start = SearchPoint(39.9999999, 116.5, "A", "a", 1);
  p.destination = SearchPoint(-33.25, -70.75, "B", "b", 2);
  p.reason = -1;
  p.routeOption52 = "o52";
  p.viaPoints = {SearchPoint(1.5, 2.5, "V", "v", 3)};
  p.routeOption3 = 1;
  p.trafficPref = 1;
  p.noHighway = 1;
  p.noToll = 0;
  p.routeOption42 = 42;
  p.routeOption73 = 73;
  p.routeOption74 = 74;
  p.subReason = 4;
  p.reasonAngle = 10.0f;
  p.routeOption11 = "o11";
  p.recentFixes = {Fix(1.0, 2.0, 10.0f, 0.0015f, 90.9f, 3.2f, 1700000000, 11, 12, 1),
                   Fix(-0.5, -1.25, 2.5f, 2.3f, 45.0f, 7.9f, 0, -1, 0, 2)};
  p.routeOption22 = "o22";
  p.routeOption48 = true;
  p.routeOption59 = 5;
  p.truck.truckMeasureA = 2.3f;
  p.truck.truckMeasureB = 4.0f;
  p.truck.truckMeasureC = 1.5f;
  p.truck.truckMeasureD = 0.25f;
  p.truck.truckMeasureE = 10.0f;
  p.truck.truckOption6 = 8;
  p.truck.truckOption7 = 7;
  p.truck.truckMeasureF = 0.5f;
  p.truck.truckBlock = {1, -2, 3, 40000};
  p.truck.truckOption48 = 48;
  p.truck.truckOption52 = 52;
  p.truck.truckClientFlag = true;
  p.limitAreas = {{LatLon(30.5, 120.25), LatLon(-0.75, -179.5)}, {}};
  p.rankEnabled = true;
  p.routeOption28 = 28;
  p.routeOption47 = 47;
  p.routeOption60 = 60;
  p.routeOption61 = 61;
  p.routeOption58 = 4294967295u;
  p.routeOption43 = true;
  p.routeOption14 = "o14";
  p.routeOption49 = {"x", "yz"};
  p.routeOption66 = 66;
  p.routeOption37 = 37;
  p.routeOption38 = -38;
  p.yawLatitude = 10.5;
  p.yawLongitude = 20.25;
  p.yawAngle = 180.0f;
  p.curSpeed = -1.0f;
  p.curScalarA = 12.7f;
  p.curHeading = -1.0f;
  p.curScalarC = -1.0f;
  p.phValue = 9;
  p.routeOption19 = 19;
  p.routeOption56 = 56;
  p.routeOption57 = 57;
  p.planMode = 1;
  p.prefer_shortdist = 1;
  p.trajectoryFixes = {Fix(0.25, 0.125, 0.27f, -0.0015f, 359.9f, -2.5f, 5000000000, 0, 0, 3)};
  p.is_search_coords_cut_for_yaw = false;
  p.is_reroute_coords_cut_for_yaw = true;
  p.car_energy_type = 3;
  p.moto.moto_type = 1;
  p.moto.energy_type = 2;
  p.moto.engine_displacement = 150;
  p.order_source = 5;
  p.order_id_ = "ord";
  return p;
}

ReqExtraParam LoadedExtra() {
  ReqExtraParam e;
  e.identity_a = "ia";
  e.imei = "IM";
  e.identity_b = "ib";
  e.identity_number = 5000000000;
  e.identity_i = "ii";
  e.identity_c = "not read";
  e.api_key = "not read";
  return e;
}

TEST(GetCarRouteReq, EveryInputLandsInItsField) {
  CarRouteReq request;
  GetCarRouteReq(request, LoadedParam(), LoadedExtra());
  const std::string truck = Int(0, 500) + Int(1, 4000) + Int(2, 2300) + Int(3, 250) + Int(4, 1500) +
                            Int(5, 10000) + Int(6, 6) + Int(7, 7) + Int(8, 1) + Int(9, -2) + Int(10, 3) +
                            Int(11, 40000) + Int(12, 48) + Int(13, 52);
  EXPECT_EQ(Encoded(request),
            CarRouteReqWith({
                Struct(0, PoiAt(116500000, 39999999, "A", "a", 1)),
                Struct(1, PoiAt(-70750000, -33250000, "B", "b", 2)),
                Int(3, 0),  // a via point: no doubled option
                Int(5, 1),
                Int(6, 1),
                Str(8, "routerefresh"),
                Int(9, 40),
                Str(10, "45.0"),  // heading -1: the last fix's 45
                Str(11, "o11"),
                Str(14, "o14"),
                Bool(15, true),
                List(16, 1) + Struct(0, PoiAt(2500000, 1500000, "V", "v", 3)),
                "fd1100000100",  // one zero flag byte
                Int(19, 19),
                Int(21, 1),
                Str(22, "o22"),
                Int(23, 2),
                List(24, 2) + Struct(0, GpsHex(2000000, 1000000, 3, 90, 1, 36, 1700000000, 11, 12, 1)) +
                    Struct(0, GpsHex(-1250000, -500000, 7, 45, 2300, 9, 0, -1, 0, 2)),
                Str(25, "ia"),
                Str(26, "&cond=0&noround=0&nohighway=1&notoll=0&traffic=1"),
                Str(27, "12$$ib$$2.5"),  // speed -1: the last fix's 2.5
                Int(28, 28),
                "f31d000000012a05f200",  // 5000000000 needs eight bytes
                Struct(32, PointAt(20250000, 10500000)),
                Str(33, "o14"),
                Struct(34, PointAt(20250000, 10500000)),
                Str(35, "180.0"),
                Int(36, 9),
                Int(37, 37),
                Int(38, -38),
                Int(39, 1),
                Int(40, 0),
                "f42940fccccd",  // scalarC -1: the last fix's 7.9f
                Int(42, 42),
                Bool(43, true),
                Str(45, "IM"),
                Str(46, "nav"),
                Int(47, 47),
                Bool(48, true),
                List(49, 2) + Str(0, "x") + Str(0, "yz"),
                Str(50, "o14"),
                Str(52, "o52"),
                Int(56, 56),
                Int(57, 57),
                "f33a00000000ffffffff",  // uint32 widened without sign
                Int(59, 301),            // a truck
                Int(60, 60),
                Int(61, 61),
                Str(62, "ii"),
                Int(64, 0x8828),
                Str(65, "o52"),  // empty option 65 falls back to 52
                Int(66, 66),
                List(70, 2) +
                    Struct(0, List(0, 2) + Struct(0, PointAt(120250000, 30500000)) +
                                  Struct(0, PointAt(-179500000, -750000))) +
                    Struct(0, List(0, 0)),
                Map(72, 2) + Str(0, "toGuidance") + Bytes(1, Unhex(GuidanceWithCode(201))) +
                    Str(0, "toRank") + Bytes(1, Unhex(RankHex())),
                Int(73, 73),
                Int(74, 74),
                Struct(75, ClientParamHex(5, "ord")),
                Int(77, 1),
                Struct(83, truck),
                List(84, 1) + Struct(0, GpsHex(125000, 250000, -2, 359, -1, 0, 5000000000, 0, 0, 3)),
                Struct(86, Int(0, 1) + Int(1, 2) + Int(2, 150)),
            }));
  // Set in the client parameters but never written.
  EXPECT_EQ(request.cli_param.car_energy_type, 3);
  EXPECT_TRUE(request.cli_param.coords_cut_for_yaw);  // reason -1 takes the reroute flag
  EXPECT_TRUE(request.cli_param.truck_flag);
}

TEST(GetCarRouteReq, LogLinesOfOneCallInOrder) {
  CarRouteReq request;
  LogCapture log;
  GetCarRouteReq(request, LoadedParam(), LoadedExtra());
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                "L0 E1 zelto SetupSearchPreference prefer_shortdist=1",
                "L0 E8 RoutePlus::RequestPlus src_type=1",
                "L0 E8 RoutePlus::RequestPlus src_type=2",
                "L0 E8 RoutePlus::RequestPlus src_type=3",
                "L0 E8 GetMotoParam: "
                "route_req.moto_params_req.moto_type=1,route_req.moto_params_req.energy_type=2, "
                "route_req.moto_params_req.engine_displacement=150",
                "L0 E8 RoutePlus::RequestPlus reason=-1 isAsync=201",
                "L0 E8 RoutePlus::is_search_coords_cut_for_yaw=0 is_reroute_coords_cut_for_yaw=1",
                "L0 E8 RoutePlus::RequestPlus car_energy_type=3",
                "L0 E8 RoutePlus::RequestPlus route_req.cli_param.order_source=5",
                "L0 E8 RoutePlus::RequestPlus route_req.cli_param.order_id_=ord",
            }));
}

TEST(GetCarRouteReq, DefaultParamLogLines) {
  CarRouteReq request;
  LogCapture log;
  GetCarRouteReq(request, DriveRouteReqParam(), ReqExtraParam());
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                "L0 E1 zelto SetupSearchPreference prefer_shortdist=0",
                "L0 E8 GetMotoParam: "
                "route_req.moto_params_req.moto_type=0,route_req.moto_params_req.energy_type=0, "
                "route_req.moto_params_req.engine_displacement=0",
                "L0 E8 RoutePlus::RequestPlus reason=0 isAsync=0",
                "L0 E8 RoutePlus::is_search_coords_cut_for_yaw=0 is_reroute_coords_cut_for_yaw=0",
                "L0 E8 RoutePlus::RequestPlus car_energy_type=0",
                "L0 E8 RoutePlus::RequestPlus route_req.cli_param.order_source=0",
                "L0 E8 RoutePlus::RequestPlus route_req.cli_param.order_id_=",
            }));
}

// ---- Options with a rule of their own ----

TEST(GetCarRouteReq, PlanModeNineAsksForAsyncGuidanceOnlyBeyondFiftyKilometres) {
  DriveRouteReqParam p;
  p.planMode = 9;
  p.start = SearchPoint(1.5, 2.5, "", "", 0);
  p.destination = SearchPoint(3.5, 4.5, "", "", 0);
  for (const double metres : {50000.0, 50000.001}) {
    SCOPED_TRACE(metres);
    std::vector<double> asked;
    navreq::services::ScopedDistance distance([&](double lat1, double lon1, double lat2, double lon2) {
      asked = {lat1, lon1, lat2, lon2};
      return metres;
    });
    CarRouteReq r;
    GetCarRouteReq(r, p, ReqExtraParam());
    EXPECT_EQ(asked, (std::vector<double>{1.5, 2.5, 3.5, 4.5}));  // start, then destination
    EXPECT_EQ(Hex(r.side_records["toGuidance"]), GuidanceWithCode(metres > 50000.0 ? 201 : 0));
  }
}

TEST(GetCarRouteReq, OptionThreeIsDoubledOnlyWithoutViaPoints) {
  DriveRouteReqParam p;
  p.routeOption3 = 1;
  CarRouteReq none;
  GetCarRouteReq(none, p, ReqExtraParam());
  EXPECT_EQ(none.routeOption3, 2);
  p.routeOption3 = 255;  // doubled as an int, not wrapped to eight bits
  CarRouteReq wide;
  GetCarRouteReq(wide, p, ReqExtraParam());
  EXPECT_EQ(wide.routeOption3, 510);
  p.viaPoints.resize(1);
  CarRouteReq one;
  GetCarRouteReq(one, p, ReqExtraParam());
  EXPECT_EQ(one.routeOption3, 0);
}

TEST(GetCarRouteReq, OptionSixtyFiveKeepsItsOwnValueWhenSet) {
  DriveRouteReqParam p;
  p.routeOption52 = "o52";
  p.routeOption65 = "o65";
  CarRouteReq r;
  GetCarRouteReq(r, p, ReqExtraParam());
  EXPECT_EQ(r.routeOption52, "o52");
  EXPECT_EQ(r.routeOption65, "o65");
}

// ---- The reason table ----

struct ReasonRow {
  std::int32_t reason;
  const char* text;
  bool sub_reason;  // tag 30 = subReason
  bool ph;          // tag 13 = phValue
  bool reroute;     // yaw position, heading and options of a reroute
};

TEST(GetCarRouteReq, ReasonTable) {
  const ReasonRow rows[] = {
      {-3, "", false, false, false},
      {-2, "fork", false, false, true},
      {-1, "routerefresh", false, false, true},
      {0, "", true, false, false},
      {1, "ph", false, true, false},
      {2, "hint", true, false, false},
      {3, "fr", false, false, false},
      {4, "changedest", false, false, false},
      {5, "removeviapoint", false, false, false},
      {6, "changedest", false, false, false},
      {7, "prefchange", false, false, false},
      {8, "chengkexuanlu", true, false, false},
      {9, "", false, false, false},
  };
  for (const ReasonRow& row : rows) {
    SCOPED_TRACE(row.reason);
    DriveRouteReqParam p;
    p.reason = row.reason;
    p.subReason = 3;
    p.phValue = 77;
    p.reasonAngle = 400.0f;  // outside the circle: reason 0 keeps the heading text
    p.curHeading = 12.0f;
    p.yawAngle = 90.0f;
    p.yawLatitude = 1.5;
    p.yawLongitude = 2.5;
    p.routeOption14 = "R14";
    p.routeOption37 = 37;
    p.routeOption38 = 38;
    p.routeOption49 = {"a"};
    p.is_search_coords_cut_for_yaw = true;
    CarRouteReq r;
    GetCarRouteReq(r, p, ReqExtraParam());
    EXPECT_EQ(r.reason_text, row.text);
    EXPECT_EQ(r.sub_reason, row.sub_reason ? 3 : 0);
    EXPECT_EQ(r.ph_value, row.ph ? 77 : 0);
    EXPECT_EQ(r.heading_text, "12.0");
    EXPECT_EQ(r.reverse_heading_text, "");
    EXPECT_EQ(r.routeOption14, "R14");
    EXPECT_EQ(r.yaw_position.longitude, 2500000);
    EXPECT_EQ(r.yaw_position.latitude, 1500000);
    EXPECT_EQ(r.cli_param.coords_cut_for_yaw, row.reason == 0);
    EXPECT_EQ(r.reroute_yaw_heading_text, row.reroute ? "90.0" : "");
    EXPECT_EQ(r.reroute_yaw_position.longitude, row.reroute ? 2500000 : 0);
    EXPECT_EQ(r.reroute_yaw_position.latitude, row.reroute ? 1500000 : 0);
    EXPECT_EQ(r.reroute_ph_value, row.reroute ? 77 : -1);
    EXPECT_EQ(r.routeOption37, row.reroute ? 37 : -1);
    EXPECT_EQ(r.routeOption38, row.reroute ? 38 : -1);
    EXPECT_EQ(r.reroute_text, row.reroute ? "R14" : "");
    EXPECT_EQ(r.reroute_text_again, row.reroute ? "R14" : "");
    EXPECT_EQ(r.routeOption49, row.reroute ? std::vector<std::string>{"a"} : std::vector<std::string>{});
  }
}

std::string HeadingTextForReasonZero(float reason_angle) {
  DriveRouteReqParam p;
  p.reasonAngle = reason_angle;
  p.curHeading = 12.0f;
  p.subReason = 6;
  CarRouteReq r;
  GetCarRouteReq(r, p, ReqExtraParam());
  EXPECT_EQ(r.sub_reason, 6);
  return r.heading_text;
}

TEST(GetCarRouteReq, ReasonZeroReplacesTheHeadingWithAValidReasonAngle) {
  EXPECT_EQ(HeadingTextForReasonZero(359.5f), "359.500000");
  EXPECT_EQ(HeadingTextForReasonZero(0.0f), "0.000000");
  EXPECT_EQ(HeadingTextForReasonZero(90.0f), "90.000000");
  EXPECT_EQ(HeadingTextForReasonZero(359.99f), "359.989990");  // the float's stored value
  EXPECT_EQ(HeadingTextForReasonZero(-0.0f), "-0.000000");     // -0.0 is inside the circle
  // Outside [0, 360): the heading's own text stays.
  EXPECT_EQ(HeadingTextForReasonZero(360.0f), "12.0");
  EXPECT_EQ(HeadingTextForReasonZero(-0.5f), "12.0");
  EXPECT_EQ(HeadingTextForReasonZero(std::numeric_limits<float>::quiet_NaN()), "12.0");
  EXPECT_EQ(HeadingTextForReasonZero(std::numeric_limits<float>::infinity()), "12.0");
}

std::string ReverseHeading(float yaw_angle, std::int32_t sub_reason = 5) {
  DriveRouteReqParam p;
  p.reason = 2;
  p.subReason = sub_reason;
  p.yawAngle = yaw_angle;
  CarRouteReq r;
  GetCarRouteReq(r, p, ReqExtraParam());
  EXPECT_EQ(r.sub_reason, sub_reason);
  EXPECT_EQ(r.reroute_yaw_heading_text, "");  // no reroute extras for a hint
  return r.reverse_heading_text;
}

TEST(GetCarRouteReq, HintWithSubReasonFiveSendsTheReverseHeading) {
  EXPECT_EQ(ReverseHeading(270.0f), "90.000000");
  EXPECT_EQ(ReverseHeading(-200.0f), "340.000000");
  EXPECT_EQ(ReverseHeading(0.0f), "180.000000");
  EXPECT_EQ(ReverseHeading(180.0f), "0.000000");
  EXPECT_EQ(ReverseHeading(179.5f), "359.500000");
  EXPECT_EQ(ReverseHeading(-360.25f), "179.750000");
  // fmod(-360, 360) is -0.0, which is not negative.
  EXPECT_EQ(ReverseHeading(-540.0f), "-0.000000");
  // Added in float: 0.1f + 180 rounds to 180.100006 (180.100000 in double).
  EXPECT_EQ(ReverseHeading(0.1f), "180.100006");
  // 1e30f + 180 is 1e30f, exactly 1000000015047466219876688855040 = 120 mod 360.
  EXPECT_EQ(ReverseHeading(1e30f), "120.000000");
  EXPECT_EQ(ReverseHeading(std::numeric_limits<float>::infinity()), "nan");
  EXPECT_EQ(ReverseHeading(-std::numeric_limits<float>::infinity()), "nan");
  EXPECT_EQ(ReverseHeading(std::numeric_limits<float>::quiet_NaN()), "nan");
}

TEST(GetCarRouteReq, HintWithAnotherSubReasonHasNoReverseHeading) {
  EXPECT_EQ(ReverseHeading(270.0f, 4), "");
  EXPECT_EQ(ReverseHeading(270.0f, 0), "");
}

}  // namespace
