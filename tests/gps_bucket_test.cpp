// The trajectory bucket: head fix, 32-bit coordinate differences and 8-bit
// second differences.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "navreq/records/ugc_unit.h"
#include "navreq/requests.h"
#include "support/fixes.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::ugcUnit::gpsBucket;
using zv_navi_core::KSLocation;
using zv_navi_core::SerializeKSE;
using zv_navi_core::drive_route_req_serializer::GetGPSBuket;

using navreq::testing::LonLatFix;

std::string Encoded(const gpsBucket& b) {
  std::vector<char> out;
  EXPECT_TRUE(SerializeKSE(b, out));
  return Hex(out);
}

std::string HeadHex(int lon, int lat, int sd, std::int64_t t, int value, std::int64_t number,
                    const std::string& text) {
  return Struct(0, Int(0, lon) + Int(1, lat) + Int(2, sd) + Int(3, t) + Int(4, 0) + Int(5, value) +
                       Int(6, number) + Str(7, text) + Str(8, "") + Str(9, "") + Str(10, ""));
}

std::string SpotHex(std::int64_t d_lon, std::int64_t d_lat, int heading, int d_t, int speed, int scalar_a,
                    int d_sd) {
  return Struct(0, Int(0, d_lon) + Int(1, d_lat) + Int(2, heading) + Int(3, d_t) + Int(4, speed) +
                       Int(5, scalar_a) + Int(6, d_sd) + Int(7, 0) + Int(8, 0) + Int(9, 0) + Int(10, 0) +
                       Int(11, 0));
}

std::string BucketHex(const std::string& head, const std::vector<std::string>& spots) {
  std::string out = head + List(1, static_cast<std::int64_t>(spots.size()));
  for (const auto& s : spots) out += s;
  return out + List(2, 0) + Int(3, 0);
}

TEST(GpsBucket, FirstSpotIsTheHeadFixThenDifferences) {
  // G0: 116.5 deg -> 116500000, 39.75 deg -> 39750000, heading 90, speed 0.29f*100.0f = 29.0f in
  //     single precision, scalarA 0.7f*10.0f = 7.0f, scalarD 1.5f*10 = 15, 1000 s.
  // G1: +0.04 deg = +40000 (32 bits: no wrap), 39.7501 -> +100, heading -10.5f -> -10, 300 s later
  //     kept to 8 bits = 44, speed 12.5f -> 1250, scalarA 2.5f -> 25, scalarD 2.0f -> 20, +5.
  // G2: 2147483648 s does not fit int32: left out, G1 stays the reference.
  // G3: back by 40000 and 100, all measures 0 (scalarD 0 - 20 = -20), 1500 - 1300 = 200 -> int8 -56.
  // G4: 1244 - 1500 = -256 -> low 8 bits 0 (a zero head). G5: 1100 - 1244 = -144 -> 112.
  // Decreasing times are kept: only the fit is checked.
  KSLocation g0 = LonLatFix(116.5, 39.75, 1000);
  g0.heading = 90.0f;
  g0.speed = 0.29f;
  g0.scalarA = 0.7f;
  g0.scalarD = 1.5f;
  KSLocation g1 = LonLatFix(116.54, 39.7501, 1300);
  g1.heading = -10.5f;
  g1.speed = 12.5f;
  g1.scalarA = 2.5f;
  g1.scalarD = 2.0f;
  KSLocation g2 = LonLatFix(0.0, 0.0, 2147483648);
  g2.scalarD = 100.0f;
  const KSLocation g3 = LonLatFix(116.5, 39.75, 1500);
  const KSLocation g4 = LonLatFix(116.5, 39.75, 1244);
  const KSLocation g5 = LonLatFix(116.5, 39.75, 1100);

  gpsBucket b;
  GetGPSBuket(b, "123456789012", "IMEI1", -3, {g0, g1, g2, g3, g4, g5});
  ASSERT_EQ(b.spots.size(), 5u);
  EXPECT_EQ(b.spots[1].d_time_s, 44);
  EXPECT_EQ(b.spots[2].d_time_s, -56);
  EXPECT_EQ(Encoded(b), BucketHex(HeadHex(116500000, 39750000, 15, 1000, -3, 123456789012, "IMEI1"),
                                  {SpotHex(0, 0, 90, 0, 29, 7, 0), SpotHex(40000, 100, -10, 44, 1250, 25, 5),
                                   SpotHex(-40000, -100, 0, -56, 0, 0, -20), SpotHex(0, 0, 0, 0, 0, 0, 0),
                                   SpotHex(0, 0, 0, 112, 0, 0, 0)}));
  // Spelled out by hand for the two 8-bit differences: 44 = 0x2c, 200 = 0xc8.
  // clang-format off
  const std::string second_spot = "0a" "0200009c40" "1064" "20f6" "302c" "4104e2" "5019" "6005";
  EXPECT_NE(Encoded(b).find(second_spot), std::string::npos);
  EXPECT_NE(Encoded(b).find("2c" "30c8" "4c"), std::string::npos);
  // clang-format on
}

TEST(GpsBucket, EmptyFixListLeavesTargetUntouched) {
  gpsBucket b;
  b.head.text = "keep";
  b.head.number = 77;
  GetGPSBuket(b, "5", "other", 9, {});
  EXPECT_EQ(Encoded(b), BucketHex(HeadHex(0, 0, 0, 0, 0, 77, "keep"), {}));
}

TEST(GpsBucket, EmptyNumberTextKeepsTagSix) {
  gpsBucket b;
  b.head.number = 77;
  GetGPSBuket(b, "", "t", 1, {LonLatFix(0, 0, 5)});
  EXPECT_EQ(Encoded(b), BucketHex(HeadHex(0, 0, 0, 5, 1, 77, "t"), {SpotHex(0, 0, 0, 0, 0, 0, 0)}));
}

TEST(GpsBucket, NumberTextIsParsedLikeStoll) {
  gpsBucket b;
  GetGPSBuket(b, " -12x", "t", 1, {LonLatFix(0, 0, 5)});
  EXPECT_EQ(b.head.number, -12);
  gpsBucket bad;
  EXPECT_THROW(GetGPSBuket(bad, "abc", "t", 1, {LonLatFix(0, 0, 5)}), std::invalid_argument);
  gpsBucket huge;
  EXPECT_THROW(GetGPSBuket(huge, "99999999999999999999", "t", 1, {LonLatFix(0, 0, 5)}), std::out_of_range);
}

TEST(GpsBucket, TimesThatDoNotFitUpwardAreSkipped) {
  // 2147483647 fits; 2147483648 does not; -2147483649 cut to 32 bits is
  // 2147483647, larger than the value, so it counts as fitting and is kept:
  // -2147483649 - 2147483647 = -4294967296, low 8 bits 0.
  gpsBucket b;
  GetGPSBuket(b, "", "", 0,
              {LonLatFix(0, 0, 2147483647), LonLatFix(0, 0, 2147483648), LonLatFix(0, 0, -2147483649LL)});
  EXPECT_EQ(Encoded(b), BucketHex(HeadHex(0, 0, 0, 2147483647, 0, 0, ""),
                                  {SpotHex(0, 0, 0, 0, 0, 0, 0), SpotHex(0, 0, 0, 0, 0, 0, 0)}));
}

TEST(GpsBucket, HeadFixThatDoesNotFitStaysTheReference) {
  // 4294967301 s: the head keeps its low 32 bits (5); the fix itself is left
  // out, so the first spot is the next fix, 10 - 4294967301 -> low 8 bits 5,
  // 0.001 deg -> 1000 micro-degrees from the head.
  gpsBucket b;
  GetGPSBuket(b, "", "", 0, {LonLatFix(0, 0, 4294967301LL), LonLatFix(0.001, 0, 10)});
  EXPECT_EQ(Encoded(b), BucketHex(HeadHex(0, 0, 0, 5, 0, 0, ""), {SpotHex(1000, 0, 0, 5, 0, 0, 0)}));
}

TEST(GpsBucket, SixteenBitFieldsWrap) {
  // heading 40000 -> int16 -25536; speed 400 m/s x 100 = 40000 -> -25536;
  // scalarA 3276.8 x 10 = 32768 -> -32768; NaN heading -> 0.
  KSLocation f = LonLatFix(0, 0, 1);
  f.heading = 40000.0f;
  f.speed = 400.0f;
  f.scalarA = 3276.8f;
  KSLocation g = LonLatFix(0, 0, 2);
  g.heading = std::numeric_limits<float>::quiet_NaN();
  gpsBucket b;
  GetGPSBuket(b, "", "", 0, {f, g});
  ASSERT_EQ(b.spots.size(), 2u);
  EXPECT_EQ(Encoded(b), BucketHex(HeadHex(0, 0, 0, 1, 0, 0, ""), {SpotHex(0, 0, -25536, 0, -25536, -32768, 0),
                                                                  SpotHex(0, 0, 0, 1, 0, 0, 0)}));
}

TEST(GpsBucket, AllDefaultSpotAndStatusListAlwaysWritten) {
  gpsBucket b;
  GetGPSBuket(b, "", "", 0, {LonLatFix(0, 0, 0)});
  // Head, one all-zero spot, the empty gpsStatus list (0x29 0x0c) and the flag.
  // clang-format off
  EXPECT_EQ(Encoded(b), "0a" "0c1c2c3c4c5c6c" "7600" "8600" "9600" "a600" "0b"
                        "190001" "0a" "0c1c2c3c4c5c6c7c8c9cacbc" "0b"
                        "290c" "3c");
  // clang-format on
}

}  // namespace
