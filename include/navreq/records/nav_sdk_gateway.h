// The gateway wrapper of the location report and the navigation stop event.
#pragma once

#include "navreq/records/base.h"

namespace navkse {
namespace NavSDKGateway {

// Client credentials, nested in Packet tag 1.
#define NAVKSE_FIELDS_PacketAuth(X) \
  X(0, string, api_key, {})         \
  X(1, string, imei, {})
NAVKSE_RECORD(PacketAuth, NAVKSE_FIELDS_PacketAuth);

// The payload is a list of unsigned bytes (one field per byte), unlike the
// Package body, which is a byte array written in one piece.
#define NAVKSE_FIELDS_Packet(X) \
  X(0, int32_t, kind, 1)        \
  X(1, PacketAuth, auth, {})    \
  X(2, UBytes, payload, {})     \
  X(3, int8_t, payload_encoding, 0)
NAVKSE_RECORD(Packet, NAVKSE_FIELDS_Packet);

// Packet tag 0.
constexpr int32_t kPacketLocationReport = 1;
constexpr int32_t kPacketNavStopEvent = 2;
// Packet tag 3.
constexpr int8_t kPayloadPlain = 0;
constexpr int8_t kPayloadGzip = 3;

}  // namespace NavSDKGateway
}  // namespace navkse
