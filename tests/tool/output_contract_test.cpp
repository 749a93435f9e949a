// The line-for-line and exit-status promises of `encode` and `batch` that
// scripts rely on: where bytes and messages go, checked writes, streamed
// answers, reproducible session identifiers, strict option values.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/requests.h"
#include "subcommands.h"
#include "support/capture.h"
#include "support/wire.h"
#include "tool_run.h"

namespace {

using navreq::testing::FromHex;
using navreq::testing::ReadFile;
using navreq::testing::RunShell;
using navreq::testing::RunTool;
using navreq::testing::ScratchDir;
using navreq::testing::ShellQuote;
using navreq::testing::SourcePath;
using navreq::testing::ToolCommand;
using navreq::testing::WriteFile;

constexpr std::int64_t kNowMs = 1700000000000;
const std::string kNow = std::to_string(kNowMs);

std::string Golden(const std::string& kind) {
  return ReadFile(SourcePath("tests/tool/golden/" + kind + ".hex"));
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// A gzip that always fails, so that the route search prints its fixed line.
class FailingGzip {
 public:
  FailingGzip() : guard_([](std::vector<char>&, std::vector<char>&) { return false; }) {}

 private:
  navreq::services::ScopedGzip guard_;
};

// ---- encode: where the bytes go ----

TEST(EncodeOutput, DashIsStandardOutputNotAFile) {
  ScratchDir dir;
  const int status = RunShell(
      "cd " + ShellQuote(dir.file("")) + " && " +
      ToolCommand({"encode", "slice", SourcePath("examples/slice.json"), "--now-ms", kNow, "-o", "-"}) +
      " >bytes 2>err");
  EXPECT_EQ(status, 0) << ReadFile(dir.file("err"));
  std::string hex = Golden("slice");
  ASSERT_FALSE(hex.empty());
  hex.pop_back();  // the golden file's newline
  EXPECT_EQ(ReadFile(dir.file("bytes")), FromHex(hex));
  EXPECT_NE(access(dir.file("-").c_str(), F_OK), 0) << "a file named \"-\" was created";
}

TEST(EncodeOutput, FullDiskExits73NamingTheFile) {
  const auto run = RunTool({"encode", "plus", "-o", "/dev/full"}, "{}");
  EXPECT_EQ(run.status, 73);
  EXPECT_EQ(run.err, "navreq encode: cannot write /dev/full: No space left on device\n");
}

TEST(EncodeOutput, FullStandardOutputExits73) {
  ScratchDir dir;
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"encode", "plus"}, std::vector<std::string>{"encode", "plus", "-o", "-"}}) {
    WriteFile(dir.file("in"), "{}");
    const int status = RunShell(ToolCommand(args) + " <" + ShellQuote(dir.file("in")) + " >/dev/full 2>" +
                                ShellQuote(dir.file("err")));
    EXPECT_EQ(status, 73) << args.size();
    EXPECT_EQ(ReadFile(dir.file("err")),
              "navreq encode: cannot write standard output: No space left on device\n");
  }
}

TEST(EncodeOutput, ClosedPipeExits73) {
  // The reader of the pipe has gone before the tool reads its input, so the
  // write that follows meets a pipe without readers, every time.
  ScratchDir dir;
  const std::string script = "cd " + ShellQuote(dir.file("")) +
                             " || exit 1; mkfifo out in || exit 1; "
                             "( exec 3<out; exec 3<&-; : >closed ) & " +
                             ToolCommand({"encode", "plus", "-"}) +
                             " >out <in 2>err & pid=$!; "
                             "while [ ! -e closed ]; do sleep 0.01; done; "
                             "printf '{}' >in; wait $pid; echo $? >status";
  ASSERT_EQ(RunShell("timeout 120 sh -c " + ShellQuote(script)), 0);
  EXPECT_EQ(ReadFile(dir.file("status")), "73\n");
  EXPECT_EQ(ReadFile(dir.file("err")), "navreq encode: cannot write standard output: Broken pipe\n");
}

// ---- encode: messages on standard error, never in the bytes ----

TEST(EncodeFailure, StopEventTooLargeIsExplainedWithoutLog) {
  const std::string input = R"({"param": {"text": ")" + std::string(5000, 'x') + R"("}})";
  const std::string expected_err =
      "L3 E2 GetNavStopActionReqData_Failed_to_encode\n"
      "navreq encode: GetNavStopActionReqData returned 1\n";
  const auto quiet = RunTool({"encode", "navstop", "--now-ms", kNow}, input);
  EXPECT_EQ(quiet.status, 1);
  EXPECT_EQ(quiet.out, "\n");  // the output vector stays empty
  EXPECT_EQ(quiet.err, expected_err);
  const auto logged = RunTool({"encode", "navstop", "--now-ms", kNow, "--log"}, input);
  EXPECT_EQ(logged.status, 1);
  EXPECT_EQ(logged.err, expected_err);  // the log line once, as it came
}

TEST(EncodeFailure, PrintedLineGoesToStandardErrorNotIntoTheHex) {
  navreq::tool::EncodeOptions options;
  options.kind = "route";
  options.input = SourcePath("examples/route.json");
  options.now_ms = kNowMs;
  std::ostringstream out;
  std::ostringstream err;
  int status = 0;
  std::string real_stdout;
  {
    navreq::testing::StdoutCapture capture;
    FailingGzip gzip;
    status = navreq::tool::RunEncode(options, out, err);
    real_stdout = capture.text();
  }
  EXPECT_EQ(status, 1);
  EXPECT_EQ(out.str(), "\n");
  EXPECT_EQ(err.str(), "GZipCompress_route_req_buf_fail\nnavreq encode: GetRouteReqData returned 1\n");
  EXPECT_EQ(real_stdout, "");
}

// ---- encode: option values ----

TEST(EncodeOptions, NowMsMustBeADecimalInt64) {
  for (const char* bad : {"9223372036854775808", "-9223372036854775809", "99999999999999999999", "1e3", "+5",
                          " 5", "5 ", "0x10", ""}) {
    const auto run = RunTool({"encode", "navstop", "--now-ms", bad}, "{}");
    EXPECT_EQ(run.status, 64) << bad;
    EXPECT_EQ(run.out, "") << bad;
    EXPECT_NE(run.err.find("--now-ms"), std::string::npos) << bad << ": " << run.err;
  }
  // The two ends of the range reach the clock exactly: the same bytes as the
  // entry function called here with the clock pinned there.
  for (const std::int64_t end : {INT64_MAX, INT64_MIN}) {
    std::vector<char> bytes;
    {
      navreq::services::ScopedClock clock(end);
      ASSERT_EQ(zv_navi_core::drive_route_req_serializer::GetNavStopActionReqData("", "", "", bytes), 0);
    }
    const auto run = RunTool({"encode", "navstop", "--now-ms", std::to_string(end)}, "{}");
    EXPECT_EQ(run.status, 0) << end << ": " << run.err;
    EXPECT_EQ(run.out, navreq::testing::HexOf(std::string(bytes.begin(), bytes.end())) + "\n") << end;
  }
}

TEST(EncodeOptions, SeedMustBeADecimalUint64) {
  for (const char* bad : {"-1", "18446744073709551616", "seed", ""}) {
    const auto run = RunTool({"encode", "location", "--seed", bad}, "{}");
    EXPECT_EQ(run.status, 64) << bad;
    EXPECT_NE(run.err.find("--seed"), std::string::npos) << bad << ": " << run.err;
  }
  EXPECT_EQ(RunTool({"encode", "location", "--seed", "18446744073709551615"}, "{}").status, 0);
}

// ---- --seed: the same bytes on every run ----

const char kUpload[] = R"({"extra": {"imei": "860000000000001", "api_key": "k"},
  "param": {"session_id": "s1", "locations": [{"latitude": 39.9, "longitude": 116.4, "timeSeconds": 1699999999}]}})";

// The identifier, the time and the sequence number of the location header, as
// the uncompressed payload's list holds them (one integer element per byte).
std::string HeaderElements(std::int64_t id, std::int64_t now_ms, std::int64_t sequence) {
  const std::string hex = wire::Int(7, id) + wire::Int(8, now_ms) + wire::Int(9, sequence);
  std::string out;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    const std::string byte = hex.substr(i, 2);
    const int value = std::stoi(byte, nullptr, 16);
    out += value == 0 ? "0c" : value < 0x80 ? "00" + byte : "0100" + byte;
  }
  return out;
}

TEST(EncodeSeed, SessionIdentifierFromTheSeededGenerator) {
  // The first output of std::mt19937_64 seeded with 5489 is
  // 14514284786278117030: the digits are 030.
  const auto first = RunTool({"encode", "location", "--seed", "5489", "--now-ms", kNow}, kUpload);
  ASSERT_EQ(first.status, 0) << first.err;
  EXPECT_NE(first.out.find(HeaderElements(kNowMs * 1000 + 30, kNowMs, 0)), std::string::npos) << first.out;
  const auto again = RunTool({"encode", "location", "--seed", "5489", "--now-ms", kNow}, kUpload);
  EXPECT_EQ(again.out, first.out);
}

// ---- batch ----

std::string Line(const std::string& kind, const std::string& body) {
  return R"({"kind": ")" + kind + R"(", "now_ms": 1700000000000, )" + body + "}";
}

TEST(BatchContract, StandardInputAndSummary) {
  const std::string input = Line("plus", R"("param": {})") + "\n" + Line("navstop", R"("param": {})") + "\n";
  const auto run = RunTool({"batch", "-"}, input);
  EXPECT_EQ(run.status, 0) << run.err;
  ASSERT_EQ(Lines(run.out).size(), 2u) << run.out;
  for (const std::string& answer : Lines(run.out)) {
    const auto a = nlohmann::json::parse(answer);
    EXPECT_EQ(a["rc"], 0);
    EXPECT_EQ(a["printed"], nlohmann::json::array());
  }
  EXPECT_EQ(run.err, "navreq batch: 2 lines, 2 rc 0, 0 rc 1, 0 rc 2, 0 threw, 0 invalid\n");
}

TEST(BatchContract, FailureIsAnAnswerInvalidInputIs65) {
  const std::string failed = Line("navstop", R"("param": {"text": ")" + std::string(5000, 'x') + R"("})");
  const auto valid = RunTool({"batch", "-"}, failed + "\n");
  EXPECT_EQ(valid.status, 0);
  EXPECT_EQ(valid.err, "navreq batch: 1 lines, 0 rc 0, 1 rc 1, 0 rc 2, 0 threw, 0 invalid\n");
  const auto answers = Lines(valid.out);
  ASSERT_EQ(answers.size(), 1u);
  EXPECT_EQ(nlohmann::json::parse(answers[0]),
            nlohmann::json::parse(
                R"({"rc": 1, "hex": "", "log": [[3, 2, "GetNavStopActionReqData_Failed_to_encode"]],
                                      "printed": []})"));

  // A text the entry function would throw on is invalid input too.
  const std::string no_number = Line("refresh", R"("param": {"routes": [{"id_text": "abc"}]})");
  const auto invalid = RunTool({"batch", "-"}, "{}\n\n" + no_number);  // no final newline
  EXPECT_EQ(invalid.status, 65);
  const auto lines = Lines(invalid.out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(nlohmann::json::parse(lines[2])["error"],
            "param.routes[0].id_text: expected decimal integer text, got \"abc\"");
  EXPECT_EQ(invalid.err, "navreq batch: 3 lines, 0 rc 0, 0 rc 1, 0 rc 2, 0 threw, 3 invalid\n");
}

TEST(BatchContract, PrintedLinesGoIntoTheirAnswer) {
  ScratchDir dir;
  const std::string route = R"({"kind": "route", "now_ms": 1700000000000, "param": {}})";
  WriteFile(dir.file("in.jsonl"), route + "\n" + Line("navstop", R"("param": {})") + "\n" + route + "\n");
  navreq::tool::BatchOptions options;
  options.input = dir.file("in.jsonl");
  std::ostringstream out;
  std::ostringstream err;
  int status = -1;
  std::string real_stdout;
  {
    navreq::testing::StdoutCapture capture;
    FailingGzip gzip;
    status = navreq::tool::RunBatch(options, out, err);
    real_stdout = capture.text();
  }
  EXPECT_EQ(status, 0);
  const auto answers = Lines(out.str());
  ASSERT_EQ(answers.size(), 3u) << out.str();
  for (std::size_t i : {0u, 2u}) {
    const auto a = nlohmann::json::parse(answers[i]);
    EXPECT_EQ(a["rc"], 1);
    EXPECT_EQ(a["hex"], "");
    EXPECT_EQ(a["printed"], nlohmann::json::parse(R"(["GZipCompress_route_req_buf_fail"])"));
  }
  EXPECT_EQ(nlohmann::json::parse(answers[1])["printed"], nlohmann::json::array());
  EXPECT_EQ(err.str(), "navreq batch: 3 lines, 1 rc 0, 2 rc 1, 0 rc 2, 0 threw, 0 invalid\n");
  EXPECT_EQ(real_stdout, "");
}

TEST(BatchContract, EachAnswerIsWrittenBeforeTheNextLineIsRead) {
  // The second line is sent only once the first answer is complete on disk:
  // a batch that read ahead or held its answers back would never finish.
  ScratchDir dir;
  const std::string line = Line("plus", R"("param": {})");
  const std::string script =
      "cd " + ShellQuote(dir.file("")) + " && mkfifo in && { (" +
      ToolCommand({"batch", "in", "-o", "answers"}) +
      " 2>err; echo $? >status) & } && exec 3>in && "
      "printf '%s\\n' " +
      ShellQuote(line) +
      " >&3 && "
      "until [ -s answers ] && [ -z \"$(tail -c 1 answers)\" ]; do sleep 0.02; done && "
      "cp answers first && printf '%s\\n' " +
      ShellQuote(line) + " >&3 && exec 3>&- && wait";
  ASSERT_EQ(RunShell("timeout 120 sh -c " + ShellQuote(script)), 0);
  EXPECT_EQ(ReadFile(dir.file("status")), "0\n");
  EXPECT_EQ(Lines(ReadFile(dir.file("first"))).size(), 1u);
  const std::string answers = ReadFile(dir.file("answers"));
  ASSERT_EQ(Lines(answers).size(), 2u);
  EXPECT_EQ(ReadFile(dir.file("first")) + ReadFile(dir.file("first")), answers);
}

TEST(BatchContract, FullDiskExits73) {
  const std::string input = Line("plus", R"("param": {})") + "\n";
  const auto to_file = RunTool({"batch", "-", "-o", "/dev/full"}, input);
  EXPECT_EQ(to_file.status, 73);
  EXPECT_EQ(to_file.err,
            "navreq batch: cannot write /dev/full: No space left on device\n"
            "navreq batch: 1 lines, 1 rc 0, 0 rc 1, 0 rc 2, 0 threw, 0 invalid\n");

  ScratchDir dir;
  WriteFile(dir.file("in"), input);
  const int status =
      RunShell(ToolCommand({"batch", dir.file("in")}) + " >/dev/full 2>" + ShellQuote(dir.file("err")));
  EXPECT_EQ(status, 73);
  EXPECT_EQ(ReadFile(dir.file("err")),
            "navreq batch: cannot write standard output: No space left on device\n"
            "navreq batch: 1 lines, 1 rc 0, 0 rc 1, 0 rc 2, 0 threw, 0 invalid\n");
}

TEST(BatchContract, SameSeedSameAnswers) {
  const std::string input =
      Line("location", R"("param": {"session_id": "a", "locations": [{"latitude": 1}]})") + "\n" +
      Line("location", R"("param": {"session_id": "b"})") + "\n";
  const auto first = RunTool({"batch", "-", "--seed", "7"}, input);
  const auto second = RunTool({"batch", "-", "--seed", "7"}, input);
  EXPECT_EQ(first.status, 0) << first.err;
  EXPECT_EQ(Lines(first.out).size(), 2u);
  EXPECT_EQ(first.out, second.out);
}

}  // namespace
