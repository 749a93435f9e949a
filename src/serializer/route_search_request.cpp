// The route search request: CarRouteReq -> Kse -> gzip -> Package -> bytes.
#include <cstdint>
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
    platform::PutLine("SerializeKSE_route_req_fail");
    return 1;
  }

  std::vector<char> compressed;
  if (!GZipCompress(body, compressed)) {
    platform::PutLine("GZipCompress_route_req_buf_fail");
    return 1;
  }

  using Command = navkse::PackageCommand<navkse::RequestKind::kRouteSearch>;
  navkse::duromap::Package package;
  if (route_req_serializer::GetPackage(package, extra, navkse::duromap::CMD{Command::number}, Command::name,
                                       compressed, true) != 0) {
    platform::PutLine("ret_pkg_fail");
    return 1;
  }

  if (!SerializeKSE(package, out)) {
    platform::PutLine("SerializeKSE_pkg_fail");
    return 1;
  }
  return 0;
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
