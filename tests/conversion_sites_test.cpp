// Hostile engine values through the builders themselves: each wire field gets
// the conversion that docs/conversions.md gives it. The conversions alone are
// covered value by value in conversion_table_test.cpp; here a fix or truck
// made of NaN, infinities and the largest float shows that every site calls
// the right one (saturate, then keep the low bits where the field is narrow).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "navreq/records/common.h"
#include "navreq/records/location_report_dmq.h"
#include "navreq/records/routesearch.h"
#include "navreq/records/ugc_unit.h"
#include "navreq/requests.h"
#include "support/capture.h"
#include "support/encoded.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navreq::testing::Encoded;
using navreq::testing::LogCapture;
using zv_navi_core::DriveRouteReqParam;
using zv_navi_core::KSLocation;
using zv_navi_core::KSTruckParam;
using zv_navi_core::ReqExtraParam;
namespace drs = zv_navi_core::drive_route_req_serializer;

constexpr std::int64_t kMax = 2147483647;
constexpr std::int64_t kMin = -2147483647 - 1;
const float kInfF = std::numeric_limits<float>::infinity();
const double kInf = std::numeric_limits<double>::infinity();
const float kFloatMax = std::numeric_limits<float>::max();

KSLocation LocationFix(double lat, double lon, float speed, float scalar_a, float heading, float scalar_d,
                       std::int64_t seconds) {
  KSLocation f;
  f.latitude = lat;
  f.longitude = lon;
  f.speed = speed;
  f.scalarA = scalar_a;
  f.heading = heading;
  f.scalarD = scalar_d;
  f.timeSeconds = seconds;
  return f;
}

// F: all zero at 100 s. G at 101 s: longitude +inf (MAX micro-degrees),
// latitude NaN (0), speed -inf (x100: MIN, low 16 bits 0), scalarA the
// largest float (x10 overflows to +inf: MAX, low 16 bits -1), heading 1e10
// (MAX, low 16 bits -1), scalarD 1e30 (x10: MAX). H at 102 s: longitude -inf
// (MIN), latitude -1e300 (MIN), speed +inf (-1), scalarA -inf (0), heading
// -1e10 (MIN, low 16 bits 0), scalarD -inf (MIN).
std::vector<KSLocation> HostileFixes() {
  return {LocationFix(0, 0, 0, 0, 0, 0, 100),
          LocationFix(std::nan(""), kInf, -kInfF, kFloatMax, 1e10f, 1e30f, 101),
          LocationFix(-1e300, -kInf, kInfF, -kInfF, -1e10f, -kInfF, 102)};
}

std::string PointHex(std::int64_t d_lon, std::int64_t d_lat, std::int64_t d_scalar_d, std::int64_t heading,
                     std::int64_t speed, std::int64_t scalar_a, std::int64_t d_heading,
                     std::int64_t d_speed) {
  return Int(0, 1) + Int(1, d_lon) + Int(2, d_lat) + Int(3, d_scalar_d) + Int(4, heading) + Int(5, speed) +
         Int(6, scalar_a) + Int(7, 0) + Int(8, 0) + Int(9, 1000) + Int(10, 1000) + Int(11, 0) + Int(12, 0) +
         Int(13, d_heading) + Int(14, d_speed) + Int(15, 0) + Int(16, 0);
}

TEST(ConversionSites, LocationReportSaturatesThenKeepsSixteenBits) {
  navkse::locationReportDMQ::LocationReportRequest report;
  drs::GetLocationReportRequest(report, HostileFixes(), 5, 6);
  // Header: the first fix, all zero; 100 s is 100000 ms.
  EXPECT_EQ(report.header.longitude, 0);
  EXPECT_EQ(report.header.time_ms, 100000);
  ASSERT_EQ(report.points.size(), 2u);
  // G against F: MAX - 0 = 0x7fffffff, low 16 bits -1; heading -1 - 0.
  EXPECT_EQ(Encoded(report.points[0]), PointHex(-1, 0, -1, -1, 0, -1, -1, 0));
  // H against G: MIN - MAX = 1 (mod 2^32); MIN - 0 = 0x80000000, low 16 bits
  // 0; heading 0 - (-1) = 1; speed -1 - 0 = -1.
  EXPECT_EQ(Encoded(report.points[1]), PointHex(1, 0, 1, 0, -1, 0, 1, -1));
}

std::string SpotHex(std::int64_t d_lon, std::int64_t d_lat, std::int64_t heading, std::int64_t d_time,
                    std::int64_t speed, std::int64_t scalar_a, std::int64_t d_scalar_d) {
  return Int(0, d_lon) + Int(1, d_lat) + Int(2, heading) + Int(3, d_time) + Int(4, speed) + Int(5, scalar_a) +
         Int(6, d_scalar_d) + Int(7, 0) + Int(8, 0) + Int(9, 0) + Int(10, 0) + Int(11, 0);
}

TEST(ConversionSites, TrajectoryBucketSaturatesThenWraps) {
  std::vector<KSLocation> fixes = HostileFixes();
  // 2^32 + 100 s does not fit 32 bits upward: left out, H stays the reference.
  fixes.push_back(LocationFix(1.0, 1.0, 1.0f, 1.0f, 1.0f, 1.0f, 4294967396));
  navkse::ugcUnit::gpsBucket bucket;
  drs::GetGPSBuket(bucket, "", "T", 0, fixes);
  EXPECT_EQ(Encoded(bucket.head), Int(0, 0) + Int(1, 0) + Int(2, 0) + Int(3, 100) + Int(4, 0) + Int(5, 0) +
                                      Int(6, 0) + Str(7, "T") + Str(8, "") + Str(9, "") + Str(10, ""));
  ASSERT_EQ(bucket.spots.size(), 3u);
  EXPECT_EQ(Encoded(bucket.spots[0]), SpotHex(0, 0, 0, 0, 0, 0, 0));
  // G against F: the 32-bit differences keep MAX; scalarD's is cut to 16 bits.
  EXPECT_EQ(Encoded(bucket.spots[1]), SpotHex(kMax, 0, -1, 1, 0, -1, -1));
  // H against G: MIN - MAX = 1, MIN - 0 = MIN.
  EXPECT_EQ(Encoded(bucket.spots[2]), SpotHex(1, kMin, 0, 1, -1, 0, 1));
}

TEST(ConversionSites, TruckMeasuresSaturate) {
  KSTruckParam truck;
  truck.truckMeasureB = kInfF;
  truck.truckMeasureA = std::numeric_limits<float>::quiet_NaN();
  truck.truckMeasureF = -kInfF;
  truck.truckMeasureE = kFloatMax;  // x 1000 overflows float: +inf
  truck.truckMeasureC = -0.0f;
  truck.truckMeasureD = 2147483.75f;  // x 1000 = 2147483750, past INT32_MAX
  navkse::routesearch::CarRouteReq request;
  drs::GetTruckParam(request, truck);
  EXPECT_EQ(Encoded(request.truck_params), Int(0, kMin) + Int(1, kMax) + Int(2, 0) + Int(3, kMax) +
                                               Int(4, 0) + Int(5, kMax) + Int(6, 0) + Int(7, 0) + Int(8, 0) +
                                               Int(9, 0) + Int(10, 0) + Int(11, 0) + Int(12, 0) + Int(13, 0));
}

TEST(ConversionSites, YawPositionsAndStatusMeasureSaturate) {
  LogCapture log;
  DriveRouteReqParam param;
  param.reason = -1;  // a route refresh also writes the reroute yaw position
  param.yawLatitude = std::nan("");
  param.yawLongitude = -kInf;
  param.curScalarA = kInfF;
  param.curSpeed = 1.0f;
  navkse::routesearch::CarRouteReq request;
  drs::GetCarRouteReq(request, param, ReqExtraParam());
  const std::string point = Int(0, kMin) + Int(1, 0) + Int(2, 0);
  EXPECT_EQ(Encoded(request.yaw_position), point);
  EXPECT_EQ(Encoded(request.reroute_yaw_position), point);
  EXPECT_EQ(request.status_text, "2147483647$$$$1.0");

  param.curScalarA = std::numeric_limits<float>::quiet_NaN();  // 0, then the floor: 4
  navkse::routesearch::CarRouteReq again;
  drs::GetCarRouteReq(again, param, ReqExtraParam());
  EXPECT_EQ(again.status_text, "4$$$$1.0");
}

}  // namespace
