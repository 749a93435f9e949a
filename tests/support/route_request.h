// The realistic route search request of the reliability inputs, written with
// a pinned clock: a whole request with a gzip body for the reading tests.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/requests.h"
#include "reliability/realistic_inputs.h"

namespace navreq {
namespace testing {

inline std::vector<char> RealisticRouteRequest() {
  navreq::services::ScopedClock clock(1700000000000);
  std::vector<char> out;
  EXPECT_EQ(zv_navi_core::drive_route_req_serializer::GetRouteReqData(
                navreq::reliability::RealisticRoute(), navreq::reliability::RealisticExtra(), out),
            0u);
  return out;
}

}  // namespace testing
}  // namespace navreq
