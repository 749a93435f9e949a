// Allocation-failure injection: every allocation of every entry function,
// made to fail one at a time.
//
// For a realistic input, the k-th allocation on the calling thread throws
// std::bad_alloc, for k = 1, 2, ... up to the number of allocations a
// complete call makes (its allocation points); one more run then completes.
// Each run must end the way the failed stage allows it to:
//   - stages without a handler let std::bad_alloc leave the entry function,
//     with the output vector untouched;
//   - guarded stages return their failure result, print their fixed line (or
//     nothing, where the request is silent) and leave the output vector
//     untouched, or empty when the final serialization failed.
// The runs of one request, taken in order of k, must pass through the
// request's stages in their order (see the Stage lists below); stages whose
// allocations can be counted from outside (the compressor, the last
// serialization, the filling of the route search) are pinned to their exact
// k. No run may keep a block it allocated, except the output vector's.
//
// This file replaces the global operator new, so it is built into a program
// of its own (tests/reliability/CMakeLists.txt), never into the suite's binary.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/envelope.h"
#include "navreq/location_session.h"
#include "navreq/records/car_rank_trans.h"
#include "navreq/records/duromap.h"
#include "navreq/records/nav_sdk_gateway.h"
#include "navreq/records/navicore.h"
#include "navreq/records/routesearch.h"
#include "navreq/requests.h"
#include "reliability/realistic_inputs.h"
#include "reliability/stages.h"
#include "support/capture.h"

namespace {

// ---- A counting allocator that can fail on request ----

struct AllocationProbe {
  bool armed = false;
  std::uint64_t count = 0;    // allocations while armed
  std::uint64_t fail_at = 0;  // this allocation (1-based) throws; 0: none does
  std::int64_t balance = 0;   // allocations minus releases while armed
};

// Per thread: only the thread under test is counted.
thread_local AllocationProbe t_probe;

void* Allocate(std::size_t size) {
  AllocationProbe& probe = t_probe;
  if (probe.armed) {
    if (++probe.count == probe.fail_at) throw std::bad_alloc();
    ++probe.balance;
  }
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void Release(void* block) noexcept {
  if (block == nullptr) return;
  if (t_probe.armed) --t_probe.balance;
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return Allocate(size);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return Allocate(size);
  } catch (...) {
    return nullptr;
  }
}
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t) noexcept { Release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Release(block); }

namespace {

using navreq::reliability::AnyNumber;
using navreq::reliability::AtLeastOne;
using navreq::reliability::Exactly;
using navreq::reliability::PassesThrough;
using navreq::reliability::RealisticExtra;
using navreq::reliability::Stage;
using navreq::testing::StdoutCapture;
namespace serializer = zv_navi_core::drive_route_req_serializer;

constexpr std::int64_t kNowMs = 1700000000000;

// Counts (and fails) this thread's allocations for its lifetime.
class Armed {
 public:
  explicit Armed(std::uint64_t fail_at) noexcept { t_probe = AllocationProbe{true, 0, fail_at, 0}; }
  ~Armed() { t_probe.armed = false; }
  Armed(const Armed&) = delete;
  Armed& operator=(const Armed&) = delete;
};

std::uint64_t CountAllocations(const std::function<void()>& work) {
  {
    Armed armed(0);
    work();
  }
  return t_probe.count;
}

// What the output vector holds before every call.
const std::vector<char> kStale = {'\x5a', '\x5b', '\x5c'};

// One request under test: `prepare` runs outside the count before every call
// (resets shared state, makes the arguments the call moves in) and returns how
// many allocated blocks it hands to the call, which the call releases;
// `call` is the entry function.
struct Request {
  std::function<std::int64_t()> prepare;
  std::function<int(std::vector<char>& out)> call;
};

std::int64_t NothingHandedIn() { return 0; }

// 1 when the string keeps its characters in a block of its own (longer than
// what fits inside the string object).
std::int64_t OwnsBlock(const std::string& s) { return s.capacity() > std::string().capacity() ? 1 : 0; }

struct CallResult {
  bool threw = false;
  int rc = -1;
  std::string printed;
  std::vector<char> out;
  std::uint64_t allocations = 0;
  std::int64_t kept = 0;  // blocks allocated during the call and still held, beyond the output vector's
};

CallResult RunOnce(const Request& request, std::uint64_t fail_at) {
  CallResult run;
  const std::int64_t handed_in = request.prepare();
  std::vector<char> out = kStale;
  const char* stale_block = out.data();
  StdoutCapture capture;
  {
    Armed armed(fail_at);
    try {
      run.rc = request.call(out);
    } catch (const std::bad_alloc&) {
      run.threw = true;
    }
  }
  run.allocations = t_probe.count;
  // The output vector owns one block. When it was replaced, the stale block
  // was released during the call and the new one (if any) allocated there.
  std::int64_t held_by_out = 0;
  if (out.data() != stale_block) held_by_out = (out.capacity() > 0 ? 1 : 0) - 1;
  run.kept = t_probe.balance - held_by_out + handed_in;
  run.printed = capture.text();
  run.out = std::move(out);
  return run;
}

// ---- Outcomes and stages ----

std::string Escaped(const std::string& text) {
  std::string out;
  for (char c : text) out += c == '\n' ? std::string("\\n") : std::string(1, c);
  return out;
}

const std::string kThrew = "throws bad_alloc";

std::string Returned(int rc, const std::string& printed, const char* out_state) {
  return "returns " + std::to_string(rc) + ", prints [" + Escaped(printed) + "], output " + out_state;
}

std::string Outcome(const CallResult& run) {
  if (run.threw) return run.out == kStale ? kThrew : kThrew + " but changed the output";
  const char* state = run.out == kStale ? "untouched" : run.out.empty() ? "empty" : "holds bytes";
  return Returned(run.rc, run.printed, state);
}

// ---- The sweep ----

struct Sweep {
  std::uint64_t points = 0;  // allocations of a complete call
  std::vector<std::string> outcomes;
  CallResult completed;  // with allocations 1..points allowed
};

// `same_bytes`: the completed call must give the bytes of an undisturbed one
// (false where the request draws a random number).
Sweep SweepAllocations(const char* name, const Request& request, bool same_bytes = true) {
  Sweep sweep;
  // Lazily built state (reflection names, the thread's compressor) is made
  // by a first call, outside the count.
  (void)RunOnce(request, 0);
  const CallResult dry = RunOnce(request, 0);
  EXPECT_FALSE(dry.threw) << name;
  EXPECT_EQ(dry.rc, 0) << name;
  EXPECT_EQ(dry.kept, 0) << name << ": a complete call keeps a block";
  sweep.points = dry.allocations;
  for (std::uint64_t k = 1; k <= sweep.points; ++k) {
    const CallResult run = RunOnce(request, k);
    EXPECT_EQ(run.kept, 0) << name << ": allocation " << k << " failed and " << run.kept
                           << " block(s) stayed allocated";
    sweep.outcomes.push_back(Outcome(run));
  }
  sweep.completed = RunOnce(request, sweep.points + 1);
  EXPECT_FALSE(sweep.completed.threw) << name;
  EXPECT_EQ(sweep.completed.rc, 0) << name;
  EXPECT_EQ(sweep.completed.printed, "") << name;
  EXPECT_EQ(sweep.completed.kept, 0) << name;
  if (same_bytes) {
    EXPECT_EQ(sweep.completed.out, dry.out) << name;
  }
  std::printf("[  alloc   ] %s: %llu allocation points\n", name,
              static_cast<unsigned long long>(sweep.points));
  return sweep;
}

void ExpectStages(const char* name, const Sweep& sweep, const std::vector<Stage>& stages) {
  EXPECT_TRUE(PassesThrough(sweep.outcomes, stages))
      << name << ": the runs do not pass through the request's stages.\nExpected stages:\n"
      << navreq::reliability::Describe(stages) << "Seen:\n"
      << navreq::reliability::Describe(sweep.outcomes);
}

// Where the compressor's allocations fall in a complete call, and what it was
// given and gave back.
struct GzipWindow {
  int calls = 0;
  std::uint64_t begin = 0;  // allocations before the compressor ran
  std::uint64_t end = 0;    // allocations when it returned
  std::vector<char> in;
  std::vector<char> out;
};

GzipWindow MeasureGzip(const Request& request) {
  GzipWindow window;
  navreq::services::ScopedGzip spy([&window](std::vector<char>& in, std::vector<char>& out) {
    window.begin = t_probe.count;
    const bool ok = navreq::services::DefaultGZipCompress(in, out);
    window.end = t_probe.count;
    t_probe.armed = false;  // the copies are the test's, not the request's
    window.in = in;
    window.out = out;
    t_probe.armed = true;
    ++window.calls;
    return ok;
  });
  (void)RunOnce(request, 0);
  return window;
}

std::uint64_t CountSerialization(const navkse::duromap::Package& package) {
  std::vector<char> out = kStale;
  return CountAllocations([&] { (void)zv_navi_core::SerializeKSE(package, out); });
}

std::uint64_t CountSerialization(const navkse::NavSDKGateway::Packet& packet) {
  std::vector<char> out = kStale;
  return CountAllocations([&] { (void)zv_navi_core::SerializeKSE(packet, out); });
}

class AllocationFailure : public ::testing::Test {
 protected:
  navreq::services::ScopedClock clock_{kNowMs};
};

// ---- Route search ----

// The route search fills its request with two side records, each written
// into bytes of its own. A write that fails (an allocation failure included)
// leaves the side record out and the request goes on: those runs complete.
const std::string kCompleted = Returned(0, "", "holds bytes");

struct SideRecordWrites {
  std::uint64_t guidance = 0;  // allocations of writing "toGuidance"
  std::uint64_t rank = 0;      // allocations of writing "toRank"
};

SideRecordWrites CountSideRecordWrites(std::int32_t async_guidance_code) {
  SideRecordWrites writes;
  navkse::navicore::nav::ugs_cloud_info guidance;
  guidance.async_guidance_code = async_guidance_code;
  navkse::CarRankTrans::ToRankTransInfo rank;
  rank.rank_values.push_back(269);
  std::vector<char> bytes;
  writes.guidance = CountAllocations([&] { (void)zv_navi_core::SerializeKSE(guidance, bytes); });
  bytes = std::vector<char>();
  writes.rank = CountAllocations([&] { (void)zv_navi_core::SerializeKSE(rank, bytes); });
  return writes;
}

// The filling of a CarRouteReq with both side records: everything propagates
// except the side records' own writes.
std::vector<Stage> FillingStages(const SideRecordWrites& writes) {
  return {AtLeastOne(kThrew), Exactly(kCompleted, writes.guidance), AtLeastOne(kThrew),
          Exactly(kCompleted, writes.rank), AtLeastOne(kThrew)};
}

std::vector<Stage> Then(std::vector<Stage> first, const std::vector<Stage>& rest) {
  first.insert(first.end(), rest.begin(), rest.end());
  return first;
}

TEST_F(AllocationFailure, RouteSearchEndsInItsStages) {
  const zv_navi_core::DriveRouteReqParam param = navreq::reliability::RealisticRoute();
  const zv_navi_core::ReqExtraParam extra = RealisticExtra();
  const Request request{NothingHandedIn, [&](std::vector<char>& out) {
                          return static_cast<int>(serializer::GetRouteReqData(param, extra, out));
                        }};

  // Steps 1-2 (construct and fill the request) have no handler.
  const std::uint64_t filling = CountAllocations([&] {
    navkse::routesearch::CarRouteReq filled;
    serializer::GetCarRouteReq(filled, param, extra);
  });
  const GzipWindow gzip = MeasureGzip(request);
  ASSERT_EQ(gzip.calls, 1);
  ASSERT_GT(gzip.begin, filling);
  navkse::duromap::Package package;
  ASSERT_EQ(zv_navi_core::route_req_serializer::GetPackage(package, extra, navkse::duromap::CMD{10101},
                                                           "CMD_ROUTE_CAR_SNS", gzip.out, true),
            0);
  const std::uint64_t envelope = CountSerialization(package);

  // The realistic route is a reroute with planMode 9 over more than 50 km:
  // asynchronous-guidance code 201.
  const SideRecordWrites side = CountSideRecordWrites(201);

  const Sweep sweep = SweepAllocations("GetRouteReqData", request);
  ExpectStages(
      "GetRouteReqData", sweep,
      Then(FillingStages(side),
           {Exactly(Returned(1, "SerializeKSE_route_req_fail\n", "untouched"), gzip.begin - filling),
            Exactly(Returned(1, "GZipCompress_route_req_buf_fail\n", "untouched"), gzip.end - gzip.begin),
            AnyNumber(kThrew),
            AtLeastOne(Returned(1, "SerializeKSE_header_fail\nret_pkg_fail\n", "untouched")),
            AnyNumber(kThrew), Exactly(Returned(1, "SerializeKSE_pkg_fail\n", "empty"), envelope)}));
  // The filling stages end exactly where the request write begins.
  std::size_t filled = 0;
  for (std::size_t k = 0; k < sweep.outcomes.size() && k < filling; ++k) {
    if (sweep.outcomes[k] == kThrew || sweep.outcomes[k] == kCompleted) ++filled;
  }
  EXPECT_EQ(filled, filling);
  std::printf("[  alloc   ] GetRouteReqData: filling %llu, writing %llu, gzip %llu, envelope write %llu\n",
              static_cast<unsigned long long>(filling), static_cast<unsigned long long>(gzip.begin - filling),
              static_cast<unsigned long long>(gzip.end - gzip.begin),
              static_cast<unsigned long long>(envelope));
}

// ---- Route refresh ----

TEST_F(AllocationFailure, RouteRefreshEndsInItsStages) {
  const zv_navi_core::RouteRefreshReqParam param = navreq::reliability::RealisticRefresh();
  const zv_navi_core::ReqExtraParam extra = RealisticExtra();
  const Request request{NothingHandedIn, [&](std::vector<char>& out) {
                          return serializer::GetRouteRefreshReqData(param, extra, out);
                        }};
  const SideRecordWrites side = CountSideRecordWrites(201);  // the route search it re-runs
  const Sweep sweep = SweepAllocations("GetRouteRefreshReqData", request);
  // Filling (steps 1-6) propagates, but for the side records of the route
  // search; the batch write fails silently with 1; then the envelope: its
  // header write prints, its final write is silent.
  ExpectStages("GetRouteRefreshReqData", sweep,
               Then(FillingStages(side), {AtLeastOne(Returned(1, "", "untouched")), AnyNumber(kThrew),
                                          AtLeastOne(Returned(1, "SerializeKSE_header_fail\n", "untouched")),
                                          AnyNumber(kThrew), AtLeastOne(Returned(1, "", "empty"))}));
}

// ---- Location upload ----

// Every run starts from the same process-wide state: the session of the
// upload (or another one), a fixed identifier and sequence number.
std::int64_t ResetLocationState(const std::string& session) {
  std::lock_guard<std::mutex> lock(serializer::location_session_mutex());
  serializer::g_session_id = session;
  serializer::loc_sesstion_id = 1700000000000123;
  serializer::report_sequence_num = 41;
  return 0;
}

TEST_F(AllocationFailure, CompressedLocationUploadEndsInItsStages) {
  const zv_navi_core::LocationUploadParam param = navreq::reliability::RealisticLocation(true);
  const zv_navi_core::ReqExtraParam extra = RealisticExtra();
  const Request request{
      [&] { return ResetLocationState(param.session_id); },
      [&](std::vector<char>& out) { return serializer::GetLocationUploadReqData(param, extra, out); }};
  const GzipWindow gzip = MeasureGzip(request);
  ASSERT_EQ(gzip.calls, 1);
  navkse::NavSDKGateway::Packet packet;
  packet.kind = 1;
  packet.auth.api_key = extra.api_key;
  packet.auth.imei = extra.imei;
  packet.payload.assign(gzip.out.begin(), gzip.out.end());
  packet.payload_encoding = 3;
  const std::uint64_t envelope = CountSerialization(packet);

  const Sweep sweep = SweepAllocations("GetLocationUploadReqData (gzip)", request);
  ExpectStages("GetLocationUploadReqData (gzip)", sweep,
               {AtLeastOne(kThrew), AtLeastOne(Returned(1, "", "untouched")), AnyNumber(kThrew),
                AtLeastOne(Returned(1, "SerializeKSE_location_buf_fail\n", "untouched")),
                Exactly(Returned(1, "GZipCompress_location_buf_fail\n", "untouched"), gzip.end - gzip.begin),
                AnyNumber(kThrew), Exactly(Returned(1, "", "empty"), envelope)});
}

TEST_F(AllocationFailure, PlainLocationUploadEndsInItsStages) {
  const zv_navi_core::LocationUploadParam param = navreq::reliability::RealisticLocation(false);
  const zv_navi_core::ReqExtraParam extra = RealisticExtra();
  const Request request{
      [&] { return ResetLocationState(param.session_id); },
      [&](std::vector<char>& out) { return serializer::GetLocationUploadReqData(param, extra, out); }};
  const Sweep sweep = SweepAllocations("GetLocationUploadReqData (plain)", request);
  // The uncompressed path fails silently, the extra data's write too.
  ExpectStages(
      "GetLocationUploadReqData (plain)", sweep,
      {AtLeastOne(kThrew), AtLeastOne(Returned(1, "", "untouched")), AnyNumber(kThrew),
       AtLeastOne(Returned(1, "", "untouched")), AnyNumber(kThrew), AtLeastOne(Returned(1, "", "empty"))});
}

TEST_F(AllocationFailure, LocationUploadStartingASessionEndsInItsStages) {
  const zv_navi_core::LocationUploadParam param = navreq::reliability::RealisticLocation(false);
  const zv_navi_core::ReqExtraParam extra = RealisticExtra();
  const Request request{
      [] { return ResetLocationState("the-previous-navigation-session"); },
      [&](std::vector<char>& out) { return serializer::GetLocationUploadReqData(param, extra, out); }};
  const Sweep sweep = SweepAllocations("GetLocationUploadReqData (new session)", request, false);
  ExpectStages(
      "GetLocationUploadReqData (new session)", sweep,
      {AtLeastOne(kThrew), AtLeastOne(Returned(1, "", "untouched")), AnyNumber(kThrew),
       AtLeastOne(Returned(1, "", "untouched")), AnyNumber(kThrew), AtLeastOne(Returned(1, "", "empty"))});
}

// ---- Navigation stop event ----

TEST_F(AllocationFailure, StopEventEndsInItsStages) {
  const navreq::reliability::StopEventInput input;
  navreq::reliability::StopEventInput moved;
  // The strings are taken by value: they are copied before the count starts
  // and moved into the call, so that every allocation counted is the
  // function's own.
  const Request request{
      [&] {
        moved = input;
        return OwnsBlock(moved.text) + OwnsBlock(moved.device_id) + OwnsBlock(moved.client_key);
      },
      [&](std::vector<char>& out) {
        return serializer::GetNavStopActionReqData(std::move(moved.text), std::move(moved.device_id),
                                                   std::move(moved.client_key), out);
      }};
  const Sweep sweep = SweepAllocations("GetNavStopActionReqData", request);
  // Building the message's map propagates; the encoding itself allocates
  // nothing (a failure there would be result 1); the Packet write gives 2.
  ExpectStages("GetNavStopActionReqData", sweep,
               {AtLeastOne(kThrew), AnyNumber(Returned(1, "", "untouched")), AnyNumber(kThrew),
                AtLeastOne(Returned(2, "", "empty"))});
}

// ---- Route plus and guidance slices ----

template <class Param>
void ExpectSliceRequestStages(const char* name, const char* cmd_name,
                              int (*entry)(const Param&, const zv_navi_core::ReqExtraParam&,
                                           std::vector<char>&)) {
  const Param param = navreq::reliability::RealisticSlices<Param>();
  const zv_navi_core::ReqExtraParam extra = RealisticExtra();
  const Request request{NothingHandedIn, [&](std::vector<char>& out) { return entry(param, extra, out); }};
  const GzipWindow gzip = MeasureGzip(request);
  ASSERT_EQ(gzip.calls, 1);
  // The envelope carries the plain body, which is what the compressor was given.
  navkse::duromap::Package package;
  ASSERT_EQ(zv_navi_core::route_req_serializer::GetPackage(package, extra, navkse::duromap::CMD{84}, cmd_name,
                                                           gzip.in, true),
            0);
  const std::uint64_t envelope = CountSerialization(package);

  const Sweep sweep = SweepAllocations(name, request);
  ExpectStages(name, sweep,
               {AtLeastOne(kThrew), AtLeastOne(Returned(2, "", "untouched")),
                Exactly(Returned(1, "", "untouched"), gzip.end - gzip.begin), AnyNumber(kThrew),
                AtLeastOne(Returned(1, "SerializeKSE_header_fail\n", "untouched")), AnyNumber(kThrew),
                Exactly(Returned(1, "", "empty"), envelope)});
}

TEST_F(AllocationFailure, RoutePlusEndsInItsStages) {
  ExpectSliceRequestStages<zv_navi_core::PlusReq>("GetRoutePlus", "REQ_ROUTE_PLUS",
                                                  &serializer::GetRoutePlus);
}

TEST_F(AllocationFailure, GuidanceSliceEndsInItsStages) {
  ExpectSliceRequestStages<zv_navi_core::SliceReq>("GetRouteSlice", "REQ_GUIDANCE_SLICE",
                                                   &serializer::GetRouteSlice);
}

// ---- The harness itself ----

TEST(AllocationFailureHarness, StagesMatchOnlyInOrderAndWithinCounts) {
  const std::vector<std::string> seen = {"a", "a", "b", "c", "c"};
  EXPECT_TRUE(PassesThrough(seen, {Exactly("a", 2), AtLeastOne("b"), AnyNumber("x"), AtLeastOne("c")}));
  EXPECT_FALSE(PassesThrough(seen, {Exactly("a", 1), AtLeastOne("b"), AtLeastOne("c")}));
  EXPECT_FALSE(PassesThrough(seen, {AtLeastOne("a"), AtLeastOne("c"), AtLeastOne("b")}));
  EXPECT_FALSE(PassesThrough(seen, {AtLeastOne("a"), AtLeastOne("b"), Exactly("c", 3)}));
  EXPECT_FALSE(PassesThrough(seen, {AtLeastOne("a"), AtLeastOne("b")}));
}

TEST(AllocationFailureHarness, TheChosenAllocationThrowsAndIsCounted) {
  std::vector<int>* kept = nullptr;
  CallResult run =
      RunOnce(Request{NothingHandedIn,
                      [&](std::vector<char>&) {
                        kept = new std::vector<int>(1, 1);  // allocations 1 (vector) and 2 (its element)
                        std::string text(100, 'x');         // allocation 3 throws
                        return 0;
                      }},
              3);
  EXPECT_TRUE(run.threw);
  EXPECT_EQ(run.allocations, 3u);
  EXPECT_EQ(run.kept, 2);  // the two blocks of `kept`
  delete kept;
}

}  // namespace
