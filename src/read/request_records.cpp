#include "request_records.h"

#include "navreq/records/commands.h"

namespace navreq {

namespace {

namespace duromap = ::navkse::duromap;
namespace gateway = ::navkse::NavSDKGateway;
namespace routesearch = ::navkse::routesearch;
using ::navcore::ryn::RecordInfo;

}  // namespace

const std::uint8_t kPackageCommandTag = duromap::Package::FieldTag::cmd;
const std::uint8_t kPackageCommandNameTag = duromap::Package::FieldTag::cmd_name;
const std::uint8_t kPacketKindTag = gateway::Packet::FieldTag::kind;

const RecordInfo& PackageInfo() { return duromap::Package::kseInfo(); }
const RecordInfo& PacketInfo() { return gateway::Packet::kseInfo(); }

const std::vector<const RecordInfo*>& Envelopes() {
  static const std::vector<const RecordInfo*> envelopes{&PackageInfo(), &PacketInfo()};
  return envelopes;
}

CarriedRecord CarriedBy(const RecordInfo& record, std::uint8_t tag, const std::string& command,
                        std::int64_t number) {
  const bool int32 = number >= INT32_MIN && number <= INT32_MAX;
  CarriedRecord out;
  for (const ::navkse::EmbeddedRecord& e : ::navkse::kEmbeddedRecords) {
    if (&e.holder() == &record && e.tag == tag) {
      out.follow = true;
      out.record = &e.record();
      return out;
    }
  }
  // The body is inflated whenever it is a gzip stream, whatever the
  // envelope's compression flag says.
  if (&record == &PackageInfo() && tag == duromap::Package::FieldTag::body) {
    out.follow = true;
    out.may_gzip = true;
    const ::navkse::CommandInfo* c =
        int32 ? ::navkse::findPackageCommand(static_cast<std::int32_t>(number), command) : nullptr;
    if (c != nullptr && c->body != nullptr) out.record = &c->body();
  } else if (&record == &PacketInfo() && tag == gateway::Packet::FieldTag::payload) {
    if (!int32) return out;
    const ::navkse::CommandInfo* c = ::navkse::findPacketKind(static_cast<std::int32_t>(number));
    if (c == nullptr) return out;
    out.follow = true;
    out.may_gzip = true;
    if (c->body != nullptr) {
      out.record = &c->body();
    } else {
      out.protobuf = true;  // the stop event's message
    }
  }
  return out;
}

bool IsSideRecordMap(const ::navcore::ryn::FieldInfo* field) {
  return field != nullptr && field == routesearch::CarRouteReq::kseInfo().find(static_cast<std::uint8_t>(
                                          routesearch::CarRouteReq::FieldTag::side_records));
}

const RecordInfo* SideRecordFor(const std::string& key) { return ::navkse::findRouteSideRecord(key); }

}  // namespace navreq
