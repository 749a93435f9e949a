// Capturing what a call logs and prints.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"

namespace navreq {
namespace testing {

// Collects Log::record calls of this thread as "L<level> E<event> <message>".
class LogCapture {
 public:
  LogCapture()
      : guard_([this](int level, int event, const std::string& message) {
          lines_.push_back("L" + std::to_string(level) + " E" + std::to_string(event) + " " + message);
        }) {}
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  std::vector<std::string> lines_;
  navreq::services::ScopedLogSink guard_;
};

// Redirects standard output (the C stream and file descriptor 1) into a
// temporary file for the guard's lifetime.
class StdoutCapture {
 public:
  StdoutCapture() {
    std::fflush(stdout);
    file_ = std::tmpfile();
    saved_ = dup(1);
    dup2(fileno(file_), 1);
  }
  ~StdoutCapture() {
    restore();
    if (file_ != nullptr) std::fclose(file_);
  }
  StdoutCapture(const StdoutCapture&) = delete;
  StdoutCapture& operator=(const StdoutCapture&) = delete;

  // What was printed so far.
  std::string text() {
    std::fflush(stdout);
    std::string out;
    std::rewind(file_);
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, file_)) > 0) out.append(buf, n);
    std::fseek(file_, 0, SEEK_END);
    return out;
  }

 private:
  void restore() {
    if (saved_ < 0) return;
    std::fflush(stdout);
    dup2(saved_, 1);
    close(saved_);
    saved_ = -1;
  }
  std::FILE* file_ = nullptr;
  int saved_ = -1;
};

}  // namespace testing
}  // namespace navreq
