// The traffic refresh: per-route questions, spherical Mercator positions, the
// batch and its envelope.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/records/dynamicroute.h"
#include "navreq/records/routesearch.h"
#include "navreq/requests.h"
#include "support/capture.h"
#include "support/encoded.h"
#include "support/package.h"
#include "support/record_tables.h"
#include "support/search_fields.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::dynamicroute::AllOnRouteReq;
using navkse::dynamicroute::OnRouteReq;
using navkse::dynamicroute::TrafficTimeReq;
using navkse::routesearch::CarRouteReq;
using zv_navi_core::KSLocation;
using zv_navi_core::OneRouteTrafficReqParam;
using zv_navi_core::ReqExtraParam;
using zv_navi_core::RouteRefreshReqParam;
using zv_navi_core::SerializeKSE;
namespace drs = zv_navi_core::drive_route_req_serializer;

constexpr std::size_t kOverLimit = 104857601;  // one byte more than a string may hold

using navreq::testing::Encoded;

ReqExtraParam Extra() {
  ReqExtraParam e;
  e.imei = "IMEI1";
  e.identity_f = "F";
  e.api_key = "KEY";
  return e;
}

// Header of Extra(): tag 8 and (as the fallback) tag 22 the imei, tag 12
// identity_f, tag 14 "0"; every other field at its default.
std::string HeaderHex() {
  return navreq::testing::DefaultHeaderWith({{8, "IMEI1"}, {12, "F"}, {14, "0"}, {22, "IMEI1"}}, 0);
}

// Command 10102 (0x2776), the compressed flag (tag 4 = 3) and the plain body.
std::string PackageHex(const std::string& body_hex) {
  return navreq::testing::PackageHex(
      {10102, "CMD_TRAFFIC_ALL_ON_ROUTE_BATCH_SDK", 3, HeaderHex(), body_hex, "KEY"});
}

std::string OnRouteHex(std::int64_t id, int num_a, double x, double y, const std::string& p,
                       const std::string& s, int num_e, int num_f) {
  return tables::With(
      tables::DefaultOnRouteReq(),
      {Int(0, id), Int(1, num_a), Str(4, "T"), Str(5, "IMEI1"), Int(7, 1), Str(8, "F"), Str(9, "2.0"),
       Double(10, x), Double(11, y), Int(12, 1), Str(13, p), Str(14, s), Int(16, num_e), Int(17, num_f)});
}

std::string TrafficTimeHex(std::int64_t id, int num_b, int num_a, double x, double y, int value, int num_d,
                           int num_c, const std::string& p, const std::string& s) {
  return tables::With(tables::DefaultTrafficTimeReq(),
                      {Int(0, id), Int(1, num_b), Int(2, num_a), Double(3, x), Double(4, y), Int(5, value),
                       Int(6, num_d), Int(7, num_c), Str(8, p), Str(9, s)});
}

std::string DynamicHex(int value) { return tables::With(tables::DefaultDynamicReq(), {Int(25, value)}); }

std::string DefaultBucketHex() { return tables::DefaultGpsBucket(); }

std::string AllOnRouteHex(const std::string& on_route, const std::string& traffic_time, int value) {
  return Struct(0, Struct(0, on_route) + Struct(1, traffic_time) + Struct(2, DynamicHex(value)) +
                       Struct(3, DefaultBucketHex()) + Struct(4, tables::DefaultEnergyConsumeReq()));
}

std::string DefaultCarRouteHex() { return tables::DefaultCarRouteReq(); }

std::string RefreshHex(const std::string& car_hex, const std::string& controls_hex = Map(0, 0)) {
  return Struct(2, Struct(0, car_hex) + Struct(1, controls_hex) + List(2, 0));
}

// Route 1: "12abc" parses to 12; longitude 180 -> x 20037508, latitude 0 -> y 0.
OneRouteTrafficReqParam Route1() {
  OneRouteTrafficReqParam r;
  r.id_text = "12abc";
  r.num_a = 5;
  r.num_b = 6;
  r.latitude = 0.0;
  r.longitude = 180.0;
  r.num_c = 7;
  r.num_d = 8;
  r.num_e = 9;
  r.num_f = 10;
  return r;
}

// Route 2: "  -7" parses to -7; longitude -0.5 -> -55659.745... -> -55660;
// latitude 39.9 -> y 4851421 (see MercatorOfLatitude399).
OneRouteTrafficReqParam Route2() {
  OneRouteTrafficReqParam r;
  r.id_text = "  -7";
  r.num_a = -1000;
  r.num_b = 300;
  r.latitude = 39.9;
  r.longitude = -0.5;
  r.num_c = -2;
  r.num_d = 70000;
  r.num_e = 0;
  r.num_f = -1;
  return r;
}

RouteRefreshReqParam Param() {
  RouteRefreshReqParam p;
  p.primary_text = "P";
  p.third_text = "T";
  p.bucket_value = 3;
  p.bucket_number_text = "99";
  p.refresh_value = 4;
  p.request_number = -15;
  return p;
}

// ---- Spherical Mercator

TEST(RouteRefreshMercator, LongitudeOneEightyAndLatitudeZero) {
  OnRouteReq on;
  drs::GetOnRouteReq(on, Route1(), Param(), Extra());
  // 180 x 111319.49077777778 = 20037508.34 -> 20037508.
  EXPECT_EQ(on.mercator_x, 20037508.0);
  EXPECT_EQ(on.mercator_y, 0.0);
  // 20037508 = 2^24 + 0x31bf84: exponent 0x417, mantissa 0x31bf84 << 28.
  // clang-format off
  EXPECT_NE(Encoded(on).find("a541731bf840000000" "b50000000000000000"), std::string::npos);
  // clang-format on
}

TEST(RouteRefreshMercator, MercatorOfLatitude399) {
  // y = ln(tan((39.9 + 90) x 0.008726646259971648)) / 0.017453292519943295 x R
  //   (39.9 + 90) x pi/360 = 129.9 x 0.0087266462599716 = 1.13359134917031...
  //   tan(1.13359134917031) = 2.13963007533004...
  //   ln(2.13963007533004)  = 0.76063295209609...
  //   / 0.017453292519943295 = 43.5810579136830...
  //   x 111319.49077777778   = 4851421.17450803...  -> rounds to 4851421
  // 4851421 = 2^22 + 0xa06dd: exponent 0x415, mantissa 0xa06dd << 30.
  OnRouteReq on;
  drs::GetOnRouteReq(on, Route2(), Param(), Extra());
  EXPECT_EQ(on.mercator_y, 4851421.0);
  EXPECT_EQ(on.mercator_x, -55660.0);  // -0.5 x R = -55659.745...
  EXPECT_NE(Encoded(on).find("b5415281b740000000"), std::string::npos);
}

// Whole metres are rounded to a 64-bit integer (saturating, NaN 0) and then
// cut to their low 32 bits: far positions wrap around, they do not stick at
// the int32 limits. Each case gives the x and y bytes of both questions:
// head a5 / b5 (tags 10, 11 of OnRouteReq) and 35 / 45 (tags 3, 4 of
// TrafficTimeReq), then the big-endian double.
struct MercatorCase {
  double longitude;
  double latitude;
  const char* x_bits;
  const char* y_bits;
};

// OnRouteReq of Route1() and Param() with the given x and y bytes.
std::string OnRouteRoute1(const std::string& x_bits, const std::string& y_bits) {
  return Int(0, 12) + Int(1, 5) + Int(2, 0) + Int(3, 0) + Str(4, "T") + Str(5, "IMEI1") + Int(6, 0) +
         Int(7, 1) + Str(8, "F") + Str(9, "2.0") + "a5" + x_bits + "b5" + y_bits + Int(12, 1) + Str(13, "P") +
         Str(14, "P") + Int(15, 0) + Int(16, 9) + Int(17, 10);
}

// TrafficTimeReq of Route1() and Param(), value 2, with the given x and y bytes.
std::string TrafficTimeRoute1(const std::string& x_bits, const std::string& y_bits) {
  return Int(0, 12) + Int(1, 6) + Int(2, 5) + "35" + x_bits + "45" + y_bits + Int(5, 2) + Int(6, 8) +
         Int(7, 7) + Str(8, "P") + Str(9, "P") + Int(10, 0) + Int(11, 0);
}

TEST(RouteRefreshMercator, BeyondTheInt32RangeKeepsTheLow32BitsOfTheRoundedMetres) {
  const double nan = std::nan("");
  const double inf = std::numeric_limits<double>::infinity();
  const MercatorCase cases[] = {
      // 1e10 x R = 1113194907777777.9 -> 1113194907777778 = 0x3f471e30b3af2;
      // low 32 bits 0xe30b3af2 = -485803278 = -0x1cf4c50e = -1.cf4c50e x 2^28.
      {1e10, 0.0, "c1bcf4c50e000000", "0000000000000000"},
      // 123456789.123 x R = 13743146898231.855 -> 13743146898232 = 0xc7fd3639338;
      // low 32 bits 0xd3639338 = -748448968 = -0x2c9c6cc8 = -1.64e3664 x 2^29.
      {123456789.123, 0.0, "c1c64e3664000000", "0000000000000000"},
      // 1e300 x R saturates to INT64_MAX, whose low 32 bits are all ones: -1.
      {1e300, 0.0, "bff0000000000000", "0000000000000000"},
      // +infinity saturates to INT64_MAX too: -1.
      {inf, 0.0, "bff0000000000000", "0000000000000000"},
      // -1e300 and -infinity saturate to INT64_MIN, whose low 32 bits are 0.
      {-1e300, 0.0, "0000000000000000", "0000000000000000"},
      {-inf, 0.0, "0000000000000000", "0000000000000000"},
      // Latitude -90: tan(0) = 0, ln(0) = -infinity, so y is INT64_MIN: 0.
      {0.0, -90.0, "0000000000000000", "0000000000000000"},
      // NaN gives 0 (latitude 91: tan of an angle past 90 degrees is negative,
      // and its logarithm NaN).
      {nan, nan, "0000000000000000", "0000000000000000"},
      {0.0, 91.0, "0000000000000000", "0000000000000000"},
      // An infinite latitude: the tangent of infinity is NaN, so 0.
      {0.0, inf, "0000000000000000", "0000000000000000"},
      // -0.0 x R is -0.0, rounded to the integer 0: stored as +0.0.
      {-0.0, 0.0, "0000000000000000", "0000000000000000"},
      // Inside the int32 range nothing is cut: 180 x R = 20037508.34 ->
      // 20037508 = 0x131bf84 = 1.31bf84 x 2^24.
      {180.0, 0.0, "41731bf840000000", "0000000000000000"},
      // The last longitudes inside the int32 range and the first outside:
      // 19291.17383 x R = 2147483647.26 -> 2147483647 = 0x7fffffff (INT32_MAX);
      // 19291.17384 x R = 2147483648.37 -> 2^31, cut to INT32_MIN;
      // -19291.17384 x R = -2147483648.37 -> -2^31 = INT32_MIN, inside;
      // -19291.17385 x R = -2147483649.49 -> -2^31 - 1, cut to INT32_MAX.
      {19291.17383, 0.0, "41dfffffffc00000", "0000000000000000"},
      {19291.17384, 0.0, "c1e0000000000000", "0000000000000000"},
      {-19291.17384, 0.0, "c1e0000000000000", "0000000000000000"},
      {-19291.17385, 0.0, "41dfffffffc00000", "0000000000000000"},
  };
  for (const MercatorCase& c : cases) {
    SCOPED_TRACE(testing::Message() << "longitude " << c.longitude << ", latitude " << c.latitude);
    OneRouteTrafficReqParam r = Route1();
    r.longitude = c.longitude;
    r.latitude = c.latitude;
    OnRouteReq on;
    drs::GetOnRouteReq(on, r, Param(), Extra());
    EXPECT_EQ(Encoded(on), OnRouteRoute1(c.x_bits, c.y_bits));
    TrafficTimeReq t;
    drs::GetTrafficTimeReq(t, r, Param(), Extra(), 2);
    EXPECT_EQ(Encoded(t), TrafficTimeRoute1(c.x_bits, c.y_bits));
  }
}

// ---- Route identifiers

TEST(RouteRefreshId, ParsedLikeStoll) {
  OnRouteReq on;
  TrafficTimeReq t;
  OneRouteTrafficReqParam r = Route1();
  drs::GetOnRouteReq(on, r, Param(), Extra());
  drs::GetTrafficTimeReq(t, r, Param(), Extra(), 2);
  EXPECT_EQ(on.route_id, 12);
  EXPECT_EQ(t.route_id, 12);
  r.id_text = "  -7";
  drs::GetOnRouteReq(on, r, Param(), Extra());
  EXPECT_EQ(on.route_id, -7);
  r.id_text = "\t\n\v\f\r+42";
  drs::GetOnRouteReq(on, r, Param(), Extra());
  EXPECT_EQ(on.route_id, 42);
  r.id_text = "9223372036854775807";
  drs::GetTrafficTimeReq(t, r, Param(), Extra(), 2);
  EXPECT_EQ(t.route_id, INT64_MAX);
}

TEST(RouteRefreshId, BadTextThrowsOutOfTheRequestWithOutputUntouched) {
  RouteRefreshReqParam p = Param();
  p.routes = {Route1(), Route1()};
  std::vector<char> out{'o', 'l', 'd'};
  p.routes[1].id_text = "abc";
  EXPECT_THROW((void)drs::GetRouteRefreshReqData(p, Extra(), out), std::invalid_argument);
  EXPECT_EQ(Hex(out), "6f6c64");
  p.routes[1].id_text = "99999999999999999999";
  EXPECT_THROW((void)drs::GetRouteRefreshReqData(p, Extra(), out), std::out_of_range);
  EXPECT_EQ(Hex(out), "6f6c64");
}

// ---- Per-route builders

TEST(RouteRefreshBuilders, AllOnRouteSetsTheValueAndFillsBothQuestions) {
  RouteRefreshReqParam p = Param();
  p.secondary_text = "S";
  AllOnRouteReq all;
  drs::GetAllOnRouteReq(all, Route2(), p, Extra(), 123);
  EXPECT_EQ(Encoded(all),
            Struct(0, OnRouteHex(-7, -1000, -55660.0, 4851421.0, "P", "S", 0, -1)) +
                Struct(1, TrafficTimeHex(-7, 300, -1000, -55660.0, 4851421.0, 123, 70000, -2, "P", "S")) +
                Struct(2, DynamicHex(123)) + Struct(3, DefaultBucketHex()) +
                Struct(4, tables::DefaultEnergyConsumeReq()));
}

// ---- The whole request

TEST(RouteRefresh, NoRoutesStillBuildsTheRequest) {
  navreq::services::ScopedClock clock(1700000000000);
  navreq::testing::LogCapture log;
  RouteRefreshReqParam p = Param();
  p.request_number = 0;
  std::vector<char> out;
  ASSERT_EQ(drs::GetRouteRefreshReqData(p, Extra(), out), 0);
  const std::string body =
      "090c" + Struct(1, DefaultBucketHex()) + RefreshHex(DefaultCarRouteHex()) + Str(3, "0") + Str(4, "");
  EXPECT_EQ(Hex(out), PackageHex(body));
  // Only the envelope logs.
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0], "L0 E8 RoutePlus::RequestPlus imei=IMEI1");
}

TEST(RouteRefresh, OneRouteWithEmptySecondaryTextCarriesPrimaryTwice) {
  RouteRefreshReqParam p = Param();
  p.routes = {Route1()};
  std::vector<char> out;
  ASSERT_EQ(drs::GetRouteRefreshReqData(p, Extra(), out), 0);
  const std::string body = List(0, 1) +
                           AllOnRouteHex(OnRouteHex(12, 5, 20037508.0, 0.0, "P", "P", 9, 10),
                                         TrafficTimeHex(12, 6, 5, 20037508.0, 0.0, 4, 8, 7, "P", "P"), 4) +
                           Struct(1, DefaultBucketHex()) + RefreshHex(DefaultCarRouteHex()) + Str(3, "-15") +
                           Str(4, "");
  EXPECT_EQ(Hex(out), PackageHex(body));
}

TEST(RouteRefresh, TwoRoutesInOrderWithTheSameRefreshValue) {
  RouteRefreshReqParam p = Param();
  p.secondary_text = "S";
  p.routes = {Route2(), Route1()};
  p.fixes = {KSLocation()};
  p.fixes[0].longitude = 116.5;
  p.fixes[0].latitude = 39.75;
  p.fixes[0].timeSeconds = 1000;
  std::vector<char> out;
  ASSERT_EQ(drs::GetRouteRefreshReqData(p, Extra(), out), 0);
  // The batch's bucket: the fix in micro-degrees, value 3, number "99", the imei.
  const std::string bucket =
      Struct(0, Int(0, 116500000) + Int(1, 39750000) + Int(2, 0) + Int(3, 1000) + Int(4, 0) + Int(5, 3) +
                    Int(6, 99) + Str(7, "IMEI1") + Str(8, "") + Str(9, "") + Str(10, "")) +
      List(1, 1) + Struct(0, "0c1c2c3c4c5c6c7c8c9cacbc") + List(2, 0) + Int(3, 0);
  const std::string body =
      List(0, 2) +
      AllOnRouteHex(OnRouteHex(-7, -1000, -55660.0, 4851421.0, "P", "S", 0, -1),
                    TrafficTimeHex(-7, 300, -1000, -55660.0, 4851421.0, 4, 70000, -2, "P", "S"), 4) +
      AllOnRouteHex(OnRouteHex(12, 5, 20037508.0, 0.0, "P", "S", 9, 10),
                    TrafficTimeHex(12, 6, 5, 20037508.0, 0.0, 4, 8, 7, "P", "S"), 4) +
      Struct(1, bucket) + RefreshHex(DefaultCarRouteHex()) + Str(3, "-15") + Str(4, "");
  EXPECT_EQ(Hex(out), PackageHex(body));
}

TEST(RouteRefresh, DefaultCarRouteReqIsCompleteOnItsOwn) {
  // Independent look at the default route search record the refresh sends:
  // it opens with the start point, and tags 36 to 38 and 40 are -1 with 39
  // zero and 41 the float -1.0 (0xbf800000); tag 23 is -1.
  const std::string car = DefaultCarRouteHex();
  EXPECT_EQ(car.substr(0, 2), "0a");
  // clang-format off
  EXPECT_NE(car.find("f024ff" "f025ff" "f026ff" "fc27" "f028ff" "f429bf800000"), std::string::npos);
  // clang-format on
  EXPECT_NE(car.find("f017ff"), std::string::npos);
}

RouteRefreshReqParam WithSearch() {
  RouteRefreshReqParam p = Param();
  p.research_flag = true;
  p.route_param.start.latitude = 39.75;
  p.route_param.start.longitude = 116.5;
  p.route_param.destination.latitude = 31.25;
  p.route_param.destination.longitude = 121.5;
  p.route_param.trafficPref = 1;
  return p;
}

TEST(RouteRefresh, SearchIsIncludedOnlyWithFlagAndNoPendingRequest) {
  navreq::services::ScopedClock clock(1700000000000);
  const std::string tail = Str(3, "-15") + Str(4, "");
  const std::string head = "090c" + Struct(1, DefaultBucketHex());

  RouteRefreshReqParam off = WithSearch();
  off.research_flag = false;
  std::vector<char> out;
  ASSERT_EQ(drs::GetRouteRefreshReqData(off, Extra(), out), 0);
  EXPECT_EQ(Hex(out), PackageHex(head + RefreshHex(DefaultCarRouteHex()) + tail));

  RouteRefreshReqParam pending = WithSearch();
  pending.pending_list.resize(1);
  ASSERT_EQ(drs::GetRouteRefreshReqData(pending, Extra(), out), 0);
  EXPECT_EQ(Hex(out), PackageHex(head + RefreshHex(DefaultCarRouteHex()) + tail));

  // The route search of WithSearch(): its points in millionths of a degree
  // (start 116500000 / 39750000 = 0x06f1a620 / 0x025e8970), traffic on, the
  // device id, and what every search sets; a destination over 50 km away
  // with plan mode 0 keeps the guidance code 0.
  // clang-format off
  EXPECT_EQ(tables::PointAt(116500000, 39750000), "02" "06f1a620" "12" "025e8970" "2c");
  // clang-format on
  const std::string filled_hex = tables::CarRouteReqWith(tables::SearchFieldsWith({
      Struct(0, tables::PoiAt(116500000, 39750000)),
      Struct(1, tables::PoiAt(121500000, 31250000)),
      Int(5, 1),  // traffic preference
      Str(26, "&cond=0&noround=0&nohighway=0&notoll=0&traffic=1"),
      Str(45, "IMEI1"),
  }));
  const RouteRefreshReqParam on = WithSearch();
  ASSERT_EQ(drs::GetRouteRefreshReqData(on, Extra(), out), 0);
  EXPECT_EQ(Hex(out), PackageHex(head + RefreshHex(filled_hex) + tail));
}

TEST(RouteRefresh, ExplainControlsGoToTheCloudControlMap) {
  RouteRefreshReqParam p = Param();
  zv_navi_core::KSFollowExplainControl c;
  c.id0 = 1;
  c.id1 = 2;
  c.id2 = 3;
  c.id3 = 4;
  c.code4 = 5;
  c.text5 = "a";
  c.text6 = "b";
  c.texts7 = {"t"};
  c.road_links8 = {{6, "n"}};
  c.code9 = 9;
  p.explain_controls["k"] = c;
  std::vector<char> out;
  ASSERT_EQ(drs::GetRouteRefreshReqData(p, Extra(), out), 0);
  const std::string control = Int(0, 1) + Int(1, 2) + Int(2, 3) + Int(3, 4) + Int(4, 5) + Str(5, "a") +
                              Str(6, "b") + List(7, 1) + Str(0, "t") + List(8, 1) +
                              Struct(0, Int(0, 6) + Str(1, "n")) + Int(9, 9);
  const std::string body = "090c" + Struct(1, DefaultBucketHex()) +
                           RefreshHex(DefaultCarRouteHex(), Map(0, 1) + Str(0, "k") + Struct(1, control)) +
                           Str(3, "-15") + Str(4, "");
  EXPECT_EQ(Hex(out), PackageHex(body));
}

TEST(RouteRefresh, OversizedStringInTheBatchFailsWithOutputUntouched) {
  ReqExtraParam e = Extra();
  e.imei.assign(kOverLimit, 'i');  // reaches the batch only as the bucket's text
  RouteRefreshReqParam p = Param();
  p.fixes = {KSLocation()};
  std::vector<char> out{'o', 'l', 'd'};
  navreq::testing::StdoutCapture printed;
  navreq::testing::LogCapture log;
  EXPECT_EQ(drs::GetRouteRefreshReqData(p, e, out), 1);
  EXPECT_EQ(printed.text(), "");
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(Hex(out), "6f6c64");
}

TEST(RouteRefresh, EnvelopeFailureFailsWithOutputUntouched) {
  ReqExtraParam e = Extra();
  e.identity_d.assign(kOverLimit, 'd');  // only in the envelope's Header
  std::vector<char> out{'o', 'l', 'd'};
  navreq::testing::StdoutCapture printed;
  EXPECT_EQ(drs::GetRouteRefreshReqData(Param(), e, out), 1);
  EXPECT_EQ(printed.text(), "SerializeKSE_header_fail\n");
  EXPECT_EQ(Hex(out), "6f6c64");
}

}  // namespace
