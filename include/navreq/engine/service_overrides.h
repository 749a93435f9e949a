// Seams of the default engine services (library navreq::services).
//
// Each override is installed for the calling thread only and removed when the
// guard goes out of scope, so a test that pins the clock or breaks the
// compressor cannot leak into the next test or into other threads. Guards
// nest; the innermost one wins.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace navreq {
namespace services {

// Stands in for GZipCompress: all of `in` to a gzip stream in `out`, false on failure.
using GzipFunction = std::function<bool(std::vector<char>& in, std::vector<char>& out)>;
// Milliseconds since the Unix epoch.
using ClockFunction = std::function<std::int64_t()>;
// Receives every Log::record call with its message already formatted.
using LogSink = std::function<void(int level, int event, const std::string& message)>;
// Metres between two positions in degrees (lat1, lon1, lat2, lon2).
using DistanceFunction = std::function<double(double, double, double, double)>;
// Receives every line that platform::PutLine would print, without its newline.
using PrintSink = std::function<void(const std::string& line)>;

namespace detail {
// Which service an override replaces, and the function that replaces it.
struct GzipSlot {
  using Function = GzipFunction;
};
struct ClockSlot {
  using Function = ClockFunction;
};
struct LogSlot {
  using Function = LogSink;
};
struct DistanceSlot {
  using Function = DistanceFunction;
};
struct PrintSlot {
  using Function = PrintSink;
};
}  // namespace detail

// Installs `replacement` for the calling thread; the destructor puts back
// what was installed before. Defined for the slots above.
template <class Slot>
class ScopedOverride {
 public:
  // The function that stands in for the service.
  using Function = typename Slot::Function;
  // Installs `replacement` for the calling thread.
  explicit ScopedOverride(Function replacement);
  ~ScopedOverride();
  ScopedOverride(const ScopedOverride&) = delete;
  ScopedOverride& operator=(const ScopedOverride&) = delete;

 private:
  Function previous_;
};

// Replaces GZipCompress.
using ScopedGzip = ScopedOverride<detail::GzipSlot>;

// Replaces platform::GetTimestampMilliseconds.
class ScopedClock : public ScopedOverride<detail::ClockSlot> {
 public:
  // The clock reads `clock()`.
  using ScopedOverride::ScopedOverride;
  // The clock always reads `fixed_ms`.
  explicit ScopedClock(std::int64_t fixed_ms);
};

// Without a sink, log lines are discarded.
using ScopedLogSink = ScopedOverride<detail::LogSlot>;

// Replaces math::CalcDistanceFromLatLon, e.g. to put a destination exactly
// on a distance threshold whatever the geometry.
using ScopedDistance = ScopedOverride<detail::DistanceSlot>;

// Without a sink, lines go to standard output.
using ScopedPrintSink = ScopedOverride<detail::PrintSlot>;

// The default compressor (deflate level 6 with gzip framing, by zlib or, with
// -DNAVREQ_GZIP_BACKEND=libdeflate, by libdeflate), usable by an override that
// wants to wrap it.
bool DefaultGZipCompress(const std::vector<char>& in, std::vector<char>& out);

// Earth radius used by math::CalcDistanceFromLatLon, in metres.
constexpr double kEarthRadiusMetres = 6371008.8;

}  // namespace services
}  // namespace navreq
