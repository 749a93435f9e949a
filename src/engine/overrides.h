// Per-thread overrides installed by the Scoped* guards.
#pragma once

#include "navreq/engine/service_overrides.h"

namespace navreq {
namespace services {
namespace detail {

GzipFunction& gzipOverride();
ClockFunction& clockOverride();
LogSink& logSink();
DistanceFunction& distanceOverride();
PrintSink& printSink();

}  // namespace detail
}  // namespace services
}  // namespace navreq
