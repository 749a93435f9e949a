#include <cstdarg>
#include <cstdio>
#include <string>

#include "navreq/engine/services.h"
#include "overrides.h"

namespace zv_navi_core {

// Logging must never make a request fail: a line that cannot be formatted or
// delivered (no memory left, a sink that throws) is dropped.
void Log::record(EventLevel level, LogEvent event, const char* format, ...) {
  const auto& sink = navreq::services::detail::current<navreq::services::detail::LogSlot>();
  if (!sink) return;  // the default sink discards
  va_list args;
  va_start(args, format);
  try {
    va_list measure;
    va_copy(measure, args);
    const int needed = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    std::string message;
    if (needed > 0) {
      message.resize(static_cast<std::size_t>(needed) + 1);
      std::vsnprintf(&message[0], message.size(), format, args);
      message.resize(static_cast<std::size_t>(needed));
    }
    sink(static_cast<int>(level), static_cast<int>(event), message);
  } catch (...) {
  }
  va_end(args);
}

}  // namespace zv_navi_core
