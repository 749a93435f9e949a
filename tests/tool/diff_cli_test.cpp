// `navreq diff` as a program: the examples of its help run as written, and
// the exit status of every pair among the example requests, one-value edits
// of them and truncations of them (0 equal, 1 different, 2 trouble), with the
// first line on standard error naming the input in trouble.
#include <gtest/gtest.h>

#include <cstddef>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tool_run.h"

namespace {

using navreq::testing::RunTool;
using navreq::testing::ScratchDir;
using navreq::testing::WriteFile;

using navreq::testing::ExampleBytes;
using navreq::testing::ExampleHex;
using navreq::testing::kExampleKinds;

// The words of a command line as a POSIX shell splits them: blanks separate,
// single quotes keep what they enclose.
std::vector<std::string> ShellWords(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool in_word = false;
  bool quoted = false;
  for (char c : line) {
    if (quoted) {
      if (c == '\'') {
        quoted = false;
      } else {
        word += c;
      }
    } else if (c == '\'') {
      quoted = true;
      in_word = true;
    } else if (c == ' ') {
      if (in_word) words.push_back(word);
      word.clear();
      in_word = false;
    } else {
      word += c;
      in_word = true;
    }
  }
  if (in_word) words.push_back(word);
  return words;
}

struct Example {
  std::string line;  // as the help shows it, continuation lines joined
  std::vector<std::string> args;
  int status = -1;  // from its "# N" comment
};

// The help's examples: lines that start with "navreq diff", continued by a
// trailing backslash, each ending with "# STATUS".
std::vector<Example> HelpExamples(const std::string& help) {
  std::vector<Example> out;
  std::istringstream in(help);
  std::string line;
  std::string joined;
  while (std::getline(in, line)) {
    const std::size_t at = line.find_first_not_of(' ');
    if (joined.empty() && (at == std::string::npos || line.compare(at, 12, "navreq diff ") != 0)) continue;
    joined += line.substr(at);
    if (!joined.empty() && joined.back() == '\\') {
      joined.pop_back();
      continue;
    }
    Example e;
    e.line = joined;
    joined.clear();
    const std::size_t hash = e.line.find(" # ");
    EXPECT_NE(hash, std::string::npos) << "an example without its exit status: " << e.line;
    if (hash == std::string::npos) continue;
    e.status = std::stoi(e.line.substr(hash + 3));
    e.args = ShellWords(e.line.substr(0, hash));
    e.args.erase(e.args.begin());  // "navreq"
    out.push_back(e);
  }
  return out;
}

TEST(DiffHelp, EveryExampleRunsAsWritten) {
  const auto help = RunTool({"diff", "--help"});
  ASSERT_EQ(help.status, 0) << help.err;
  EXPECT_EQ(help.out.find("point.x"), std::string::npos) << "a path that no request has";
  const std::vector<Example> examples = HelpExamples(help.out);
  ASSERT_GE(examples.size(), 5u) << help.out;
  ScratchDir dir;
  for (const char* kind : kExampleKinds) WriteFile(dir.file(std::string(kind) + ".hex"), ExampleHex(kind));
  bool json_seen = false;
  for (Example e : examples) {
    for (std::string& word : e.args) {
      if (word.size() > 4 && word.compare(word.size() - 4, 4, ".hex") == 0) word = dir.file(word);
    }
    const auto run = RunTool(e.args);
    EXPECT_EQ(run.status, e.status) << e.line << "\n" << run.err;
    // Every --ignore path of the examples is one that the requests have.
    EXPECT_EQ(run.err.find("matches no path"), std::string::npos) << e.line << "\n" << run.err;
    if (e.status == 2) {
      EXPECT_FALSE(run.err.empty()) << e.line;
    }
    if (e.status == 1) {
      EXPECT_FALSE(run.out.empty()) << e.line;
    }
    if (e.line.find("--json") != std::string::npos) {
      json_seen = true;
      const nlohmann::json list = nlohmann::json::parse(run.out, nullptr, false);
      ASSERT_TRUE(list.is_array()) << run.out;
      EXPECT_FALSE(list.empty());
    }
  }
  EXPECT_TRUE(json_seen);
}

// ---- the status matrix ----

struct Input {
  std::string name;
  std::string kind;  // the example it comes from
  std::string file;
  bool whole = true;  // as written, or edited in one value: dump finds nothing
};

// The example with one digit of its device identifier changed: the same
// request, one value apart.
std::string Edited(std::string bytes) {
  const std::size_t at = bytes.find("860000000000001");
  EXPECT_NE(at, std::string::npos);
  if (at != std::string::npos) bytes[at + 14] = '2';
  return bytes;
}

TEST(DiffStatus, EveryPairOfExamplesEditsAndTruncations) {
  ScratchDir dir;
  std::vector<Input> inputs;
  for (const char* kind : kExampleKinds) {
    const std::string bytes = ExampleBytes(kind);
    ASSERT_GT(bytes.size(), 40u);
    const std::string k = kind;
    const std::vector<std::pair<std::string, std::string>> forms = {
        {k, bytes},
        {k + "-edited", Edited(bytes)},
        {k + "-half", bytes.substr(0, bytes.size() / 2)},
        {k + "-less1", bytes.substr(0, bytes.size() - 1)},
        {k + "-first30", bytes.substr(0, 30)}};
    for (const auto& [name, data] : forms) {
      Input in;
      in.name = name;
      in.kind = k;
      in.file = dir.file(name + ".bin");
      in.whole = name == k || name == k + "-edited";
      WriteFile(in.file, data);
      // What dump says of it, independently of diff.
      const int dumped = RunTool({"dump", in.file}).status;
      EXPECT_EQ(dumped == 0, in.whole) << name << ": dump status " << dumped;
      inputs.push_back(in);
    }
  }
  for (const Input& a : inputs) {
    for (const Input& b : inputs) {
      const auto run = RunTool({"diff", a.file, b.file});
      const bool trouble = !a.whole || !b.whole || a.kind != b.kind;
      const int expected = trouble ? 2 : a.name == b.name ? 0 : 1;
      EXPECT_EQ(run.status, expected) << a.name << " vs " << b.name << "\n" << run.err;
      const std::string first = run.err.substr(0, run.err.find('\n'));
      if (!a.whole) {
        EXPECT_EQ(first.rfind("navreq diff: A: ", 0), 0u) << a.name << " vs " << b.name << ": " << first;
      } else if (!b.whole) {
        EXPECT_EQ(first.rfind("navreq diff: B: ", 0), 0u) << a.name << " vs " << b.name << ": " << first;
      } else if (a.kind != b.kind) {
        EXPECT_EQ(first.rfind("navreq diff: A is ", 0), 0u) << a.name << " vs " << b.name << ": " << first;
      } else {
        EXPECT_EQ(run.err, "") << a.name << " vs " << b.name;
      }
      if (a.name == b.name) {
        EXPECT_EQ(run.out, "") << a.name;
      } else if (a.whole && b.whole) {
        EXPECT_NE(run.out, "") << a.name << " vs " << b.name;
      }
      // With --force, requests of different commands are compared: two
      // whole requests of different commands differ.
      if (a.whole && b.whole && a.kind != b.kind) {
        EXPECT_EQ(RunTool({"diff", "--force", a.file, b.file}).status, 1) << a.name << " vs " << b.name;
      }
    }
  }
}

TEST(DiffStatus, AnInputThatCannotBeReadIsTrouble) {
  ScratchDir dir;
  WriteFile(dir.file("a.bin"), ExampleBytes("slice"));
  const auto b = RunTool({"diff", dir.file("a.bin"), dir.file("missing.bin")});
  EXPECT_EQ(b.status, 2);
  EXPECT_EQ(b.err.rfind("navreq diff: B: ", 0), 0u) << b.err;
  EXPECT_NE(b.err.find("missing.bin"), std::string::npos) << b.err;
  const auto a = RunTool({"diff", dir.file("missing.bin"), dir.file("a.bin")});
  EXPECT_EQ(a.status, 2);
  EXPECT_EQ(a.err.rfind("navreq diff: A: ", 0), 0u) << a.err;
  EXPECT_EQ(RunTool({"diff", dir.file("a.bin")}).status, 64);
  EXPECT_EQ(RunTool({"diff", "-", "-"}).status, 64);
  EXPECT_EQ(RunTool({"diff", "--bogus", dir.file("a.bin"), dir.file("a.bin")}).status, 64);
}

TEST(DiffWarnings, AnIgnorePatternThatMatchesNothingIsNamed) {
  ScratchDir dir;
  WriteFile(dir.file("a.bin"), ExampleBytes("route"));
  WriteFile(dir.file("b.bin"), Edited(ExampleBytes("route")));
  const auto typo = RunTool({"diff", dir.file("a.bin"), dir.file("b.bin"), "--ignore", "header.imie",
                             "--ignore", "**.timeSeconds"});
  EXPECT_EQ(typo.status, 1);
  EXPECT_EQ(typo.out, "header.imei: \"860000000000001\" -> \"860000000000002\"\n");
  EXPECT_EQ(typo.err, "navreq diff: warning: --ignore header.imie matches no path of A or B\n");
  const auto right = RunTool({"diff", dir.file("a.bin"), dir.file("b.bin"), "--ignore", "header.imei"});
  EXPECT_EQ(right.status, 0);
  EXPECT_EQ(right.out, "");
  EXPECT_EQ(right.err, "");
  const auto json = RunTool({"diff", "--json", dir.file("a.bin"), dir.file("b.bin"), "--ignore", "nowhere"});
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(nlohmann::json::parse(json.out),
            nlohmann::json::parse(R"([{"path": "header.imei", "a": "\"860000000000001\"",
                                       "b": "\"860000000000002\""}])"));
  EXPECT_EQ(json.err, "navreq diff: warning: --ignore nowhere matches no path of A or B\n");
}

// Requests of different commands: the envelopes are compared, the bodies are
// not read with each other's record names.
TEST(DiffKinds, DifferentCommandsAreTroubleWithTheBodiesNotMixed) {
  ScratchDir dir;
  WriteFile(dir.file("route.bin"), ExampleBytes("route"));
  WriteFile(dir.file("plus.bin"), ExampleBytes("plus"));
  const auto run = RunTool({"diff", dir.file("route.bin"), dir.file("plus.bin")});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.out,
            "cmd: 10101 -> 84\n"
            "cmd_name: \"CMD_ROUTE_CAR_SNS\" -> \"REQ_ROUTE_PLUS\"\n"
            "body: record CarRouteReq -> record ugs_guidance_slice_req_t\n");
  EXPECT_EQ(run.err,
            "navreq diff: A is CMD_ROUTE_CAR_SNS, B is REQ_ROUTE_PLUS: requests of different commands "
            "(--force compares them all the same)\n");
  // Forced: fields whose names the two records do not share are named by tag.
  const auto forced = RunTool({"diff", "--force", dir.file("route.bin"), dir.file("plus.bin")});
  EXPECT_EQ(forced.status, 1);
  EXPECT_EQ(forced.err, "");
  EXPECT_EQ(forced.out.find("body.start"), std::string::npos);
  EXPECT_NE(forced.out.find("\nbody.0: "), std::string::npos) << forced.out;
}

}  // namespace
