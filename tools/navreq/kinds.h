// The request kinds of `navreq encode` and `navreq batch`: which parameter
// record each reads and which entry function it calls.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "param_json.h"

namespace navreq {
namespace tool {

// A request whose parameters have been read: calling it runs the entry
// function into `out` and returns its result.
struct PreparedRequest {
  std::string function;  // the entry function's name, for messages
  std::function<int(std::vector<char>& out)> call;
};

// route, refresh, location, navstop, plus, slice.
[[nodiscard]] const std::vector<std::string>& KindNames();

// Reads the parameters of `kind` from the document's "extra" and "param"
// values (null pointer: the key was absent, the record keeps its defaults).
// Throws InputError for an unknown kind or invalid parameters.
[[nodiscard]] PreparedRequest Prepare(const std::string& kind, const json* extra, const json* param);

// The same from a request object {"extra": {...}, "param": {...}}; `allowed`
// names the keys the object may hold besides those two.
[[nodiscard]] PreparedRequest PrepareFromObject(const json& doc, const std::string& kind,
                                                const std::vector<std::string>& allowed);

}  // namespace tool
}  // namespace navreq
