// The subcommands of `navreq`, callable without the command line.
//
// Each returns the process exit status. Results go to `out`, messages to
// `err`; the entry functions' own failure lines still go to the C standard
// output, as they do in the engine.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

namespace navreq {
namespace tool {

// Exit statuses besides the entry functions' own 0, 1 and 2.
constexpr int kExitThrew = 3;         // the entry function threw
constexpr int kExitUsage = 64;        // bad command line
constexpr int kExitBadInput = 65;     // input that cannot be read or is not valid
constexpr int kExitCannotWrite = 73;  // the output file cannot be written

struct EncodeOptions {
  std::string kind;
  std::string input = "-";  // "-": standard input
  std::string output;       // empty: one line of lowercase hex on `out`
  std::optional<std::int64_t> now_ms;
  bool log = false;  // every Log::record call on `err`
};

struct BatchOptions {
  std::string input;
  std::string output;  // empty: `out`
};

[[nodiscard]] int RunEncode(const EncodeOptions& options, std::ostream& out, std::ostream& err);
[[nodiscard]] int RunBatch(const BatchOptions& options, std::ostream& out, std::ostream& err);

}  // namespace tool
}  // namespace navreq
