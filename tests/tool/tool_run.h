// Running the built `navreq` binary from a test, and scratch files for it.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/wire.h"

namespace navreq {
namespace testing {

inline std::string SourcePath(const std::string& relative) {
  return std::string(NAVREQ_SOURCE_DIR) + "/" + relative;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteFile(const std::string& path, const std::string& data) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << data;
}

// A fresh directory for one test's files (removed with the guard).
class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = "/tmp/navreq-tool-test-XXXXXX";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    if (mkdtemp(buf.data()) != nullptr) path_ = buf.data();
  }
  ~ScratchDir() {
    if (path_.empty()) return;
    [[maybe_unused]] const int status = std::system(("rm -rf '" + path_ + "'").c_str());
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

struct ToolResult {
  int status = -1;  // exit status; -1 when the process did not exit normally (a crash)
  std::string out;
  std::string err;
};

// `s` as one word of a shell command.
inline std::string ShellQuote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// The shell command that runs `navreq ARGS...`, without redirections.
inline std::string ToolCommand(const std::vector<std::string>& args) {
  // NAVREQ_TOOL_LAUNCHER: the emulator of a cross build, empty otherwise.
  std::string command = std::string(NAVREQ_TOOL_LAUNCHER);
  if (!command.empty()) command += " ";
  command += ShellQuote(NAVREQ_TOOL_BINARY);
  for (const std::string& a : args) command += " " + ShellQuote(a);
  return command;
}

// The exit status of a shell command; -1 when it did not exit normally.
inline int RunShell(const std::string& command) {
  const int raw = std::system(command.c_str());
  return raw != -1 && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

// Runs `navreq ARGS...` with `input` on its standard input.
inline ToolResult RunTool(const std::vector<std::string>& args, const std::string& input = "") {
  ScratchDir dir;
  WriteFile(dir.file("stdin"), input);
  const std::string command = ToolCommand(args) + " <" + ShellQuote(dir.file("stdin")) + " >" +
                              ShellQuote(dir.file("stdout")) + " 2>" + ShellQuote(dir.file("stderr"));
  ToolResult result;
  result.status = RunShell(command);
  result.out = ReadFile(dir.file("stdout"));
  result.err = ReadFile(dir.file("stderr"));
  return result;
}

}  // namespace testing
}  // namespace navreq

namespace navreq {
namespace testing {

inline std::string HexOf(const std::string& bytes) { return wire::Hex(bytes); }
inline std::string FromHex(const std::string& hex) { return wire::Unhex(hex); }

// The six example requests (tests/tool/golden/KIND.hex), in the tool's order.
inline const char* const kExampleKinds[] = {"route", "refresh", "location", "navstop", "plus", "slice"};

// An example request as the one line of hex that `encode` prints, without
// its final newline.
inline std::string ExampleHex(const std::string& kind) {
  std::string hex = ReadFile(SourcePath("tests/tool/golden/" + kind + ".hex"));
  while (!hex.empty() && hex.back() == '\n') hex.pop_back();
  return hex;
}

// An example request's bytes.
inline std::string ExampleBytes(const std::string& kind) { return FromHex(ExampleHex(kind)); }

}  // namespace testing
}  // namespace navreq
