#include "bench_nanopb.h"

#include <pb_decode.h>
#include <pb_encode.h>

#include <cstring>

#include "route_body.pb.h"

namespace navreq_bench {
namespace {

// Static arrays make the struct large; it lives outside any stack.
navreq_mirror_CarRouteReq g_body;

}  // namespace

bool NanopbLoad(const std::string& bytes) {
  std::memset(&g_body, 0, sizeof g_body);  // the generated zero initializer, without a stack temporary
  pb_istream_t in = pb_istream_from_buffer(reinterpret_cast<const pb_byte_t*>(bytes.data()), bytes.size());
  return pb_decode(&in, navreq_mirror_CarRouteReq_fields, &g_body);
}

std::size_t NanopbEncode(unsigned char* buffer, std::size_t capacity) {
  pb_ostream_t out = pb_ostream_from_buffer(buffer, capacity);
  if (!pb_encode(&out, navreq_mirror_CarRouteReq_fields, &g_body)) return 0;
  return out.bytes_written;
}

}  // namespace navreq_bench
