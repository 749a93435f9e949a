// The two views of `navreq dump`, printed while the walk goes: the indented
// text tree and the JSON tree that `navreq pack` reads back.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "navreq/read/walk.h"

namespace navreq {

// Undecoded runs show this many bytes unless the view is told to show all.
constexpr std::size_t kUndecodedShown = 64;

// Writes to `out` in large pieces; `out` is checked by the caller.
[[nodiscard]] std::unique_ptr<TreeSink> MakeTextView(std::ostream& out, bool full);
[[nodiscard]] std::unique_ptr<TreeSink> MakeJsonView(std::ostream& out);

// The JSON view as the browser inspector reads it: in windows, so that a
// request of millions of values is shown a part at a time.
struct JsonViewOptions {
  // Every value also carries "path", its path as `navreq diff` names it
  // (paths.h; map keys, which name their values, have none), and every
  // container "node", its number in the walk (the top is 0).
  bool paths = false;
  // At most this many values are written (0: all). A container whose items
  // were cut short says so: "more": {"node": N, "from": FIRST LEFT OUT, "items": ALL}.
  std::size_t budget = 0;
  // At most this many items of each list, map or record (0: all), cut short
  // the same way: a long list leaves room for what follows it.
  std::uint64_t items_cap = 0;
  // Instead of the document, only the items of container `node` (whose path
  // is `node_path`) from item `from` on: {"items": [...], "more": {...}}.
  // Its missing fields and undecoded bytes come with the container itself.
  bool fragment = false;   // the items of one container only
  std::uint64_t node = 0;  // the container's number in the walk
  std::uint64_t from = 0;  // its first item wanted
  std::string node_path;   // its path
  // The fragment is walked from a mark (WalkItems, items_walk.h) rather than
  // found in a walk of the whole request: the walk starts at item `from`.
  // The view is full (TreeSink::full) once the window is.
  bool resumed = false;
  std::uint64_t first_value = 0;  // resumed: the number of the walk's first value
  std::uint64_t items_total = 0;  // resumed: the items begun in the container (the mark's `total`)
};
// The JSON view with the inspector's options.
[[nodiscard]] std::unique_ptr<TreeSink> MakeJsonView(std::ostream& out, const JsonViewOptions& options);

// Text of a float or double as the views print it: the shortest decimal that
// reads back as the same value, always with a '.' or an exponent, or
// NaN / Infinity / -Infinity.
[[nodiscard]] std::string RealText(const Item& item, const Scalar& value);

// Appending to an output buffer without temporaries.
void AppendInt(std::string& out, std::int64_t v);
void AppendHex(std::string& out, const char* data, std::size_t size);
// A JSON string literal of well-formed UTF-8 text.
void AppendJsonString(std::string& out, std::string_view text);

}  // namespace navreq
