// The built `navreq` end to end: the same bytes as the library, the batch
// with its shared location session, bad input and bad command lines.
#include <gtest/gtest.h>

#include <mutex>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "kinds.h"
#include "navreq/engine/service_overrides.h"
#include "navreq/location_session.h"
#include "navreq/requests.h"
#include "param_json.h"
#include "support/wire.h"
#include "tool_run.h"

namespace {

using navreq::testing::FromHex;
using navreq::testing::HexOf;
using navreq::testing::ReadFile;
using navreq::testing::RunTool;
using navreq::testing::ScratchDir;
using navreq::testing::SourcePath;
using navreq::testing::WriteFile;
namespace entry = zv_navi_core::drive_route_req_serializer;
using wire::Begin;
using wire::Int;

constexpr std::int64_t kNowMs = 1700000000000;

// A fresh process's location-session state, for calls made in this one.
void ResetLocationSession() {
  std::lock_guard<std::mutex> lock(entry::location_session_mutex());
  entry::g_session_id.clear();
  entry::loc_sesstion_id = 0;
  entry::report_sequence_num = 0;
}

// ---- Same bytes as the library ----

class SameBytes : public ::testing::TestWithParam<const char*> {};

TEST_P(SameBytes, ExampleThroughToolAndThroughLibrary) {
  const std::string kind = GetParam();
  const std::string path = SourcePath("examples/" + kind + ".json");
  const auto doc = navreq::tool::ParseJsonDocument(ReadFile(path));
  const auto* extra = doc.contains("extra") ? &doc["extra"] : nullptr;
  const auto request = navreq::tool::Prepare(kind, extra, &doc["param"]);
  std::vector<char> bytes;
  ResetLocationSession();
  {
    navreq::services::ScopedClock clock(kNowMs);
    ASSERT_EQ(request.call(bytes), 0);
  }
  const auto tool = RunTool({"encode", kind, path, "--now-ms", std::to_string(kNowMs)});
  ASSERT_EQ(tool.status, 0) << tool.err;
  EXPECT_EQ(tool.out, HexOf(std::string(bytes.begin(), bytes.end())) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Examples, SameBytes,
                         ::testing::Values("route", "refresh", "location", "navstop", "plus", "slice"));

TEST(SameBytes, RouteBuiltInCodeAndWrittenAsJson) {
  zv_navi_core::ReqExtraParam extra;
  extra.imei = "860000000000002";
  extra.api_key = "key";
  extra.identity_number = -5;
  zv_navi_core::DriveRouteReqParam param;
  param.start.latitude = 39.9;
  param.start.longitude = 116.4;
  param.start.primaryText = "A";
  param.destination.latitude = 39.1;
  param.destination.longitude = 117.2;
  param.reason = 2;
  param.subReason = 5;
  param.yawAngle = -200.0f;
  param.viaPoints.resize(1);
  param.viaPoints[0].pointType = 3;
  param.viaPoints[0].secondaryText = "via";
  param.routeOption3 = 200;
  param.routeOption58 = 4294967295u;
  param.curSpeed = 0.1f;
  param.curHeading = -1.0f;
  param.recentFixes.resize(2);
  param.recentFixes[1].heading = 45.0f;
  param.recentFixes[1].timeSeconds = 1699999999;
  param.truck.truckMeasureB = 2.5f;
  param.truck.truckBlock = {1, 2, 3, 4};
  param.limitAreas = {{{39.5, 116.5}, {39.6, 116.6}}, {}};
  param.rankEnabled = true;
  param.routeOption49 = {"x", "y"};
  param.moto.engine_displacement = 125;
  param.order_id_ = "o-1";
  std::vector<char> bytes;
  ASSERT_EQ(entry::GetRouteReqData(param, extra, bytes), 0u);

  const std::string json = R"({
    "extra": {"imei": "860000000000002", "api_key": "key", "identity_number": -5},
    "param": {
      "start": {"latitude": 39.9, "longitude": 116.4, "primaryText": "A"},
      "destination": {"latitude": 39.1, "longitude": 117.2},
      "reason": 2, "subReason": 5, "yawAngle": -200,
      "viaPoints": [{"pointType": 3, "secondaryText": "via"}],
      "routeOption3": 200, "routeOption58": 4294967295, "curSpeed": 0.1, "curHeading": -1,
      "recentFixes": [{}, {"heading": 45, "timeSeconds": 1699999999}],
      "truck": {"truckMeasureB": 2.5, "truckBlock": [1, 2, 3, 4]},
      "limitAreas": [[{"latitude": 39.5, "longitude": 116.5}, {"latitude": 39.6, "longitude": 116.6}], []],
      "rankEnabled": true, "routeOption49": ["x", "y"],
      "moto": {"engine_displacement": 125}, "order_id_": "o-1"
    }})";
  const auto tool = RunTool({"encode", "route", "-"}, json);
  ASSERT_EQ(tool.status, 0) << tool.err;
  EXPECT_EQ(tool.out, HexOf(std::string(bytes.begin(), bytes.end())) + "\n");
}

TEST(SameBytes, RefreshBuiltInCodeAndWrittenAsJson) {
  zv_navi_core::ReqExtraParam extra;
  extra.imei = "i";
  zv_navi_core::RouteRefreshReqParam param;
  param.primary_text = "p";
  param.request_number = -3;
  param.research_flag = true;
  param.pending_list.resize(1);
  param.route_param.reason = -1;
  auto& control = param.explain_controls["b"];
  control.id0 = 1700000000001;
  control.code4 = 4;
  control.text6 = "six";
  control.texts7 = {"seven"};
  control.road_links8.resize(1);
  control.road_links8[0].link_id = 88;
  control.road_links8[0].name = "link";
  control.code9 = -9;
  param.explain_controls["a"];
  param.routes.resize(1);
  param.routes[0].id_text = " -12";
  param.routes[0].longitude = 180;
  param.fixes.resize(1);
  param.fixes[0].timeSeconds = 1699999999;
  param.bucket_number_text = "7";
  std::vector<char> bytes;
  ASSERT_EQ(entry::GetRouteRefreshReqData(param, extra, bytes), 0);

  const std::string json = R"({"extra": {"imei": "i"}, "param": {
      "primary_text": "p", "request_number": -3, "research_flag": true, "pending_list": [null],
      "route_param": {"reason": -1},
      "explain_controls": {"b": [1700000000001, 0, 0, 0, 4, "", "six", ["seven"], [[88, "link"]], -9],
                           "a": [0, 0, 0, 0, 0, "", "", [], [], 0]},
      "routes": [{"id_text": " -12", "longitude": 180}],
      "fixes": [{"timeSeconds": 1699999999}], "bucket_number_text": "7"}})";
  const auto tool = RunTool({"encode", "refresh", "-"}, json);
  ASSERT_EQ(tool.status, 0) << tool.err;
  EXPECT_EQ(tool.out, HexOf(std::string(bytes.begin(), bytes.end())) + "\n");
}

// ---- Batch ----

// Bytes as a Packet's payload list holds them, one integer element each:
// 0x0c for zero, 0x00 and the byte below 0x80, 0x01 and two bytes above.
std::string AsPayloadElements(const std::string& hex) {
  std::string out;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    const std::string byte = hex.substr(i, 2);
    const int value = std::stoi(byte, nullptr, 16);
    out += value == 0 ? "0c" : value < 0x80 ? "00" + byte : "0100" + byte;
  }
  return out;
}

// The location header's identifier (tag 7), time (tag 8) and sequence number
// (tag 9) in an uncompressed upload, and the SessionInfo (tag 100) that opens
// with the same identifier.
bool HasSession(const std::string& hex, std::int64_t id, std::int64_t now_ms, std::int64_t sequence) {
  return hex.find(AsPayloadElements(Int(7, id) + Int(8, now_ms) + Int(9, sequence))) != std::string::npos &&
         hex.find(AsPayloadElements(Begin(100) + Int(1, id))) != std::string::npos;
}

std::string LocationLine(const std::string& session, std::int64_t now_ms) {
  return R"({"kind": "location", "now_ms": )" + std::to_string(now_ms) +
         R"(, "extra": {"imei": "860000000000001", "api_key": "k"}, "param": {"session_id": ")" + session +
         R"(", "locations": [{"latitude": 39.9, "longitude": 116.4, "timeSeconds": 1699999999}]}})";
}

TEST(Batch, LocationSessionCarriesAcrossLinesAndBadLinesDoNotStopIt) {
  ScratchDir dir;
  const std::string input = dir.file("requests.jsonl");
  const std::vector<std::string> lines = {
      LocationLine("s1", kNowMs),
      LocationLine("s1", kNowMs + 1000),
      LocationLine("s2", kNowMs + 2000),
      R"({"kind": "refresh", "param": {"research_flag": true, "routes": [{"id_text": "abc"}]}})",
      R"({"kind": "plus", "now_ms": 1700000000000, "extra": {"imei": "x"}, "param": {"slice_session_id": "p"}})",
      R"({"kind": "plus", "param": {"bogus": 1}})",
      "not json",
      "",
      LocationLine("s2", kNowMs + 3000),
  };
  std::string text;
  for (const auto& line : lines) text += line + "\n";
  WriteFile(input, text);

  // The digits of the two sessions come from the seeded generator: the first
  // two draws of std::mt19937_64 seeded with 5489.
  navreq::SessionDigitSource draws = navreq::SeededSessionDigits(5489);
  const int first_digits = draws();
  const int second_digits = draws();
  ASSERT_EQ(first_digits, 30);  // 14514284786278117030 mod 1000

  const auto run = RunTool({"batch", input, "-o", dir.file("answers.jsonl"), "--seed", "5489"});
  EXPECT_EQ(run.status, 65);  // four lines were not valid input
  EXPECT_EQ(run.err, "navreq batch: 9 lines, 5 rc 0, 0 rc 1, 0 rc 2, 0 threw, 4 invalid\n");
  EXPECT_EQ(run.out, "");
  std::vector<nlohmann::json> answers;
  const std::string out = ReadFile(dir.file("answers.jsonl"));
  for (std::size_t start = 0; start < out.size();) {
    const std::size_t end = out.find('\n', start);
    answers.push_back(nlohmann::json::parse(out.substr(start, end - start)));
    start = end + 1;
  }
  ASSERT_EQ(answers.size(), lines.size());

  // Uploads 1 and 2 share session s1; 3 starts s2 (a new identifier made
  // from its own time); 9 stays in s2. The sequence number runs on.
  const int uploads[4] = {0, 1, 2, 8};
  const std::int64_t times[4] = {kNowMs, kNowMs + 1000, kNowMs + 2000, kNowMs + 3000};
  const std::int64_t ids[4] = {kNowMs * 1000 + first_digits, kNowMs * 1000 + first_digits,
                               (kNowMs + 2000) * 1000 + second_digits,
                               (kNowMs + 2000) * 1000 + second_digits};
  for (int i = 0; i < 4; ++i) {
    const auto& a = answers[static_cast<std::size_t>(uploads[i])];
    ASSERT_EQ(a["rc"], 0) << a.dump();
    EXPECT_EQ(a["log"], nlohmann::json::array());
    EXPECT_EQ(a["printed"], nlohmann::json::array());
    EXPECT_TRUE(HasSession(a["hex"].get<std::string>(), ids[i], times[i], i)) << i;
  }

  // The refresh's id_text holds no number: refused before the call, so no
  // result, no bytes and no log.
  EXPECT_EQ(answers[3], nlohmann::json::parse(R"({"rc": null, "hex": "", "log": [], "printed": [],
      "error": "param.routes[0].id_text: expected decimal integer text, got \"abc\""})"));

  const auto& plus = answers[4];
  EXPECT_EQ(plus["rc"], 0);
  EXPECT_EQ(plus["hex"].get<std::string>().rfind("0c1054260e", 0), 0u);
  ASSERT_EQ(plus["log"].size(), 4u);
  EXPECT_EQ(plus["log"][0], nlohmann::json::parse(
                                R"([0, 8, "RoutePlus::RequestPlus request serialize slice_session_id p"])"));
  EXPECT_EQ(plus["log"][1],
            nlohmann::json::parse(R"([0, 8, "RoutePlus::RequestPlus request serialize slice_size 0"])"));
  EXPECT_EQ(plus["log"][2], nlohmann::json::parse(R"([0, 8, "RoutePlus::RequestPlus imei=x"])"));
  EXPECT_FALSE(plus.contains("error"));

  EXPECT_EQ(answers[5], nlohmann::json::parse(R"({"rc": null, "hex": "", "log": [], "printed": [],
                                                  "error": "param.bogus: unknown key"})"));
  EXPECT_TRUE(answers[6]["rc"].is_null());
  EXPECT_EQ(answers[6]["error"].get<std::string>().rfind("invalid JSON: ", 0), 0u);
  EXPECT_TRUE(answers[7]["rc"].is_null());

  // Keys in the documented order.
  EXPECT_EQ(out.rfind(R"({"rc":0,"hex":")", 0), 0u);
}

TEST(Batch, NewSessionRepeatsTheSameUpload) {
  // The first line starts the batch's session; the second carries on in it
  // (sequence number 1); the third starts afresh and repeats the first.
  const std::string upload = LocationLine("s1", kNowMs);
  const std::string fresh = upload.substr(0, upload.size() - 1) + R"(, "new_session": true})";
  const std::string not_fresh = upload.substr(0, upload.size() - 1) + R"(, "new_session": false})";
  const auto run = RunTool({"batch", "-", "--seed", "5489"}, upload + "\n" + not_fresh + "\n" + fresh + "\n");
  EXPECT_EQ(run.status, 0) << run.err;
  std::vector<std::string> hex;
  for (std::size_t start = 0; start < run.out.size();) {
    const std::size_t end = run.out.find('\n', start);
    const auto answer = nlohmann::json::parse(run.out.substr(start, end - start));
    ASSERT_EQ(answer["rc"], 0) << answer.dump();
    hex.push_back(answer["hex"].get<std::string>());
    start = end + 1;
  }
  ASSERT_EQ(hex.size(), 3u);
  EXPECT_NE(hex[1], hex[0]);
  EXPECT_EQ(hex[2], hex[0]);
  EXPECT_TRUE(HasSession(hex[2], kNowMs * 1000 + 30, kNowMs, 0));  // the seed's first draw again

  // Only true or false; an invalid line leaves the session alone.
  const std::string bad = upload.substr(0, upload.size() - 1) + R"(, "new_session": 1})";
  const auto invalid = RunTool({"batch", "-", "--seed", "5489"}, upload + "\n" + bad + "\n" + upload + "\n");
  EXPECT_EQ(invalid.status, 65);
  EXPECT_NE(invalid.out.find(R"("error":"new_session: )"), std::string::npos) << invalid.out;
  EXPECT_EQ(invalid.err, "navreq batch: 3 lines, 2 rc 0, 0 rc 1, 0 rc 2, 0 threw, 1 invalid\n");
  const std::size_t third = invalid.out.rfind("{\"rc\"");
  EXPECT_EQ(nlohmann::json::parse(invalid.out.substr(third))["hex"], hex[1]);
}

TEST(Batch, UnreadableFile) {
  const auto run = RunTool({"batch", "/nonexistent/requests.jsonl"});
  EXPECT_EQ(run.status, 65);
  EXPECT_EQ(run.err, "navreq batch: cannot read /nonexistent/requests.jsonl: No such file or directory\n");
}

// ---- Bad input, bad command lines ----

struct BadInput {
  const char* kind;
  const char* json;
  const char* message;
};
// Names the case by its expected message, so test names are stable.
void PrintTo(const BadInput& input, std::ostream* os) { *os << input.kind << ": " << input.message; }

class EncodeBadInput : public ::testing::TestWithParam<BadInput> {};

TEST_P(EncodeBadInput, Exit65NamingTheField) {
  const auto run = RunTool({"encode", GetParam().kind}, GetParam().json);
  EXPECT_EQ(run.status, 65);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, std::string("navreq encode: standard input: ") + GetParam().message + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Messages, EncodeBadInput,
    ::testing::Values(
        BadInput{"route", R"({"param": {"bogus": 1}})", "param.bogus: unknown key"},
        BadInput{"route", R"({"param": {"start": {"latitude": "north"}}})",
                 "param.start.latitude: expected a number"},
        BadInput{"route", R"({"param": {"viaPoints": [{}, {"pointType": 4294967296}]}})",
                 "param.viaPoints[1].pointType: 4294967296 is out of range for int32"},
        BadInput{"location", R"({"param": {"gzip": "yes"}})", "param.gzip: expected true or false"},
        BadInput{"plus", R"({"extra": {"identity_number": 1.5}})",
                 "extra.identity_number: expected an integer"},
        BadInput{"slice", R"({"params": {}})", "params: unknown key"},
        BadInput{"navstop", R"({"extra": {}, "param": {}})",
                 "extra: unknown key (the stop event takes no client identity)"},
        BadInput{"refresh", R"({"param": {"primary_text": "a"})",
                 "invalid JSON: parse error at line 1, column 32: syntax error while parsing object - "
                 "unexpected end of input; expected '}'"},
        BadInput{"route", "",
                 "invalid JSON: parse error at line 1, column 1: syntax error while "
                 "parsing value - unexpected end of input; expected '[', '{', or a literal"}));

TEST(Encode, MissingFile) {
  const auto run = RunTool({"encode", "route", "/nonexistent/route.json"});
  EXPECT_EQ(run.status, 65);
  EXPECT_EQ(run.err, "navreq encode: cannot read /nonexistent/route.json: No such file or directory\n");
}

TEST(Encode, DirectoryIsNotAnInputFile) {
  ScratchDir dir;
  const std::string path = dir.file("");
  for (const char* sub : {"encode", "batch", "dump"}) {
    const std::vector<std::string> args = std::string(sub) == "encode"
                                              ? std::vector<std::string>{sub, "route", path}
                                              : std::vector<std::string>{sub, path};
    const auto run = RunTool(args);
    EXPECT_EQ(run.status, 65) << sub;
    std::string expected = std::string("navreq ") + sub + ": cannot read " + path + ": Is a directory\n";
    // The batch has started reading when it meets the error: it still sums up.
    if (std::string(sub) == "batch")
      expected += "navreq batch: 0 lines, 0 rc 0, 0 rc 1, 0 rc 2, 0 threw, 0 invalid\n";
    EXPECT_EQ(run.err, expected);
  }
}

TEST(Encode, TextThatIsNoNumberIsInvalidInput) {
  const auto run = RunTool({"encode", "refresh"}, R"({"param": {"routes": [{"id_text": "abc"}]}})");
  EXPECT_EQ(run.status, 65);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(
      run.err,
      "navreq encode: standard input: param.routes[0].id_text: expected decimal integer text, got \"abc\"\n");
}

TEST(Encode, UnwritableOutput) {
  const auto run = RunTool({"encode", "plus", "-o", "/nonexistent/dir/out.bin"}, "{}");
  EXPECT_EQ(run.status, 73);
  EXPECT_EQ(run.err, "navreq encode: cannot write /nonexistent/dir/out.bin: No such file or directory\n");
}

TEST(Encode, LogLinesOnStandardError) {
  const auto run =
      RunTool({"encode", "slice", SourcePath("examples/slice.json"), "--now-ms", "1700000000000", "--log"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, ReadFile(SourcePath("tests/tool/golden/slice.hex")));
  EXPECT_EQ(
      run.err.rfind("L0 E8 RoutePlus::RequestSlice request serialize slice 0 2000 lane\n"
                    "L0 E8 RoutePlus::RequestSlice request serialize slice 2000 12000 junction-view\n"
                    "L0 E8 RoutePlus::RequestSlice request serialize slice 12000 40000 camera\n"
                    "L0 E8 RoutePlus::RequestSlice request serialize slice_session_id guid-20231114-0001\n"
                    "L0 E8 RoutePlus::RequestSlice request serialize slice_size 3\n"
                    "L0 E8 RoutePlus::RequestPlus imei=860000000000001\n"
                    "L0 E8 RoutePlus::RequestSlice request serialize succ size=",
                    0),
      0u)
      << run.err;
  // Without --log, nothing on standard error.
  EXPECT_EQ(RunTool({"encode", "slice", SourcePath("examples/slice.json")}).err, "");
}

TEST(CommandLine, UsageErrorsExit64) {
  const std::vector<std::vector<std::string>> bad = {
      {},
      {"encode"},
      {"encode", "teleport"},
      {"encode", "route", "--now-ms", "soon"},
      {"encode", "route", "a.json", "b.json"},
      {"batch"},
      {"dump", "--bogus"},
      {"frobnicate"},
  };
  for (const auto& args : bad) {
    const auto run = RunTool(args);
    EXPECT_EQ(run.status, 64) << testing::PrintToString(args);
    EXPECT_NE(run.err.find("Run with --help for more information."), std::string::npos) << run.err;
  }
  EXPECT_NE(
      RunTool({"encode", "teleport"}).err.find("teleport not in {route,refresh,location,navstop,plus,slice}"),
      std::string::npos);
}

TEST(CommandLine, HelpAndVersion) {
  for (const char* sub : {"encode", "batch", "dump"}) {
    const auto run = RunTool({sub, "--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find(std::string("Usage: navreq ") + sub), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("Exit status"), std::string::npos);
  }
  const auto top = RunTool({"--help"});
  EXPECT_EQ(top.status, 0);
  EXPECT_NE(top.out.find("encode"), std::string::npos);
  const auto version = RunTool({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.rfind("navreq ", 0), 0u);
}

}  // namespace
