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

// Walks one request into the text or JSON view on `out` and returns dump's
// exit status for it; when that is not 0, one line on `err` counts the
// findings, after `who` (empty, or "entry N: " in a HAR file).
[[nodiscard]] int DumpWalk(const std::string& bytes, const DumpOptions& options, std::ostream& out,
                           std::ostream& err, const std::string& who);

[[nodiscard]] int RunReadbackDump(const DumpOptions& options, std::ostream& out, std::ostream& err);
[[nodiscard]] int RunPack(const PackOptions& options, std::ostream& out, std::ostream& err);
[[nodiscard]] int RunDiff(const DiffOptions& options, std::ostream& out, std::ostream& err);

}  // namespace tool
}  // namespace navreq
