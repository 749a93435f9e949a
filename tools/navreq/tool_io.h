// Reading inputs and writing outputs for the subcommands, with every failure
// reported as a message rather than an exception or a silent short write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace navreq {
namespace tool {

// "standard input" for "-", else the path itself: how messages name an input.
[[nodiscard]] std::string InputName(const std::string& path);

// The whole file, or standard input for "-". On failure `error` says why
// ("cannot read X: reason").
[[nodiscard]] bool ReadAll(const std::string& path, std::string& data, std::string& error);

// Writes `size` bytes to a new file at `path` (truncating it) and closes it;
// false, with `error` naming the path, when any of it fails.
[[nodiscard]] bool WriteFileBytes(const std::string& path, const char* data, std::size_t size,
                                  std::string& error);

// Reads a file, or standard input for "-", one line at a time, keeping only the
// current line in memory.
class LineReader {
 public:
  LineReader() = default;
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // False, with `error` set, when the input cannot be opened.
  [[nodiscard]] bool Open(const std::string& path, std::string& error);
  // The next line without its "\n" (nor a "\r" before it). False at the end
  // of the input, or on a read error (then `error` says why). A final "\n"
  // does not open another line.
  [[nodiscard]] bool Next(std::string& line, std::string& error);

 private:
  std::string name_;
  std::FILE* file_ = nullptr;
  bool owned_ = false;
  char* buffer_ = nullptr;
  std::size_t capacity_ = 0;
};

// "cannot write NAME: reason" for a write that failed with `error_number`
// (0: the stream gave no reason).
[[nodiscard]] std::string CannotWrite(const std::string& name, int error_number);

// Decimal integers of the command line: an optional '-' (signed only) and
// digits, nothing else, within the type's range.
[[nodiscard]] std::optional<std::int64_t> ParseInt64(const std::string& text);
[[nodiscard]] std::optional<std::uint64_t> ParseUint64(const std::string& text);

}  // namespace tool
}  // namespace navreq
