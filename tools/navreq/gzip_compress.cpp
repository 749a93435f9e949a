#include <vector>

#include "gzip_compress.h"
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
