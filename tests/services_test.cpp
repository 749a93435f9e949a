// The default engine services and their seams.
#include "navreq/engine/services.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "support/capture.h"
#include "support/gunzip.h"

namespace {

using zv_navi_core::GZipCompress;

using navreq::testing::Gunzip;

void ExpectRoundTrip(std::vector<char> input) {
  std::vector<char> gz{'o', 'l', 'd'};
  ASSERT_TRUE(GZipCompress(input, gz));
  ASSERT_GE(gz.size(), 18u);
  EXPECT_EQ(static_cast<unsigned char>(gz[0]), 0x1f);
  EXPECT_EQ(static_cast<unsigned char>(gz[1]), 0x8b);
  EXPECT_EQ(Gunzip(gz), input);
}

TEST(GZipCompress, EmptyInputInflatesBackToEmpty) { ExpectRoundTrip({}); }

TEST(GZipCompress, SmallInput) { ExpectRoundTrip({'n', 'a', 'v', 'r', 'e', 'q'}); }

TEST(GZipCompress, OneMebibyteOfMixedBytes) {
  std::mt19937 rng(7);
  std::vector<char> input(1 << 20);
  for (std::size_t i = 0; i < input.size(); ++i)
    input[i] = static_cast<char>(i % 3 == 0 ? rng() & 0xFF : 'a' + i % 7);
  ExpectRoundTrip(input);
}

TEST(GZipCompress, ReusedCompressorGivesIdenticalIndependentStreams) {
  std::vector<char> a(5000, 'a');
  std::vector<char> first, second;
  ASSERT_TRUE(GZipCompress(a, first));
  std::vector<char> other{'x', 'y'};
  std::vector<char> scratch;
  ASSERT_TRUE(GZipCompress(other, scratch));
  ASSERT_TRUE(GZipCompress(a, second));
  EXPECT_EQ(first, second);
}

TEST(GZipCompress, OverrideIsScopedToTheGuard) {
  std::vector<char> in{'a'}, out;
  {
    navreq::services::ScopedGzip fail([](std::vector<char>&, std::vector<char>&) { return false; });
    EXPECT_FALSE(GZipCompress(in, out));
  }
  EXPECT_TRUE(GZipCompress(in, out));
}

TEST(GZipCompress, OverrideDoesNotReachOtherThreads) {
  navreq::services::ScopedGzip fail([](std::vector<char>&, std::vector<char>&) { return false; });
  bool other_thread_ok = false;
  std::thread t([&] {
    std::vector<char> in{'a'}, out;
    other_thread_ok = GZipCompress(in, out);
  });
  t.join();
  EXPECT_TRUE(other_thread_ok);
}

TEST(Clock, PinnedAndRestored) {
  const std::int64_t before = zv_navi_core::platform::GetTimestampMilliseconds();
  EXPECT_GT(before, 1600000000000LL);  // a real wall clock (after 2020)
  {
    navreq::services::ScopedClock pin(1700000000123LL);
    EXPECT_EQ(zv_navi_core::platform::GetTimestampMilliseconds(), 1700000000123LL);
    {
      navreq::services::ScopedClock inner(5);
      EXPECT_EQ(zv_navi_core::platform::GetTimestampMilliseconds(), 5);
    }
    EXPECT_EQ(zv_navi_core::platform::GetTimestampMilliseconds(), 1700000000123LL);
  }
  EXPECT_GE(zv_navi_core::platform::GetTimestampMilliseconds(), before);
}

TEST(Log, FormatsLikePrintfIntoTheSink) {
  navreq::testing::LogCapture log;
  zv_navi_core::Log::record(zv_navi_core::kLevelError, zv_navi_core::kEventFailure, "%s=%d %ld", "x", -3,
                            static_cast<long>(1) << 40);
  zv_navi_core::Log::record(zv_navi_core::kLevelInfo, zv_navi_core::kEventRequest, "%s", "cut\0here");
  ASSERT_EQ(log.lines().size(), 2u);
  EXPECT_EQ(log.lines()[0], "L3 E2 x=-3 1099511627776");
  EXPECT_EQ(log.lines()[1], "L0 E8 cut");
}

TEST(Log, DefaultSinkDiscards) {
  // No sink installed: must not crash or print.
  navreq::testing::StdoutCapture out;
  zv_navi_core::Log::record(zv_navi_core::kLevelInfo, zv_navi_core::kEventRequest, "%d", 1);
  EXPECT_EQ(out.text(), "");
}

TEST(Distance, GreatCircleMetres) {
  using zv_navi_core::math::CalcDistanceFromLatLon;
  EXPECT_DOUBLE_EQ(CalcDistanceFromLatLon(10, 20, 10, 20), 0.0);
  // One degree of longitude on the equator: R x pi / 180.
  EXPECT_NEAR(CalcDistanceFromLatLon(0, 0, 0, 1), 6371008.8 * 3.14159265358979323846 / 180, 1e-6);
  // Pole to pole is half a circumference.
  EXPECT_NEAR(CalcDistanceFromLatLon(90, 0, -90, 0), 6371008.8 * 3.14159265358979323846, 1e-3);
  // Beijing to Tianjin, about 110 km.
  const double d = CalcDistanceFromLatLon(39.9042, 116.4074, 39.0842, 117.2009);
  EXPECT_GT(d, 100000);
  EXPECT_LT(d, 120000);
}

TEST(Distance, ScopedDistanceReplacesNestsAndStaysOnItsThread) {
  using zv_navi_core::math::CalcDistanceFromLatLon;
  const double one_degree = 6371008.8 * 3.14159265358979323846 / 180;
  std::vector<double> seen;
  {
    navreq::services::ScopedDistance outer([&seen](double lat1, double lon1, double lat2, double lon2) {
      seen = {lat1, lon1, lat2, lon2};
      return 7.0;
    });
    EXPECT_EQ(CalcDistanceFromLatLon(1, 2, 3, 4), 7.0);
    EXPECT_EQ(seen, (std::vector<double>{1, 2, 3, 4}));
    {
      navreq::services::ScopedDistance inner([](double, double, double, double) { return 8.0; });
      EXPECT_EQ(CalcDistanceFromLatLon(0, 0, 0, 1), 8.0);
    }
    EXPECT_EQ(CalcDistanceFromLatLon(0, 0, 0, 1), 7.0);
    double other_thread = 0;
    std::thread([&other_thread] { other_thread = CalcDistanceFromLatLon(0, 0, 0, 1); }).join();
    EXPECT_NEAR(other_thread, one_degree, 1e-6);
  }
  EXPECT_NEAR(CalcDistanceFromLatLon(0, 0, 0, 1), one_degree, 1e-6);
}

}  // namespace

namespace {

TEST(Log, AThrowingSinkNeverFailsTheCaller) {
  int calls = 0;
  navreq::services::ScopedLogSink sink([&calls](int, int, const std::string&) {
    ++calls;
    throw std::bad_alloc();
  });
  EXPECT_NO_THROW(zv_navi_core::Log::record(zv_navi_core::kLevelInfo, zv_navi_core::kEventRequest, "%d", 7));
  EXPECT_EQ(calls, 1);
}

}  // namespace
