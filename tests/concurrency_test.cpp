// Concurrency: the requests that keep no process-wide state (route search,
// refresh, route plus, guidance slice, stop event) called from eight threads
// at once give exactly the bytes, results and log lines of serial calls.
//
// Each thread pins its own clock and collects its own log lines (both are
// per-thread overrides), waits until all threads are ready, then runs every
// input several times in a rotation of its own, so that different requests
// and different inputs overlap. ThreadSanitizer runs these tests (the tsan
// preset selects them by the "Concurren" in their suite name).
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/requests.h"
#include "reliability/realistic_inputs.h"
#include "support/capture.h"

namespace {

namespace serializer = zv_navi_core::drive_route_req_serializer;
using navreq::reliability::RealisticExtra;

constexpr int kThreads = 8;
constexpr int kRounds = 6;
constexpr std::int64_t kNowMs = 1700000000000;

using Call = std::function<int(std::vector<char>& out)>;

struct Result {
  int rc = -1;
  std::vector<char> out;
  std::vector<std::string> log;
};

bool Same(const Result& a, const Result& b) { return a.rc == b.rc && a.out == b.out && a.log == b.log; }

// One call with this thread's clock pinned and its log lines collected.
Result RunCall(const Call& call) {
  navreq::testing::LogCapture log;
  Result result;
  result.rc = call(result.out);
  result.log = log.lines();
  return result;
}

void ExpectSameFromEightThreads(const std::vector<Call>& calls) {
  std::vector<Result> serial;
  {
    navreq::services::ScopedClock clock(kNowMs);
    for (const Call& call : calls) serial.push_back(RunCall(call));
  }
  for (std::size_t i = 0; i < serial.size(); ++i) {
    ASSERT_EQ(serial[i].rc, 0) << "input " << i;
    ASSERT_FALSE(serial[i].out.empty()) << "input " << i;
  }

  std::atomic<int> ready{0};
  std::atomic<bool> go{false};
  std::vector<int> mismatches(kThreads, 0);
  std::vector<int> runs(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      navreq::services::ScopedClock clock(kNowMs);  // the override is per thread
      ready.fetch_add(1);
      while (!go.load()) std::this_thread::yield();
      for (int round = 0; round < kRounds; ++round) {
        for (std::size_t i = 0; i < calls.size(); ++i) {
          const std::size_t pick = (i + static_cast<std::size_t>(t + round)) % calls.size();
          if (!Same(RunCall(calls[pick]), serial[pick])) ++mismatches[static_cast<std::size_t>(t)];
          ++runs[static_cast<std::size_t>(t)];
        }
      }
    });
  }
  while (ready.load() < kThreads) std::this_thread::yield();
  go.store(true);
  for (std::thread& thread : threads) thread.join();

  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(runs[static_cast<std::size_t>(t)], kRounds * static_cast<int>(calls.size()));
    EXPECT_EQ(mismatches[static_cast<std::size_t>(t)], 0)
        << "thread " << t << ": calls whose bytes, result or log differ from the serial call";
  }
}

// Inputs that differ in what they write, so that bytes crossing between
// threads would show.
std::vector<zv_navi_core::DriveRouteReqParam> RouteInputs() {
  std::vector<zv_navi_core::DriveRouteReqParam> inputs(3, navreq::reliability::RealisticRoute());
  inputs[1].reason = 0;
  inputs[1].planMode = 2;
  inputs[1].routeOption11 = "second-route-input";
  inputs[2].reason = 2;
  inputs[2].subReason = 5;
  inputs[2].viaPoints.clear();
  inputs[2].rankEnabled = false;
  inputs[2].recentFixes.resize(1);
  return inputs;
}

std::vector<Call> RouteCalls(const std::vector<zv_navi_core::DriveRouteReqParam>& inputs,
                             const zv_navi_core::ReqExtraParam& extra) {
  std::vector<Call> calls;
  for (const auto& param : inputs) {
    calls.push_back([&param, &extra](std::vector<char>& out) {
      return static_cast<int>(serializer::GetRouteReqData(param, extra, out));
    });
  }
  return calls;
}

std::vector<zv_navi_core::RouteRefreshReqParam> RefreshInputs() {
  std::vector<zv_navi_core::RouteRefreshReqParam> inputs(2, navreq::reliability::RealisticRefresh());
  inputs[1].research_flag = false;
  inputs[1].routes.resize(1);
  inputs[1].routes[0].id_text = "  -42 trailing text";
  inputs[1].refresh_value = 9;
  return inputs;
}

std::vector<Call> RefreshCalls(const std::vector<zv_navi_core::RouteRefreshReqParam>& inputs,
                               const zv_navi_core::ReqExtraParam& extra) {
  std::vector<Call> calls;
  for (const auto& param : inputs) {
    calls.push_back([&param, &extra](std::vector<char>& out) {
      return serializer::GetRouteRefreshReqData(param, extra, out);
    });
  }
  return calls;
}

template <class Param>
std::vector<Param> SliceInputs() {
  std::vector<Param> inputs(2, navreq::reliability::RealisticSlices<Param>());
  inputs[1].slice_session_id = "another-guidance-session";
  inputs[1].slices.pop_back();
  return inputs;
}

std::vector<navreq::reliability::StopEventInput> StopInputs() {
  std::vector<navreq::reliability::StopEventInput> inputs(2);
  inputs[1].text = "navigation stopped by the user";
  inputs[1].device_id = "another-device-identifier-000002";
  return inputs;
}

std::vector<Call> StopCalls(const std::vector<navreq::reliability::StopEventInput>& inputs) {
  std::vector<Call> calls;
  for (const auto& input : inputs) {
    calls.push_back([&input](std::vector<char>& out) {
      return serializer::GetNavStopActionReqData(input.text, input.device_id, input.client_key, out);
    });
  }
  return calls;
}

TEST(Concurrency, RouteSearchFromEightThreads) {
  const auto extra = RealisticExtra();
  const auto inputs = RouteInputs();
  ExpectSameFromEightThreads(RouteCalls(inputs, extra));
}

TEST(Concurrency, RouteRefreshFromEightThreads) {
  const auto extra = RealisticExtra();
  const auto inputs = RefreshInputs();
  ExpectSameFromEightThreads(RefreshCalls(inputs, extra));
}

TEST(Concurrency, RoutePlusAndGuidanceSliceFromEightThreads) {
  const auto extra = RealisticExtra();
  const auto plus = SliceInputs<zv_navi_core::PlusReq>();
  const auto slice = SliceInputs<zv_navi_core::SliceReq>();
  std::vector<Call> calls;
  for (const auto& param : plus) {
    calls.push_back(
        [&param, &extra](std::vector<char>& out) { return serializer::GetRoutePlus(param, extra, out); });
  }
  for (const auto& param : slice) {
    calls.push_back(
        [&param, &extra](std::vector<char>& out) { return serializer::GetRouteSlice(param, extra, out); });
  }
  ExpectSameFromEightThreads(calls);
}

TEST(Concurrency, StopEventFromEightThreads) {
  const auto inputs = StopInputs();
  ExpectSameFromEightThreads(StopCalls(inputs));
}

// All five families at once, each thread in its own order.
TEST(Concurrency, AllStatelessRequestsTogetherFromEightThreads) {
  const auto extra = RealisticExtra();
  const auto routes = RouteInputs();
  const auto refreshes = RefreshInputs();
  const auto plus = SliceInputs<zv_navi_core::PlusReq>();
  const auto slice = SliceInputs<zv_navi_core::SliceReq>();
  const auto stops = StopInputs();
  std::vector<Call> calls = RouteCalls(routes, extra);
  for (Call& call : RefreshCalls(refreshes, extra)) calls.push_back(std::move(call));
  calls.push_back([&](std::vector<char>& out) { return serializer::GetRoutePlus(plus[0], extra, out); });
  calls.push_back([&](std::vector<char>& out) { return serializer::GetRouteSlice(slice[1], extra, out); });
  for (Call& call : StopCalls(stops)) calls.push_back(std::move(call));
  ExpectSameFromEightThreads(calls);
}

}  // namespace
