#include <cstdio>
#include <string>

#include "navreq/engine/services.h"
#include "overrides.h"

namespace zv_navi_core {
namespace platform {

// Like logging, printing must never make a request fail: a sink that throws
// loses the line.
void PutLine(const char* line) noexcept {
  const auto& sink = navreq::services::detail::current<navreq::services::detail::PrintSlot>();
  if (!sink) {
    std::puts(line);
    return;
  }
  try {
    sink(line);
  } catch (...) {
  }
}

}  // namespace platform
}  // namespace zv_navi_core
