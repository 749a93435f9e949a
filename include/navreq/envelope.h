// The command envelope and the request constant.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "navreq/engine/params.h"
#include "navreq/records/common_cmd.h"
#include "navreq/records/duromap.h"
#include "navreq/serialize.h"

namespace zv_navi_core {

// Constants of the client build.
struct VNaviReqConstant {
  // Channel name of the client build. No request reads it.
  static const std::string p;
};

namespace route_req_serializer {

// Fills `package` around an already serialized request body: the Header built
// from `extra` (serialized into tag 7), command number and name, tag 6 "0",
// tag 4 = 3 when `compressed` else 0, one "apikey" entry and a copy of `body`.
// Returns 0, or 1 when the header cannot be serialized ("SerializeKSE_header_fail"
// through platform::PutLine; `package` untouched).
[[nodiscard]] int GetPackage(navkse::duromap::Package& package, const ReqExtraParam& extra,
                             const navkse::duromap::CMD& cmd, const std::string cmd_name,
                             const std::vector<char>& body, bool compressed);

}  // namespace route_req_serializer

}  // namespace zv_navi_core
