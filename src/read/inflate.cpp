#include "navreq/read/inflate.h"

#include <zlib.h>

namespace navreq {

namespace {

// Runs the inflater over every member of `in`. With `out` null, only counts.
// Returns the inflated size, or false with `error`.
bool InflateAll(std::string_view in, std::size_t limit, char* out, std::size_t& total, std::string& error) {
  z_stream z{};
  if (inflateInit2(&z, 16 + MAX_WBITS) != Z_OK) {
    error = "cannot start the inflater";
    return false;
  }
  total = 0;
  std::size_t consumed = 0;
  char scratch[65536];
  bool ok = true;
  while (ok) {
    const std::size_t left = in.size() - consumed;
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data() + consumed));
    z.avail_in = static_cast<uInt>(left > (1u << 30) ? (1u << 30) : left);
    const std::size_t offered = z.avail_in;
    int rc = Z_OK;
    do {
      const std::size_t room = limit - total;
      if (out != nullptr) {
        z.next_out = reinterpret_cast<Bytef*>(out + total);
        z.avail_out = static_cast<uInt>(room > (1u << 30) ? (1u << 30) : room);
      } else {
        z.next_out = reinterpret_cast<Bytef*>(scratch);
        z.avail_out = static_cast<uInt>(room < sizeof scratch ? room : sizeof scratch);
      }
      const std::size_t before = z.avail_out;
      // With no room left, one more byte of output would pass the limit:
      // offer a single scratch byte to find out whether any would come.
      char probe = 0;
      const bool probing = before == 0;
      if (probing) {
        z.next_out = reinterpret_cast<Bytef*>(&probe);
        z.avail_out = 1;
      }
      rc = inflate(&z, Z_NO_FLUSH);
      if (probing) {
        if (z.avail_out == 0) {
          error = "inflates to more than " + std::to_string(limit >> 20) + " MiB";
          ok = false;
          break;
        }
      } else {
        total += before - z.avail_out;
      }
      if (rc == Z_STREAM_END) break;
      if (rc == Z_BUF_ERROR && z.avail_in == 0) {
        error = "truncated gzip stream";
        ok = false;
        break;
      }
      if (rc != Z_OK && rc != Z_BUF_ERROR) {
        error = std::string("broken gzip stream: ") + (z.msg != nullptr ? z.msg : "inflate failed");
        ok = false;
        break;
      }
    } while (true);
    if (!ok) break;
    consumed += offered - z.avail_in;
    if (consumed == in.size()) break;
    if (!LooksGzip(in.substr(consumed))) {
      error = std::to_string(in.size() - consumed) + " bytes after the end of the gzip stream";
      ok = false;
      break;
    }
    inflateReset(&z);  // another member follows
  }
  inflateEnd(&z);
  return ok;
}

}  // namespace

bool LooksGzip(std::string_view bytes) noexcept {
  return bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0x1F &&
         static_cast<unsigned char>(bytes[1]) == 0x8B;
}

bool Gunzip(std::string_view in, std::size_t limit, std::string& out, std::string& error) {
  std::size_t size = 0;
  if (!InflateAll(in, limit, nullptr, size, error)) return false;
  out.assign(size, '\0');
  std::size_t again = 0;
  return InflateAll(in, size, out.data(), again, error);
}

}  // namespace navreq
