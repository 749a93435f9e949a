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
#include "pack.h"
#include "walk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nlohmann::json tree = nlohmann::json::parse(
      reinterpret_cast<const char*>(data), reinterpret_cast<const char*>(data) + size, nullptr, false);
  if (tree.is_discarded()) return 0;
  std::string bytes;
  try {
    bytes = navreq::tool::PackTree(tree);
  } catch (const navreq::tool::PackError& e) {
    NAVREQ_FUZZ_CHECK(e.what()[0] == '$', "a rejection names the JSON path");
    return 0;
  }
  const auto sink = navreq::tool::MakeNullSink();
  (void)navreq::tool::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *sink);
  return 0;
}
