// The one envelope detector, two requests back to back, and a body sent
// plain where the command table says it is always gzip-compressed: the same
// verdict from DecodeRequest, the walk (dump and its views) and diff.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/read/diff.h"
#include "navreq/read/envelope.h"
#include "navreq/read/views.h"
#include "navreq/request_reader.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "reliability/realistic_inputs.h"
#include "support/gunzip.h"
#include "support/route_request.h"
#include "support/walk_capture.h"
#include "support/wire.h"

namespace {

using navkse::Envelope;
using navreq::DetectEnvelope;
using navreq::SecondRequestAt;

// Heads: tag << 4 | type; 0c is tag 0 with the zero head, 10 05 tag 1 int8
// 5, 1a / 0b a record's begin at tag 1 and its end.
const std::string kPackageStart = wire::Unhex("0c 1005");    // version 0, cmd 5
const std::string kPacketStart = wire::Unhex("0002 1a 0b");  // kind 2, empty credentials

TEST(Envelope, DetectedFromTheFirstFields) {
  EXPECT_EQ(DetectEnvelope(kPackageStart), Envelope::kPackage);
  EXPECT_EQ(DetectEnvelope(kPacketStart), Envelope::kPacket);
  // Tag 0 alone fits both: a Package.
  EXPECT_EQ(DetectEnvelope(wire::Unhex("0c")), Envelope::kPackage);
  // A string at tag 1 first, a cut head, nothing: neither.
  EXPECT_EQ(DetectEnvelope(wire::Unhex("160161")), std::nullopt);
  EXPECT_EQ(DetectEnvelope(wire::Unhex("f0")), std::nullopt);
  EXPECT_EQ(DetectEnvelope(""), std::nullopt);
}

TEST(Envelope, SecondRequestStartsWhereTagsStopAscending) {
  EXPECT_EQ(SecondRequestAt(kPackageStart), std::nullopt);
  EXPECT_EQ(SecondRequestAt(kPackageStart + kPackageStart), 3u);
  EXPECT_EQ(SecondRequestAt(kPacketStart + kPackageStart), 4u);
  EXPECT_EQ(SecondRequestAt(kPackageStart + kPacketStart), 3u);
  // A repeated tag 0 alone is not a request: the readers report it as a tag.
  EXPECT_EQ(SecondRequestAt(kPackageStart + wire::Unhex("0c")), std::nullopt);
  // Nor is a repeated field that goes on with another tag 1 string.
  EXPECT_EQ(SecondRequestAt(kPackageStart + wire::Unhex("0c 160161")), std::nullopt);
  // Bytes that do not read before the repeat: the readers say where.
  EXPECT_EQ(SecondRequestAt(wire::Unhex("0c 1f")), std::nullopt);
}

using navreq::testing::RealisticRouteRequest;

std::vector<char> RefreshRequest() {
  navreq::services::ScopedClock clock(1700000000000);
  std::vector<char> out;
  EXPECT_EQ(zv_navi_core::drive_route_req_serializer::GetRouteRefreshReqData(
                navreq::reliability::RealisticRefresh(), navreq::reliability::RealisticExtra(), out),
            0);
  return out;
}

int WalkStatus(const std::vector<char>& bytes, navreq::testing::VerdictSink& sink) {
  return navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), sink).status();
}

std::string TextDump(const std::vector<char>& bytes) {
  std::ostringstream out;
  {
    const std::unique_ptr<navreq::TreeSink> view = navreq::MakeTextView(out, false);
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  return out.str();
}

TEST(Envelope, TwoRequestsBackToBack) {
  const std::vector<char> route = RealisticRouteRequest();
  std::vector<char> both = route;
  const std::vector<char> refresh = RefreshRequest();
  both.insert(both.end(), refresh.begin(), refresh.end());
  EXPECT_EQ(SecondRequestAt(std::string_view(both.data(), both.size())), route.size());

  const navreq::DecodedRequest strict = navreq::DecodeRequest(both);
  ASSERT_EQ(strict.problems.size(), 1u);
  EXPECT_EQ(strict.problems[0].kind, navreq::ReadProblemKind::kTrailingBytes);
  EXPECT_EQ(strict.problems[0].offset, route.size());
  EXPECT_EQ(strict.problems[0].detail, "a second request starts here");
  EXPECT_FALSE(strict.envelope_read());

  navreq::DecodeOptions tolerant;
  tolerant.mode = navreq::ReadMode::kTolerant;
  const navreq::DecodedRequest first = navreq::DecodeRequest(both, tolerant);
  ASSERT_EQ(first.problems.size(), 1u);
  EXPECT_EQ(first.problems[0].offset, route.size());
  ASSERT_NE(first.command, nullptr);
  EXPECT_EQ(first.command->kind, navkse::RequestKind::kRouteSearch);
  EXPECT_TRUE(std::holds_alternative<navkse::routesearch::CarRouteReq>(first.body));

  navreq::testing::VerdictSink walked;
  EXPECT_EQ(WalkStatus(both, walked), 1);
  EXPECT_EQ(walked.envelope, "Package");
  ASSERT_EQ(walked.stops.size(), 1u);
  EXPECT_EQ(walked.stops[0].offset, route.size());
  EXPECT_EQ(walked.stops[0].why, "a second request starts here");
  EXPECT_NE(TextDump(both).find("decoding stopped at offset " + std::to_string(route.size()) +
                                ": a second request starts here"),
            std::string::npos);
}

// The route search with its body sent plain, every other byte as written.
std::vector<char> PlainRouteSearch() {
  const navreq::DecodedRequest real = navreq::DecodeRequest(RealisticRouteRequest());
  EXPECT_TRUE(real.ok());
  navkse::duromap::Package package = real.package()->package;
  package.body = navreq::testing::Gunzip(package.body);
  std::vector<char> bytes;
  EXPECT_TRUE(zv_navi_core::SerializeKSE(package, bytes));
  return bytes;
}

constexpr const char* kSentPlain = "sent plain, though this command's body is always gzip-compressed";

TEST(Envelope, RouteSearchBodySentPlainIsAProblem) {
  const std::vector<char> plain = PlainRouteSearch();
  const navreq::DecodedRequest strict = navreq::DecodeRequest(plain);
  EXPECT_TRUE(strict.envelope_read());
  ASSERT_EQ(strict.problems.size(), 1u);
  EXPECT_EQ(strict.problems[0].kind, navreq::ReadProblemKind::kBadGzip);
  EXPECT_EQ(strict.problems[0].path, "body");
  EXPECT_EQ(strict.problems[0].detail, kSentPlain);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(strict.body));

  navreq::DecodeOptions tolerant;
  tolerant.mode = navreq::ReadMode::kTolerant;
  const navreq::DecodedRequest read = navreq::DecodeRequest(plain, tolerant);
  ASSERT_EQ(read.problems.size(), 1u);
  EXPECT_FALSE(read.body_gzip);
  EXPECT_TRUE(std::holds_alternative<navkse::routesearch::CarRouteReq>(read.body));

  navreq::testing::VerdictSink walked;
  EXPECT_EQ(WalkStatus(plain, walked), 2);
  EXPECT_TRUE(walked.stops.empty());
  ASSERT_EQ(walked.encoding_problems.size(), 1u);
  EXPECT_EQ(walked.encoding_problems[0], kSentPlain);
  EXPECT_NE(TextDump(plain).find(std::string("-> CarRouteReq  ! ") + kSentPlain), std::string::npos);

  const std::vector<char> real = RealisticRouteRequest();
  const std::vector<navreq::Difference> diffs = navreq::DiffRequests(
      std::string(real.begin(), real.end()), std::string(plain.begin(), plain.end()), {});
  ASSERT_EQ(diffs.size(), 1u);
  EXPECT_EQ(diffs[0].path, "body.<encoding>");
  EXPECT_TRUE(diffs[0].only_b);
  EXPECT_EQ(diffs[0].b, std::string("\"") + kSentPlain + "\"");
}

TEST(Envelope, RefreshBodyFlaggedGzipButSentPlainByDesign) {
  const std::vector<char> refresh = RefreshRequest();
  const navreq::DecodedRequest r = navreq::DecodeRequest(refresh);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.package()->package.body_encoding, navkse::duromap::kBodyGzip);
  EXPECT_FALSE(r.body_gzip);
  navreq::testing::VerdictSink walked;
  EXPECT_EQ(WalkStatus(refresh, walked), 0);
  EXPECT_TRUE(walked.encoding_problems.empty());
}

TEST(Envelope, StopEventFieldNumbersAreTheSchemas) {
  // 08 01: nav_stopped; 1a 01 78: value "x"; 20 05: timestamp; 28 07: duration.
  const std::vector<char> bytes = wire::UnhexBytes("0801 1a0178 2005 2807");
  navreq::StopEvent event;
  std::string error;
  ASSERT_TRUE(navreq::DecodeStopEvent(bytes.data(), bytes.size(), event, error)) << error;
  EXPECT_TRUE(event.nav_stopped);
  EXPECT_EQ(event.value, "x");
  EXPECT_EQ(event.timestamp, 5);
  EXPECT_EQ(event.duration, 7);
  // A value that is a varint, and nav_stopped 2: refused with where.
  const std::vector<char> wrong = wire::UnhexBytes("0801 1801");
  EXPECT_FALSE(navreq::DecodeStopEvent(wrong.data(), wrong.size(), event, error));
  EXPECT_EQ(error, "value is not a string: wire type 0 read at offset 2");
  const std::vector<char> two = wire::UnhexBytes("0802");
  EXPECT_FALSE(navreq::DecodeStopEvent(two.data(), two.size(), event, error));
  EXPECT_EQ(error, "nav_stopped is 2, expected 0 or 1 at offset 0");
}

TEST(Envelope, StopEventRefusalsSayWhere) {
  struct Case {
    const char* hex;
    const char* error;
  };
  const Case cases[] = {
      // An unknown field 6 of each wire type the reader skips, then a cut varint.
      {"3001 3101020304050607 08 3201ff 3501020304 38ff", "message cut short inside a varint at offset 21"},
      {"3b", "protocol-buffers wire type 3 is not read at offset 1"},
      {"1a05 6869", "length 5 exceeds the 2 bytes left at offset 0"},
      {"08ffffffffffffffffffff01", "varint longer than 10 bytes at offset 11"},
      {"2001 2a00", "duration is not an int64: wire type 2 read at offset 2"},
      {"1001", "attributes are not the map layout: wire type 0 read at offset 0"},
      {"1201 1a0161 12016b",
       "attribute entry is not the attributes field: field 3 wire type 2 read at offset 2"},
      {"1202 12016b 120176 12016b 120177", "duplicate attribute key \"k\" at offset 1"},
  };
  for (const Case& c : cases) {
    const std::vector<char> bytes = wire::UnhexBytes(c.hex);
    navreq::StopEvent event;
    std::string error;
    EXPECT_FALSE(navreq::DecodeStopEvent(bytes.data(), bytes.size(), event, error)) << c.hex;
    EXPECT_EQ(error, c.error) << c.hex;
  }
}

}  // namespace
