// The browser build has no floating-point std::to_chars; its values are
// written by ShortestDecimal, which must give to_chars' text for every value.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "navreq/read/text.h"

namespace {

using navreq::ShortestDecimal;

std::string Reference(double v, bool single) {
  char buf[64];
  const auto r = single ? std::to_chars(buf, buf + sizeof buf, static_cast<float>(v))
                        : std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

TEST(ShortestDecimal, HandWorkedValues) {
  EXPECT_EQ(ShortestDecimal(0.1, false), "0.1");
  EXPECT_EQ(ShortestDecimal(-0.0, false), "-0");
  EXPECT_EQ(ShortestDecimal(0.0, false), "0");
  EXPECT_EQ(ShortestDecimal(1e22, false), "1e+22");
  EXPECT_EQ(ShortestDecimal(123456789.0, false), "123456789");
  EXPECT_EQ(ShortestDecimal(1e-7, false), "1e-07");
  EXPECT_EQ(ShortestDecimal(0.001, false), "0.001");  // 5 characters against 1e-03, 5: a tie, fixed
  EXPECT_EQ(ShortestDecimal(1e-5, false), "1e-05");   // 0.00001 is longer
  EXPECT_EQ(ShortestDecimal(100.0, false), "100");    // a tie with 1e+02: fixed
  EXPECT_EQ(ShortestDecimal(1000.0, false), "1000");
  EXPECT_EQ(ShortestDecimal(10000000.0, false), "1e+07");
  EXPECT_EQ(ShortestDecimal(116.378624, false), "116.378624");
  EXPECT_EQ(ShortestDecimal(5e-324, false), "5e-324");
  EXPECT_EQ(ShortestDecimal(1.7976931348623157e308, false), "1.7976931348623157e+308");
  EXPECT_EQ(ShortestDecimal(static_cast<double>(0.1f), true), "0.1");
  EXPECT_EQ(ShortestDecimal(16777216.0, true), "16777216");
  EXPECT_EQ(ShortestDecimal(static_cast<double>(3.4028235e38f), true), "3.4028235e+38");
}

TEST(ShortestDecimal, SameAsToCharsOnPowersOfTwo) {
  // Where the gap below is half the gap above, the shortest text can lie on
  // the far side of the value.
  for (int e = -1074; e <= 1023; ++e) {
    const double v = std::ldexp(1.0, e);
    ASSERT_EQ(ShortestDecimal(v, false), Reference(v, false)) << e;
  }
  for (int e = -149; e <= 127; ++e) {
    const double v = static_cast<double>(std::ldexp(1.0f, e));
    ASSERT_EQ(ShortestDecimal(v, true), Reference(v, true)) << e;
  }
}

TEST(ShortestDecimal, SameAsToCharsOnRandomBitPatterns) {
  std::mt19937_64 random(20261123);
  int compared = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t bits = random();
    double d = 0;
    std::memcpy(&d, &bits, sizeof d);
    if (std::isfinite(d)) {
      ASSERT_EQ(ShortestDecimal(d, false), Reference(d, false)) << bits;
      ++compared;
    }
    const auto bits32 = static_cast<std::uint32_t>(bits >> 32);
    float f = 0;
    std::memcpy(&f, &bits32, sizeof f);
    if (std::isfinite(f)) {
      ASSERT_EQ(ShortestDecimal(static_cast<double>(f), true), Reference(static_cast<double>(f), true))
          << bits32;
      ++compared;
    }
  }
  EXPECT_GT(compared, 38000);
}

TEST(ShortestDecimal, SameAsToCharsOnShortDecimals) {
  // Coordinates and speeds as the engine has them: few digits, every scale.
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    const double mantissa = static_cast<double>(random() % 100000000);
    const int scale = static_cast<int>(random() % 40) - 20;
    const double v = mantissa * std::pow(10.0, scale);
    ASSERT_EQ(ShortestDecimal(v, false), Reference(v, false)) << v;
    ASSERT_EQ(ShortestDecimal(static_cast<double>(static_cast<float>(v)), true),
              Reference(static_cast<double>(static_cast<float>(v)), true))
        << v;
  }
}

}  // namespace
