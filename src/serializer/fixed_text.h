// Decimal texts of the route search ("90.000000", "12.5").
#pragma once

#include <charconv>
#include <string>
#include <system_error>

namespace zv_navi_core {
namespace drive_route_req_serializer {

// `value` in fixed notation with `decimals` digits after the point, exactly as
// printf("%.*f") prints it in the C locale: the exact stored value rounded,
// ties to even ("90.2" for 90.25), "-0.000000" for -0.0, "nan"/"inf" with
// their sign. No stream and no locale, so the text never depends on the
// process's locale and costs no allocation beyond the result.
inline std::string FixedText(double value, int decimals) {
  char buffer[400];  // the largest double has 309 integer digits
  const std::to_chars_result written =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
  if (written.ec != std::errc()) return std::string();  // cannot happen for decimals <= 6
  return std::string(buffer, written.ptr);
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
