// GZipCompress: the thread's override if a test or tool installed one,
// otherwise the compressor the build selected (zlib or libdeflate).
#include "navreq/engine/service_overrides.h"
#include "navreq/engine/services.h"
#include "overrides.h"

namespace zv_navi_core {

bool GZipCompress(std::vector<char>& in, std::vector<char>& out) {
  const auto& replaced = navreq::services::detail::current<navreq::services::detail::GzipSlot>();
  if (replaced) return replaced(in, out);
  try {
    return navreq::services::DefaultGZipCompress(in, out);
  } catch (...) {  // allocation failure of the output buffer
    return false;
  }
}

}  // namespace zv_navi_core
