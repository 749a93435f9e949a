// What the tool knows of the requests' framing: the two envelopes and which
// byte fields carry which records.
#pragma once

#include <cstdint>
#include <string>

#include "navreq/kse/record.h"
#include "navreq/records/commands.h"

namespace navreq {

const ::navcore::ryn::RecordInfo& PackageInfo();
const ::navcore::ryn::RecordInfo& PacketInfo();

// The declaration of an envelope.
const ::navcore::ryn::RecordInfo& EnvelopeInfo(::navkse::Envelope envelope);

// Fields read before the bytes that depend on them.
extern const std::uint8_t kPackageCommandTag;
extern const std::uint8_t kPackageCommandNameTag;
extern const std::uint8_t kPacketKindTag;

struct CarriedRecord {
  bool follow = false;                                 // the bytes are decoded
  const ::navcore::ryn::RecordInfo* record = nullptr;  // null: unnamed fields (or the message)
  bool may_gzip = false;                               // inflated first when they are a gzip stream
  bool protobuf = false;                               // a protocol-buffers message rather than Kse
  const ::navkse::CommandInfo* command = nullptr;      // a body: its command, when known
};

// Where the bytes of field `tag` of `record` lead; `command` is the Package's
// command name and `number` its command number or the Packet's kind, read
// before (a Package's body is read by the command that both name).
[[nodiscard]] CarriedRecord CarriedBy(const ::navcore::ryn::RecordInfo& record, std::uint8_t tag,
                                      const std::string& command, std::int64_t number);

// Whether the field is the route search's map of side records.
[[nodiscard]] bool IsSideRecordMap(const ::navcore::ryn::FieldInfo* field);

// The side record stored under `key`, or null.
[[nodiscard]] const ::navcore::ryn::RecordInfo* SideRecordFor(const std::string& key);

}  // namespace navreq
