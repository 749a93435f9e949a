// nanopb's encoder of the benchmarks' proto3 mirror of the route search body
// (bench/route_body.proto with bench/route_body.options): the protobuf side of
// the comparison with route_body_writer.cpp.
#include <pb_encode.h>

#include "escape.h"
#include "route_body.pb.h"

namespace {

// Static arrays make the struct large; it lives outside any stack.
navreq_mirror_CarRouteReq g_body;
pb_byte_t g_buffer[65536];

}  // namespace

int main() {
  navreq_size::Escape(&g_body);
  pb_ostream_t out = pb_ostream_from_buffer(g_buffer, sizeof g_buffer);
  const bool ok = pb_encode(&out, navreq_mirror_CarRouteReq_fields, &g_body);
  navreq_size::Escape(&g_buffer);
  return ok ? 0 : 1;
}
