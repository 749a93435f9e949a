// Every numeric conversion of the request builders, run over one table of
// hostile inputs: NaN, both infinities, the largest finite values, -0.0, the
// smallest subnormal, the values just inside and just outside the target
// range, and the halves. Expected values are worked out from each rule by hand
// (float products rounded to float first), never taken from the code. A
// conversion that leant on the host's own float-to-integer instruction would
// fail here on one of the three CPUs the suite runs on.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "navreq/numeric.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr float kNaNf = std::numeric_limits<float>::quiet_NaN();
constexpr float kInff = std::numeric_limits<float>::infinity();

template <class In>
struct Case {
  In in;
  std::int64_t out;
};

template <class In>
struct Row {
  const char* name;
  std::function<std::int64_t(In)> convert;
  std::vector<Case<In>> cases;
};

template <class Out>
std::function<std::int64_t(double)> ConvertD(Out (*f)(double) noexcept) {
  return [f](double v) { return static_cast<std::int64_t>(f(v)); };
}
template <class Out>
std::function<std::int64_t(float)> ConvertF(Out (*f)(float) noexcept) {
  return [f](float v) { return static_cast<std::int64_t>(f(v)); };
}

// Rows whose source is a double (coordinates, metres).
const std::vector<Row<double>>& DoubleRows() {
  static const std::vector<Row<double>> rows = {
      // Degrees x 1e6 in double, truncated, saturated to int32.
      {"MicroDegrees",
       ConvertD(navreq::MicroDegrees),
       {
           // NaN, infinities, the largest finite values, -0.0, the smallest subnormal, halves.
           {kNaN, 0},
           {kInf, 2147483647},
           {-kInf, -2147483648},
           {1e+300, 2147483647},
           {-1e+300, -2147483648},
           {-0.0, 0},
           {5e-324, 0},
           {0.5, 500000},
           {-0.5, -500000},
           {1.5, 1500000},
           {-1.5, -1500000},
           {2.5, 2500000},
           {-2.5, -2500000},
           // Last inside and first outside the target range, top then bottom.
           {2147.4836479999994, 2147483647},
           {2147.483648, 2147483647},
           {-2147.4836489999993, -2147483648},
           {-2147.483649, -2147483648},
           // Halves of the scaled value and known examples.
           {2.5e-06, 2},
           {-2.5e-06, -2},
           {5e-07, 0},
           {-5e-07, 0},
           {39.9999999, 39999999},
           {-116.5, -116500000},
       }},
      // Rounded half away from zero, saturated to int64, low 32 bits. The last two
      // are the Mercator x of longitudes 1e10 and 123456789.123.
      {"RoundedMetresLow32",
       ConvertD(navreq::RoundedMetresLow32),
       {
           // NaN, infinities, the largest finite values, -0.0, the smallest subnormal, halves.
           {kNaN, 0},
           {kInf, -1},
           {-kInf, 0},
           {1e+300, -1},
           {-1e+300, 0},
           {-0.0, 0},
           {5e-324, 0},
           {0.5, 1},
           {-0.5, -1},
           {1.5, 2},
           {-1.5, -2},
           {2.5, 3},
           {-2.5, -3},
           // Last inside and first outside the target range, top then bottom.
           {2147483647.4999998, 2147483647},
           {2147483647.5, -2147483648},
           {-2147483648.4999995, -2147483648},
           {-2147483648.5, 2147483647},
           // Further edges and examples.
           {0.49999999999999994, 0},
           {-0.49999999999999994, 0},
           {4294967296.5, 1},
           {9223372036854774784.0, -1024},
           {9223372036854775808.0, -1},
           {-9223372036854775808.0, 0},
           {-9223372036854777856.0, 0},
           {1113194907777777.9, -485803278},
           {13743146898231.855, -748448968},
       }},
  };
  return rows;
}

// Rows whose source is a float field of a fix or a truck. A float cannot hold
// 1e300 or 5e-324: its largest finite value (3.40282347e+38) and its smallest
// subnormal (1.40129846e-45) stand in for them.
const std::vector<Row<float>>& FloatRows() {
  static const std::vector<Row<float>> rows = {
      // Truncated, saturated to int32.
      {"WholeUnits",
       ConvertF(navreq::WholeUnits),
       {
           // NaN, infinities, the largest finite values, -0.0, the smallest subnormal, halves.
           {kNaNf, 0},
           {kInff, 2147483647},
           {-kInff, -2147483648},
           {3.40282347e+38f, 2147483647},
           {-3.40282347e+38f, -2147483648},
           {-0.0f, 0},
           {1.40129846e-45f, 0},
           {0.5f, 0},
           {-0.5f, 0},
           {1.5f, 1},
           {-1.5f, -1},
           {2.5f, 2},
           {-2.5f, -2},
           // Last inside and first outside the target range, top then bottom.
           {2147483520.0f, 2147483520},
           {2147483648.0f, 2147483647},
           {-2147483648.0f, -2147483648},
           {-2147483904.0f, -2147483648},
           // Halves of the scaled value and known examples.
           {359.899994f, 359},
           {-7.9000001f, -7},
       }},
      // Truncated, saturated to int32, low 16 bits.
      {"WholeUnitsLow16",
       ConvertF(navreq::WholeUnitsLow16),
       {
           // NaN, infinities, the largest finite values, -0.0, the smallest subnormal, halves.
           {kNaNf, 0},
           {kInff, -1},
           {-kInff, 0},
           {3.40282347e+38f, -1},
           {-3.40282347e+38f, 0},
           {-0.0f, 0},
           {1.40129846e-45f, 0},
           {0.5f, 0},
           {-0.5f, 0},
           {1.5f, 1},
           {-1.5f, -1},
           {2.5f, 2},
           {-2.5f, -2},
           // Last inside and first outside the target range, top then bottom.
           {32767.998f, 32767},
           {32768.0f, -32768},
           {-32768.9961f, -32768},
           {-32769.0f, 32767},
           // Further edges and examples.
           {2147483520.0f, -128},
           {2147483648.0f, -1},
           {-2147483648.0f, 0},
           {-2147483904.0f, 0},
           {65536.0f, 0},
           {40000.0f, -25536},
       }},
      // x 10.0f in float, truncated, saturated to int32.
      {"Times10",
       ConvertF(navreq::Times10),
       {
           // NaN, infinities, the largest finite values, -0.0, the smallest subnormal, halves.
           {kNaNf, 0},
           {kInff, 2147483647},
           {-kInff, -2147483648},
           {3.40282347e+38f, 2147483647},
           {-3.40282347e+38f, -2147483648},
           {-0.0f, 0},
           {1.40129846e-45f, 0},
           {0.5f, 5},
           {-0.5f, -5},
           {1.5f, 15},
           {-1.5f, -15},
           {2.5f, 25},
           {-2.5f, -25},
           // Last inside and first outside the target range, top then bottom.
           {214748352.0f, 2147483520},
           {214748368.0f, 2147483647},
           {-214748368.0f, -2147483648},
           {-214748384.0f, -2147483648},
           // Halves of the scaled value and known examples.
           {0.25f, 2},
           {-0.25f, -2},
           {0.0500000007f, 0},
           {-0.0500000007f, 0},
       }},
      // x 10.0f in float, truncated, saturated to int32, low 16 bits.
      {"Times10Low16",
       ConvertF(navreq::Times10Low16),
       {
           // NaN, infinities, the largest finite values, -0.0, the smallest subnormal, halves.
           {kNaNf, 0},
           {kInff, -1},
           {-kInff, 0},
           {3.40282347e+38f, -1},
           {-3.40282347e+38f, 0},
           {-0.0f, 0},
           {1.40129846e-45f, 0},
           {0.5f, 5},
           {-0.5f, -5},
           {1.5f, 15},
           {-1.5f, -15},
           {2.5f, 25},
           {-2.5f, -25},
           // Last inside and first outside the target range, top then bottom.
           {3276.7998f, 32767},
           {3276.80005f, -32768},
           {-3276.89966f, -32768},
           {-3276.8999f, 32767},
           // Halves of the scaled value and known examples.
           {0.25f, 2},
           {-0.25f, -2},
           {214748352.0f, -128},
           {214748368.0f, -1},
       }},
      // x 100.0f in float, truncated, saturated to int32, low 16 bits.
      {"Times100Low16",
       ConvertF(navreq::Times100Low16),
       {
           // NaN, infinities, the largest finite values, -0.0, the smallest subnormal, halves.
           {kNaNf, 0},
           {kInff, -1},
           {-kInff, 0},
           {3.40282347e+38f, -1},
           {-3.40282347e+38f, 0},
           {-0.0f, 0},
           {1.40129846e-45f, 0},
           {0.5f, 50},
           {-0.5f, -50},
           {1.5f, 150},
           {-1.5f, -150},
           {2.5f, 250},
           {-2.5f, -250},
           // Last inside and first outside the target range, top then bottom.
           {327.679962f, 32767},
           {327.679993f, -32768},
           {-327.689972f, -32768},
           {-327.690002f, 32767},
           // Halves of the scaled value and known examples.
           {0.0250000004f, 2},
           {-0.0250000004f, -2},
           {0.00499999989f, 0},
           {-0.00499999989f, 0},
           {21474834.0f, -256},
           {21474838.0f, -1},
       }},
      // x 1000.0f in float, truncated, saturated to int32; 2.3f gives 2300.
      {"Thousandths",
       ConvertF(navreq::Thousandths),
       {
           // NaN, infinities, the largest finite values, -0.0, the smallest subnormal, halves.
           {kNaNf, 0},
           {kInff, 2147483647},
           {-kInff, -2147483648},
           {3.40282347e+38f, 2147483647},
           {-3.40282347e+38f, -2147483648},
           {-0.0f, 0},
           {1.40129846e-45f, 0},
           {0.5f, 500},
           {-0.5f, -500},
           {1.5f, 1500},
           {-1.5f, -1500},
           {2.5f, 2500},
           {-2.5f, -2500},
           // Last inside and first outside the target range, top then bottom.
           {2147483.5f, 2147483520},
           {2147483.75f, 2147483647},
           {-2147483.75f, -2147483648},
           {-2147484.0f, -2147483648},
           // Halves of the scaled value and known examples.
           {0.00249999994f, 2},
           {-0.00249999994f, -2},
           {0.000500000024f, 0},
           {-0.000500000024f, 0},
           {2.29999995f, 2300},
           {0.00150000001f, 1},
       }},
      // Widened to double, x 3.6, truncated, saturated to int32; 2.5 m/s gives 9.
      {"KmhFromMetresPerSecond",
       ConvertF(navreq::KmhFromMetresPerSecond),
       {
           // NaN, infinities, the largest finite values, -0.0, the smallest subnormal, halves.
           {kNaNf, 0},
           {kInff, 2147483647},
           {-kInff, -2147483648},
           {3.40282347e+38f, 2147483647},
           {-3.40282347e+38f, -2147483648},
           {-0.0f, 0},
           {1.40129846e-45f, 0},
           {0.5f, 1},
           {-0.5f, -1},
           {1.5f, 5},
           {-1.5f, -5},
           {2.5f, 9},
           {-2.5f, -9},
           // Last inside and first outside the target range, top then bottom.
           {596523200.0f, 2147483520},
           {596523264.0f, 2147483647},
           {-596523200.0f, -2147483520},
           {-596523264.0f, -2147483648},
           // Halves of the scaled value and known examples.
           {0.270000011f, 0},
           {10.0f, 36},
           {-10.0f, -36},
       }},
  };
  return rows;
}

template <class In>
std::string Spelled(In v) {
  return testing::PrintToString(v) + (std::signbit(v) && v == 0 ? " (-0)" : "");
}

template <class In>
void RunRows(const std::vector<Row<In>>& rows) {
  for (const Row<In>& row : rows) {
    for (const Case<In>& c : row.cases) {
      EXPECT_EQ(row.convert(c.in), c.out) << row.name << "(" << Spelled(c.in) << ")";
    }
  }
}

// Bitwise: tells -0.0 from 0.0 and finds NaN.
template <class In>
bool Holds(const std::vector<Case<In>>& cases, In wanted) {
  for (const Case<In>& c : cases) {
    if (std::memcmp(&c.in, &wanted, sizeof wanted) == 0) return true;
  }
  return false;
}

template <class In>
void ExpectEveryRowCovers(const std::vector<Row<In>>& rows, const std::vector<In>& inputs) {
  for (const Row<In>& row : rows) {
    for (In v : inputs) EXPECT_TRUE(Holds(row.cases, v)) << row.name << " lacks " << Spelled(v);
  }
}

TEST(ConversionTable, DoubleSources) { RunRows(DoubleRows()); }

TEST(ConversionTable, FloatSources) { RunRows(FloatRows()); }

TEST(ConversionTable, EveryRowRunsTheHostileInputs) {
  ExpectEveryRowCovers(DoubleRows(), std::vector<double>{kNaN, kInf, -kInf, 1e300, -1e300, -0.0, 5e-324, 0.5,
                                                         -0.5, 1.5, -1.5, 2.5, -2.5});
  const float max = std::numeric_limits<float>::max();
  const float tiny = std::numeric_limits<float>::denorm_min();
  ExpectEveryRowCovers(FloatRows(), std::vector<float>{kNaNf, kInff, -kInff, max, -max, -0.0f, tiny, 0.5f,
                                                       -0.5f, 1.5f, -1.5f, 2.5f, -2.5f});
  // Each row also has its two range edges on each side.
  for (const Row<double>& row : DoubleRows()) EXPECT_GE(row.cases.size(), 17u) << row.name;
  for (const Row<float>& row : FloatRows()) EXPECT_GE(row.cases.size(), 17u) << row.name;
}

// The conversions return the widths their wire fields have.
static_assert(std::is_same<decltype(navreq::MicroDegrees(0.0)), std::int32_t>::value, "");
static_assert(std::is_same<decltype(navreq::RoundedMetresLow32(0.0)), std::int32_t>::value, "");
static_assert(std::is_same<decltype(navreq::WholeUnits(0.0f)), std::int32_t>::value, "");
static_assert(std::is_same<decltype(navreq::WholeUnitsLow16(0.0f)), std::int16_t>::value, "");
static_assert(std::is_same<decltype(navreq::Times10(0.0f)), std::int32_t>::value, "");
static_assert(std::is_same<decltype(navreq::Times10Low16(0.0f)), std::int16_t>::value, "");
static_assert(std::is_same<decltype(navreq::Times100Low16(0.0f)), std::int16_t>::value, "");
static_assert(std::is_same<decltype(navreq::Thousandths(0.0f)), std::int32_t>::value, "");
static_assert(std::is_same<decltype(navreq::KmhFromMetresPerSecond(0.0f)), std::int32_t>::value, "");
static_assert(std::is_same<decltype(navreq::MillisecondsOf(0)), std::int64_t>::value, "");
static_assert(std::is_same<decltype(navreq::WholeSecondsOf(0)), std::int64_t>::value, "");
static_assert(std::is_same<decltype(navreq::Low32(0)), std::int32_t>::value, "");
static_assert(std::is_same<decltype(navreq::Difference32(0, 0)), std::int32_t>::value, "");
static_assert(std::is_same<decltype(navreq::DifferenceLow16(0, 0)), std::int16_t>::value, "");
static_assert(std::is_same<decltype(navreq::Low32Difference(0, 0)), std::int32_t>::value, "");
static_assert(std::is_same<decltype(navreq::DifferenceLow8(0, 0)), std::int8_t>::value, "");
static_assert(std::is_same<decltype(navreq::TimesThousandPlus(0, 0)), std::int64_t>::value, "");
static_assert(std::is_same<decltype(navreq::IntForLog(0)), int>::value, "");
static_assert(std::is_same<decltype(navreq::LongForLog(0)), long>::value, "");

// ---- Integer sources: every one wraps; none saturates ----

constexpr std::int64_t kI64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kI64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::int32_t kI32Max = 2147483647;
constexpr std::int32_t kI32Min = -2147483647 - 1;

struct IntCase {
  std::int64_t a;
  std::int64_t b;
  std::int64_t out;
};

struct IntRow {
  const char* name;
  std::function<std::int64_t(std::int64_t, std::int64_t)> convert;
  std::vector<IntCase> cases;
};

std::int32_t I32(std::int64_t v) { return static_cast<std::int32_t>(v); }

const std::vector<IntRow>& IntRows() {
  static const std::vector<IntRow> rows = {
      // x 1000 modulo 2^64. INT64_MAX / 1000 = 9223372036854775 is the last
      // value that fits; 9223372036854776000 - 2^64 = -9223372036854775616.
      {"MillisecondsOf",
       [](std::int64_t s, std::int64_t) { return navreq::MillisecondsOf(s); },
       {{0, 0, 0},
        {1, 0, 1000},
        {-1, 0, -1000},
        {9223372036854775, 0, 9223372036854775000},
        {9223372036854776, 0, -9223372036854775616},
        {-9223372036854775, 0, -9223372036854775000},
        {-9223372036854776, 0, 9223372036854775616},
        {kI64Max, 0, -1000},
        {kI64Min, 0, 0}}},
      // Integer division, truncated toward zero.
      {"WholeSecondsOf",
       [](std::int64_t ms, std::int64_t) { return navreq::WholeSecondsOf(ms); },
       {{1999, 0, 1},
        {-1999, 0, -1},
        {999, 0, 0},
        {-1, 0, 0},
        {-1000, 0, -1},
        {kI64Max, 0, 9223372036854775},
        {kI64Min, 0, -9223372036854775}}},
      // Low 32 bits; 4294967295 is the largest unsigned 32-bit counter.
      {"Low32",
       [](std::int64_t v, std::int64_t) { return navreq::Low32(v); },
       {{kI32Max, 0, kI32Max},
        {2147483648, 0, kI32Min},
        {kI32Min, 0, kI32Min},
        {-2147483649, 0, kI32Max},
        {4294967296, 0, 0},
        {4294967295, 0, -1},
        {kI64Max, 0, -1},
        {kI64Min, 0, 0}}},
      // a - b modulo 2^32.
      {"Difference32",
       [](std::int64_t a, std::int64_t b) { return navreq::Difference32(I32(a), I32(b)); },
       {{5, 3, 2},
        {3, 5, -2},
        {kI32Max, -1, kI32Min},
        {kI32Min, 1, kI32Max},
        {0, kI32Min, kI32Min},
        {kI32Max, kI32Min, -1},
        {kI32Min, kI32Max, 1}}},
      // a - b modulo 2^32, low 16 bits.
      {"DifferenceLow16",
       [](std::int64_t a, std::int64_t b) { return navreq::DifferenceLow16(I32(a), I32(b)); },
       {{32767, 0, 32767},
        {32768, 0, -32768},
        {-32768, 0, -32768},
        {-32769, 0, 32767},
        {40000, 0, -25536},
        {0, 40000, 25536},
        {kI32Max, kI32Min, -1},
        {kI32Min, kI32Max, 1}}},
      // Low 32 bits of each, difference modulo 2^32.
      {"Low32Difference",
       [](std::int64_t a, std::int64_t b) { return navreq::Low32Difference(a, b); },
       {{5000, 3000, 2000},
        {4294967301, 0, 5},
        {2147483648, 0, kI32Min},
        {0, 1, -1},
        {kI64Max, kI64Min, -1},
        {kI64Min, kI64Max, 1},
        {100000000000000, 99999999999000, 1000}}},
      // a - b modulo 2^64, low 8 bits.
      {"DifferenceLow8",
       [](std::int64_t a, std::int64_t b) { return navreq::DifferenceLow8(a, b); },
       {{300, 0, 44},
        {127, 0, 127},
        {128, 0, -128},
        {-128, 0, -128},
        {-129, 0, 127},
        {kI64Min, kI64Max, 1},
        {kI64Max, kI64Min, -1},
        {4294967301, 4294967296, 5}}},
      // a x 1000 + b modulo 2^64.
      {"TimesThousandPlus",
       [](std::int64_t a, std::int64_t b) { return navreq::TimesThousandPlus(a, I32(b)); },
       {{1700000000000, 999, 1700000000000999},
        {0, 0, 0},
        {-1, 999, -1},
        {9223372036854775, 807, kI64Max},
        {9223372036854775, 808, kI64Min},
        {kI64Max, 0, -1000},
        {kI64Min, 999, 999}}},
  };
  return rows;
}

TEST(ConversionTable, IntegerSources) {
  for (const IntRow& row : IntRows()) {
    for (const IntCase& c : row.cases) {
      EXPECT_EQ(row.convert(c.a, c.b), c.out) << row.name << "(" << c.a << ", " << c.b << ")";
    }
  }
}

TEST(ConversionTable, SizesForLogLinesKeepTheirLowBits) {
  const std::size_t max = std::numeric_limits<std::size_t>::max();
  EXPECT_EQ(navreq::IntForLog(5), 5);
  EXPECT_EQ(navreq::IntForLog(2147483647u), kI32Max);
  EXPECT_EQ(navreq::IntForLog(2147483648u), kI32Min);
  EXPECT_EQ(navreq::IntForLog(max), -1);
  EXPECT_EQ(navreq::LongForLog(5), 5L);
  EXPECT_EQ(navreq::LongForLog(max), -1L);
  EXPECT_EQ(navreq::LongForLog(max / 2), std::numeric_limits<long>::max());
  EXPECT_EQ(navreq::LongForLog(max / 2 + 1), std::numeric_limits<long>::min());
}

}  // namespace
