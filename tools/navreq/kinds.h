// The request kinds of `navreq encode` and `navreq batch`: which parameter
// record each reads and which entry function it calls, in one table.
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

struct Kind {
  const char* name;      // as the command line and a batch line spell it
  const char* function;  // the entry function it calls
  const char* param;     // what "param" holds, for the help text
  // Reads "extra" and "param" (null pointer: absent, defaults kept) and binds
  // them to the entry function. Throws InputError.
  std::function<int(std::vector<char>&)> (*bind)(const json* extra, const json* param);
};

// route, refresh, location, navstop, plus, slice.
[[nodiscard]] const std::vector<Kind>& Kinds();
[[nodiscard]] std::vector<std::string> KindNames();
// One line per kind: "route: GetRouteReqData, param DriveRouteReqParam".
[[nodiscard]] std::string KindsHelp();

// Reads the parameters of `kind` from the document's "extra" and "param"
// values (null pointer: the key was absent, the record keeps its defaults).
// Throws InputError for an unknown kind or invalid parameters.
[[nodiscard]] PreparedRequest Prepare(const std::string& kind, const json* extra, const json* param);

// The same from a request object {"extra": {...}, "param": {...}}; `allowed`
// names the keys the object may hold besides those two.
[[nodiscard]] PreparedRequest PrepareFromObject(const json& doc, const std::string& kind,
                                                const std::vector<std::string>& allowed);

// How a call ended: the entry function's result, or the exception it threw.
struct CallOutcome {
  bool threw = false;
  int rc = 0;
  std::string what;  // "GetRoutePlus threw: std::bad_alloc"
};

// Runs the request into `out`, catching whatever it throws.
[[nodiscard]] CallOutcome Call(const PreparedRequest& request, std::vector<char>& out);

}  // namespace tool
}  // namespace navreq
