// `navreq diff`: two requests compared field by field, each difference named
// by its path (paths.h). The differences go to a sink as they are found, in
// the order of the paths, so memory holds one request's values and not the
// differences; what else the comparison found (an input that dump would
// report, requests of different commands, --ignore patterns that match
// nothing) comes back in a DiffReport for the caller to word and act on.
#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
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
  bool head_changed = false;  // the head types (or carried records) differ; a and b then begin with the type
  bool a_number = false;      // a is a JSON number as it stands
  bool b_number = false;      // b is a JSON number as it stands
};

// How two requests are compared.
struct DiffOptions {
  std::vector<std::string> ignore;  // paths left out, with everything under them (PathMatches)
  // Compare requests of different commands all the same. Where the bodies are
  // different records, a field is then named only where both records give it
  // the same name, and by its tag elsewhere.
  bool force = false;
};

// What reading one of the two requests found.
struct DiffInput {
  // dump's exit status on it: 0 clean; 1 bytes that did not decode or a body
  // that did not inflate; 2 missing or mistyped fields, unknown tags, ...
  int status = 0;
  std::string problem;  // the first problem, "PATH: what", when status is not 0
  // Its command ("CMD_ROUTE_CAR_SNS", "Packet kind 1 (...)"); empty when no
  // envelope was recognised.
  std::string kind;
};

// What a comparison found besides the differences.
struct DiffReport {
  std::size_t differences = 0;  // sent to the sink
  DiffInput a;                  // request A
  DiffInput b;                  // request B
  // The two are requests of different commands and DiffOptions::force was
  // not given. Where their bodies are different records the bodies are not
  // compared: the body is one difference, its two record names.
  bool kind_mismatch = false;
  std::vector<std::string> unmatched_ignores;  // patterns that match no path of either request

  // The exit status of `navreq diff`: 2 when either input has a problem or the
  // kinds do not match, else 1 when there are differences, else 0.
  [[nodiscard]] int status() const noexcept {
    if (a.status != 0 || b.status != 0 || kind_mismatch) return 2;
    return differences > 0 ? 1 : 0;
  }
};

// Receives each difference as it is found.
using DifferenceSink = std::function<void(const Difference&)>;

// Every value of a request as (path, value as diff shows it), in the order
// of the bytes; records, lists, maps and carried bytes have an empty value.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> FlattenRequest(const std::string& bytes);

// Whether `path` or one of its ancestors matches `pattern`: `*` matches one
// level (or, inside a level, any run of characters), `**` any number of levels.
[[nodiscard]] bool PathMatches(const std::string& pattern, const std::string& path);

// Compares the requests in `a` and `b` (bytes), sending each difference to
// `sink` as it is found. Memory: A's values packed (about twice A's bytes,
// inflated) and B's inflated body, whatever the number of differences.
[[nodiscard]] DiffReport DiffRequests(const std::string& a, const std::string& b, const DiffOptions& options,
                                      const DifferenceSink& sink);

// The differences and the report together, for small requests.
struct DiffResult {
  std::vector<Difference> differences;  // in the order of their paths
  DiffReport report;                    // as DiffRequests with a sink gives it
};

// DiffRequests with the differences collected.
[[nodiscard]] DiffResult CollectDifferences(const std::string& a, const std::string& b,
                                            const DiffOptions& options);

// The differences alone, leaving out the paths that match one of `ignore`.
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

// The report's problems, one line each, the first input's first: "A: PATH:
// what", "B: ...", "A is CMD_..., B is ..."; none when its status is 0 or 1.
[[nodiscard]] std::vector<std::string> DiffTroubleLines(const DiffReport& report);

// Writes the JSON array of `navreq diff --json` one difference at a time:
// {"path", "a", "b"} each (a value absent from one side is null; numbers stay
// numbers), indented; with `with_lines`, on one line and each with its
// "line" as well. finish() closes the array.
class DifferencesJsonWriter {
 public:
  // Writes to `out`; nothing is written before the first add() or finish().
  DifferencesJsonWriter(std::ostream& out, bool with_lines) : out_(out), with_lines_(with_lines) {}
  // Writes one difference.
  void add(const Difference& d);
  // Closes the array (an empty one is "[]").
  void finish();

 private:
  std::ostream& out_;
  bool with_lines_;
  bool any_ = false;
};

// The whole array at once, as DifferencesJsonWriter writes it.
[[nodiscard]] std::string DifferencesJson(const std::vector<Difference>& diffs, bool with_lines);

}  // namespace navreq
