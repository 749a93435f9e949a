// The six entry functions, each called once on parameters the optimiser
// cannot see into.
#include <vector>

#include "escape.h"
#include "navreq/requests.h"

namespace req = zv_navi_core::drive_route_req_serializer;

int main() {
  zv_navi_core::DriveRouteReqParam route;
  zv_navi_core::RouteRefreshReqParam refresh;
  zv_navi_core::LocationUploadParam location;
  zv_navi_core::PlusReq plus;
  zv_navi_core::SliceReq slice;
  zv_navi_core::ReqExtraParam extra;
  navreq_size::Escape(&route);
  navreq_size::Escape(&refresh);
  navreq_size::Escape(&location);
  navreq_size::Escape(&plus);
  navreq_size::Escape(&slice);
  navreq_size::Escape(&extra);
  std::vector<char> out;
  unsigned failed = req::GetRouteReqData(route, extra, out);
  failed += static_cast<unsigned>(req::GetRouteRefreshReqData(refresh, extra, out));
  failed += static_cast<unsigned>(req::GetLocationUploadReqData(location, extra, out));
  failed += static_cast<unsigned>(req::GetNavStopActionReqData("", "", "", out));
  failed += static_cast<unsigned>(req::GetRoutePlus(plus, extra, out));
  failed += static_cast<unsigned>(req::GetRouteSlice(slice, extra, out));
  navreq_size::Escape(&out);
  return failed == 0 ? 0 : 1;
}
