// Reading back what the six entry functions write: every request decodes in
// strict mode with no problem, its body writes back to the same bytes, and
// damaged requests are refused without a crash.
#include "navreq/request_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "navreq/read/walk_problems.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "reliability/realistic_inputs.h"
#include "support/gunzip.h"
#include "support/wire.h"

namespace {

using navreq::DecodedRequest;
using navreq::DecodeRequest;
using navreq::reliability::RealisticExtra;

constexpr std::int64_t kNowMs = 1700000000000;

std::string Problems(const DecodedRequest& r) {
  std::string out;
  for (const navreq::ReadProblem& p : r.problems) out += p.toString() + "\n";
  return out;
}

template <class R>
std::string HexOf(const R& record) {
  std::vector<char> bytes;
  EXPECT_TRUE(zv_navi_core::SerializeKSE(record, bytes));
  return wire::Hex(bytes);
}

std::vector<char> RouteRequest() {
  navreq::services::ScopedClock clock(kNowMs);
  std::vector<char> out;
  EXPECT_EQ(zv_navi_core::drive_route_req_serializer::GetRouteReqData(navreq::reliability::RealisticRoute(),
                                                                      RealisticExtra(), out),
            0u);
  return out;
}

std::vector<char> RefreshRequest() {
  navreq::services::ScopedClock clock(kNowMs);
  std::vector<char> out;
  EXPECT_EQ(zv_navi_core::drive_route_req_serializer::GetRouteRefreshReqData(
                navreq::reliability::RealisticRefresh(), RealisticExtra(), out),
            0);
  return out;
}

std::vector<char> PlusRequest() {
  std::vector<char> out;
  EXPECT_EQ(zv_navi_core::drive_route_req_serializer::GetRoutePlus(
                navreq::reliability::RealisticSlices<zv_navi_core::PlusReq>(), RealisticExtra(), out),
            0);
  return out;
}

std::vector<char> SliceRequest() {
  std::vector<char> out;
  EXPECT_EQ(zv_navi_core::drive_route_req_serializer::GetRouteSlice(
                navreq::reliability::RealisticSlices<zv_navi_core::SliceReq>(), RealisticExtra(), out),
            0);
  return out;
}

std::vector<char> LocationRequest(bool gzip) {
  navreq::services::ScopedClock clock(kNowMs);
  std::vector<char> out;
  EXPECT_EQ(zv_navi_core::drive_route_req_serializer::GetLocationUploadReqData(
                navreq::reliability::RealisticLocation(gzip), RealisticExtra(), out),
            0);
  return out;
}

std::vector<char> StopRequest() {
  navreq::services::ScopedClock clock(kNowMs);
  const navreq::reliability::StopEventInput in;
  std::vector<char> out;
  EXPECT_EQ(zv_navi_core::drive_route_req_serializer::GetNavStopActionReqData(in.text, in.device_id,
                                                                              in.client_key, out),
            0);
  return out;
}

// The envelope read back writes the request's own bytes again.
void ExpectEnvelopeRoundTrip(const DecodedRequest& r, const std::vector<char>& bytes) {
  ASSERT_TRUE(r.envelope_read());
  if (const navreq::PackageEnvelope* p = r.package()) {
    EXPECT_EQ(r.packet(), nullptr);
    EXPECT_EQ(HexOf(p->package), wire::Hex(bytes));
    EXPECT_EQ(HexOf(p->header), wire::Hex(p->package.header));
  } else {
    ASSERT_NE(r.packet(), nullptr);
    EXPECT_EQ(HexOf(*r.packet()), wire::Hex(bytes));
  }
}

TEST(RequestReader, RouteSearch) {
  const std::vector<char> bytes = RouteRequest();
  const DecodedRequest r = DecodeRequest(bytes);
  ASSERT_TRUE(r.ok()) << Problems(r);
  ExpectEnvelopeRoundTrip(r, bytes);
  ASSERT_NE(r.package(), nullptr);
  EXPECT_EQ(r.command->kind, navkse::RequestKind::kRouteSearch);
  EXPECT_TRUE(r.body_gzip);
  EXPECT_EQ(r.package()->header.imei, RealisticExtra().imei);
  const auto* route = std::get_if<navkse::routesearch::CarRouteReq>(&r.body);
  ASSERT_NE(route, nullptr);
  EXPECT_EQ(route->start.point.longitude, 116378624);
  EXPECT_EQ(route->start.point.latitude, 39865195);
  EXPECT_EQ(route->start.primaryText, "北京南站");
  EXPECT_EQ(route->destination.point.latitude, 39136305);
  EXPECT_EQ(HexOf(*route).size() / 2, r.body_size);
  EXPECT_TRUE(r.side_records.guidance.has_value());
  ASSERT_TRUE(r.side_records.rank.has_value());
  EXPECT_EQ(HexOf(*r.side_records.rank), wire::Hex(route->side_records.at("toRank")));
}

TEST(RequestReader, TrafficRefresh) {
  const std::vector<char> bytes = RefreshRequest();
  const DecodedRequest r = DecodeRequest(bytes);
  ASSERT_TRUE(r.ok()) << Problems(r);
  ExpectEnvelopeRoundTrip(r, bytes);
  EXPECT_FALSE(r.body_gzip);
  const auto* batch = std::get_if<navkse::traffic::AllOnRouteReqBatch>(&r.body);
  ASSERT_NE(batch, nullptr);
  EXPECT_EQ(HexOf(*batch), wire::Hex(r.package()->package.body));
}

TEST(RequestReader, RoutePlusAndGuidanceSlice) {
  for (const bool plus : {true, false}) {
    const std::vector<char> bytes = plus ? PlusRequest() : SliceRequest();
    const DecodedRequest r = DecodeRequest(bytes);
    ASSERT_TRUE(r.ok()) << Problems(r);
    ExpectEnvelopeRoundTrip(r, bytes);
    EXPECT_EQ(r.command->kind, plus ? navkse::RequestKind::kRoutePlus : navkse::RequestKind::kGuidanceSlice);
    const auto* slices = std::get_if<navkse::navicore::nav::ugs_guidance_slice_req_t>(&r.body);
    ASSERT_NE(slices, nullptr);
    EXPECT_EQ(slices->slice_session_id, "guidance-session-20231114-0001");
    ASSERT_EQ(slices->slices.size(), 3u);
    EXPECT_EQ(slices->slices[2].slice_value2, 44000);
    EXPECT_EQ(HexOf(*slices), wire::Hex(r.package()->package.body));
  }
}

TEST(RequestReader, LocationUploadPlainAndGzip) {
  for (const bool gzip : {false, true}) {
    const std::vector<char> bytes = LocationRequest(gzip);
    const DecodedRequest r = DecodeRequest(bytes);
    ASSERT_TRUE(r.ok()) << Problems(r);
    ExpectEnvelopeRoundTrip(r, bytes);
    ASSERT_NE(r.packet(), nullptr);
    EXPECT_EQ(r.command->kind, navkse::RequestKind::kLocationUpload);
    EXPECT_EQ(r.body_gzip, gzip);
    const auto* report = std::get_if<navkse::locationReportDMQ::LocationReportRequestDMQ>(&r.body);
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(report->report.points.size(), 3u);
    ASSERT_TRUE(r.extra_data.has_value());
    EXPECT_EQ(r.extra_data->session_id, "navigation-session-20231114-0001");
    EXPECT_EQ(r.extra_data->extra_list.size(), 2u);
  }
}

TEST(RequestReader, NavStopEvent) {
  const std::vector<char> bytes = StopRequest();
  const DecodedRequest r = DecodeRequest(bytes);
  ASSERT_TRUE(r.ok()) << Problems(r);
  ExpectEnvelopeRoundTrip(r, bytes);
  EXPECT_EQ(r.command->kind, navkse::RequestKind::kNavStopEvent);
  ASSERT_NE(r.packet(), nullptr);
  EXPECT_EQ(r.packet()->auth.api_key, "reliability-client-key-000000001");
  const auto* event = std::get_if<navreq::StopEvent>(&r.body);
  ASSERT_NE(event, nullptr);
  EXPECT_TRUE(event->nav_stopped);
  EXPECT_EQ(event->value, "navigation stopped: arrived at the destination");
  EXPECT_EQ(event->timestamp, kNowMs / 1000);
  EXPECT_EQ(event->duration, 0);
  ASSERT_EQ(event->attributes.size(), 1u);
  EXPECT_EQ(event->attributes.at("ulmid"), "860000000000001-reliability-device");
}

TEST(RequestReader, StopEventMapLayoutFromLiteralBytes) {
  // 08 01: flag; 12 02: field 2 with a count of two entries, each key and
  // value as an occurrence of field 2; 1a 00: empty text; 20 7f: time 127.
  const std::vector<char> bytes = wire::UnhexBytes("0801 1202 12016b 120176 12026b32 1200 1a00 207f");
  navreq::StopEvent event;
  std::string error;
  ASSERT_TRUE(navreq::DecodeStopEvent(bytes.data(), bytes.size(), event, error)) << error;
  EXPECT_EQ(event.attributes.at("k"), "v");
  EXPECT_EQ(event.attributes.at("k2"), "");
  EXPECT_EQ(event.timestamp, 127);
  // A count the bytes cannot hold, and an entry cut short.
  const std::vector<char> big = wire::UnhexBytes("12ffffffff0f 1200");
  EXPECT_FALSE(navreq::DecodeStopEvent(big.data(), big.size(), event, error));
  const std::vector<char> cut = wire::UnhexBytes("1201 12056b");
  EXPECT_FALSE(navreq::DecodeStopEvent(cut.data(), cut.size(), event, error));
}

TEST(RequestReader, EveryTruncationIsRefused) {
  for (const std::vector<char>& bytes : {RouteRequest(), RefreshRequest(), PlusRequest(), SliceRequest(),
                                         LocationRequest(true), LocationRequest(false), StopRequest()}) {
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
      const DecodedRequest strict = DecodeRequest(bytes.data(), cut);
      ASSERT_FALSE(strict.ok()) << cut;
      ASSERT_FALSE(strict.problems.empty()) << cut;
      navreq::DecodeOptions tolerant;
      tolerant.mode = navreq::ReadMode::kTolerant;
      ASSERT_FALSE(DecodeRequest(bytes.data(), cut, tolerant).ok()) << cut;
    }
  }
}

TEST(RequestReader, InflateLimit) {
  const std::vector<char> bytes = RouteRequest();
  navreq::DecodeOptions options;
  options.max_inflated_size = 100;
  const DecodedRequest r = DecodeRequest(bytes, options);
  ASSERT_EQ(r.problems.size(), 1u);
  EXPECT_EQ(r.problems[0].kind, navreq::ReadProblemKind::kLimitExceeded);
  EXPECT_EQ(r.problems[0].path, "body");
  EXPECT_TRUE(std::holds_alternative<std::monostate>(r.body));
}

// A capture's body whose Content-Encoding was not undone: the whole request is
// one gzip stream, read inflated as dump reads it.
TEST(RequestReader, AWholeRequestAsOneGzipStreamIsReadInflated) {
  const std::vector<char> bytes = RouteRequest();
  const std::string member = navreq::testing::GzipMember(std::string(bytes.begin(), bytes.end()));
  const DecodedRequest plain = DecodeRequest(bytes);
  const DecodedRequest r = DecodeRequest(member.data(), member.size());
  ASSERT_TRUE(plain.ok());
  ASSERT_TRUE(r.ok());
  EXPECT_TRUE(r.request_gzip);
  EXPECT_FALSE(plain.request_gzip);
  using navkse::routesearch::CarRouteReq;
  ASSERT_TRUE(std::holds_alternative<CarRouteReq>(r.body));
  EXPECT_TRUE(std::get<CarRouteReq>(r.body) == std::get<CarRouteReq>(plain.body));

  // Cut short: one problem, at the top, naming the stream.
  const DecodedRequest cut = DecodeRequest(member.data(), member.size() - 5);
  ASSERT_EQ(cut.problems.size(), 1u);
  EXPECT_EQ(cut.problems[0].kind, navreq::ReadProblemKind::kBadGzip);
  EXPECT_EQ(cut.problems[0].path, "");
  EXPECT_EQ(cut.problems[0].detail.rfind("the request is a gzip stream that does not inflate: ", 0), 0u)
      << cut.problems[0].detail;
  EXPECT_FALSE(cut.envelope_read());

  // Over the inflate limit: the limit's problem, nothing read.
  navreq::DecodeOptions small;
  small.max_inflated_size = 100;
  const DecodedRequest over = DecodeRequest(member.data(), member.size(), small);
  ASSERT_EQ(over.problems.size(), 1u);
  EXPECT_EQ(over.problems[0].kind, navreq::ReadProblemKind::kLimitExceeded);
  EXPECT_FALSE(over.envelope_read());
}

TEST(RequestReader, UnknownCommandAndEnvelope) {
  navkse::duromap::Package package;
  package.cmd = 10101;
  package.cmd_name = "REQ_ROUTE_PLUS";
  std::vector<char> header;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(navkse::duromap::Header(), header));
  package.header = header;
  std::vector<char> bytes;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(package, bytes));
  const DecodedRequest r = DecodeRequest(bytes);
  ASSERT_EQ(r.problems.size(), 1u);
  EXPECT_EQ(r.problems[0].kind, navreq::ReadProblemKind::kUnknownCommand);
  EXPECT_TRUE(r.envelope_read());

  const std::vector<char> text = wire::UnhexBytes("160161");
  const DecodedRequest t = DecodeRequest(text);
  ASSERT_EQ(t.problems.size(), 1u);
  EXPECT_EQ(t.problems[0].kind, navreq::ReadProblemKind::kUnknownEnvelope);
}

TEST(RequestReader, BrokenGzipBody) {
  navkse::duromap::Package package;
  package.cmd = 10101;
  package.cmd_name = "CMD_ROUTE_CAR_SNS";
  std::vector<char> header;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(navkse::duromap::Header(), header));
  package.header = header;
  package.body = wire::UnhexBytes("1f8b0800000000000003ffff");
  std::vector<char> bytes;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(package, bytes));
  const DecodedRequest r = DecodeRequest(bytes);
  ASSERT_EQ(r.problems.size(), 1u);
  EXPECT_EQ(r.problems[0].kind, navreq::ReadProblemKind::kBadGzip);
}

// A route search Package around `body`, gzip-compressed as the command's
// body always is.
std::vector<char> RoutePackage(const std::vector<char>& body) {
  navkse::duromap::Package package;
  package.cmd = 10101;
  package.cmd_name = "CMD_ROUTE_CAR_SNS";
  std::vector<char> header;
  EXPECT_TRUE(zv_navi_core::SerializeKSE(navkse::duromap::Header(), header));
  package.header = header;
  const std::string gz = navreq::testing::GzipMember(std::string(body.begin(), body.end()));
  package.body.assign(gz.begin(), gz.end());
  std::vector<char> bytes;
  EXPECT_TRUE(zv_navi_core::SerializeKSE(package, bytes));
  return bytes;
}

std::string Problems(const std::vector<navreq::ReadProblem>& problems) {
  std::string out;
  for (const navreq::ReadProblem& p : problems) out += p.toString() + "\n";
  return out;
}

TEST(RequestReader, EnvelopeIsWhatWasRead) {
  std::vector<char> body;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(navkse::routesearch::CarRouteReq(), body));
  const std::vector<char> bytes = RoutePackage(body);
  const DecodedRequest whole = DecodeRequest(bytes);
  ASSERT_TRUE(whole.ok()) << Problems(whole);
  ASSERT_NE(whole.package(), nullptr);
  EXPECT_EQ(whole.packet(), nullptr);
  EXPECT_EQ(whole.package()->package.cmd_name, "CMD_ROUTE_CAR_SNS");

  // Cut inside the command name: strict mode keeps no envelope, tolerant
  // mode the Package as far as it read.
  const DecodedRequest strict = DecodeRequest(bytes.data(), 8);
  EXPECT_FALSE(strict.envelope_read());
  EXPECT_TRUE(std::holds_alternative<std::monostate>(strict.envelope));
  EXPECT_EQ(strict.package(), nullptr);
  EXPECT_EQ(strict.packet(), nullptr);
  ASSERT_EQ(strict.problems.size(), 1u);
  navreq::DecodeOptions tolerant;
  tolerant.mode = navreq::ReadMode::kTolerant;
  const DecodedRequest loose = DecodeRequest(bytes.data(), 8, tolerant);
  ASSERT_NE(loose.package(), nullptr);
  EXPECT_EQ(loose.package()->package.version, whole.package()->package.version);
  EXPECT_EQ(Problems(loose), Problems(strict));
  EXPECT_EQ(Problems(navreq::WalkProblems(bytes.data(), 8)), Problems(strict));
}

TEST(RequestReader, ABodyCutShortIsOneProblem) {
  // An empty body: every declared field of the route search is absent.
  const std::vector<char> bytes = RoutePackage({});
  const std::string expected = "body.start @ 0: missing field (record cut short: " +
                               std::to_string(navkse::routesearch::CarRouteReq::kFieldCount) +
                               " declared fields missing from here)\n";
  navreq::DecodeOptions tolerant;
  tolerant.mode = navreq::ReadMode::kTolerant;
  EXPECT_EQ(Problems(DecodeRequest(bytes, tolerant)), expected);
  EXPECT_EQ(Problems(DecodeRequest(bytes)), expected);
  EXPECT_EQ(Problems(navreq::WalkProblems(bytes.data(), bytes.size())), expected);
}

TEST(RequestReader, RepeatedSideRecordKey) {
  navkse::routesearch::CarRouteReq route;
  route.side_records["toRank"] = wire::UnhexBytes("090c 1c 290c 3c");  // ToRankTransInfo, all zero
  route.side_records["toRanx"] = wire::UnhexBytes("ffff");
  std::vector<char> body;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(route, body));
  // "toRanx" becomes "toRank": the map holds the key twice, the second time
  // over bytes that are no record.
  const std::string second = "toRanx";
  const auto at = std::search(body.begin(), body.end(), second.begin(), second.end());
  ASSERT_NE(at, body.end());
  at[5] = 'k';
  const std::size_t key_head = static_cast<std::size_t>(at - body.begin()) - 2;  // head 06, length 06
  const std::vector<char> bytes = RoutePackage(body);
  const std::string expected =
      "body.side_records[toRank] @ " + std::to_string(key_head) + ": duplicate key\n";

  navreq::DecodeOptions tolerant;
  tolerant.mode = navreq::ReadMode::kTolerant;
  const DecodedRequest loose = DecodeRequest(bytes, tolerant);
  EXPECT_EQ(Problems(loose), expected);
  ASSERT_TRUE(loose.side_records.rank.has_value());  // from the first value
  EXPECT_EQ(HexOf(*loose.side_records.rank), "090c1c290c3c");
  EXPECT_EQ(Problems(DecodeRequest(bytes)), expected);
  EXPECT_EQ(Problems(navreq::WalkProblems(bytes.data(), bytes.size())), expected);

  // dump marks the key, and does not decode the bytes under it.
  std::ostringstream text;
  const auto view = navreq::MakeTextView(text, false);
  const navreq::WalkSummary summary =
      navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  EXPECT_EQ(summary.status(), 2);
  EXPECT_EQ(summary.undecoded, 0u);
  EXPECT_NE(text.str().find("! repeated key"), std::string::npos) << text.str();
}

// The problem texts of both readers name what they read and what was declared.
TEST(RequestReader, ProblemTextsNameWhatWasReadAndWhatWasDeclared) {
  navreq::DecodeOptions tolerant;
  tolerant.mode = navreq::ReadMode::kTolerant;
  // A Package whose version (an int16) is the int32 40000.
  const std::vector<char> wide = wire::UnhexBytes("02 00009c40");
  const std::string out_of_range =
      "package.version @ 0: out of range (value 40000, expected int16 (-32768 to 32767))";
  ASSERT_FALSE(DecodeRequest(wide, tolerant).problems.empty());
  EXPECT_EQ(DecodeRequest(wide, tolerant).problems.front().toString(), out_of_range);
  EXPECT_EQ(navreq::WalkProblems(wide.data(), wide.size()).front().toString(), out_of_range);

  // A Package whose cmd_name (a string) is the int8 5.
  const std::vector<char> text = wire::UnhexBytes("0c 10 0a 20 05");
  const std::string mismatch = "package.cmd_name @ 3: type mismatch (string declared, int8 read)";
  ASSERT_FALSE(DecodeRequest(text, tolerant).problems.empty());
  EXPECT_EQ(DecodeRequest(text, tolerant).problems.front().toString(), mismatch);
  EXPECT_EQ(navreq::WalkProblems(text.data(), text.size()).front().toString(), mismatch);
}

}  // namespace
