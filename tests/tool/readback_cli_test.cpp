// `navreq dump`, `pack` and `diff` as programs: hex input, the round trip of
// every example, an edit found again by diff, exit statuses, and the memory
// a hostile input may take (peak RSS of the real binary in a child process).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "support/wire.h"
#include "tool_run.h"

namespace {

using navreq::testing::FromHex;
using navreq::testing::ReadFile;
using navreq::testing::RunTool;
using navreq::testing::ScratchDir;
using navreq::testing::SourcePath;
using navreq::testing::WriteFile;

using navreq::testing::kExampleKinds;

std::string Golden(const std::string& name) { return ReadFile(SourcePath("tests/tool/golden/" + name)); }

std::string ExampleBytes(const std::string& kind) {
  std::string hex = Golden(kind + ".hex");
  while (!hex.empty() && hex.back() == '\n') hex.pop_back();
  return FromHex(hex);
}

bool Emulated() { return std::string(NAVREQ_TOOL_LAUNCHER).empty() == false; }

struct Measured {
  int status = -1;
  long peak_rss_kib = 0;
  double seconds = 0;
};

// Runs the tool with stdin and stdout redirected to files and returns its
// exit status, peak resident size and wall time, from wait4's rusage of
// that one child.
Measured RunMeasured(const std::vector<std::string>& args, const std::string& in, const std::string& out,
                     const std::string& err) {
  std::vector<std::string> argv;
  std::istringstream launcher(NAVREQ_TOOL_LAUNCHER);
  for (std::string word; launcher >> word;) argv.push_back(word);
  argv.push_back(NAVREQ_TOOL_BINARY);
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<char*> raw;
  for (std::string& a : argv) raw.push_back(a.data());
  raw.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    const int i = open(in.c_str(), O_RDONLY);
    const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (i < 0 || o < 0 || e < 0 || dup2(i, 0) < 0 || dup2(o, 1) < 0 || dup2(e, 2) < 0) _exit(126);
    execvp(raw[0], raw.data());
    _exit(127);
  }
  Measured m;
  int status = 0;
  struct rusage usage {};
  if (pid > 0 && wait4(pid, &status, 0, &usage) == pid && WIFEXITED(status)) m.status = WEXITSTATUS(status);
  m.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  m.peak_rss_kib = usage.ru_maxrss;
  return m;
}

// gzip of `size` zero bytes, made in pieces (test-side zlib).
std::string GzipOfZeros(std::size_t size) {
  z_stream z{};
  EXPECT_EQ(deflateInit2(&z, 9, Z_DEFLATED, 31, 9, Z_RLE), Z_OK);
  const std::string zeros(1 << 20, '\0');
  std::string out;
  char buf[1 << 16];
  std::size_t left = size;
  int flush = Z_NO_FLUSH;
  do {
    const std::size_t n = left < zeros.size() ? left : zeros.size();
    left -= n;
    flush = left == 0 ? Z_FINISH : Z_NO_FLUSH;
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(zeros.data()));
    z.avail_in = static_cast<uInt>(n);
    do {
      z.next_out = reinterpret_cast<Bytef*>(buf);
      z.avail_out = sizeof buf;
      deflate(&z, flush);
      out.append(buf, sizeof buf - z.avail_out);
    } while (z.avail_out == 0);
  } while (flush != Z_FINISH);
  deflateEnd(&z);
  return out;
}

// ---- dump ----

TEST(DumpCli, HexFromEncodeIsReadAsHex) {
  const std::string hex = Golden("route.hex");
  const auto run = RunTool({"dump"}, hex);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, Golden("route.dump.txt"));
  const auto spaced = RunTool({"dump", "--hex", "-"}, "0c 10\n0 1\n");
  EXPECT_EQ(spaced.status, 2) << spaced.err;
  EXPECT_EQ(spaced.out.rfind("Package, 3 bytes\n  @0+1 0 version int16: 0\n  @1+2 1 cmd int32: 1\n", 0), 0u)
      << spaced.out;
}

TEST(DumpCli, ForcedForms) {
  const auto odd = RunTool({"dump", "--hex"}, "0c1");
  EXPECT_EQ(odd.status, 65);
  EXPECT_EQ(odd.err,
            "navreq dump: standard input: hex text with an odd number of digits (3) ending at line 1, column "
            "4; use "
            "--raw to read the input as raw bytes\n");
  const auto not_hex = RunTool({"dump", "--hex"}, "0c xx");
  EXPECT_EQ(not_hex.status, 65);
  // Read as raw, the text "0c" is the bytes 30 63: tag 3, an int8 of 0x63.
  const auto raw = RunTool({"dump", "--raw"}, "0c");
  EXPECT_EQ(raw.out.rfind("Package, 2 bytes\n  @0+2 3 reserved3 int32: 99\n", 0), 0u) << raw.out;
  EXPECT_EQ(RunTool({"dump", "--hex", "--raw"}).status, 64);
}

TEST(DumpCli, ExitStatuses) {
  EXPECT_EQ(RunTool({"dump"}, "0c10").status, 1);  // cut short
  EXPECT_EQ(RunTool({"dump", "--bogus"}).status, 64);
  const auto missing = RunTool({"dump", "/nonexistent/x.bin"});
  EXPECT_EQ(missing.status, 65);
  EXPECT_EQ(missing.err, "navreq dump: cannot read /nonexistent/x.bin: No such file or directory\n");
  const auto empty = RunTool({"dump"});
  EXPECT_EQ(empty.status, 1);
  EXPECT_EQ(empty.out,
            "empty input\n  ! decoding stopped at offset 0: empty input\n  ! undecoded, 0 bytes:\n");
}

TEST(DumpCli, StandardOutputThatCannotBeWrittenIs73) {
  ScratchDir dir;
  WriteFile(dir.file("route.bin"), ExampleBytes("route"));
  WriteFile(dir.file("slice.bin"), ExampleBytes("slice"));
  WriteFile(dir.file("tree.json"), RunTool({"dump", "--json", dir.file("route.bin")}).out);
  for (const std::vector<std::string>& args : {std::vector<std::string>{"dump", dir.file("route.bin")},
                                               {"dump", "--json", dir.file("route.bin")},
                                               {"pack", dir.file("tree.json")},
                                               {"pack", dir.file("tree.json"), "-o", "-"},
                                               {"diff", dir.file("route.bin"), dir.file("slice.bin")}}) {
    const Measured m = RunMeasured(args, "/dev/null", "/dev/full", dir.file("err"));
    EXPECT_EQ(m.status, 73) << args[0] << " " << args[1];
    EXPECT_NE(ReadFile(dir.file("err")).find("cannot write"), std::string::npos) << ReadFile(dir.file("err"));
  }
}

// ---- pack ----

TEST(PackCli, EveryExampleComesBackByteForByte) {
  ScratchDir dir;
  for (const char* kind : kExampleKinds) {
    const std::string bytes = ExampleBytes(kind);
    WriteFile(dir.file("in.bin"), bytes);
    const auto tree = RunTool({"dump", "--json", dir.file("in.bin")});
    ASSERT_EQ(tree.status, 0) << kind << tree.err;
    const auto hex = RunTool({"pack"}, tree.out);
    EXPECT_EQ(hex.status, 0) << hex.err;
    EXPECT_EQ(hex.out, Golden(std::string(kind) + ".hex")) << kind;
    WriteFile(dir.file("tree.json"), tree.out);
    EXPECT_EQ(RunTool({"pack", dir.file("tree.json"), "-o", dir.file("out.bin")}).status, 0);
    EXPECT_TRUE(ReadFile(dir.file("out.bin")) == bytes) << kind;
    const auto raw = RunTool({"pack", "-o", "-"}, tree.out);
    EXPECT_TRUE(raw.out == bytes) << kind;
  }
}

TEST(PackCli, MalformedTreesAndBadOutputs) {
  const auto not_json = RunTool({"pack"}, "{");
  EXPECT_EQ(not_json.status, 65);
  EXPECT_EQ(not_json.err.rfind("navreq pack: standard input: not JSON: ", 0), 0u) << not_json.err;
  const auto bad_tag =
      RunTool({"pack"}, R"({"navreq_tree": 1, "fields": [{"tag": 256, "type": 12, "value": 0}]})");
  EXPECT_EQ(bad_tag.status, 65);
  EXPECT_EQ(bad_tag.err, "navreq pack: $.fields[0].tag (256): expected an integer from 0 to 255\n");
  const auto wrong_kind =
      RunTool({"pack"}, R"({"navreq_tree": 1, "fields": [{"tag": 1, "type": 6, "value": 5}]})");
  EXPECT_EQ(wrong_kind.status, 65);
  EXPECT_EQ(wrong_kind.err, "navreq pack: $.fields[0].value (1): expected a string\n");
  const auto no_dir =
      RunTool({"pack", "-o", "/nonexistent/dir/x.bin"}, R"({"navreq_tree": 1, "fields": []})");
  EXPECT_EQ(no_dir.status, 73);
  EXPECT_EQ(RunTool({"pack", "--bogus"}).status, 64);
  EXPECT_EQ(RunTool({"pack", "/nonexistent/t.json"}).status, 65);
}

// ---- an edit, found again by diff ----

TEST(EditAndDiff, OneEditedValueIsOneDifferenceAtItsPath) {
  ScratchDir dir;
  WriteFile(dir.file("route.bin"), ExampleBytes("route"));
  nlohmann::json tree = nlohmann::json::parse(RunTool({"dump", "--json", dir.file("route.bin")}).out);
  nlohmann::json& body = tree["fields"][8];
  ASSERT_EQ(body["name"], "body");
  nlohmann::json& longitude = body["kse"]["fields"][0]["fields"][0]["fields"][0];
  ASSERT_EQ(longitude["name"], "longitude");
  longitude["value"] = 116400000;
  WriteFile(dir.file("tree.json"), tree.dump(1));
  ASSERT_EQ(RunTool({"pack", dir.file("tree.json"), "-o", dir.file("edited.bin")}).status, 0);
  EXPECT_EQ(RunTool({"dump", dir.file("edited.bin")}).status, 0);

  const auto diff = RunTool({"diff", dir.file("route.bin"), dir.file("edited.bin")});
  EXPECT_EQ(diff.status, 1) << diff.err;
  EXPECT_EQ(diff.out, "body.start.point.longitude: 116378624 -> 116400000\n");
  const auto json = RunTool({"diff", "--json", dir.file("route.bin"), dir.file("edited.bin")});
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(
      nlohmann::json::parse(json.out),
      nlohmann::json::parse(R"([{"path": "body.start.point.longitude", "a": 116378624, "b": 116400000}])"));
  EXPECT_EQ(
      RunTool({"diff", dir.file("route.bin"), dir.file("edited.bin"), "--ignore", "body.start.**"}).status,
      0);
  const auto same = RunTool({"diff", dir.file("route.bin"), "-"}, Golden("route.hex"));
  EXPECT_EQ(same.status, 0);
  EXPECT_EQ(same.out, "");
}

// The route search's body is always gzip-compressed: the same body sent plain
// (its tree packed without "gzip") is dumped, marked and exits 2, and diff
// against the real request names it.
TEST(EditAndDiff, RouteSearchBodySentPlain) {
  ScratchDir dir;
  WriteFile(dir.file("route.bin"), ExampleBytes("route"));
  nlohmann::json tree = nlohmann::json::parse(RunTool({"dump", "--json", dir.file("route.bin")}).out);
  nlohmann::json& body = tree["fields"][8];
  ASSERT_EQ(body["name"], "body");
  ASSERT_EQ(body.erase("gzip"), 1u);
  WriteFile(dir.file("tree.json"), tree.dump(1));
  ASSERT_EQ(RunTool({"pack", dir.file("tree.json"), "-o", dir.file("plain.bin")}).status, 0);

  const auto dump = RunTool({"dump", dir.file("plain.bin")});
  EXPECT_EQ(dump.status, 2) << dump.err;
  EXPECT_NE(dump.out.find(" body bytes[2361]: -> CarRouteReq  ! sent plain, though this command's body is "
                          "always gzip-compressed\n"),
            std::string::npos)
      << dump.out.substr(0, 4000);
  EXPECT_EQ(
      dump.err,
      "navreq dump: 0 undecoded, 0 missing, 0 type mismatches, 0 unknown or repeated tags, 1 bodies not "
      "encoded as their command says\n");
  const auto json = RunTool({"dump", "--json", dir.file("plain.bin")});
  EXPECT_EQ(json.status, 2);
  EXPECT_EQ(nlohmann::json::parse(json.out)["fields"][8]["encoding_problem"],
            "sent plain, though this command's body is always gzip-compressed");

  const auto diff = RunTool({"diff", dir.file("route.bin"), dir.file("plain.bin")});
  EXPECT_EQ(diff.status, 2) << diff.err;
  EXPECT_EQ(diff.out, "body.<encoding>: only in B\n");
  EXPECT_EQ(diff.err,
            "navreq diff: B: body: sent plain, though this command's body is always gzip-compressed\n");
  // The refresh's body is sent plain by design, though its Package says gzip.
  WriteFile(dir.file("refresh.bin"), ExampleBytes("refresh"));
  EXPECT_EQ(RunTool({"dump", dir.file("refresh.bin")}).status, 0);
}

// Two requests back to back: the first is dumped, the second reported where
// it starts.
TEST(DumpCli, TwoRequestsBackToBack) {
  ScratchDir dir;
  const std::string route = ExampleBytes("route");
  WriteFile(dir.file("two.bin"), route + ExampleBytes("refresh"));
  const auto dump = RunTool({"dump", dir.file("two.bin")});
  EXPECT_EQ(dump.status, 1) << dump.err;
  EXPECT_NE(dump.out.find("\n  ! decoding stopped at offset " + std::to_string(route.size()) +
                          ": a second request starts here\n"),
            std::string::npos)
      << dump.out.substr(dump.out.size() > 2000 ? dump.out.size() - 2000 : 0);
}

TEST(EditAndDiff, DiffExitStatuses) {
  ScratchDir dir;
  WriteFile(dir.file("a.bin"), ExampleBytes("plus"));
  WriteFile(dir.file("b.bin"), ExampleBytes("slice"));
  // Two commands: trouble, the differences printed all the same.
  const auto diff = RunTool({"diff", dir.file("a.bin"), dir.file("b.bin"), "--json"});
  EXPECT_EQ(diff.status, 2);
  const nlohmann::json list = nlohmann::json::parse(diff.out);
  ASSERT_TRUE(list.is_array());
  EXPECT_EQ(list[0],
            nlohmann::json::parse(
                R"({"path": "cmd_name", "a": "\"REQ_ROUTE_PLUS\"", "b": "\"REQ_GUIDANCE_SLICE\""})"));
  EXPECT_EQ(diff.err.rfind("navreq diff: A is REQ_ROUTE_PLUS, B is REQ_GUIDANCE_SLICE", 0), 0u) << diff.err;
  EXPECT_EQ(RunTool({"diff", "--force", dir.file("a.bin"), dir.file("b.bin")}).status, 1);
  EXPECT_EQ(RunTool({"diff", dir.file("a.bin")}).status, 64);
  EXPECT_EQ(RunTool({"diff", "-", "-"}).status, 64);
  EXPECT_EQ(RunTool({"diff", dir.file("a.bin"), "/nonexistent/b.bin"}).status, 2);
}

// ---- bounds ----

TEST(DumpBounds, AGzipBombIsAnErrorLineWithinTheMemoryBound) {
  ScratchDir dir;
  const std::string bomb = GzipOfZeros((std::size_t{256} << 20) + (1 << 20));
  // A Package around it: the bytes before the body as a Package writes them.
  using namespace wire;
  const std::string package =
      FromHex(Int(0, 0) + Int(1, 10101) + Str(2, "CMD_ROUTE_CAR_SNS") + Int(3, 0) + Int(4, 3) + Str(5, "") +
              Str(6, "0") + Bytes(7, "")) +
      FromHex(Head(8, kBytes) + "00" + Int(0, static_cast<std::int64_t>(bomb.size()))) + bomb +
      FromHex(List(9, 0));
  WriteFile(dir.file("bomb.bin"), package);
  const Measured m =
      RunMeasured({"dump", dir.file("bomb.bin")}, "/dev/null", dir.file("out"), dir.file("err"));
  EXPECT_EQ(m.status, 1);
  EXPECT_NE(ReadFile(dir.file("out"))
                .find(": gzip stream that does not inflate\n"
                      "    ! decoding stopped at offset 0: gzip stream that does not "
                      "inflate: inflates to more than 256 MiB\n"),
            std::string::npos)
      << ReadFile(dir.file("out")).substr(0, 2000);
  std::printf("gzip bomb of %zu bytes: peak RSS %ld KiB, %.2f s\n", package.size(), m.peak_rss_kib,
              m.seconds);
  if (!Emulated()) {
    // Twice the input plus 64 MiB: no inflated body is kept.
    EXPECT_LT(m.peak_rss_kib, static_cast<long>((2 * package.size() + (std::size_t{64} << 20)) / 1024));
  }
}

TEST(DumpBounds, TenMegabytesOfZeroHeadsStayUnderOneHundredMegabytes) {
  ScratchDir dir;
  // The text view of 10 MB; the JSON view, slower to print, of 1 MB (and
  // both of 1 MB under an emulator, whose own memory would be measured too).
  const std::size_t ten = Emulated() ? std::size_t{1} << 20 : std::size_t{10000000};
  WriteFile(dir.file("zeros.bin"), std::string(ten, '\x0c'));
  WriteFile(dir.file("zeros1m.bin"), std::string(std::size_t{1} << 20, '\x0c'));
  for (const char* view : {"--raw", "--json"}) {
    const bool json = std::string(view) == "--json";
    const std::size_t size = json ? std::size_t{1} << 20 : ten;
    const Measured m = RunMeasured({"dump", view, dir.file(json ? "zeros1m.bin" : "zeros.bin")}, "/dev/null",
                                   "/dev/null", dir.file("err"));
    EXPECT_EQ(m.status, 2) << ReadFile(dir.file("err"));
    std::printf("%zu zero heads, dump %s: peak RSS %ld KiB, %.2f s\n", size, view, m.peak_rss_kib, m.seconds);
    if (!Emulated()) {
      EXPECT_LT(m.peak_rss_kib, 100L * 1024);
    }
  }
}

}  // namespace

// --paths adds the inspector's keys, among them the bytes that the Packet's
// unsigned-byte payload carries (spread over one head each on the wire); it
// only makes sense with --json.
TEST(ReadbackCli, DumpPathsGathersThePayloadBytes) {
  const auto run = RunTool({"dump", "--json", "--paths", "--raw", "-"}, ExampleBytes("navstop"));
  ASSERT_EQ(run.status, 0) << run.err;
  const nlohmann::json tree = nlohmann::json::parse(run.out);
  const nlohmann::json& payload = tree["fields"][2];
  EXPECT_EQ(payload["path"], "payload");
  // The stop event's message: nav_stopped = 1 (08 01), then the attribute map's count (12 01).
  EXPECT_EQ(payload["message"]["hex"].get<std::string>().substr(0, 8), "08011201");
  EXPECT_EQ(payload["message"]["hex"].get<std::string>().size(),
            2 * payload["message"]["size"].get<std::size_t>());

  const auto plain = RunTool({"dump", "--json", "--raw", "-"}, ExampleBytes("navstop"));
  EXPECT_EQ(plain.out.find("\"path\""), std::string::npos);
  EXPECT_EQ(RunTool({"dump", "--paths", "--raw", "-"}, ExampleBytes("navstop")).status, 64);
}
