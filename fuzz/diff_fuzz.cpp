// Fuzz target: `navreq diff` on two arbitrary inputs.
//
// The first two bytes (big-endian) split the rest into A and B. Nothing crashes; a request
// compared with itself has no differences; every difference names a path.
#include <cstddef>
#include <cstdint>
#include <string>

#include "navreq/read/diff.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string rest(reinterpret_cast<const char*>(data + 2), size - 2);
  const std::size_t cut = ((std::size_t{data[0]} << 8) | data[1]) % (rest.size() + 1);
  const std::string a = rest.substr(0, cut);
  const std::string b = rest.substr(cut);
  NAVREQ_FUZZ_CHECK(navreq::DiffRequests(a, a, {}).empty(), "a request does not differ from itself");
  for (const navreq::Difference& d : navreq::DiffRequests(a, b, {"**.x*"})) {
    NAVREQ_FUZZ_CHECK(!navreq::DifferenceLine(d).empty(), "every difference is a line");
  }
  return 0;
}
