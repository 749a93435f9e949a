// Well-defined numeric conversions shared by the writer and the request builders.
//
// Every conversion from a floating-point value to an integer in navreq goes
// through TruncToInt32, and every narrowing of an integer into a smaller wire
// field goes through WrapTo. Both give the same result on every host, so the
// bytes of a request never depend on the machine that produced them.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace navreq {

// Truncates toward zero and saturates to the int32 range, the way the 64-bit
// ARM conversion instruction behaves on the phones the engine runs on:
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

// Two's complement narrowing (or reinterpretation) of an integer: keeps the low
// bits of `v`, as the wire's int16 and int8 fields do. 300 -> int8 44,
// 40000 -> int16 -25536.
template <class To, class From>
To WrapTo(From v) noexcept {
  static_assert(std::is_integral<To>::value && std::is_integral<From>::value, "integers only");
  using UTo = typename std::make_unsigned<To>::type;
  const UTo bits = static_cast<UTo>(v);  // modular by definition for unsigned targets
  To out;
  std::memcpy(&out, &bits, sizeof out);
  return out;
}

}  // namespace navreq
