// Default compressor: zlib deflate with gzip framing.
//
// Setting up a deflate stream allocates about 268 KB of state; doing that for
// every request costs more than the deflate itself on small bodies. Each thread
// keeps one stream and resets it between calls, which also writes a fresh gzip
// header, so every output is a complete, independent RFC 1952 stream.
#include <zlib.h>

#include <climits>
#include <cstring>

#include "navreq/engine/service_overrides.h"
#include "navreq/engine/services.h"
#include "overrides.h"

namespace navreq {
namespace services {
namespace {

constexpr int kLevel = 6;
constexpr int kGzipWindowBits = 15 + 16;  // 32 KiB window, gzip wrapper
constexpr int kMemLevel = 8;

class ThreadDeflater {
 public:
  ThreadDeflater() {
    std::memset(&stream_, 0, sizeof stream_);
    ready_ =
        deflateInit2(&stream_, kLevel, Z_DEFLATED, kGzipWindowBits, kMemLevel, Z_DEFAULT_STRATEGY) == Z_OK;
  }
  ~ThreadDeflater() {
    if (ready_) deflateEnd(&stream_);
  }
  ThreadDeflater(const ThreadDeflater&) = delete;
  ThreadDeflater& operator=(const ThreadDeflater&) = delete;

  bool compress(const std::vector<char>& in, std::vector<char>& out) {
    if (!ready_ || deflateReset(&stream_) != Z_OK) return false;
    const uLong bound = deflateBound(&stream_, static_cast<uLong>(in.size()));
    out.resize(static_cast<std::size_t>(bound));
    // zlib counts in 32-bit uInt; feed large inputs in pieces.
    const Bytef* next_in = reinterpret_cast<const Bytef*>(in.data());
    std::size_t in_left = in.size();
    Bytef* next_out = reinterpret_cast<Bytef*>(out.data());
    std::size_t out_left = out.size();
    int status = Z_OK;
    do {
      const uInt in_chunk = static_cast<uInt>(in_left < UINT_MAX ? in_left : UINT_MAX);
      const uInt out_chunk = static_cast<uInt>(out_left < UINT_MAX ? out_left : UINT_MAX);
      stream_.next_in = const_cast<Bytef*>(next_in);
      stream_.avail_in = in_chunk;
      stream_.next_out = next_out;
      stream_.avail_out = out_chunk;
      const int flush = in_chunk == in_left ? Z_FINISH : Z_NO_FLUSH;
      status = deflate(&stream_, flush);
      const uInt consumed = in_chunk - stream_.avail_in;
      const uInt produced = out_chunk - stream_.avail_out;
      next_in += consumed;
      in_left -= consumed;
      next_out += produced;
      out_left -= produced;
      if (status == Z_STREAM_ERROR) break;
      if (status != Z_STREAM_END && consumed == 0 && produced == 0) break;  // no progress
    } while (status != Z_STREAM_END);
    if (status != Z_STREAM_END) {
      out.clear();
      return false;
    }
    out.resize(out.size() - out_left);
    return true;
  }

 private:
  z_stream stream_;
  bool ready_ = false;
};

}  // namespace

bool DefaultGZipCompress(const std::vector<char>& in, std::vector<char>& out) {
  thread_local ThreadDeflater deflater;
  return deflater.compress(in, out);
}

}  // namespace services
}  // namespace navreq
