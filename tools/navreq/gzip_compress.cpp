// Compressing an edited body again (`navreq pack`). Kept apart from the
// inflater so that the reading half links without the engine's services.
#include <vector>

#include "gzip_util.h"
#include "navreq/engine/service_overrides.h"

namespace navreq {
namespace tool {

bool Gzip(std::string_view in, std::string& out) {
  std::vector<char> plain(in.begin(), in.end());
  std::vector<char> packed;
  if (!navreq::services::DefaultGZipCompress(plain, packed)) return false;
  out.assign(packed.begin(), packed.end());
  return true;
}

}  // namespace tool
}  // namespace navreq
