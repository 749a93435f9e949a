// The navigation stop event: the trajectory service's protocol-buffers Event,
// encoded with nanopb, carried as the payload of a Packet.
#include "navreq/nav_stop_event.h"

#include <pb_encode.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "navreq/engine/services.h"
#include "navreq/numeric.h"
#include "navreq/records/nav_sdk_gateway.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "normal_traj_server.pb.h"

namespace zv_navi_core {
namespace drive_route_req_serializer {

namespace {

// The Event is encoded into a fixed stack buffer; a larger message fails.
constexpr std::size_t kEventBufferSize = 4096;

// The attribute map's only key; its value is the device identifier.
const char kDeviceKey[] = "ulmid";

// Length-delimited bytes of a string: varint length, then the bytes.
bool EncodeStringBytes(pb_ostream_t* stream, const std::string& s) {
  return pb_encode_string(stream, reinterpret_cast<const pb_byte_t*>(s.data()), s.size());
}

}  // namespace

bool vbr_encode_string(pb_ostream_t* stream, const pb_field_iter_t* field, void* const* arg) {
  if (arg == nullptr || *arg == nullptr) return false;  // no text to write
  const char* text = static_cast<const char*>(*arg);
  if (!pb_encode_tag_for_field(stream, field)) return false;
  // Up to the first NUL: an embedded NUL cuts the text.
  return pb_encode_string(stream, reinterpret_cast<const pb_byte_t*>(text), std::strlen(text));
}

bool vbr_encode_map(pb_ostream_t* stream, const pb_field_iter_t* field, void* const* arg) {
  if (arg == nullptr || *arg == nullptr) return false;  // no map to write
  // Read in place: nothing here allocates, so nothing can throw through
  // nanopb's C frames.
  const auto& entries = *static_cast<const std::map<std::string, std::string>*>(*arg);
  // The service's own map layout: a bare entry count right after the field's
  // tag, then key and value as two occurrences of the same field. Not the
  // standard entry submessage; the service parses exactly these bytes.
  if (!pb_encode_tag_for_field(stream, field)) return false;
  if (!pb_encode_varint(stream, entries.size())) return false;
  for (const auto& entry : entries) {
    if (!pb_encode_tag_for_field(stream, field)) return false;
    if (!EncodeStringBytes(stream, entry.first)) return false;
    if (!pb_encode_tag_for_field(stream, field)) return false;
    if (!EncodeStringBytes(stream, entry.second)) return false;
  }
  return true;
}

int GetNavStopActionReqData(std::string text, std::string device_id, std::string client_key,
                            std::vector<char>& out) {
  kelo_nav_normal_traj_server_Event event = kelo_nav_normal_traj_server_Event_init_zero;
  event.nav_stopped = true;

  std::map<std::string, std::string> attributes;
  attributes.emplace(kDeviceKey, device_id);
  event.attributes.funcs.encode = &vbr_encode_map;
  event.attributes.arg = &attributes;
  event.value.funcs.encode = &vbr_encode_string;
  event.value.arg = text.data();  // NUL-terminated; the callback stops at the first NUL

  // Whole seconds, truncated toward zero (also for a clock before 1970).
  event.timestamp = navreq::WholeSecondsOf(platform::GetTimestampMilliseconds());
  event.duration = 0;  // zero: proto3 leaves it off the wire

  pb_byte_t buffer[kEventBufferSize];
  pb_ostream_t stream = pb_ostream_from_buffer(buffer, sizeof buffer);
  if (!pb_encode(&stream, kelo_nav_normal_traj_server_Event_fields, &event)) {
    Log::record(kLevelError, kEventFailure, "GetNavStopActionReqData_Failed_to_encode");
    return 1;
  }

  navkse::NavSDKGateway::Packet packet;
  packet.kind = navkse::NavSDKGateway::kPacketNavStopEvent;
  packet.auth.api_key = std::move(client_key);
  packet.auth.imei = std::move(device_id);
  packet.payload.assign(buffer, buffer + stream.bytes_written);
  packet.payload_encoding = navkse::NavSDKGateway::kPayloadPlain;
  return SerializeKSE(packet, out) ? 0 : 2;
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
