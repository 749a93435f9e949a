// The parameter sets the benchmarks run on: examples/<kind>.json when the file
// exists (same JSON as `navreq encode`), otherwise a built-in set of the same
// shape (route search Beijing -> Tianjin with one via point, 10 recent and 10
// trajectory fixes; a refresh of two routes; an upload of 60 fixes; three
// plus/slice descriptions; a stop event).
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "navreq/engine/params.h"

namespace navreq_bench {

struct StopEventInput {
  std::string text;
  std::string device_id;
  std::string client_key;
};

struct Inputs {
  zv_navi_core::ReqExtraParam extra;  // of the route search; every kind keeps its own below
  zv_navi_core::DriveRouteReqParam route;
  zv_navi_core::ReqExtraParam refresh_extra;
  zv_navi_core::RouteRefreshReqParam refresh;
  zv_navi_core::ReqExtraParam location_extra;
  zv_navi_core::LocationUploadParam location;
  zv_navi_core::ReqExtraParam plus_extra;
  zv_navi_core::PlusReq plus;
  zv_navi_core::ReqExtraParam slice_extra;
  zv_navi_core::SliceReq slice;
  StopEventInput navstop;
  std::vector<std::string> sources;  // "route: examples/route.json" or "route: built-in"
};

// Loads examples/<kind>.json from `examples_dir` where present. Exits with a
// message when a present file does not parse.
Inputs LoadInputs(const std::string& examples_dir);

// `count` fixes one second apart along the road from Beijing to Tianjin.
std::vector<zv_navi_core::KSLocation> MakeFixes(std::size_t count, std::size_t first_index = 0);

}  // namespace navreq_bench
