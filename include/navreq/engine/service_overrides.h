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

// Replaces GZipCompress.
class ScopedGzip {
 public:
  // Installs `gzip` for the calling thread.
  explicit ScopedGzip(GzipFunction gzip);
  ~ScopedGzip();
  ScopedGzip(const ScopedGzip&) = delete;
  ScopedGzip& operator=(const ScopedGzip&) = delete;

 private:
  GzipFunction previous_;
};

// Replaces platform::GetTimestampMilliseconds.
class ScopedClock {
 public:
  // The clock always reads `fixed_ms`.
  explicit ScopedClock(std::int64_t fixed_ms);
  // The clock reads `clock()`.
  explicit ScopedClock(ClockFunction clock);
  ~ScopedClock();
  ScopedClock(const ScopedClock&) = delete;
  ScopedClock& operator=(const ScopedClock&) = delete;

 private:
  ClockFunction previous_;
};

// Without a sink, log lines are discarded.
class ScopedLogSink {
 public:
  // Installs `sink` for the calling thread.
  explicit ScopedLogSink(LogSink sink);
  ~ScopedLogSink();
  ScopedLogSink(const ScopedLogSink&) = delete;
  ScopedLogSink& operator=(const ScopedLogSink&) = delete;

 private:
  LogSink previous_;
};

// Replaces math::CalcDistanceFromLatLon, e.g. to put a destination exactly
// on a distance threshold whatever the geometry.
class ScopedDistance {
 public:
  // Installs `distance` for the calling thread.
  explicit ScopedDistance(DistanceFunction distance);
  ~ScopedDistance();
  ScopedDistance(const ScopedDistance&) = delete;
  ScopedDistance& operator=(const ScopedDistance&) = delete;

 private:
  DistanceFunction previous_;
};

// Without a sink, lines go to standard output.
class ScopedPrintSink {
 public:
  // Installs `sink` for the calling thread.
  explicit ScopedPrintSink(PrintSink sink);
  ~ScopedPrintSink();
  ScopedPrintSink(const ScopedPrintSink&) = delete;
  ScopedPrintSink& operator=(const ScopedPrintSink&) = delete;

 private:
  PrintSink previous_;
};

// The default compressor (deflate level 6 with gzip framing, by zlib or, with
// -DNAVREQ_GZIP_BACKEND=libdeflate, by libdeflate), usable by an override that
// wants to wrap it.
bool DefaultGZipCompress(const std::vector<char>& in, std::vector<char>& out);

// Earth radius used by math::CalcDistanceFromLatLon, in metres.
constexpr double kEarthRadiusMetres = 6371008.8;

}  // namespace services
}  // namespace navreq
