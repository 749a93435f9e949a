// The 100 MiB string limit through every entry function that writes a string
// the caller hands in: a string of 104,857,601 bytes makes the stage that
// writes it fail with that stage's result and line, and the output vector is
// left as the stage leaves it. (The asan build runs these under
// LeakSanitizer: nothing of the failed call may stay allocated.)
#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/location_session.h"
#include "navreq/requests.h"
#include "reliability/realistic_inputs.h"
#include "support/capture.h"
#include "support/wire.h"

namespace {

namespace serializer = zv_navi_core::drive_route_req_serializer;
using navreq::reliability::RealisticExtra;
using navreq::testing::LogCapture;
using navreq::testing::StdoutCapture;
using Lines = std::vector<std::string>;

constexpr std::size_t kLimit = 104857600;
constexpr std::int64_t kNowMs = 1700000000000;

// One byte longer than the encoding carries.
std::string OverLimit() { return std::string(kLimit + 1, 'x'); }

// What the output vector holds before each call.
const std::vector<char> kStale = {'\x5a', '\x5b', '\x5c'};

struct Outcome {
  int rc = -1;
  std::string printed;
  std::vector<char> out = kStale;
  Lines log;
};

template <class Call>
Outcome RunEntry(Call&& call) {
  navreq::services::ScopedClock clock(kNowMs);
  LogCapture log;
  StdoutCapture stdout_capture;
  Outcome outcome;
  outcome.rc = call(outcome.out);
  outcome.printed = stdout_capture.text();
  outcome.log = log.lines();
  return outcome;
}

// The call returned `rc`, printed exactly `printed` and left the output
// vector as it was before the call; every mismatch is reported.
::testing::AssertionResult FailedKeepingOutput(const Outcome& o, int rc, const std::string& printed) {
  std::string wrong;
  if (o.rc != rc) wrong += "\n  result " + std::to_string(o.rc) + ", expected " + std::to_string(rc);
  if (o.printed != printed) wrong += "\n  printed \"" + o.printed + "\", expected \"" + printed + "\"";
  if (o.out != kStale) wrong += "\n  output changed to " + std::to_string(o.out.size()) + " bytes";
  if (wrong.empty()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << wrong;
}

// ---- Route search ----

Outcome RouteSearch(const zv_navi_core::DriveRouteReqParam& param, const zv_navi_core::ReqExtraParam& extra) {
  return RunEntry([&](std::vector<char>& out) {
    return static_cast<int>(serializer::GetRouteReqData(param, extra, out));
  });
}

TEST(StringLimit, RouteSearchOptionOverLimitFailsTheRequestWrite) {
  auto param = navreq::reliability::RealisticRoute();
  param.routeOption11 = OverLimit();
  const Outcome o = RouteSearch(param, RealisticExtra());
  EXPECT_TRUE(FailedKeepingOutput(o, 1, "SerializeKSE_route_req_fail\n"));
}

TEST(StringLimit, RouteSearchPointNameOverLimitFailsTheRequestWrite) {
  auto param = navreq::reliability::RealisticRoute();
  param.viaPoints[1].secondaryText = OverLimit();
  const Outcome o = RouteSearch(param, RealisticExtra());
  EXPECT_TRUE(FailedKeepingOutput(o, 1, "SerializeKSE_route_req_fail\n"));
}

TEST(StringLimit, RouteSearchDeviceIdOverLimitFailsTheRequestWrite) {
  // The device identifier is written in the request (tag 45) before the
  // envelope's header is built.
  auto extra = RealisticExtra();
  extra.imei = OverLimit();
  const Outcome o = RouteSearch(navreq::reliability::RealisticRoute(), extra);
  EXPECT_TRUE(FailedKeepingOutput(o, 1, "SerializeKSE_route_req_fail\n"));
}

TEST(StringLimit, RouteSearchHeaderStringOverLimitFailsTheEnvelope) {
  // identity_d goes into the envelope's header only.
  auto extra = RealisticExtra();
  extra.identity_d = OverLimit();
  const Outcome o = RouteSearch(navreq::reliability::RealisticRoute(), extra);
  EXPECT_TRUE(FailedKeepingOutput(o, 1, "SerializeKSE_header_fail\nret_pkg_fail\n"));
}

// ---- Route refresh ----

Outcome Refresh(const zv_navi_core::RouteRefreshReqParam& param, const zv_navi_core::ReqExtraParam& extra) {
  return RunEntry(
      [&](std::vector<char>& out) { return serializer::GetRouteRefreshReqData(param, extra, out); });
}

TEST(StringLimit, RefreshTextOverLimitFailsSilently) {
  auto param = navreq::reliability::RealisticRefresh();
  param.primary_text = OverLimit();
  const Outcome o = Refresh(param, RealisticExtra());
  EXPECT_TRUE(FailedKeepingOutput(o, 1, ""));
}

TEST(StringLimit, RefreshRouteSearchStringOverLimitFailsSilently) {
  auto param = navreq::reliability::RealisticRefresh();
  param.route_param.order_id_ = OverLimit();
  const Outcome o = Refresh(param, RealisticExtra());
  EXPECT_TRUE(FailedKeepingOutput(o, 1, ""));
}

TEST(StringLimit, RefreshExplainControlTextOverLimitFailsSilently) {
  auto param = navreq::reliability::RealisticRefresh();
  param.explain_controls.begin()->second.road_links8[0].name = OverLimit();
  const Outcome o = Refresh(param, RealisticExtra());
  EXPECT_TRUE(FailedKeepingOutput(o, 1, ""));
}

TEST(StringLimit, RefreshHeaderStringOverLimitFailsTheEnvelope) {
  auto extra = RealisticExtra();
  extra.identity_d = OverLimit();
  const Outcome o = Refresh(navreq::reliability::RealisticRefresh(), extra);
  EXPECT_TRUE(FailedKeepingOutput(o, 1, "SerializeKSE_header_fail\n"));
}

// ---- Location upload ----

// Keeps the process-wide session state of the other tests as it was.
class LocationStringLimit : public ::testing::Test {
 protected:
  void SetUp() override {
    std::lock_guard<std::mutex> lock(serializer::location_session_mutex());
    saved_session_ = serializer::g_session_id;
    saved_id_ = serializer::loc_sesstion_id;
    saved_sequence_ = serializer::report_sequence_num;
  }
  void TearDown() override {
    std::lock_guard<std::mutex> lock(serializer::location_session_mutex());
    serializer::g_session_id = saved_session_;
    serializer::loc_sesstion_id = saved_id_;
    serializer::report_sequence_num = saved_sequence_;
  }

  static Outcome Upload(const zv_navi_core::LocationUploadParam& param,
                        const zv_navi_core::ReqExtraParam& extra) {
    return RunEntry(
        [&](std::vector<char>& out) { return serializer::GetLocationUploadReqData(param, extra, out); });
  }

 private:
  std::string saved_session_;
  std::int64_t saved_id_ = 0;
  std::uint32_t saved_sequence_ = 0;
};

TEST_F(LocationStringLimit, ExtraTextOverLimitFailsTheExtraDataSilently) {
  auto param = navreq::reliability::RealisticLocation(true);
  param.extra_text2 = OverLimit();
  const Outcome o = Upload(param, RealisticExtra());
  EXPECT_TRUE(FailedKeepingOutput(o, 1, ""));
}

TEST_F(LocationStringLimit, ExtraListEntryOverLimitFailsTheExtraDataSilently) {
  auto param = navreq::reliability::RealisticLocation(false);
  param.extra_list.push_back(OverLimit());
  const Outcome o = Upload(param, RealisticExtra());
  EXPECT_TRUE(FailedKeepingOutput(o, 1, ""));
}

TEST_F(LocationStringLimit, ReportStringOverLimitPrintsOnTheCompressedPath) {
  // identity_e is written in the report's SessionInfo (tag 5).
  auto extra = RealisticExtra();
  extra.identity_e = OverLimit();
  const Outcome o = Upload(navreq::reliability::RealisticLocation(true), extra);
  EXPECT_TRUE(FailedKeepingOutput(o, 1, "SerializeKSE_location_buf_fail\n"));
}

TEST_F(LocationStringLimit, ReportStringOverLimitIsSilentOnThePlainPath) {
  auto extra = RealisticExtra();
  extra.imei = OverLimit();
  const Outcome o = Upload(navreq::reliability::RealisticLocation(false), extra);
  EXPECT_TRUE(FailedKeepingOutput(o, 1, ""));
}

TEST_F(LocationStringLimit, ApiKeyOverLimitFailsThePacketAndEmptiesTheOutput) {
  // The api key is written only in the Packet's credentials, as a string.
  auto extra = RealisticExtra();
  extra.api_key = OverLimit();
  const Outcome o = Upload(navreq::reliability::RealisticLocation(true), extra);
  EXPECT_EQ(o.rc, 1);
  EXPECT_EQ(o.printed, "");
  EXPECT_TRUE(o.out.empty());
}

// ---- Navigation stop event ----

Outcome StopEvent(const std::string& text, const std::string& device_id, const std::string& client_key) {
  return RunEntry([&](std::vector<char>& out) {
    return serializer::GetNavStopActionReqData(text, device_id, client_key, out);
  });
}

TEST(StringLimit, StopEventClientKeyOverLimitFailsThePacket) {
  const Outcome o = StopEvent("navigation stopped", "device-1", OverLimit());
  EXPECT_EQ(o.rc, 2);
  EXPECT_EQ(o.printed, "");
  EXPECT_TRUE(o.out.empty());
  EXPECT_EQ(o.log, Lines{});
}

TEST(StringLimit, StopEventTextOverLimitFailsTheEncoding) {
  // The message is encoded into 4096 bytes long before the Kse limit.
  const Outcome o = StopEvent(OverLimit(), "device-1", "key-1");
  EXPECT_EQ(o.rc, 1);
  EXPECT_EQ(o.out, kStale);
  EXPECT_EQ(o.log, Lines{"L3 E2 GetNavStopActionReqData_Failed_to_encode"});
}

TEST(StringLimit, StopEventDeviceIdOverLimitFailsTheEncoding) {
  const Outcome o = StopEvent("navigation stopped", OverLimit(), "key-1");
  EXPECT_EQ(o.rc, 1);
  EXPECT_EQ(o.out, kStale);
  EXPECT_EQ(o.log, Lines{"L3 E2 GetNavStopActionReqData_Failed_to_encode"});
}

// ---- Route plus and guidance slices ----

zv_navi_core::ReqExtraParam DevExtra() {
  zv_navi_core::ReqExtraParam extra;
  extra.imei = "dev";
  extra.api_key = "k";
  return extra;
}

TEST(StringLimit, RoutePlusSessionOverLimitFailsWithTwo) {
  zv_navi_core::PlusReq param;
  param.slice_session_id = OverLimit();
  const Outcome o =
      RunEntry([&](std::vector<char>& out) { return serializer::GetRoutePlus(param, DevExtra(), out); });
  EXPECT_TRUE(FailedKeepingOutput(o, 2, ""));
  // The lines before the write are logged; the success line is not.
  ASSERT_EQ(o.log.size(), 2u);
  EXPECT_EQ(
      o.log[0].size(),
      std::string("L0 E8 RoutePlus::RequestPlus request serialize slice_session_id ").size() + kLimit + 1);
  EXPECT_EQ(o.log[1], "L0 E8 RoutePlus::RequestPlus request serialize slice_size 0");
}

TEST(StringLimit, GuidanceSliceTextOverLimitFailsWithTwo) {
  zv_navi_core::SliceReq param;
  param.slice_session_id = "s1";
  param.slices.resize(1);
  param.slices[0].slice_text = OverLimit();
  const Outcome o =
      RunEntry([&](std::vector<char>& out) { return serializer::GetRouteSlice(param, DevExtra(), out); });
  EXPECT_TRUE(FailedKeepingOutput(o, 2, ""));
  ASSERT_EQ(o.log.size(), 3u);
  EXPECT_EQ(o.log[1], "L0 E8 RoutePlus::RequestSlice request serialize slice_session_id s1");
  EXPECT_EQ(o.log[2], "L0 E8 RoutePlus::RequestSlice request serialize slice_size 1");
}

TEST(StringLimit, RoutePlusHeaderStringOverLimitFailsTheEnvelope) {
  zv_navi_core::PlusReq param;
  param.slice_session_id = "s1";
  auto extra = DevExtra();
  extra.identity_h = OverLimit();
  const Outcome o =
      RunEntry([&](std::vector<char>& out) { return serializer::GetRoutePlus(param, extra, out); });
  EXPECT_TRUE(FailedKeepingOutput(o, 1, "SerializeKSE_header_fail\n"));
}

// The limit is on strings: an api key of more than 100 MiB travels as the
// envelope entry's byte array and is written.
TEST(StringLimit, RoutePlusApiKeyOverLimitIsWrittenAsBytes) {
  zv_navi_core::PlusReq param;
  param.slice_session_id = "s1";
  auto extra = DevExtra();
  extra.api_key = OverLimit();
  const Outcome o =
      RunEntry([&](std::vector<char>& out) { return serializer::GetRoutePlus(param, extra, out); });
  ASSERT_EQ(o.rc, 0);
  EXPECT_EQ(o.printed, "");
  // The envelope ends with the entry's value (tag 1: 1d 00, count 02 06 40 00
  // 01, the bytes) and the end of the entry record (0b).
  ASSERT_GT(o.out.size(), kLimit + 8);
  const char* value = o.out.data() + o.out.size() - 1 - (kLimit + 1);
  EXPECT_EQ(wire::Hex(value - 7, 7), "1d000206400001");
  EXPECT_EQ(std::string(value, kLimit + 1), extra.api_key);
  EXPECT_EQ(o.out.back(), '\x0b');
}

// A string of exactly 100 MiB is still written, in the long form.
TEST(StringLimit, RoutePlusSessionAtTheLimitIsWritten) {
  zv_navi_core::PlusReq param;
  param.slice_session_id.assign(kLimit, 'x');
  const Outcome o =
      RunEntry([&](std::vector<char>& out) { return serializer::GetRoutePlus(param, DevExtra(), out); });
  ASSERT_EQ(o.rc, 0);
  EXPECT_EQ(o.printed, "");

  // The Header for imei "dev": every field at its default except tag 8 and
  // tag 22 ("dev": no alternative device id) and tag 14 ("0").
  const std::string header =
      wire::Int(0, 0) + wire::Struct(1, wire::Int(0, 0) + wire::Str(1, "") + wire::Int(2, 0)) +
      wire::Int(2, 0) + wire::Str(3, "") + wire::Str(4, "") + wire::Str(5, "") + wire::Str(6, "") +
      wire::Str(7, "") + wire::Str(8, "dev") + wire::Str(9, "") + wire::Str(10, "") + wire::Str(11, "") +
      wire::Str(12, "") + wire::Str(13, "") + wire::Str(14, "0") + wire::Str(15, "") + wire::Str(16, "") +
      wire::Str(17, "") + wire::Int(18, 0) + wire::Str(19, "") + wire::Int(20, 0) + wire::Str(21, "") +
      wire::Str(22, "dev") + wire::Str(23, "") + wire::Str(24, "") + wire::Bytes(25, std::string()) +
      wire::Str(26, "") + wire::Str(27, "") + wire::Str(28, "") + wire::Str(29, "") + wire::Str(30, "") +
      wire::Str(31, "") + wire::Bytes(32, std::string());
  ASSERT_EQ(header.size() % 2, 0u);
  // The body: tag 0 in the long form (07, length 06 40 00 00), the 100 MiB,
  // then an empty slice list (19 0c): 104,857,607 = 0x06400007 bytes.
  const std::string before_text = wire::Int(0, 0) + wire::Int(1, 84) + wire::Str(2, "REQ_ROUTE_PLUS") +
                                  wire::Int(3, 0) + wire::Int(4, 3) + wire::Str(5, "") + wire::Str(6, "0") +
                                  "7d00" + wire::Int(0, static_cast<std::int64_t>(header.size() / 2)) +
                                  header +
                                  "8d00"
                                  "0206400007"
                                  "0706400000";
  const std::string after_text =
      "190c" + wire::List(9, 1) + wire::Struct(0, wire::Str(0, "apikey") + wire::Bytes(1, std::string("k")));
  ASSERT_EQ(o.out.size(), before_text.size() / 2 + kLimit + after_text.size() / 2);
  EXPECT_EQ(wire::Hex(o.out.data(), before_text.size() / 2), before_text);
  const char* text = o.out.data() + before_text.size() / 2;
  EXPECT_EQ(std::string(text, kLimit), param.slice_session_id);
  EXPECT_EQ(wire::Hex(text + kLimit, after_text.size() / 2), after_text);
}

}  // namespace
