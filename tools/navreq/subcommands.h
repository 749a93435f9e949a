// The subcommands of `navreq`, callable without the command line.
//
// Each returns the process exit status. Results go to `out`, messages to
// `err`. What an entry function prints on standard output is captured:
// `encode` copies it to `err`, `batch` into the request's answer.
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
constexpr int kExitCannotWrite = 73;  // an output (a file or standard output) cannot be written

struct EncodeOptions {
  std::string kind;
  std::string input = "-";  // "-": standard input
  std::string output;       // empty: one line of lowercase hex on `out`; "-": raw bytes on `out`
  std::optional<std::int64_t> now_ms;
  std::optional<std::uint64_t> seed;  // digits of a new location session identifier
  bool log = false;                   // every Log::record call on `err`
};

struct BatchOptions {
  std::string input;   // "-": standard input
  std::string output;  // empty: `out`
  std::optional<std::uint64_t> seed;
};

[[nodiscard]] int RunEncode(const EncodeOptions& options, std::ostream& out, std::ostream& err);
[[nodiscard]] int RunBatch(const BatchOptions& options, std::ostream& out, std::ostream& err);

}  // namespace tool
}  // namespace navreq
