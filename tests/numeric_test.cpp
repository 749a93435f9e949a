// The one conversion from floating point to integer, and integer narrowing.
#include "navreq/numeric.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

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
