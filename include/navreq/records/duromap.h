// The command envelope: Package, its Header, CmdResult and the Tag entries.
#pragma once

#include "navreq/records/base.h"

namespace navkse {
namespace duromap {

// Command number of the envelope (Package tag 1).
enum CMD : int32_t {};

// Outcome slot of a Header; the client always sends it at its defaults.
#define NAVKSE_FIELDS_CmdResult(X) \
  X(0, int32_t, code, 0)           \
  X(1, string, message, {})        \
  X(2, int32_t, detail_code, 0)
NAVKSE_RECORD(CmdResult, NAVKSE_FIELDS_CmdResult);

// Client identity, serialized alone into Package tag 7. Fields named after the
// identity value that fills them; reservedN fields are always sent empty.
#define NAVKSE_FIELDS_Header(X)       \
  X(0, int64_t, identity_number, 0)   \
  X(1, CmdResult, result, {})         \
  X(2, int64_t, reserved2, 0)         \
  X(3, string, reserved3, {})         \
  X(4, string, identity_a, {})        \
  X(5, string, reserved5, {})         \
  X(6, string, identity_d, {})        \
  X(7, string, identity_e, {})        \
  X(8, string, imei, {})              \
  X(9, string, identity_g, {})        \
  X(10, string, identity_b, {})       \
  X(11, string, reserved11, {})       \
  X(12, string, identity_f, {})       \
  X(13, string, identity_g_again, {}) \
  X(14, string, zero_text, {})        \
  X(15, string, identity_a_again, {}) \
  X(16, string, identity_h, {})       \
  X(17, string, reserved17, {})       \
  X(18, int64_t, reserved18, 0)       \
  X(19, string, reserved19, {})       \
  X(20, int64_t, reserved20, 0)       \
  X(21, string, reserved21, {})       \
  X(22, string, device_id, {})        \
  X(23, string, identity_c, {})       \
  X(24, string, reserved24, {})       \
  X(25, Bytes, reserved25, {})        \
  X(26, string, reserved26, {})       \
  X(27, string, reserved27, {})       \
  X(28, string, reserved28, {})       \
  X(29, string, identity_a_third, {}) \
  X(30, string, reserved30, {})       \
  X(31, string, reserved31, {})       \
  X(32, Bytes, reserved32, {})
NAVKSE_RECORD(Header, NAVKSE_FIELDS_Header);

// One key/value entry of the envelope; the value is raw bytes.
#define NAVKSE_FIELDS_Tag(X) \
  X(0, string, key, {})      \
  X(1, Bytes, value, {})
NAVKSE_RECORD(Tag, NAVKSE_FIELDS_Tag);

// The command envelope around every route, refresh, plus and slice request.
#define NAVKSE_FIELDS_Package(X) \
  X(0, int16_t, version, 0)      \
  X(1, int32_t, cmd, 1)          \
  X(2, string, cmd_name, {})     \
  X(3, int32_t, reserved3, 0)    \
  X(4, int8_t, body_encoding, 0) \
  X(5, string, reserved5, {})    \
  X(6, string, zero_text, {})    \
  X(7, Bytes, header, {})        \
  X(8, Bytes, body, {})          \
  X(9, List<Tag>, extras, {})
NAVKSE_RECORD(Package, NAVKSE_FIELDS_Package);

// Package tag 4: how the body bytes are encoded.
constexpr int8_t kBodyPlain = 0;
constexpr int8_t kBodyGzip = 3;

}  // namespace duromap
}  // namespace navkse
