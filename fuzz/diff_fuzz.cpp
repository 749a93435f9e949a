// Fuzz target: `navreq diff` on two arbitrary inputs.
//
// The first two bytes (big-endian) split the rest into A and B. Nothing crashes; a request
// compared with itself has no differences and reads alike on both sides; every difference
// names a path and is counted; an input's problem is named exactly when its status says so.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "navreq/read/diff.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string rest(reinterpret_cast<const char*>(data + 2), size - 2);
  const std::size_t cut = ((std::size_t{data[0]} << 8) | data[1]) % (rest.size() + 1);
  const std::string a = rest.substr(0, cut);
  const std::string b = rest.substr(cut);
  const navreq::DiffResult same = navreq::CollectDifferences(a, a, {});
  NAVREQ_FUZZ_CHECK(same.differences.empty(), "a request does not differ from itself");
  NAVREQ_FUZZ_CHECK(same.report.a.status == same.report.b.status &&
                        same.report.a.problem == same.report.b.problem && !same.report.kind_mismatch,
                    "a request reads the same as A and as B");
  NAVREQ_FUZZ_CHECK(same.report.status() == (same.report.a.status != 0 ? 2 : 0),
                    "its status is its reading's");
  navreq::DiffOptions options;
  options.ignore = {"**.x*"};
  const navreq::DiffResult other = navreq::CollectDifferences(a, b, options);
  for (const navreq::Difference& d : other.differences) {
    NAVREQ_FUZZ_CHECK(!navreq::DifferenceLine(d).empty(), "every difference is a line");
  }
  NAVREQ_FUZZ_CHECK(other.report.differences == other.differences.size(), "every difference is counted");
  for (const navreq::DiffInput* in : {&other.report.a, &other.report.b}) {
    NAVREQ_FUZZ_CHECK((in->status == 0) == in->problem.empty(),
                      "a problem is named exactly when there is one");
  }
  return 0;
}
