// The JSON view of one request a window at a time, each window going on
// where the last one of its container stopped (what the browser inspector
// asks for when a container's "more" is opened).
#pragma once

#include <cstddef>
#include <list>
#include <ostream>
#include <string>
#include <utility>

#include "navreq/read/items_walk.h"
#include "navreq/read/views.h"

namespace navreq {

// The marks kept are bounded: at most `kept` containers, the one used
// longest ago forgotten first. A mark costs a few hundred bytes, plus for a
// map the keys before it, plus, inside a gzip body, a copy of the inflated
// bytes (items_walk.h). A window of a container not remembered, or before
// its mark, walks the request from its start to the container's end once (to
// count its items) and marks where it stops; the next window walks only its
// own items. Windows of records, carried bytes and the top, which hold few
// items, walk the whole request.
class JsonWindows {
 public:
  // Containers remembered unless told otherwise.
  static constexpr std::size_t kKeptMarks = 8;

  // Keeps the request's bytes and at most `kept` marks (0: none, every
  // window walks the request).
  explicit JsonWindows(std::string bytes, std::size_t kept = kKeptMarks)
      : bytes_(std::move(bytes)), kept_(kept) {}
  // Marks refer to the bytes: they do not move with a copy.
  JsonWindows(const JsonWindows&) = delete;
  JsonWindows& operator=(const JsonWindows&) = delete;

  // The request.
  [[nodiscard]] const std::string& bytes() const noexcept { return bytes_; }

  // Writes what MakeJsonView(out, options) writes over a walk of the whole
  // request, for a fragment (`options.fragment`; `resumed` is set here).
  void write(std::ostream& out, JsonViewOptions options);

  // Containers remembered.
  [[nodiscard]] std::size_t marks() const noexcept { return marks_.size(); }

 private:
  std::string bytes_;
  std::size_t kept_;
  std::list<ItemsMark> marks_;  // the most recently used first
};

}  // namespace navreq
