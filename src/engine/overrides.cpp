#include "overrides.h"

#include <utility>

namespace navreq {
namespace services {
namespace detail {

template <class Slot>
typename Slot::Function& current() {
  thread_local typename Slot::Function replacement;
  return replacement;
}

}  // namespace detail

template <class Slot>
ScopedOverride<Slot>::ScopedOverride(Function replacement) : previous_(std::move(detail::current<Slot>())) {
  detail::current<Slot>() = std::move(replacement);
}

template <class Slot>
ScopedOverride<Slot>::~ScopedOverride() {
  detail::current<Slot>() = std::move(previous_);
}

#define NAVREQ_OVERRIDE_SLOT_(SLOT)                 \
  template SLOT::Function& detail::current<SLOT>(); \
  template class ScopedOverride<SLOT>;
NAVREQ_OVERRIDE_SLOT_(detail::GzipSlot)
NAVREQ_OVERRIDE_SLOT_(detail::ClockSlot)
NAVREQ_OVERRIDE_SLOT_(detail::LogSlot)
NAVREQ_OVERRIDE_SLOT_(detail::DistanceSlot)
NAVREQ_OVERRIDE_SLOT_(detail::PrintSlot)
#undef NAVREQ_OVERRIDE_SLOT_

ScopedClock::ScopedClock(std::int64_t fixed_ms)
    : ScopedOverride(ClockFunction([fixed_ms] { return fixed_ms; })) {}

}  // namespace services
}  // namespace navreq
