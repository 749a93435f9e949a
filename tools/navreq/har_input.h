// HAR files where dump and diff take a request file: FILE.har lists its
// entries, FILE.har#N names entry N (counting from 0, as `log.entries` does).
#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "navreq/read/har.h"
#include "navreq/read/input.h"

namespace navreq {
namespace tool {

struct DumpOptions;

// What a request file held: one request's bytes, or a whole HAR file.
struct RequestInput {
  std::string bytes;              // the request (when `har` is empty)
  std::optional<HarReading> har;  // a HAR file read whole (no entry named)
};

// Reads `path` as dump and diff read their inputs: a HAR file when its text
// says so (only when `mode` is kDetect), one entry of it for `FILE#N` (when
// no file is named `FILE#N` itself), else the request raw or written as text
// (navreq/read/input.h). False with a one-line `error` naming the input;
// `raw_hint` ends that line for a text error.
[[nodiscard]] bool ReadRequestInput(const std::string& path, InputMode mode, RequestInput& input,
                                    std::string& error, const std::string& raw_hint);

// The line that heads an entry: "entry N: METHOD URL (FORM[, gzip][, inflated
// by the writer])".
[[nodiscard]] std::string HarEntryLine(const HarEntry& entry);

// dump of a whole HAR file: every request in turn, headed by its line, then
// the entries skipped with their reasons; with `json` one document
// {"entries": [...]}. The exit status of dump: the worst of the requests' (a
// damaged body or one that does not inflate counts as bytes not decoded);
// 65 when no entry holds a request.
[[nodiscard]] int DumpHar(const HarReading& har, const DumpOptions& options, std::ostream& out,
                          std::ostream& err);

}  // namespace tool
}  // namespace navreq
