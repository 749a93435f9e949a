#include "tool_io.h"

#include <stdio.h>  // getline

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>

namespace navreq {
namespace tool {

namespace {

std::string Reason(int error_number) { return std::strerror(error_number); }

template <class T>
std::optional<T> ParseDecimal(const std::string& text) {
  T value{};
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value, 10);
  if (text.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return value;
}

}  // namespace

std::string InputName(const std::string& path) { return path == "-" ? std::string("standard input") : path; }

// Read with stdio so that every failure (a directory, an I/O error) is a
// return value, never an exception.
bool ReadAll(const std::string& path, std::string& data, std::string& error) {
  const bool from_stdin = path == "-";
  std::FILE* file = from_stdin ? stdin : std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    error = "cannot read " + InputName(path) + ": " + Reason(errno);
    return false;
  }
  data.clear();
  char chunk[65536];
  std::size_t n = 0;
  while ((n = std::fread(chunk, 1, sizeof chunk, file)) > 0) data.append(chunk, n);
  const bool failed = std::ferror(file) != 0;
  const int saved_errno = errno;
  if (!from_stdin) std::fclose(file);
  if (failed) {
    error = "cannot read " + InputName(path) + ": " + Reason(saved_errno);
    return false;
  }
  return true;
}

std::string CannotWrite(const std::string& name, int error_number) {
  return "cannot write " + name + (error_number != 0 ? ": " + Reason(error_number) : std::string());
}

bool WriteFileBytes(const std::string& path, const char* data, std::size_t size, std::string& error) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    error = CannotWrite(path, errno);
    return false;
  }
  // Buffered bytes may only fail at the flush inside fclose (a full disk).
  const bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
  int saved_errno = errno;
  const bool closed = std::fclose(file) == 0;
  if (written && !closed) saved_errno = errno;
  if (!written || !closed) {
    error = CannotWrite(path, saved_errno);
    return false;
  }
  return true;
}

LineReader::~LineReader() {
  std::free(buffer_);
  if (owned_) std::fclose(file_);
}

bool LineReader::Open(const std::string& path, std::string& error) {
  name_ = InputName(path);
  owned_ = path != "-";
  file_ = owned_ ? std::fopen(path.c_str(), "rb") : stdin;
  if (file_ == nullptr) {
    owned_ = false;
    error = "cannot read " + name_ + ": " + Reason(errno);
    return false;
  }
  return true;
}

bool LineReader::Next(std::string& line, std::string& error) {
  errno = 0;
  const ssize_t n = ::getline(&buffer_, &capacity_, file_);
  if (n < 0) {
    if (std::ferror(file_) != 0) error = "cannot read " + name_ + ": " + Reason(errno != 0 ? errno : EIO);
    return false;
  }
  std::size_t length = static_cast<std::size_t>(n);
  if (length > 0 && buffer_[length - 1] == '\n') --length;
  if (length > 0 && buffer_[length - 1] == '\r') --length;
  line.assign(buffer_, length);
  return true;
}

std::optional<std::int64_t> ParseInt64(const std::string& text) { return ParseDecimal<std::int64_t>(text); }
std::optional<std::uint64_t> ParseUint64(const std::string& text) {
  return ParseDecimal<std::uint64_t>(text);
}

}  // namespace tool
}  // namespace navreq
