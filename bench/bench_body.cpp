// The route search body side by side with its peers, and the compressors.
//
// body/*: the same logical content (the CarRouteReq that GetCarRouteReq fills
// from the route input) written by the Kse stream, by libprotobuf and by
// nanopb (proto3 mirror, route_body.proto), and a plain memcpy of the Kse
// output size as the floor; and read back: the Kse bytes into CarRouteReq
// (strict readRecord) beside libprotobuf's ParseFromArray of the mirror's
// bytes, each into one record reused across calls.
// gzip/*: zlib (a fresh deflateInit2/deflateEnd per call, gzip framing),
// libdeflate (one compressor per level, reused) and the default GZipCompress,
// on that body and on a body with 200 fixes.
#include <libdeflate.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench_nanopb.h"
#include "bench_ops.h"
#include "navreq/engine/services.h"
#include "navreq/envelope.h"
#include "navreq/kse/record_reader.h"
#include "navreq/records/routesearch.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "proto_mirror.h"
#include "route_body.pb.h"

namespace navreq_bench {
namespace {

namespace drs = zv_navi_core::drive_route_req_serializer;
using navcore::ryn::BufferWriter;
using navcore::ryn::KseOutputStream;
using navkse::routesearch::CarRouteReq;

[[noreturn]] void Die(const std::string& message) {
  std::fprintf(stderr, "bench: %s\n", message.c_str());
  std::exit(1);
}

std::vector<char> KseBytes(const CarRouteReq& body) {
  std::vector<char> bytes;
  if (!zv_navi_core::SerializeKSE(body, bytes)) Die("SerializeKSE of the route body failed");
  return bytes;
}

std::size_t ZlibOneShot(const std::vector<char>& in, std::vector<unsigned char>& out, int level) {
  z_stream zs;
  std::memset(&zs, 0, sizeof zs);
  if (deflateInit2(&zs, level, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) return 0;
  zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
  zs.avail_in = static_cast<uInt>(in.size());
  zs.next_out = out.data();
  zs.avail_out = static_cast<uInt>(out.size());
  const int status = deflate(&zs, Z_FINISH);
  const std::size_t produced = static_cast<std::size_t>(zs.total_out);
  deflateEnd(&zs);
  return status == Z_STREAM_END ? produced : 0;
}

struct DeflateFree {
  void operator()(libdeflate_compressor* c) const noexcept { libdeflate_free_compressor(c); }
};

void RegisterCompressors(const std::string& suffix, const std::vector<char>& input) {
  auto out =
      std::make_shared<std::vector<unsigned char>>(compressBound(static_cast<uLong>(input.size())) + 64);
  for (int level : {1, 6, 9}) {
    if (ZlibOneShot(input, *out, level) == 0) Die("zlib failed");
    Register("gzip/zlib_oneshot_" + std::to_string(level) + "/" + suffix,
             [&input, out, level] { return ZlibOneShot(input, *out, level); });
  }
  for (int level : {1, 6, 9}) {
    std::shared_ptr<libdeflate_compressor> c(libdeflate_alloc_compressor(level), DeflateFree{});
    if (!c) Die("libdeflate_alloc_compressor failed");
    Register("gzip/libdeflate_" + std::to_string(level) + "/" + suffix, [&input, out, c] {
      return libdeflate_gzip_compress(c.get(), input.data(), input.size(), out->data(), out->size());
    });
  }
  Register("gzip/libdeflate_6_fresh/" + suffix, [&input, out] {
    libdeflate_compressor* c = libdeflate_alloc_compressor(6);
    const std::size_t n = libdeflate_gzip_compress(c, input.data(), input.size(), out->data(), out->size());
    libdeflate_free_compressor(c);
    return n;
  });
  // GZipCompress takes its input by non-const reference (it does not change
  // it): one mutable copy, made here, keeps a copy out of the timed call.
  auto mutable_input = std::make_shared<std::vector<char>>(input);
  Register("gzip/default/" + suffix, [mutable_input] {
    std::vector<char> gz;
    if (!zv_navi_core::GZipCompress(*mutable_input, gz)) return std::size_t{0};
    return gz.size();
  });
}

// Fixtures live for the whole run: benchmarks hold references into them.
struct BodyFixtures {
  CarRouteReq body;
  std::vector<char> body_bytes;
  std::vector<char> body200_bytes;
  std::vector<char> gzip_body;
  navkse::duromap::Package package;
  navreq_mirror::CarRouteReq proto;
  std::string proto_bytes;
  CarRouteReq body_read;
  navreq_mirror::CarRouteReq proto_read;
  std::vector<unsigned char> scratch;
};

}  // namespace

void RegisterBodyBenchmarks(const Inputs& in) {
  static BodyFixtures f;
  drs::GetCarRouteReq(f.body, in.route, in.extra);
  f.body_bytes = KseBytes(f.body);
  CopyToProto(f.body, f.proto);
  f.proto_bytes = f.proto.SerializeAsString();
  f.scratch.resize(f.body_bytes.size() + f.proto_bytes.size() + 4096);

  Register("body/fill", [&in] {
    CarRouteReq request;
    drs::GetCarRouteReq(request, in.route, in.extra);
    return request.recent_fixes.size();
  });
  Register("body/kse_stream", [] {
    KseOutputStream<BufferWriter> os;
    f.body.writeTo(os);
    benchmark::DoNotOptimize(os.data());
    return os.length();
  });
  Register("body/serialize_kse", [] {
    std::vector<char> out;
    (void)zv_navi_core::SerializeKSE(f.body, out);
    return out.size();
  });
  Register("body/protobuf", [] {
    const int size = static_cast<int>(f.proto.ByteSizeLong());
    if (!f.proto.SerializeToArray(f.scratch.data(), size)) return std::size_t{0};
    benchmark::ClobberMemory();
    return static_cast<std::size_t>(size);
  });
  if (!NanopbLoad(f.proto_bytes))
    Die("the nanopb mirror cannot hold the route body (bench/route_body.options)");
  {
    const std::size_t n = NanopbEncode(f.scratch.data(), f.scratch.size());
    if (n != f.proto_bytes.size() || std::memcmp(f.scratch.data(), f.proto_bytes.data(), n) != 0) {
      Die("nanopb and libprotobuf disagree on the route body");
    }
  }
  Register("body/nanopb", [] { return NanopbEncode(f.scratch.data(), f.scratch.size()); });
  {
    const navcore::ryn::ReadResult r = navcore::ryn::readRecord(f.body_bytes, f.body_read);
    if (!r.ok() || KseBytes(f.body_read) != f.body_bytes) Die("the route body does not read back");
  }
  Register("body/kse_read", [] {
    const navcore::ryn::ReadResult r = navcore::ryn::readRecord(f.body_bytes, f.body_read);
    return r.ok() ? r.consumed : std::size_t{0};
  });
  Register("body/protobuf_parse", [] {
    if (!f.proto_read.ParseFromArray(f.proto_bytes.data(), static_cast<int>(f.proto_bytes.size()))) {
      return std::size_t{0};
    }
    return f.proto_bytes.size();
  });
  Register("body/memcpy", [] {
    std::memcpy(f.scratch.data(), f.body_bytes.data(), f.body_bytes.size());
    benchmark::ClobberMemory();
    return f.body_bytes.size();
  });

  // The envelope around the compressed body, as GetRouteReqData writes it.
  std::vector<char> body_copy = f.body_bytes;
  if (!zv_navi_core::GZipCompress(body_copy, f.gzip_body)) Die("GZipCompress failed");
  if (zv_navi_core::route_req_serializer::GetPackage(f.package, in.extra, navkse::duromap::CMD{10101},
                                                     "CMD_ROUTE_CAR_SNS", f.gzip_body, true) != 0) {
    Die("GetPackage failed");
  }
  Register("envelope/route_package_stream", [] {
    KseOutputStream<BufferWriter> os;
    f.package.writeTo(os);
    benchmark::DoNotOptimize(os.data());
    return os.length();
  });

  std::fprintf(stderr, "route body: kse %zu bytes, proto3 %zu bytes\n", f.body_bytes.size(),
               f.proto_bytes.size());
}

void RegisterGzipBenchmarks(const Inputs& in) {
  static std::vector<char> body;
  static std::vector<char> body200;
  {
    CarRouteReq request;
    drs::GetCarRouteReq(request, in.route, in.extra);
    body = KseBytes(request);
  }
  {
    zv_navi_core::DriveRouteReqParam route = in.route;
    const std::size_t recent = route.recentFixes.size();
    route.trajectoryFixes = MakeFixes(recent < 200 ? 200 - recent : 0, recent);
    CarRouteReq request;
    drs::GetCarRouteReq(request, route, in.extra);
    body200 = KseBytes(request);
  }
  RegisterCompressors("body", body);
  RegisterCompressors("body200", body200);
}

}  // namespace navreq_bench
