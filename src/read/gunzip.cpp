// Bounded gzip inflation for reading request bodies back.
#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "navreq/request_reader.h"

namespace navreq {

namespace {

constexpr int kGzipWindowBits = 15 + 16;  // 32 KiB window, gzip wrapper only
constexpr std::size_t kFirstChunk = 64 * 1024;

class Inflater {
 public:
  Inflater() { std::memset(&stream_, 0, sizeof stream_); }
  ~Inflater() {
    if (ready_) inflateEnd(&stream_);
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  bool init() { return ready_ = inflateInit2(&stream_, kGzipWindowBits) == Z_OK; }
  z_stream& stream() { return stream_; }

 private:
  z_stream stream_;
  bool ready_ = false;
};

}  // namespace

bool LooksGzip(const void* data, std::size_t size) noexcept {
  const auto* p = static_cast<const unsigned char*>(data);
  return size >= 2 && p[0] == 0x1F && p[1] == 0x8B;
}

bool GunzipBounded(const void* data, std::size_t size, std::size_t limit, std::vector<char>& out,
                   std::string& error) noexcept {
  out.clear();
  try {
    Inflater inflater;
    if (!inflater.init()) {
      error = "inflate could not start";
      return false;
    }
    z_stream& z = inflater.stream();
    const auto* next_in = static_cast<const unsigned char*>(data);
    std::size_t in_left = size;
    std::size_t produced = 0;
    // The output grows with what the stream really inflates to, never beyond
    // the limit (plus one byte to notice a stream that goes over it).
    out.resize(std::min(limit + 1, std::max(kFirstChunk, 4 * size)));
    for (;;) {
      if (produced == out.size()) {
        if (out.size() > limit) {
          error = "inflated size over the limit of " + std::to_string(limit) + " bytes";
          out.clear();
          return false;
        }
        out.resize(std::min(limit + 1, 2 * out.size()));
      }
      const uInt in_chunk = static_cast<uInt>(std::min<std::size_t>(in_left, UINT_MAX));
      const uInt out_chunk = static_cast<uInt>(std::min<std::size_t>(out.size() - produced, UINT_MAX));
      z.next_in = const_cast<unsigned char*>(next_in);
      z.avail_in = in_chunk;
      z.next_out = reinterpret_cast<unsigned char*>(out.data() + produced);
      z.avail_out = out_chunk;
      const int status = inflate(&z, Z_NO_FLUSH);
      next_in += in_chunk - z.avail_in;
      in_left -= in_chunk - z.avail_in;
      produced += out_chunk - z.avail_out;
      if (status == Z_STREAM_END) break;
      if (status == Z_BUF_ERROR && in_left == 0 && z.avail_in == 0 && produced < out.size()) {
        error = "gzip stream cut short";
        out.clear();
        return false;
      }
      if (status != Z_OK && status != Z_BUF_ERROR) {
        error = std::string("gzip stream does not inflate: ") + (z.msg != nullptr ? z.msg : "error");
        out.clear();
        return false;
      }
    }
    if (produced > limit) {
      error = "inflated size over the limit of " + std::to_string(limit) + " bytes";
      out.clear();
      return false;
    }
    if (in_left != 0) {
      error = std::to_string(in_left) + " bytes after the gzip stream";
      out.clear();
      return false;
    }
    out.resize(produced);
    return true;
  } catch (...) {
    error = "out of memory while inflating";
    out.clear();
    return false;
  }
}

}  // namespace navreq
