// Default compressor, libdeflate build (NAVREQ_GZIP_BACKEND=libdeflate):
// deflate level 6 with gzip framing, as the zlib build, in about 0.7 of zlib's
// time for the same size on request bodies.
//
// libdeflate compresses a whole buffer in one call, so there is no stream to
// feed in pieces. Its compressor holds about 700 KB of match-finder state:
// each thread allocates one on first use and keeps it; every call still
// produces a complete, independent RFC 1952 stream.
#include <libdeflate.h>

#include <cstddef>

#include "navreq/engine/service_overrides.h"
#include "navreq/engine/services.h"
#include "overrides.h"

namespace navreq {
namespace services {
namespace {

constexpr int kLevel = 6;

class ThreadCompressor {
 public:
  ThreadCompressor() = default;
  ~ThreadCompressor() {
    if (compressor_ != nullptr) libdeflate_free_compressor(compressor_);
  }
  ThreadCompressor(const ThreadCompressor&) = delete;
  ThreadCompressor& operator=(const ThreadCompressor&) = delete;

  bool compress(const std::vector<char>& in, std::vector<char>& out) {
    // Allocated on first use, and again after a failed allocation.
    if (compressor_ == nullptr) compressor_ = libdeflate_alloc_compressor(kLevel);
    if (compressor_ == nullptr) return false;
    out.resize(libdeflate_gzip_compress_bound(compressor_, in.size()));
    const std::size_t written =
        libdeflate_gzip_compress(compressor_, in.data(), in.size(), out.data(), out.size());
    if (written == 0) {  // cannot happen with the bound's room; kept as the failure path
      out.clear();
      return false;
    }
    out.resize(written);
    return true;
  }

 private:
  libdeflate_compressor* compressor_ = nullptr;
};

}  // namespace

bool DefaultGZipCompress(const std::vector<char>& in, std::vector<char>& out) {
  thread_local ThreadCompressor compressor;
  return compressor.compress(in, out);
}

}  // namespace services
}  // namespace navreq
