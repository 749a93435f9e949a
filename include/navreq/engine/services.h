// Engine services the serializer calls but does not own: compression, logging,
// the wall clock, geodesic distance and the standard output of failure lines. The navreq::services library
// provides default implementations; an engine may link its own instead.
#pragma once

#include <cstdint>
#include <vector>

namespace zv_navi_core {

// Log levels as the serializer uses them.
enum EventLevel : int {
  kLevelInfo = 0,
  kLevelError = 3,
};

// Log event categories as the serializer uses them.
enum LogEvent : int {
  kEventSearchPreference = 1,
  kEventFailure = 2,
  kEventRequest = 8,
};

// The engine's log.
class Log {
 public:
  // printf-style; never fails.
  static void record(EventLevel level, LogEvent event, const char* format, ...)
#if defined(__GNUC__)
      __attribute__((format(printf, 3, 4)))
#endif
      ;
};

// Writes a complete gzip stream (RFC 1952) of all bytes of `in` into `out`.
// Returns false on failure.
bool GZipCompress(std::vector<char>& in, std::vector<char>& out);

namespace platform {
// Wall-clock time in milliseconds since the Unix epoch.
std::int64_t GetTimestampMilliseconds();

// Prints `line` and a newline on standard output, as std::puts does. Every
// fixed failure line of the serializers ("SerializeKSE_route_req_fail", ...)
// goes through here; never fails.
void PutLine(const char* line) noexcept;
}  // namespace platform

namespace math {
// Great-circle distance in metres between two points given in degrees.
double CalcDistanceFromLatLon(double lat1, double lon1, double lat2, double lon2);
}  // namespace math

}  // namespace zv_navi_core
