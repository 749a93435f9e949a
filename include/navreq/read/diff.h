// `navreq diff`: two requests compared field by field, each difference named
// by its path (paths.h).
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace navreq {

class TreeSink;

// One value that differs between requests A and B.
struct Difference {
  std::string path;           // the value's path (paths.h)
  std::string a;              // the value in A as text; empty when only in B
  std::string b;              // the value in B as text; empty when only in A
  bool only_a = false;        // the value is in A alone
  bool only_b = false;        // the value is in B alone
  bool head_changed = false;  // the head types differ; a and b then begin with the type
  bool a_number = false;      // a is a JSON number as it stands
  bool b_number = false;      // b is a JSON number as it stands
};

// Every value of a request as (path, value as diff shows it), in the order
// of the bytes; records, lists, maps and carried bytes have an empty value.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> FlattenRequest(const std::string& bytes);

// Whether `path` or one of its ancestors matches `pattern`: `*` matches one
// level (or, inside a level, any run of characters), `**` any number of levels.
[[nodiscard]] bool PathMatches(const std::string& pattern, const std::string& path);

// The differences between the requests in `a` and `b` (bytes), leaving out
// the paths that match one of `ignore`.
[[nodiscard]] std::vector<Difference> DiffRequests(const std::string& a, const std::string& b,
                                                   const std::vector<std::string>& ignore);

// The differences between two trees given as walks: each function sends its
// tree to the sink it is given (begin, the values, end), as Walk and
// WalkRecord do. Records' bytes and values in memory (the engine's parameter
// records) are compared this way, by the comparison of DiffRequests.
[[nodiscard]] std::vector<Difference> DiffWalks(const std::function<void(TreeSink&)>& a,
                                                const std::function<void(TreeSink&)>& b);

// "PATH: A -> B", "PATH: only in A", ...
[[nodiscard]] std::string DifferenceLine(const Difference& d);

// The differences as the JSON array of `navreq diff --json`: {"path", "a", "b"}
// per difference (a value absent from one side is null; numbers stay numbers),
// indented; with `with_lines`, on one line and each with its "line" as well.
[[nodiscard]] std::string DifferencesJson(const std::vector<Difference>& diffs, bool with_lines);

}  // namespace navreq
