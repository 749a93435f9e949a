// The command envelope and the state shared by every request.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "navreq/engine/params.h"
#include "navreq/records/common_cmd.h"
#include "navreq/records/duromap.h"
#include "navreq/serialize.h"

namespace zv_navi_core {

struct VNaviReqConstant {
  // Channel name of the client build. No request reads it.
  static const std::string p;
};

namespace route_req_serializer {

// Fills `package` around an already serialized request body: the Header built
// from `extra` (serialized into tag 7), command number and name, tag 6 "0",
// tag 4 = 3 when `compressed` else 0, one "apikey" entry and a copy of `body`.
// Returns 0, or 1 when the header cannot be serialized ("SerializeKSE_header_fail"
// on standard output; `package` untouched).
[[nodiscard]] int GetPackage(navkse::duromap::Package& package, const ReqExtraParam& extra,
                             const navkse::duromap::CMD& cmd, const std::string cmd_name,
                             const std::vector<char>& body, bool compressed);

}  // namespace route_req_serializer

namespace drive_route_req_serializer {

// Process-wide location-report session state. Only the location upload
// changes it, and only while holding location_session_mutex().
extern std::string g_session_id;           // last upload session seen
extern std::int64_t loc_sesstion_id;       // creation time in ms x 1000 + 3 random digits
extern std::uint32_t report_sequence_num;  // next report's sequence number
std::mutex& location_session_mutex();

}  // namespace drive_route_req_serializer

}  // namespace zv_navi_core
