// The three conversion rules: truncate and saturate, round and saturate, keep
// the low bits.
#include "navreq/numeric.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using navreq::RoundToInt64;
using navreq::TruncToInt32;
using navreq::WrapTo;

TEST(TruncToInt32, TruncatesTowardZero) {
  EXPECT_EQ(TruncToInt32(39.9999999 * 1000000.0), 39999999);
  EXPECT_EQ(TruncToInt32(-116.5 * 1000000.0), -116500000);
  EXPECT_EQ(TruncToInt32(-0.9), 0);
  EXPECT_EQ(TruncToInt32(0.9), 0);
  EXPECT_EQ(TruncToInt32(-0.0), 0);
  EXPECT_EQ(TruncToInt32(std::numeric_limits<double>::denorm_min()), 0);
  EXPECT_EQ(TruncToInt32(2147483647.9), 2147483647);
  EXPECT_EQ(TruncToInt32(-2147483648.9), -2147483647 - 1);
}

TEST(TruncToInt32, SaturatesLikeTheArmConversion) {
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(TruncToInt32(std::nan("")), 0);
  EXPECT_EQ(TruncToInt32(-std::nan("")), 0);
  EXPECT_EQ(TruncToInt32(inf), 2147483647);
  EXPECT_EQ(TruncToInt32(-inf), -2147483647 - 1);
  EXPECT_EQ(TruncToInt32(2147483648.0), 2147483647);
  EXPECT_EQ(TruncToInt32(1e300), 2147483647);
  EXPECT_EQ(TruncToInt32(-2147483649.0), -2147483647 - 1);
  EXPECT_EQ(TruncToInt32(-1e300), -2147483647 - 1);
  EXPECT_EQ(TruncToInt32(static_cast<double>(std::numeric_limits<float>::max())), 2147483647);
}

TEST(RoundToInt64, RoundsHalvesAwayFromZero) {
  EXPECT_EQ(RoundToInt64(0.5), 1);
  EXPECT_EQ(RoundToInt64(-0.5), -1);
  EXPECT_EQ(RoundToInt64(2.5), 3);
  EXPECT_EQ(RoundToInt64(-2.5), -3);
  EXPECT_EQ(RoundToInt64(0.49999999999999994), 0);  // the double just below 0.5
  EXPECT_EQ(RoundToInt64(-0.0), 0);
  EXPECT_EQ(RoundToInt64(std::numeric_limits<double>::denorm_min()), 0);
  EXPECT_EQ(RoundToInt64(4503599627370497.0), 4503599627370497);  // 2^52 + 1: already whole
}

TEST(RoundToInt64, SaturatesLikeTheArmConversion) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::int64_t max = std::numeric_limits<std::int64_t>::max();
  const std::int64_t min = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(RoundToInt64(std::nan("")), 0);
  EXPECT_EQ(RoundToInt64(inf), max);
  EXPECT_EQ(RoundToInt64(-inf), min);
  EXPECT_EQ(RoundToInt64(1e300), max);
  EXPECT_EQ(RoundToInt64(-1e300), min);
  EXPECT_EQ(RoundToInt64(9223372036854774784.0), 9223372036854774784);  // 2^63 - 1024, the last double inside
  EXPECT_EQ(RoundToInt64(9223372036854775808.0), max);                  // 2^63
  EXPECT_EQ(RoundToInt64(-9223372036854775808.0), min);                 // -2^63 itself, inside
  EXPECT_EQ(RoundToInt64(-9223372036854777856.0), min);                 // the next double below
}

TEST(WrapTo, KeepsLowBits) {
  EXPECT_EQ(WrapTo<std::int16_t>(40000), -25536);
  EXPECT_EQ(WrapTo<std::int8_t>(300), 44);
  EXPECT_EQ(WrapTo<std::int8_t>(200), -56);
  EXPECT_EQ(WrapTo<std::int8_t>(256), 0);
  EXPECT_EQ(WrapTo<std::int32_t>(std::int64_t{2147483648LL}), -2147483647 - 1);
  EXPECT_EQ(WrapTo<std::int32_t>(std::uint32_t{0xFFFFFFFFu}), -1);
  EXPECT_EQ(WrapTo<std::int16_t>(-1), -1);
}

}  // namespace
