// Fuzz target: `navreq pack` on arbitrary text.
//
// A document that is not JSON or not a tree is rejected (exit 65 in the
// tool); anything else is packed. Either way nothing crashes, and what packs
// reads back through `dump` without a crash.
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "fuzz_support.h"
#include "gzip_compress.h"
#include "navreq/read/pack.h"
#include "navreq/read/walk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nlohmann::json tree = nlohmann::json::parse(
      reinterpret_cast<const char*>(data), reinterpret_cast<const char*>(data) + size, nullptr, false);
  if (tree.is_discarded()) return 0;
  std::string bytes;
  try {
    bytes = navreq::PackJson(tree.dump(), navreq::tool::Gzip);
  } catch (const navreq::PackError& e) {
    NAVREQ_FUZZ_CHECK(e.what()[0] == '$', "a rejection names the JSON path");
    return 0;
  }
  const auto sink = navreq::MakeNullSink();
  (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *sink);
  return 0;
}
