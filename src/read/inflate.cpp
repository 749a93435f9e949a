#include "navreq/read/inflate.h"

#include <zlib.h>

namespace navreq {

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;
constexpr std::size_t kMaxChunk = std::size_t{1} << 30;  // what one zlib call is offered, at most

std::string OverLimitText(std::size_t limit) {
  return "inflates to more than " +
         (limit % kMiB == 0 ? std::to_string(limit / kMiB) + " MiB" : std::to_string(limit) + " bytes");
}

class Inflater {
 public:
  Inflater() { ready_ = inflateInit2(&z_, 16 + MAX_WBITS) == Z_OK; }  // gzip framing only
  ~Inflater() {
    if (ready_) inflateEnd(&z_);
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // Inflates the member at the start of `in`. With `out` null, only counts;
  // `total` is the inflated size, `consumed` the member's size in `in`.
  GunzipResult run(std::string_view in, std::size_t limit, char* out, std::size_t& total,
                   std::size_t& consumed) {
    GunzipResult r;
    total = 0;
    consumed = 0;
    if (!ready_) return fail(GunzipStatus::kBroken, "broken gzip stream: the inflater does not start");
    char scratch[16384];
    for (;;) {
      const std::size_t in_left = in.size() - consumed;
      z_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data() + consumed));
      z_.avail_in = static_cast<uInt>(in_left < kMaxChunk ? in_left : kMaxChunk);
      const std::size_t room = limit - total;
      // With no room left, one more byte would pass the limit: a single
      // scratch byte finds out whether any would come.
      const bool probing = room == 0;
      if (probing) {
        z_.next_out = reinterpret_cast<Bytef*>(scratch);
        z_.avail_out = 1;
      } else if (out != nullptr) {
        z_.next_out = reinterpret_cast<Bytef*>(out + total);
        z_.avail_out = static_cast<uInt>(room < kMaxChunk ? room : kMaxChunk);
      } else {
        z_.next_out = reinterpret_cast<Bytef*>(scratch);
        z_.avail_out = static_cast<uInt>(room < sizeof scratch ? room : sizeof scratch);
      }
      const std::size_t offered_in = z_.avail_in;
      const std::size_t offered_out = z_.avail_out;
      const int rc = inflate(&z_, Z_NO_FLUSH);
      consumed += offered_in - z_.avail_in;
      const std::size_t produced = offered_out - z_.avail_out;
      if (probing && produced > 0) return fail(GunzipStatus::kOverLimit, OverLimitText(limit));
      total += produced;
      if (rc == Z_STREAM_END) return r;
      // No progress with every input byte taken: the member ends early. (With
      // output room always offered, that is the only way to stall.)
      if (rc == Z_BUF_ERROR && consumed == in.size())
        return fail(GunzipStatus::kCutShort, "truncated gzip stream");
      if (rc != Z_OK) {
        return fail(GunzipStatus::kBroken,
                    std::string("broken gzip stream: ") + (z_.msg != nullptr ? z_.msg : "inflate failed"));
      }
    }
  }

 private:
  static GunzipResult fail(GunzipStatus status, std::string error) {
    GunzipResult r;
    r.status = status;
    r.error = std::move(error);
    return r;
  }

  z_stream z_{};
  bool ready_ = false;
};

}  // namespace

bool LooksGzip(std::string_view bytes) noexcept {
  return bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0x1F &&
         static_cast<unsigned char>(bytes[1]) == 0x8B;
}

GunzipResult Gunzip(std::string_view in, std::size_t limit, std::string& out) {
  out.clear();
  std::size_t size = 0;
  std::size_t consumed = 0;
  GunzipResult r = Inflater().run(in, limit, nullptr, size, consumed);
  if (!r.ok()) return r;
  if (consumed < in.size()) {
    const std::string_view rest = in.substr(consumed);
    r.offset = consumed;
    if (LooksGzip(rest)) {
      r.status = GunzipStatus::kSecondMember;
      r.error = "a second gzip member after the end of the gzip stream";
    } else {
      r.status = GunzipStatus::kBytesAfter;
      r.error = std::to_string(rest.size()) + " bytes after the end of the gzip stream";
    }
    return r;
  }
  out.assign(size, '\0');
  std::size_t again = 0;
  r = Inflater().run(in, size, out.data(), again, consumed);
  if (!r.ok()) out.clear();  // the same bytes inflate the same way: only out of memory could differ
  return r;
}

}  // namespace navreq
