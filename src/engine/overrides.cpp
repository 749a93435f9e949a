#include "overrides.h"

#include <utility>

namespace navreq {
namespace services {
namespace detail {

GzipFunction& gzipOverride() {
  thread_local GzipFunction current;
  return current;
}

ClockFunction& clockOverride() {
  thread_local ClockFunction current;
  return current;
}

LogSink& logSink() {
  thread_local LogSink current;
  return current;
}

DistanceFunction& distanceOverride() {
  thread_local DistanceFunction current;
  return current;
}

PrintSink& printSink() {
  thread_local PrintSink current;
  return current;
}

}  // namespace detail

ScopedGzip::ScopedGzip(GzipFunction gzip) : previous_(std::move(detail::gzipOverride())) {
  detail::gzipOverride() = std::move(gzip);
}
ScopedGzip::~ScopedGzip() { detail::gzipOverride() = std::move(previous_); }

ScopedClock::ScopedClock(std::int64_t fixed_ms)
    : ScopedClock(ClockFunction([fixed_ms] { return fixed_ms; })) {}
ScopedClock::ScopedClock(ClockFunction clock) : previous_(std::move(detail::clockOverride())) {
  detail::clockOverride() = std::move(clock);
}
ScopedClock::~ScopedClock() { detail::clockOverride() = std::move(previous_); }

ScopedLogSink::ScopedLogSink(LogSink sink) : previous_(std::move(detail::logSink())) {
  detail::logSink() = std::move(sink);
}
ScopedLogSink::~ScopedLogSink() { detail::logSink() = std::move(previous_); }

ScopedDistance::ScopedDistance(DistanceFunction distance) : previous_(std::move(detail::distanceOverride())) {
  detail::distanceOverride() = std::move(distance);
}
ScopedDistance::~ScopedDistance() { detail::distanceOverride() = std::move(previous_); }
ScopedPrintSink::ScopedPrintSink(PrintSink sink) : previous_(std::move(detail::printSink())) {
  detail::printSink() = std::move(sink);
}
ScopedPrintSink::~ScopedPrintSink() { detail::printSink() = std::move(previous_); }

}  // namespace services
}  // namespace navreq
