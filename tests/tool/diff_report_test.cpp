// The library's diff beyond the differences: each input's first problem and
// dump status, the two requests' commands, --ignore patterns that match no
// path, the differences sent to a sink in the order collected, and the JSON
// array written one difference at a time.
#include <gtest/gtest.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "navreq/read/diff.h"
#include "support/wire.h"
#include "tool_run.h"

namespace {

using namespace wire;
using navreq::CollectDifferences;
using navreq::DiffOptions;
using navreq::DiffReport;
using navreq::testing::FromHex;

std::string Golden(const std::string& kind) { return navreq::testing::ExampleBytes(kind); }

// The slice example with its body replaced by `body` (the Package's tag 8).
std::string SliceWithBody(const std::string& body) {
  const std::string whole = Golden("slice");
  const std::string session = FromHex(Str(0, "guid-20231114-0001"));
  const std::size_t at = whole.find(session);
  EXPECT_NE(at, std::string::npos);
  // The example's body: 76 bytes under a 4-byte head and count.
  const std::string original = whole.substr(at, 76);
  EXPECT_EQ(whole.substr(at - 4, 80), FromHex(Bytes(8, original)));
  return whole.substr(0, at - 4) + FromHex(Bytes(8, body)) + whole.substr(at + 76);
}

std::string SliceBody(int value1 = 300) {
  return FromHex(Str(0, "guid-20231114-0001") + List(1, 1) +
                 Struct(0, Str(0, "lane") + Int(1, value1) + Int(2, 2000)));
}

DiffReport Report(const std::string& a, const std::string& b, const DiffOptions& options = {}) {
  return CollectDifferences(a, b, options).report;
}

std::string Lines(const std::vector<navreq::Difference>& diffs) {
  std::string out;
  for (const auto& d : diffs) out += navreq::DifferenceLine(d) + "\n";
  return out;
}

TEST(DiffReport, CleanRequestsOfOneCommand) {
  const DiffReport r = Report(SliceWithBody(SliceBody(300)), SliceWithBody(SliceBody(301)));
  EXPECT_EQ(r.a.status, 0) << r.a.problem;
  EXPECT_EQ(r.b.status, 0) << r.b.problem;
  EXPECT_EQ(r.a.problem, "");
  EXPECT_EQ(r.a.kind, "REQ_GUIDANCE_SLICE");
  EXPECT_EQ(r.b.kind, "REQ_GUIDANCE_SLICE");
  EXPECT_FALSE(r.kind_mismatch);
  EXPECT_EQ(r.differences, 1u);
  EXPECT_EQ(r.status(), 1);
  EXPECT_TRUE(navreq::DiffTroubleLines(r).empty());
  EXPECT_EQ(Report(Golden("slice"), Golden("slice")).status(), 0);
}

TEST(DiffReport, TheFirstProblemOfEachInput) {
  const std::string clean = Golden("slice");
  // An undeclared tag at the end of the body.
  const DiffReport unknown = Report(clean, SliceWithBody(SliceBody() + FromHex(Int(5, 1))));
  EXPECT_EQ(unknown.a.status, 0);
  EXPECT_EQ(unknown.b.status, 2);
  EXPECT_EQ(unknown.b.problem, "body.5: unknown tag 5");
  EXPECT_EQ(unknown.status(), 2);
  EXPECT_EQ(navreq::DiffTroubleLines(unknown), std::vector<std::string>{"B: body.5: unknown tag 5"});
  // A body without its list of slices.
  const DiffReport missing = Report(SliceWithBody(FromHex(Str(0, "guid-20231114-0001"))), clean);
  EXPECT_EQ(missing.a.status, 2);
  EXPECT_EQ(missing.a.problem, "body: missing: 1 slices (list<ugs_guidance_slice_params_t>)");
  EXPECT_EQ(missing.b.status, 0);
  // A slice value in a string head.
  const DiffReport typed =
      Report(SliceWithBody(
                 FromHex(Str(0, "g") + List(1, 1) + Struct(0, Str(0, "lane") + Str(1, "x") + Int(2, 2000)))),
             clean);
  EXPECT_EQ(typed.a.status, 2);
  EXPECT_EQ(typed.a.problem, "body.slices[0].slice_value1: type mismatch: declared int32, head string");
  // Cut short: decoding stops, dump's status 1.
  const DiffReport cut = Report(clean, clean.substr(0, 100));
  EXPECT_EQ(cut.b.status, 1);
  EXPECT_NE(cut.b.problem.find("decoding stopped at offset "), std::string::npos) << cut.b.problem;
  EXPECT_EQ(cut.status(), 2);
  // Both: A's line first.
  const DiffReport both = Report(clean.substr(0, 100), SliceWithBody(SliceBody() + FromHex(Int(5, 1))));
  const std::vector<std::string> lines = navreq::DiffTroubleLines(both);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].rfind("A: ", 0), 0u) << lines[0];
  EXPECT_EQ(lines[1], "B: body.5: unknown tag 5");
  // Bytes that are no request at all.
  const DiffReport none = Report(FromHex(Str(0, "x")), clean);
  EXPECT_EQ(none.a.status, 2);
  EXPECT_EQ(none.a.kind, "");
  EXPECT_EQ(none.a.problem, "no envelope recognised: neither a Package nor a Packet");
}

TEST(DiffReport, RequestsOfDifferentCommands) {
  const navreq::DiffResult route_plus = CollectDifferences(Golden("route"), Golden("plus"), {});
  EXPECT_EQ(route_plus.report.a.kind, "CMD_ROUTE_CAR_SNS");
  EXPECT_EQ(route_plus.report.b.kind, "REQ_ROUTE_PLUS");
  EXPECT_TRUE(route_plus.report.kind_mismatch);
  EXPECT_EQ(route_plus.report.status(), 2);
  EXPECT_EQ(Lines(route_plus.differences),
            "cmd: 10101 -> 84\n"
            "cmd_name: \"CMD_ROUTE_CAR_SNS\" -> \"REQ_ROUTE_PLUS\"\n"
            "body: record CarRouteReq -> record ugs_guidance_slice_req_t\n");
  EXPECT_EQ(
      navreq::DiffTroubleLines(route_plus.report),
      std::vector<std::string>{"A is CMD_ROUTE_CAR_SNS, B is REQ_ROUTE_PLUS: requests of different commands "
                               "(--force compares them all the same)"});
  // One body record under two commands: the bodies are compared by name.
  const navreq::DiffResult plus_slice = CollectDifferences(Golden("plus"), Golden("slice"), {});
  EXPECT_TRUE(plus_slice.report.kind_mismatch);
  EXPECT_NE(
      Lines(plus_slice.differences).find("body.slices[1].slice_text: \"camera\" -> \"junction-view\"\n"),
      std::string::npos)
      << Lines(plus_slice.differences);
  // Packets: by kind.
  const navreq::DiffResult packets = CollectDifferences(Golden("location"), Golden("navstop"), {});
  EXPECT_EQ(packets.report.a.kind, "Packet kind 1 (GetLocationUploadReqData)");
  EXPECT_EQ(packets.report.b.kind, "Packet kind 2 (GetNavStopActionReqData)");
  EXPECT_TRUE(packets.report.kind_mismatch);
  EXPECT_NE(Lines(packets.differences)
                .find("payload: record LocationReportRequestDMQ -> protocol-buffers message\n"),
            std::string::npos)
      << Lines(packets.differences);
  // Forced: no mismatch; a field is named only where both records name it alike.
  DiffOptions force;
  force.force = true;
  const navreq::DiffResult forced = CollectDifferences(Golden("route"), Golden("plus"), force);
  EXPECT_FALSE(forced.report.kind_mismatch);
  EXPECT_EQ(forced.report.status(), 1);
  const std::string text = Lines(forced.differences);
  EXPECT_NE(text.find("\nbody.0: struct -> string \"guid-20231114-0001\"\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("body.start"), std::string::npos) << text;
}

TEST(DiffReport, IgnorePatternsThatMatchNoPath) {
  const std::string one = SliceWithBody(SliceBody(300));
  const std::string two = SliceWithBody(FromHex(Str(0, "guid-20231114-0001") + List(1, 2) +
                                                Struct(0, Str(0, "lane") + Int(1, 301) + Int(2, 2000)) +
                                                Struct(0, Str(0, "camera") + Int(1, 7) + Int(2, 8))));
  DiffOptions o;
  o.ignore = {"body.slices[0].slice_value1", "body.nothing", "**.slice_text"};
  const navreq::DiffResult r = CollectDifferences(one, two, o);
  EXPECT_EQ(Lines(r.differences), "body.slices[1]: only in B\n");
  EXPECT_EQ(r.report.unmatched_ignores, std::vector<std::string>{"body.nothing"});
  EXPECT_EQ(r.report.status(), 1);
  // Paths under a value left out, or under one only in A or only in B, are
  // paths of the requests all the same.
  o.ignore = {"body", "body.slices[0].slice_value1"};
  EXPECT_TRUE(CollectDifferences(one, two, o).report.unmatched_ignores.empty());
  o.ignore = {"body.slices[1].slice_value2"};
  EXPECT_TRUE(CollectDifferences(one, two, o).report.unmatched_ignores.empty());
  EXPECT_TRUE(CollectDifferences(two, one, o).report.unmatched_ignores.empty());
  o.ignore = {"body.slices[2]"};
  EXPECT_EQ(CollectDifferences(two, one, o).report.unmatched_ignores, o.ignore);
}

TEST(DiffStream, TheSinkGetsEachDifferenceInTheCollectedOrder) {
  const std::string a = Golden("plus");
  const std::string b = Golden("slice");
  std::vector<std::string> streamed;
  DiffOptions o;
  o.ignore = {"cmd_name"};
  const DiffReport r = navreq::DiffRequests(
      a, b, o, [&streamed](const navreq::Difference& d) { streamed.push_back(navreq::DifferenceLine(d)); });
  std::vector<std::string> collected;
  for (const auto& d : navreq::DiffRequests(a, b, o.ignore)) collected.push_back(navreq::DifferenceLine(d));
  EXPECT_EQ(streamed, collected);
  EXPECT_EQ(r.differences, streamed.size());
  ASSERT_GE(streamed.size(), 3u);
  EXPECT_EQ(streamed.front(), "body.slices[1].slice_text: \"camera\" -> \"junction-view\"");
}

TEST(DiffJson, WrittenOneByOneAsTheWholeArray) {
  std::vector<navreq::Difference> diffs(3);
  diffs[0].path = "body.start.point.longitude";
  diffs[0].a = "116378624";
  diffs[0].b = "116398624";
  diffs[0].a_number = diffs[0].b_number = true;
  diffs[1].path = "header.imei";
  diffs[1].only_a = true;
  diffs[1].a = "\"x\"";
  diffs[2].path = "body.via[3]";
  diffs[2].only_b = true;
  diffs[2].b = "struct";
  // The array as a JSON library indents it by two, built here.
  const nlohmann::ordered_json expected = nlohmann::ordered_json::parse(R"([
    {"path": "body.start.point.longitude", "a": 116378624, "b": 116398624},
    {"path": "header.imei", "a": "\"x\"", "b": null},
    {"path": "body.via[3]", "a": null, "b": "struct"}])");
  EXPECT_EQ(navreq::DifferencesJson(diffs, false), expected.dump(2));
  EXPECT_EQ(navreq::DifferencesJson({diffs[0]}, false), nlohmann::ordered_json::array({expected[0]}).dump(2));
  EXPECT_EQ(navreq::DifferencesJson({}, false), "[]");
  EXPECT_EQ(navreq::DifferencesJson({}, true), "[]");
  std::ostringstream out;
  navreq::DifferencesJsonWriter writer(out, false);
  writer.add(diffs[1]);
  EXPECT_EQ(out.str(),
            "[\n  {\n    \"path\": \"header.imei\",\n    \"a\": \"\\\"x\\\"\",\n    \"b\": null\n  }");
  writer.finish();
  EXPECT_EQ(out.str(), nlohmann::ordered_json::array({expected[1]}).dump(2));
}

}  // namespace

namespace {

// Bytes of no known envelope, one value of every form the kept tree packs:
// a text, the extremes of a 64-bit integer, both reals, a map by integer keys
// (one negative) and one by text keys, a list of records, plain bytes.
std::string EveryForm(std::int64_t low, std::int64_t high) {
  // A text first: both envelopes begin with an integer.
  return FromHex(Str(0, "tx") + Int(1, low) + Int(2, high) + Double(3, -1.5) + Float(4, 0.25f) + Map(5, 2) +
                 Int(0, -5) + Str(1, "v") + Int(0, 300) + Str(1, "w") + Map(6, 1) + Str(0, "k y") +
                 Int(1, 9) + List(7, 2) + Struct(0, Int(0, 1)) + Struct(0, Int(0, 2)) + Bytes(8, "ab"));
}

TEST(DiffTree, EveryValueFormComesBackAsRead) {
  const std::string bytes = EveryForm(INT64_MIN, INT64_MAX);
  std::string listed;
  for (const auto& [path, value] : navreq::FlattenRequest(bytes)) listed += path + " = " + value + "\n";
  EXPECT_EQ(listed,
            "0 = \"tx\"\n"
            "1 = -9223372036854775808\n"
            "2 = 9223372036854775807\n"
            "3 = -1.5\n"
            "4 = 0.25\n"
            "5 = \n"
            "5[-5] = \"v\"\n"
            "5[300] = \"w\"\n"
            "6 = \n"
            "6[\"k y\"] = 9\n"
            "7 = \n"
            "7[0] = \n"
            "7[0].0 = 1\n"
            "7[1] = \n"
            "7[1].0 = 2\n"
            "8 = 6162\n");
  EXPECT_TRUE(navreq::DiffRequests(bytes, bytes, {}).empty());
  EXPECT_EQ(Lines(navreq::DiffRequests(bytes, EveryForm(INT64_MAX, INT64_MIN), {})),
            "1: -9223372036854775808 -> 9223372036854775807\n"
            "2: 9223372036854775807 -> -9223372036854775808\n");
}

}  // namespace
