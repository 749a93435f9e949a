#include "request_records.h"

#include "navreq/records/CarRankTrans.h"
#include "navreq/records/NavSDKGateway.h"
#include "navreq/records/common_cmd.h"
#include "navreq/records/duromap.h"
#include "navreq/records/locationReportDMQ.h"
#include "navreq/records/navicore.h"
#include "navreq/records/routesearch.h"
#include "navreq/records/traffic.h"

namespace navreq {
namespace tool {

namespace {

namespace duromap = ::navkse::duromap;
namespace gateway = ::navkse::NavSDKGateway;
namespace location = ::navkse::locationReportDMQ;
namespace routesearch = ::navkse::routesearch;
namespace nav = ::navkse::navicore::nav;
using ::navcore::ryn::RecordInfo;

constexpr std::uint8_t kPackageHeaderTag = 7;
constexpr std::uint8_t kPackageBodyTag = 8;
constexpr std::uint8_t kPacketPayloadTag = 2;
constexpr std::uint8_t kLocationHeaderExtraTag = 6;
constexpr std::uint8_t kCarRouteSideRecordsTag = 72;

// The record a Package body holds, by the command name the Package carries.
const RecordInfo* BodyRecordFor(const std::string& cmd_name) {
  if (cmd_name == ::navkse::common::etos(::navkse::common::CMD_ROUTE_CAR_SNS)) {
    return &routesearch::CarRouteReq::kseInfo();
  }
  if (cmd_name == "CMD_TRAFFIC_ALL_ON_ROUTE_BATCH_SDK")
    return &::navkse::traffic::AllOnRouteReqBatch::kseInfo();
  if (cmd_name == "REQ_ROUTE_PLUS" || cmd_name == "REQ_GUIDANCE_SLICE") {
    return &nav::ugs_guidance_slice_req_t::kseInfo();
  }
  return nullptr;
}

}  // namespace

const std::uint8_t kPackageCommandNameTag = 2;
const std::uint8_t kPacketKindTag = 0;

const RecordInfo& PackageInfo() { return duromap::Package::kseInfo(); }
const RecordInfo& PacketInfo() { return gateway::Packet::kseInfo(); }

const std::vector<const RecordInfo*>& Envelopes() {
  static const std::vector<const RecordInfo*> envelopes{&PackageInfo(), &PacketInfo()};
  return envelopes;
}

CarriedRecord CarriedBy(const RecordInfo& record, std::uint8_t tag, const std::string& command,
                        std::int64_t kind) {
  CarriedRecord out;
  if (&record == &PackageInfo()) {
    if (tag == kPackageHeaderTag) {
      out.follow = true;
      out.record = &duromap::Header::kseInfo();
    } else if (tag == kPackageBodyTag) {
      out.follow = true;
      out.may_gzip = true;
      out.record = BodyRecordFor(command);
    }
  } else if (&record == &PacketInfo() && tag == kPacketPayloadTag) {
    if (kind == gateway::kPacketLocationReport) {
      out.follow = true;
      out.may_gzip = true;
      out.record = &location::LocationReportRequestDMQ::kseInfo();
    } else if (kind == gateway::kPacketNavStopEvent) {
      out.follow = true;
      out.may_gzip = true;
      out.protobuf = true;
    }
  } else if (&record == &location::LocationHeader::kseInfo() && tag == kLocationHeaderExtraTag) {
    out.follow = true;
    out.record = &location::NavExtraData::kseInfo();
  }
  return out;
}

bool IsSideRecordMap(const ::navcore::ryn::FieldInfo* field) {
  return field == routesearch::CarRouteReq::kseInfo().find(kCarRouteSideRecordsTag);
}

const RecordInfo* SideRecordFor(const std::string& key) {
  if (key == routesearch::kGuidanceSideRecordKey) return &nav::ugs_cloud_info::kseInfo();
  if (key == routesearch::kRankSideRecordKey) return &::navkse::CarRankTrans::ToRankTransInfo::kseInfo();
  return nullptr;
}

}  // namespace tool
}  // namespace navreq
