// Fuzz target: one request kind from an arbitrary parameter document to the
// final bytes, through the library's parameter JSON mapping, the entry function and the
// writer. Built once per kind; NAVREQ_FUZZ_KIND names it ("route", "refresh",
// "location", "navstop", "plus", "slice").
//
// Allowed outcomes: the document is rejected as invalid input (InputError);
// the refresh throws std::invalid_argument / std::out_of_range for a route
// identifier that is not a number; otherwise the entry function returns one
// of its results. What it writes on success must decode completely.
// Anything else (a crash, undefined behaviour, a leak, another exception)
// is a finding.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "kinds.h"
#include "navreq/engine/service_overrides.h"
#include "param_json.h"
#include "navreq/read/walk.h"

#if !defined(NAVREQ_FUZZ_KIND)
#error "NAVREQ_FUZZ_KIND must name the request kind"
#endif

namespace {

using navreq::tool::InputError;
using navreq::tool::json;

constexpr char kKind[] = NAVREQ_FUZZ_KIND;
// Every run sees the same clock, so a crash replays exactly.
constexpr std::int64_t kNowMs = 1700000000000;

bool KindIs(const char* name) { return std::string(kKind) == name; }

void CheckResult(int rc, const std::vector<char>& out) {
  const bool two_allowed = KindIs("navstop") || KindIs("plus") || KindIs("slice");
  NAVREQ_FUZZ_CHECK(rc == 0 || rc == 1 || (rc == 2 && two_allowed), "result is one the entry function has");
  if (rc != 0) return;
  NAVREQ_FUZZ_CHECK(!out.empty(), "a successful request has bytes");
  const auto sink = navreq::MakeNullSink();
  const navreq::WalkSummary summary =
      navreq::Walk(reinterpret_cast<const unsigned char*>(out.data()), out.size(), *sink);
  NAVREQ_FUZZ_CHECK(summary.status() == 0, "a request's bytes decode completely, every record whole");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  navreq::tool::PreparedRequest request;
  try {
    request = navreq::tool::PrepareFromObject(navreq::tool::ParseJsonDocument(text), kKind, {});
  } catch (const InputError&) {
    return 0;  // rejected as invalid input, as `navreq encode` does (exit 65)
  }

  navreq::services::ScopedClock clock(kNowMs);
  std::vector<char> out;
  int rc = 0;
  try {
    rc = request.call(out);
  } catch (const std::invalid_argument&) {
    NAVREQ_FUZZ_CHECK(KindIs("refresh"), "only the refresh throws for a bad route identifier");
    NAVREQ_FUZZ_CHECK(out.empty(), "a request that throws leaves the output untouched");
    return 0;
  } catch (const std::out_of_range&) {
    NAVREQ_FUZZ_CHECK(KindIs("refresh"), "only the refresh throws for a route identifier out of range");
    NAVREQ_FUZZ_CHECK(out.empty(), "a request that throws leaves the output untouched");
    return 0;
  }
  CheckResult(rc, out);
  return 0;
}
