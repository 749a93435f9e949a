#include <chrono>

#include "navreq/engine/services.h"
#include "overrides.h"

namespace zv_navi_core {
namespace platform {

std::int64_t GetTimestampMilliseconds() {
  const auto& pinned = navreq::services::detail::current<navreq::services::detail::ClockSlot>();
  if (pinned) return pinned();
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace platform
}  // namespace zv_navi_core
