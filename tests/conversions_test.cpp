// Search points, fixes and limit areas into wire records; the heading text.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "navreq/records/common.h"
#include "navreq/records/routesearch.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "support/capture.h"
#include "support/encoded.h"
#include "support/fixes.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::common::Gps;
using navkse::common::SimplePOIRequestInfo;
using navkse::routesearch::CarRouteReq;
using navkse::routesearch::LimitArea;
using navreq::testing::LogCapture;
using zv_navi_core::KSLatLon;
using zv_navi_core::KSLocation;
using zv_navi_core::SerializeKSE;
using zv_navi_core::drive_route_req_serializer::AngleToStr;
using zv_navi_core::drive_route_req_serializer::ConvertLocationsToCommGPS;
using zv_navi_core::drive_route_req_serializer::ConvertLocationToCommGPS;
using zv_navi_core::drive_route_req_serializer::GetLimitAreaList;
using zv_navi_core::drive_route_req_serializer::GetViaPoints;
using zv_navi_core::route_req_serializer::GetSimplePOIRequestInfo;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr float kInfF = std::numeric_limits<float>::infinity();
constexpr std::int32_t kMax = 2147483647;
constexpr std::int32_t kMin = -2147483647 - 1;

using navreq::testing::Encoded;

// A Gps record spelled field by field; tags 8..10, 13..19 at their defaults
// unless given.
std::string GpsHex(std::int64_t lon, std::int64_t lat, std::int64_t c, std::int64_t heading, std::int64_t a,
                   std::int64_t kmh, std::int64_t time, std::int64_t int_a, std::int64_t int_b,
                   std::int64_t src) {
  return Int(0, lon) + Int(1, lat) + Int(2, c) + Int(3, heading) + Int(4, a) + Int(5, kmh) + Int(6, time) +
         Int(7, int_a) + Int(8, 0) + Int(9, 0) + Int(10, 0) + Int(11, int_b) + Int(12, src) + Int(13, 0) +
         Int(14, 0) + Int(15, 2) + Int(16, 2) + Int(17, 0) + Int(18, 2) + Int(19, -1);
}

std::string PointHex(std::int64_t lon, std::int64_t lat) { return Int(0, lon) + Int(1, lat) + Int(2, 0); }

// A SimplePOIRequestInfo with its defaults around the converted fields.
std::string PoiHex(std::int64_t lon, std::int64_t lat, const std::string& primary,
                   const std::string& secondary, std::int64_t type) {
  return Struct(0, PointHex(lon, lat)) + Str(1, primary) + Str(2, "") + Str(3, secondary) + Int(4, type) +
         Str(5, "") + Str(6, "") + Str(7, "") + Int(8, -1) + Bool(9, false) + Struct(10, PointHex(lon, lat)) +
         Str(11, "") + Str(12, "") + Int(13, 0) + Int(14, 85) + Str(15, "") + Int(16, 0) + Str(17, "") +
         Int(18, -1) + List(19, 0) + Struct(20, PointHex(0, 0)) + Int(21, 0) + Bool(22, false) + Int(23, 0);
}

using navreq::testing::Fix;
using navreq::testing::SearchPoint;

// ---- ConvertLocationToCommGPS ----

TEST(ConvertLocationToCommGPS, ConvertsEveryFieldAndLogsTheSourceType) {
  Gps gps;
  LogCapture log;
  ConvertLocationToCommGPS(gps,
                           Fix(39.9999999, -116.5, 10.0f, 0.0015f, 359.9f, -7.9f, 1700000000, 11, -12, 3));
  // Truncation, not rounding: 39999999.9 -> 39999999. 10 m/s -> 36 km/h.
  // 0.0015 x 1000 in float is 1.5 -> 1. 359.9 -> 359, -7.9 -> -7.
  EXPECT_EQ(Encoded(gps), GpsHex(-116500000, 39999999, -7, 359, 1, 36, 1700000000, 11, -12, 3));
  // The first two fields spelled out: head type 2 and four big-endian bytes.
  EXPECT_EQ(Encoded(gps).substr(0, 20), "02f90e59e012026259ff");
}

TEST(ConvertLocationToCommGPS, LeavesTheOtherFieldsOfTheTarget) {
  Gps gps;
  gps.longitude = 123;
  gps.field8 = 5;
  gps.field13 = 6;
  gps.field15 = 9;
  gps.field19 = 7;
  ConvertLocationToCommGPS(gps, Fix(0.5, 0.25, 0.0f, 0.0f, 0.0f, 0.0f, 0, 0, 0, 0));
  EXPECT_EQ(Encoded(gps), Int(0, 250000) + Int(1, 500000) + Int(2, 0) + Int(3, 0) + Int(4, 0) + Int(5, 0) +
                              Int(6, 0) + Int(7, 0) + Int(8, 5) + Int(9, 0) + Int(10, 0) + Int(11, 0) +
                              Int(12, 0) + Int(13, 6) + Int(14, 0) + Int(15, 9) + Int(16, 2) + Int(17, 0) +
                              Int(18, 2) + Int(19, 7));
}

TEST(ConvertLocationToCommGPS, SpeedIsConvertedInDoublePrecision) {
  Gps gps;
  ConvertLocationToCommGPS(gps, Fix(0, 0, 0.27f, 0, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(gps.speed_kmh, 0);  // 0.972 km/h
  // 2.5 x 3.6 is 9.0000000000000002 in double; with the float constant 3.6f
  // (3.59999990...) the product would be 8.99999976 and truncate to 8.
  ConvertLocationToCommGPS(gps, Fix(0, 0, 2.5f, 0, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(gps.speed_kmh, 9);
  ConvertLocationToCommGPS(gps, Fix(0, 0, -10.0f, 0, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(gps.speed_kmh, -36);
}

TEST(ConvertLocationToCommGPS, ScalarAProductIsFormedInSinglePrecision) {
  Gps gps;
  // 2.3f is 2.29999995...; x 1000 rounds to exactly 2300 in float (2299 in double).
  ConvertLocationToCommGPS(gps, Fix(0, 0, 0, 2.3f, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(gps.scalarA_x1000, 2300);
  ConvertLocationToCommGPS(gps, Fix(0, 0, 0, 0.0015f, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(gps.scalarA_x1000, 1);
  ConvertLocationToCommGPS(gps, Fix(0, 0, 0, -0.0015f, -0.9f, -0.9f, 0, 0, 0, 0));
  EXPECT_EQ(gps.scalarA_x1000, -1);
  EXPECT_EQ(gps.heading, 0);
  EXPECT_EQ(gps.scalarC, 0);
}

TEST(ConvertLocationToCommGPS, NonFiniteAndHugeValuesSaturate) {
  const float nan_f = std::numeric_limits<float>::quiet_NaN();
  Gps gps;
  ConvertLocationToCommGPS(gps, Fix(std::nan(""), kInf, nan_f, 1e30f, -kInfF, kInfF, 5000000000, 0, 0, 0));
  EXPECT_EQ(Encoded(gps), GpsHex(kMax, 0, kMax, kMin, kMax, 0, 5000000000, 0, 0, 0));
  ConvertLocationToCommGPS(gps, Fix(1e300, -1e300, kInfF, -3e38f, nan_f, -1e20f, 0, 0, 0, 0));
  // -3e38 x 1000 overflows float to -infinity.
  EXPECT_EQ(Encoded(gps), GpsHex(kMin, kMax, kMin, 0, kMin, kMax, 0, 0, 0, 0));
  ConvertLocationToCommGPS(gps, Fix(-kInf, 3000.0, -kInfF, 0, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(gps.latitude, kMin);
  EXPECT_EQ(gps.longitude, kMax);  // 3e9 micro-degrees
  EXPECT_EQ(gps.speed_kmh, kMin);
  ConvertLocationToCommGPS(gps, Fix(0, 0, 1e30f, 0, 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(gps.speed_kmh, kMax);
}

// ---- ConvertLocationsToCommGPS ----

TEST(ConvertLocationsToCommGPS, EmptyListAppendsAndLogsNothing) {
  std::vector<Gps> target(1);
  target[0].field8 = 4;
  LogCapture log;
  ConvertLocationsToCommGPS(target, {});
  ASSERT_EQ(target.size(), 1u);
  EXPECT_EQ(target[0].field8, 4);
  EXPECT_TRUE(log.lines().empty());
}

TEST(ConvertLocationsToCommGPS, ThreeFixesAppendThreeFreshRecordsAndLogThreeLines) {
  std::vector<Gps> target(1);
  target[0].field8 = 4;
  LogCapture log;
  ConvertLocationsToCommGPS(
      target, {Fix(1.0, 2.0, 10.0f, 2.3f, 90.5f, 3.5f, 100, 1, 2, 7),
               Fix(-0.5, -1.25, 2.5f, 0, 45, 0, 0, 0, 0, -1), Fix(0.25, 0.125, 0, 0, 0, 0, 1, 0, 0, 300)});
  ASSERT_EQ(target.size(), 4u);
  EXPECT_EQ(target[0].field8, 4);  // not cleared
  std::vector<Gps> appended(target.begin() + 1, target.end());
  struct Holder : navcore::ryn::KseStructBase {
    std::vector<Gps> list;
    void writeTo(navcore::ryn::KseOutputStream<navcore::ryn::BufferWriter>& os) const { os.write(list, 0); }
  } holder;
  holder.list = appended;
  EXPECT_EQ(Encoded(holder), List(0, 3) + Struct(0, GpsHex(2000000, 1000000, 3, 90, 2300, 36, 100, 1, 2, 7)) +
                                 Struct(0, GpsHex(-1250000, -500000, 0, 45, 0, 9, 0, 0, 0, -1)) +
                                 Struct(0, GpsHex(125000, 250000, 0, 0, 0, 0, 1, 0, 0, 300)));
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"L0 E8 RoutePlus::RequestPlus src_type=7",
                                                   "L0 E8 RoutePlus::RequestPlus src_type=-1",
                                                   "L0 E8 RoutePlus::RequestPlus src_type=300"}));
}

// ---- GetSimplePOIRequestInfo ----

TEST(GetSimplePOIRequestInfo, FillsBothPointsTextsAndType) {
  SimplePOIRequestInfo info;
  GetSimplePOIRequestInfo(info, SearchPoint(39.9999999, -116.5, "\xe5\x8c\x97 gate", "sec", 7));
  EXPECT_EQ(Encoded(info), PoiHex(-116500000, 39999999, "\xe5\x8c\x97 gate", "sec", 7));
}

TEST(GetSimplePOIRequestInfo, ChangesNothingElse) {
  SimplePOIRequestInfo info;
  info.field8 = 3;
  info.field20.longitude = 9;
  info.point.field2 = 5;
  info.field5 = "keep";
  GetSimplePOIRequestInfo(info, SearchPoint(0.5, 1.5, "", "", 0));
  EXPECT_EQ(Encoded(info), Struct(0, Int(0, 1500000) + Int(1, 500000) + Int(2, 5)) + Str(1, "") + Str(2, "") +
                               Str(3, "") + Int(4, 0) + Str(5, "keep") + Str(6, "") + Str(7, "") + Int(8, 3) +
                               Bool(9, false) + Struct(10, PointHex(1500000, 500000)) + Str(11, "") +
                               Str(12, "") + Int(13, 0) + Int(14, 85) + Str(15, "") + Int(16, 0) +
                               Str(17, "") + Int(18, -1) + List(19, 0) + Struct(20, PointHex(9, 0)) +
                               Int(21, 0) + Bool(22, false) + Int(23, 0));
}

TEST(GetSimplePOIRequestInfo, NonFiniteCoordinatesSaturate) {
  SimplePOIRequestInfo info;
  GetSimplePOIRequestInfo(info, SearchPoint(std::nan(""), -kInf, "", "", 0));
  EXPECT_EQ(info.point.longitude, kMin);
  EXPECT_EQ(info.point.latitude, 0);
  EXPECT_EQ(info.point_again.longitude, kMin);
  EXPECT_EQ(info.point_again.latitude, 0);
}

// ---- GetViaPoints ----

TEST(GetViaPoints, EmptyListLeavesBothListsUntouched) {
  CarRouteReq request;
  request.via_points.resize(1);
  request.viaPointFlags.push_back(1);
  GetViaPoints(request, {});
  EXPECT_EQ(request.via_points.size(), 1u);
  EXPECT_EQ(request.viaPointFlags, std::vector<char>{1});
}

TEST(GetViaPoints, AppendsOnePointAndOneZeroFlagPerViaPoint) {
  CarRouteReq request;
  request.via_points.resize(1);
  request.viaPointFlags.push_back(1);
  GetViaPoints(request, {SearchPoint(1.5, 2.5, "V1", "v1", 3), SearchPoint(-1.5, -2.5, "V2", "", 0)});
  ASSERT_EQ(request.via_points.size(), 3u);
  EXPECT_EQ(request.viaPointFlags, (std::vector<char>{1, 0, 0}));
  EXPECT_EQ(Encoded(request.via_points[0]), PoiHex(0, 0, "", "", 0));
  EXPECT_EQ(Encoded(request.via_points[1]), PoiHex(2500000, 1500000, "V1", "v1", 3));
  EXPECT_EQ(Encoded(request.via_points[2]), PoiHex(-2500000, -1500000, "V2", "", 0));
}

// ---- GetLimitAreaList ----

TEST(GetLimitAreaList, OneEmptyPolygonGivesOneAreaWithoutVertices) {
  std::vector<LimitArea> areas;
  GetLimitAreaList(areas, {{}});
  ASSERT_EQ(areas.size(), 1u);
  EXPECT_EQ(Encoded(areas[0]), List(0, 0));
}

TEST(GetLimitAreaList, VerticesAreLongitudeFirstMicroDegreesAndAreasAppend) {
  std::vector<LimitArea> areas(1);
  KSLatLon a;
  a.latitude = 30.5;
  a.longitude = 120.25;
  KSLatLon b;
  b.latitude = -0.75;
  b.longitude = -179.5;
  GetLimitAreaList(areas, {{a, b}, {}});
  ASSERT_EQ(areas.size(), 3u);
  EXPECT_EQ(Encoded(areas[0]), List(0, 0));
  EXPECT_EQ(Encoded(areas[1]),
            List(0, 2) + Struct(0, PointHex(120250000, 30500000)) + Struct(0, PointHex(-179500000, -750000)));
  EXPECT_EQ(Encoded(areas[2]), List(0, 0));
  // List of two, a struct, then 120250000 = 0x072ADE90: head type 2 and
  // four big-endian bytes.
  EXPECT_EQ(Encoded(areas[1]).substr(0, 18), "0900020a02072ade90");
}

// ---- AngleToStr ----

TEST(AngleToStr, OutsideTheCircleOrNotANumberIsMinusOne) {
  EXPECT_EQ(AngleToStr(-0.5f), "-1");
  EXPECT_EQ(AngleToStr(-1.0f), "-1");
  EXPECT_EQ(AngleToStr(360.0f), "-1");
  EXPECT_EQ(AngleToStr(1e30f), "-1");
  EXPECT_EQ(AngleToStr(std::numeric_limits<float>::quiet_NaN()), "-1");
  EXPECT_EQ(AngleToStr(kInfF), "-1");
  EXPECT_EQ(AngleToStr(-kInfF), "-1");
}

TEST(AngleToStr, OneDecimalOfTheStoredValue) {
  EXPECT_EQ(AngleToStr(0.0f), "0.0");
  EXPECT_EQ(AngleToStr(-0.0f), "-0.0");  // -0.0 is not below 0
  EXPECT_EQ(AngleToStr(45.0f), "45.0");
  EXPECT_EQ(AngleToStr(90.25f), "90.2");  // exact tie, to even
  EXPECT_EQ(AngleToStr(0.25f), "0.2");
  EXPECT_EQ(AngleToStr(0.35f), "0.3");  // stored as 0.3499999940...
  EXPECT_EQ(AngleToStr(0.05f), "0.1");  // stored as 0.0500000007...
  EXPECT_EQ(AngleToStr(359.94f), "359.9");
  EXPECT_EQ(AngleToStr(359.97f), "360.0");
  EXPECT_EQ(AngleToStr(359.99f), "360.0");
  EXPECT_EQ(AngleToStr(1e-30f), "0.0");
}

}  // namespace
