// Steps of the location upload on the process-wide session state
// (navreq/location_session.h). Each runs with location_session_mutex() held.
#pragma once

#include <cstdint>
#include <string>

namespace zv_navi_core {
namespace drive_route_req_serializer {

// Makes `session` the engine's current session. When it differs from
// g_session_id (both empty count as equal), g_session_id takes it and
// loc_sesstion_id becomes now_ms x 1000 plus three fresh random digits; if
// drawing them throws, both stay as they were. Returns loc_sesstion_id.
std::int64_t EnterLocationSessionLocked(const std::string& session, std::int64_t now_ms);

// Takes the next report sequence number (unsigned: wraps at 2^32).
std::uint32_t TakeSequenceNumberLocked();

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
