// The route search body written by SerializeKSE, linked with the wire library
// only: the Kse side of the comparison with nanopb_route_body.cpp.
#include <vector>

#include "escape.h"
#include "navreq/records/routesearch.h"
#include "navreq/serialize.h"

int main() {
  navkse::routesearch::CarRouteReq body;
  navreq_size::Escape(&body);
  std::vector<char> out;
  const bool ok = zv_navi_core::SerializeKSE(body, out);
  navreq_size::Escape(&out);
  return ok ? 0 : 1;
}
