// The two views of `navreq dump`, printed while the walk goes: the indented
// text tree and the JSON tree that `navreq pack` reads back.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "walk.h"

namespace navreq {
namespace tool {

// Undecoded runs show this many bytes unless the view is told to show all.
constexpr std::size_t kUndecodedShown = 64;

// Writes to `out` in large pieces; `out` is checked by the caller.
[[nodiscard]] std::unique_ptr<TreeSink> MakeTextView(std::ostream& out, bool full);
// With `with_paths`, every value also carries "path": its path as `navreq
// diff` names it (paths.h); map keys, which name their values, have none.
[[nodiscard]] std::unique_ptr<TreeSink> MakeJsonView(std::ostream& out, bool with_paths = false);

// Text of a float or double as the views print it: the shortest decimal that
// reads back as the same value, always with a '.' or an exponent, or
// NaN / Infinity / -Infinity.
[[nodiscard]] std::string RealText(const Item& item, const Scalar& value);

// Appending to an output buffer without temporaries.
void AppendInt(std::string& out, std::int64_t v);
void AppendHex(std::string& out, const char* data, std::size_t size);
// A JSON string literal of well-formed UTF-8 text.
void AppendJsonString(std::string& out, std::string_view text);

}  // namespace tool
}  // namespace navreq
