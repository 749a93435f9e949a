// The route search request: CarRouteReq -> Kse -> gzip -> Package -> bytes.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "navreq/engine/services.h"
#include "navreq/envelope.h"
#include "navreq/records/commands.h"
#include "navreq/records/duromap.h"
#include "navreq/records/routesearch.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"

namespace zv_navi_core {
namespace drive_route_req_serializer {

unsigned GetRouteReqData(const DriveRouteReqParam& param, const ReqExtraParam& extra,
                         std::vector<char>& out) {
  navkse::routesearch::CarRouteReq request;
  // Filling is not guarded: an allocation failure there reaches the engine.
  GetCarRouteReq(request, param, extra);

  std::vector<char> body;
  if (!SerializeKSE(request, body)) {
    std::puts("SerializeKSE_route_req_fail");
    return 1;
  }

  std::vector<char> compressed;
  if (!GZipCompress(body, compressed)) {
    std::puts("GZipCompress_route_req_buf_fail");
    return 1;
  }

  const navkse::CommandInfo& command = navkse::commandOf(navkse::RequestKind::kRouteSearch);
  navkse::duromap::Package package;
  if (route_req_serializer::GetPackage(package, extra, navkse::duromap::CMD{command.number}, command.name,
                                       compressed, true) != 0) {
    std::puts("ret_pkg_fail");
    return 1;
  }

  if (!SerializeKSE(package, out)) {
    std::puts("SerializeKSE_pkg_fail");
    return 1;
  }
  return 0;
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
