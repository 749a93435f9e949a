// Route plus and guidance slice requests: a slice session and its requested
// slices, sent in a Package under command 84.
#include <cstdint>
#include <string>
#include <vector>

#include "navreq/engine/services.h"
#include "navreq/envelope.h"
#include "navreq/numeric.h"
#include "navreq/records/commands.h"
#include "navreq/records/duromap.h"
#include "navreq/records/navicore.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"

namespace zv_navi_core {
namespace drive_route_req_serializer {

namespace {

// What differs between the two requests. Both use the same command number;
// the command name alone tells them apart.
struct SliceRequestKind {
  const char* log_prefix;
  std::int32_t command_number;
  const char* command_name;
};

using PlusCommand = navkse::PackageCommand<navkse::RequestKind::kRoutePlus>;
using SliceCommand = navkse::PackageCommand<navkse::RequestKind::kGuidanceSlice>;
constexpr SliceRequestKind kRoutePlus{"RoutePlus::RequestPlus", PlusCommand::number, PlusCommand::name};
constexpr SliceRequestKind kRouteSlice{"RoutePlus::RequestSlice", SliceCommand::number, SliceCommand::name};

// The one implementation of both requests. PlusReq and SliceReq are distinct
// engine types of the same shape.
template <class Request>
int GetSliceRequestData(const Request& param, const ReqExtraParam& extra, const SliceRequestKind& kind,
                        std::vector<char>& out) {
  navkse::navicore::nav::ugs_guidance_slice_req_t request;
  request.slice_session_id = param.slice_session_id;
  for (const SliceDesc& desc : param.slices) {
    navkse::navicore::nav::ugs_guidance_slice_params_t slice;
    slice.slice_text = desc.slice_text;
    slice.slice_value1 = desc.slice_value1;
    slice.slice_value2 = desc.slice_value2;
    Log::record(kLevelInfo, kEventRequest, "%s request serialize slice %d %d %s", kind.log_prefix,
                slice.slice_value1, slice.slice_value2, slice.slice_text.c_str());
    request.slices.push_back(slice);
  }
  Log::record(kLevelInfo, kEventRequest, "%s request serialize slice_session_id %s", kind.log_prefix,
              request.slice_session_id.c_str());
  Log::record(kLevelInfo, kEventRequest, "%s request serialize slice_size %d", kind.log_prefix,
              navreq::IntForLog(request.slices.size()));

  // A field the encoding cannot carry (a string over 100 MiB) fails the
  // request with 2, silently.
  std::vector<char> plain_body;
  if (!SerializeKSE(request, plain_body)) return 2;

  // The server expects the plain body flagged as gzip-compressed: the
  // compressed copy is made (its failure still fails the request) and dropped.
  std::vector<char> compressed_body;
  if (!GZipCompress(plain_body, compressed_body)) return 1;

  navkse::duromap::Package package;
  if (route_req_serializer::GetPackage(package, extra, navkse::duromap::CMD{kind.command_number},
                                       kind.command_name, plain_body, true) != 0) {
    return 1;
  }
  if (!SerializeKSE(package, out)) return 1;

  Log::record(kLevelInfo, kEventRequest, "%s request serialize succ size=%ld plus=%ld", kind.log_prefix,
              navreq::LongForLog(out.size()), navreq::LongForLog(plain_body.size()));
  return 0;
}

}  // namespace

int GetRoutePlus(const PlusReq& param, const ReqExtraParam& extra, std::vector<char>& out) {
  return GetSliceRequestData(param, extra, kRoutePlus, out);
}

int GetRouteSlice(const SliceReq& param, const ReqExtraParam& extra, std::vector<char>& out) {
  return GetSliceRequestData(param, extra, kRouteSlice, out);
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
