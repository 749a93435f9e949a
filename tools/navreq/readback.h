// `navreq dump`, `pack` and `diff`: reading requests back, callable without
// the command line. Each returns the process exit status; results go to
// `out`, messages to `err`.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "navreq/read/input.h"

namespace navreq {
namespace tool {

struct DumpOptions {
  std::string input = "-";
  bool json = false;
  bool full = false;                    // show undecoded runs whole
  bool paths = false;                   // --json: the inspector's extra keys (path, node, carried bytes)
  InputMode mode = InputMode::kDetect;  // --hex, --raw
};

struct PackOptions {
  std::string input = "-";
  std::string output;  // empty: one line of lowercase hex on `out`; "-": raw bytes on `out`
};

struct DiffOptions {
  std::string a;
  std::string b;
  bool json = false;
  bool force = false;  // compare requests of different commands all the same
  std::vector<std::string> ignore;
};

// Reads a file (or standard input for "-") and the request in it, raw or
// written as text (navreq/read/input.h), as `mode` allows. False with a
// one-line `error` naming the input when it cannot be read or its text is
// broken; `raw_hint` ends that line for a text error (how to read the input
// as raw bytes instead).
[[nodiscard]] bool ReadRequestBytes(const std::string& path, InputMode mode, std::string& bytes,
                                    std::string& error, const std::string& raw_hint);

[[nodiscard]] int RunReadbackDump(const DumpOptions& options, std::ostream& out, std::ostream& err);
[[nodiscard]] int RunPack(const PackOptions& options, std::ostream& out, std::ostream& err);
[[nodiscard]] int RunDiff(const DiffOptions& options, std::ostream& out, std::ostream& err);

}  // namespace tool
}  // namespace navreq
