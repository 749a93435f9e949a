// Every numeric conversion of navreq: each step where a floating-point value
// becomes an integer, or an integer becomes a narrower one, on its way to the
// wire.
//
// Three rules, each with a defined result for every input, NaN and infinities
// included, so the bytes of a request never depend on the machine that
// produced them:
//   TruncToInt32  truncate toward zero, saturate to int32 (NaN gives 0)
//   RoundToInt64  round halves away from zero, saturate to int64 (NaN gives 0)
//   WrapTo<T>     keep the low bits of an integer (two's complement)
// Saturation is what the 64-bit ARM conversion instructions of the phones do.
//
// The request builders never call the rules directly: they call the named
// conversions further down, one per kind of wire value, whose names and
// comments state the whole rule. docs/conversions.md maps every wire field to
// its conversion.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace navreq {

// ---- The rules ----

// Truncates toward zero and saturates to the int32 range:
//   NaN                -> 0
//   v >= 2147483648    -> INT32_MAX (+infinity included)
//   v <= -2147483649   -> INT32_MIN (-infinity included)
//   otherwise          -> v with its fraction dropped (-0.0 and subnormals give 0)
// A float argument widens to double exactly, so the same function serves both.
constexpr std::int32_t TruncToInt32(double v) noexcept {
  if (v != v) return 0;  // NaN
  if (v >= 2147483648.0) return std::numeric_limits<std::int32_t>::max();
  if (v <= -2147483649.0) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(v);  // in range: truncation is well defined
}

// Rounds to the nearest integer, halves away from zero, and saturates to the
// int64 range: NaN -> 0, v >= 2^63 -> INT64_MAX, v < -2^63 -> INT64_MIN
// (infinities included). std::round is exact for every double.
inline std::int64_t RoundToInt64(double v) noexcept {
  if (v != v) return 0;  // NaN
  const double r = std::round(v);
  if (r >= 9223372036854775808.0) return std::numeric_limits<std::int64_t>::max();
  if (r < -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(r);  // in range, -2^63 itself included
}

// Two's complement narrowing (or reinterpretation) of an integer: keeps the low
// bits of `v`. 300 -> int8 44, 40000 -> int16 -25536.
template <class To, class From>
To WrapTo(From v) noexcept {
  static_assert(std::is_integral<To>::value && std::is_integral<From>::value, "integers only");
  using UTo = typename std::make_unsigned<To>::type;
  const UTo bits = static_cast<UTo>(v);  // modular by definition for unsigned targets
  To out;
  std::memcpy(&out, &bits, sizeof out);
  return out;
}

// ---- Named conversions of the request builders ----
//
// Coordinates and fix measures. A float measure is scaled by a float constant
// (the product rounded to float) before the truncation; only the coordinate
// and the speed are scaled in double.

// Degrees -> micro-degrees: degrees x 1e6 in double, truncated, saturated to int32.
constexpr std::int32_t MicroDegrees(double degrees) noexcept { return TruncToInt32(degrees * 1000000.0); }

// A float measure as a whole number: truncated, saturated to int32.
constexpr std::int32_t WholeUnits(float v) noexcept { return TruncToInt32(static_cast<double>(v)); }

// A float measure as a whole number in an int16 field: truncated, saturated to
// int32, then its low 16 bits (1e10 gives INT32_MAX, then -1).
inline std::int16_t WholeUnitsLow16(float v) noexcept { return WrapTo<std::int16_t>(WholeUnits(v)); }

// v x 10.0f, the product in float, truncated, saturated to int32.
constexpr std::int32_t Times10(float v) noexcept { return TruncToInt32(static_cast<double>(v * 10.0f)); }

// v x 10.0f as Times10, then its low 16 bits.
inline std::int16_t Times10Low16(float v) noexcept { return WrapTo<std::int16_t>(Times10(v)); }

// v x 100.0f, the product in float, truncated, saturated to int32, then its low 16 bits.
inline std::int16_t Times100Low16(float v) noexcept {
  return WrapTo<std::int16_t>(TruncToInt32(static_cast<double>(v * 100.0f)));
}

// v x 1000.0f, the product in float, truncated, saturated to int32. 2.3f gives
// 2300 (the float product is exactly 2300), where the exact product would give 2299.
constexpr std::int32_t Thousandths(float v) noexcept {
  return TruncToInt32(static_cast<double>(v * 1000.0f));
}

// Metres per second -> km/h: widened to double, x 3.6 in double, truncated,
// saturated to int32. 2.5 m/s gives 9 (the float constant 3.6f would give 8).
constexpr std::int32_t KmhFromMetresPerSecond(float mps) noexcept {
  return TruncToInt32(static_cast<double>(mps) * 3.6);
}

// Whole metres of the traffic refresh: rounded half away from zero, saturated
// to int64, then cut to its low 32 bits (a longitude of 1e10 degrees gives
// -485803278, not INT32_MAX).
inline std::int32_t RoundedMetresLow32(double metres) noexcept {
  return WrapTo<std::int32_t>(RoundToInt64(metres));
}

// Integers: times, differences, counters. Each one wraps; none saturates.

// Seconds -> milliseconds: x 1000 modulo 2^64, like the device's 64-bit multiply.
inline std::int64_t MillisecondsOf(std::int64_t seconds) noexcept {
  return WrapTo<std::int64_t>(static_cast<std::uint64_t>(seconds) * 1000u);
}

// Milliseconds -> whole seconds: integer division, truncated toward zero
// (-1999 ms gives -1 s). Exact: no narrowing.
constexpr std::int64_t WholeSecondsOf(std::int64_t milliseconds) noexcept { return milliseconds / 1000; }

// The low 32 bits of an integer, as a signed int32 (2^31 gives INT32_MIN).
inline std::int32_t Low32(std::int64_t v) noexcept { return WrapTo<std::int32_t>(v); }

// a - b modulo 2^32, as a signed int32.
inline std::int32_t Difference32(std::int32_t a, std::int32_t b) noexcept {
  return WrapTo<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

// a - b modulo 2^32, then its low 16 bits (a step of 40000 gives -25536).
inline std::int16_t DifferenceLow16(std::int32_t a, std::int32_t b) noexcept {
  return WrapTo<std::int16_t>(Difference32(a, b));
}

// The low 32 bits of a minus the low 32 bits of b, modulo 2^32, as int32.
inline std::int32_t Low32Difference(std::int64_t a, std::int64_t b) noexcept {
  return WrapTo<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

// a - b modulo 2^64, then its low 8 bits (300 gives 44).
inline std::int8_t DifferenceLow8(std::int64_t a, std::int64_t b) noexcept {
  return WrapTo<std::int8_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

// now_ms x 1000 + digits, modulo 2^64: the creation time in milliseconds
// followed by three decimal digits.
inline std::int64_t TimesThousandPlus(std::int64_t now_ms, std::int32_t digits) noexcept {
  return WrapTo<std::int64_t>(static_cast<std::uint64_t>(now_ms) * 1000u +
                              static_cast<std::uint64_t>(digits));
}

// A size as the int of a log line's %d: its low bits.
inline int IntForLog(std::size_t n) noexcept { return WrapTo<int>(n); }

// A size as the long of a log line's %ld: its low bits.
inline long LongForLog(std::size_t n) noexcept { return WrapTo<long>(n); }

}  // namespace navreq
