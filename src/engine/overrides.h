// Per-thread overrides installed by the ScopedOverride guards.
#pragma once

#include "navreq/engine/service_overrides.h"

namespace navreq {
namespace services {
namespace detail {

// The calling thread's override of a service; empty: the default.
template <class Slot>
typename Slot::Function& current();

}  // namespace detail
}  // namespace services
}  // namespace navreq
