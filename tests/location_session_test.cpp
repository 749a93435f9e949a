// The location session identifier's three random digits: the engine's own
// draw, a fixed source through the seam, and the seeded generator; a fresh
// session started by the library.
#include "navreq/location_session.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/requests.h"

namespace {

namespace drs = zv_navi_core::drive_route_req_serializer;

// Sets the process-wide session state for one test and puts back what it
// found (the sequence number included).
class SessionState {
 public:
  SessionState(const std::string& session, std::int64_t loc_id) {
    std::lock_guard<std::mutex> lock(drs::location_session_mutex());
    saved_session_ = drs::g_session_id;
    saved_id_ = drs::loc_sesstion_id;
    saved_sequence_ = drs::report_sequence_num;
    drs::g_session_id = session;
    drs::loc_sesstion_id = loc_id;
  }
  ~SessionState() {
    std::lock_guard<std::mutex> lock(drs::location_session_mutex());
    drs::g_session_id = saved_session_;
    drs::loc_sesstion_id = saved_id_;
    drs::report_sequence_num = saved_sequence_;
  }
  SessionState(const SessionState&) = delete;
  SessionState& operator=(const SessionState&) = delete;

  static std::int64_t Identifier() {
    std::lock_guard<std::mutex> lock(drs::location_session_mutex());
    return drs::loc_sesstion_id;
  }

 private:
  std::string saved_session_;
  std::int64_t saved_id_ = 0;
  std::uint32_t saved_sequence_ = 0;
};

// Uploads an empty report of `session` at `now_ms` (no sequence number used).
void Upload(const std::string& session, std::int64_t now_ms) {
  navreq::services::ScopedClock clock(now_ms);
  zv_navi_core::LocationUploadParam p;
  p.session_id = session;
  std::vector<char> out;
  ASSERT_EQ(drs::GetLocationUploadReqData(p, zv_navi_core::ReqExtraParam{}, out), 0);
}

TEST(SessionDigits, WithoutASourceTheDigitsAreRandom) {
  // The engine's own draw: only its range can be checked.
  SessionState state("A", 555);
  Upload("B", 2000);
  EXPECT_GE(SessionState::Identifier(), 2000000);
  EXPECT_LE(SessionState::Identifier(), 2000999);
}

TEST(SessionDigits, SeededGeneratorGivesTheStandardOutputsModulo1000) {
  // The standard fixes std::mt19937_64 with its default seed 5489: the first
  // output is 14514284786278117030 and the 10000th is 9981545732273789042.
  navreq::SessionDigitSource digits = navreq::SeededSessionDigits(5489);
  EXPECT_EQ(digits(), 30);
  for (int i = 2; i < 10000; ++i) digits();
  EXPECT_EQ(digits(), 42);
  // The same seed gives the same digits; a source is a value of its own.
  navreq::SessionDigitSource again = navreq::SeededSessionDigits(5489);
  EXPECT_EQ(again(), 30);
}

TEST(SessionDigits, SeededDigitsMakeTheIdentifier) {
  SessionState state("", 0);
  navreq::ScopedSessionDigits digits(navreq::SeededSessionDigits(5489));
  Upload("first", 1700000000123);
  EXPECT_EQ(SessionState::Identifier(), 1700000000123030);
}

TEST(SessionDigits, GuardsNestAndTheInnermostWins) {
  SessionState state("", 0);
  navreq::ScopedSessionDigits outer([] { return 1; });
  {
    navreq::ScopedSessionDigits inner([] { return 2; });
    Upload("a", 5);
    EXPECT_EQ(SessionState::Identifier(), 5002);
  }
  Upload("b", 6);
  EXPECT_EQ(SessionState::Identifier(), 6001);
}

// A report of two fixes in `session` at `now_ms`: the bytes of the upload.
std::vector<char> UploadFixes(const std::string& session, std::int64_t now_ms) {
  navreq::services::ScopedClock clock(now_ms);
  zv_navi_core::LocationUploadParam p;
  p.session_id = session;
  p.locations.resize(2);
  p.locations[0].longitude = 116.4;
  p.locations[0].latitude = 39.9;
  p.locations[0].timeSeconds = 1700000000;
  p.locations[1] = p.locations[0];
  p.locations[1].timeSeconds = 1700000001;
  std::vector<char> out;
  EXPECT_EQ(drs::GetLocationUploadReqData(p, zv_navi_core::ReqExtraParam{}, out), 0);
  return out;
}

// The session state as one value, read under the lock.
struct Snapshot {
  std::string session;
  std::int64_t identifier;
  std::uint32_t sequence;
};
Snapshot Now() {
  std::lock_guard<std::mutex> lock(drs::location_session_mutex());
  return {drs::g_session_id, drs::loc_sesstion_id, drs::report_sequence_num};
}

TEST(FreshSession, ResetsSessionIdentifierAndSequence) {
  SessionState state("old", 42);
  (void)UploadFixes("old", 5);  // takes a sequence number
  navreq::StartFreshLocationSession();
  const Snapshot fresh = Now();
  EXPECT_EQ(fresh.session, "");
  EXPECT_EQ(fresh.identifier, 0);
  EXPECT_EQ(fresh.sequence, 0u);
}

TEST(FreshSession, TheSameUploadGivesTheSameBytesTwice) {
  SessionState state("", 0);
  std::vector<char> first;
  {
    navreq::ScopedSessionDigits digits(navreq::SeededSessionDigits(7));
    navreq::StartFreshLocationSession();
    first = UploadFixes("trip", 1700000000000);
  }
  const Snapshot after = Now();
  EXPECT_EQ(after.sequence, 1u);
  EXPECT_EQ(after.identifier / 1000, 1700000000000);

  // Without a fresh session the next upload carries the next sequence number.
  std::vector<char> carried;
  {
    navreq::ScopedSessionDigits digits(navreq::SeededSessionDigits(7));
    carried = UploadFixes("trip", 1700000000000);
  }
  EXPECT_NE(carried, first);

  std::vector<char> again;
  {
    navreq::ScopedSessionDigits digits(navreq::SeededSessionDigits(7));
    navreq::StartFreshLocationSession();
    again = UploadFixes("trip", 1700000000000);
  }
  ASSERT_FALSE(first.empty());
  EXPECT_EQ(again, first);
}

}  // namespace
