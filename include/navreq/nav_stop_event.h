// Encode callbacks of the navigation stop event's protocol-buffers message.
//
// The stop event (GetNavStopActionReqData, navreq/requests.h) is the Event
// message of the trajectory service, encoded with nanopb and carried as the
// payload of a Packet. Its text and its attribute map are callback fields
// written by the two functions below, with nanopb's callback signature.
#pragma once

#include <pb.h>

namespace zv_navi_core {
namespace drive_route_req_serializer {

// `*arg` is a NUL-terminated character array: writes the field's tag, then the
// characters up to the first NUL as a length-delimited string.
[[nodiscard]] bool vbr_encode_string(pb_ostream_t* stream, const pb_field_iter_t* field, void* const* arg);

// `*arg` is a std::map<std::string, std::string>. Writes the layout the
// trajectory service reads, which is not the standard map encoding:
//   tag, entry count (bare varint),
//   then per entry in key order: tag, key (length + bytes), tag, value (length + bytes).
[[nodiscard]] bool vbr_encode_map(pb_ostream_t* stream, const pb_field_iter_t* field, void* const* arg);

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
