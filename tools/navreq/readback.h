// `navreq dump`, `pack` and `diff`: reading requests back, callable without
// the command line. Each returns the process exit status; results go to
// `out`, messages to `err`.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace navreq {
namespace tool {

// How input bytes are read: hex text when it looks like hex, or forced.
enum class InputForm { kDetect, kHex, kRaw };

struct DumpOptions {
  std::string input = "-";
  bool json = false;
  bool full = false;  // show undecoded runs whole
  InputForm form = InputForm::kDetect;
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

// Reads a file (or standard input for "-") and converts hex text to bytes
// (detected, or as `form` forces). False with `error` when it cannot be read
// or is not the hex it was declared to be.
[[nodiscard]] bool ReadRequestBytes(const std::string& path, InputForm form, std::string& bytes,
                                    std::string& error);

[[nodiscard]] int RunReadbackDump(const DumpOptions& options, std::ostream& out, std::ostream& err);
[[nodiscard]] int RunPack(const PackOptions& options, std::ostream& out, std::ostream& err);
[[nodiscard]] int RunDiff(const DiffOptions& options, std::ostream& out, std::ostream& err);

}  // namespace tool
}  // namespace navreq
