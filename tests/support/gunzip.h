// Gzip streams on the test side, with zlib, whatever compressor the library
// was built with: a test compares what a compressed body carries, never the
// compressor's exact output.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

namespace navreq {
namespace testing {

// The plain bytes of one whole gzip member. Fails the current test when the
// framing is not gzip (magic 1f 8b, method 8), the stream is broken or cut
// short (CRC-32 and length of the trailer included), or bytes follow it.
inline std::string Gunzip(const std::string& gz) {
  EXPECT_GE(gz.size(), 18u) << "shorter than a gzip header and trailer";
  EXPECT_EQ(gz.substr(0, 3), std::string("\x1f\x8b\x08", 3)) << "not a gzip member using deflate";
  z_stream zs{};
  EXPECT_EQ(inflateInit2(&zs, 16 + MAX_WBITS), Z_OK);  // gzip framing only
  std::string out;
  char buf[4096];
  zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(gz.data()));
  zs.avail_in = static_cast<uInt>(gz.size());
  int status = Z_OK;
  while (status == Z_OK) {
    zs.next_out = reinterpret_cast<Bytef*>(buf);
    zs.avail_out = sizeof buf;
    status = inflate(&zs, Z_NO_FLUSH);
    out.append(buf, sizeof buf - zs.avail_out);
  }
  EXPECT_EQ(status, Z_STREAM_END) << "broken or truncated gzip stream";
  EXPECT_EQ(zs.avail_in, 0u) << "bytes after the gzip member";
  inflateEnd(&zs);
  return out;
}

inline std::vector<char> Gunzip(const std::vector<char>& gz) {
  const std::string plain = Gunzip(std::string(gz.begin(), gz.end()));
  return std::vector<char>(plain.begin(), plain.end());
}

// One gzip member of `plain`, made with zlib directly (header 1f 8b 08, deflate data, CRC-32 and size).
inline std::string GzipMember(const std::string& plain) {
  z_stream z{};
  EXPECT_EQ(deflateInit2(&z, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string out(deflateBound(&z, static_cast<uLong>(plain.size())), '\0');
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));
  z.avail_in = static_cast<uInt>(plain.size());
  z.next_out = reinterpret_cast<Bytef*>(&out[0]);
  z.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

}  // namespace testing
}  // namespace navreq
