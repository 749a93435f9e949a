// The command table: every request this system writes, what envelope carries
// it, under which command number and name, with which body record, and which
// entry function writes it. The serializers take their command numbers and
// names from here, and the reader and the tool find a body's record here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "navreq/records/car_rank_trans.h"
#include "navreq/records/common_cmd.h"
#include "navreq/records/duromap.h"
#include "navreq/records/location_report_dmq.h"
#include "navreq/records/nav_sdk_gateway.h"
#include "navreq/records/navicore.h"
#include "navreq/records/routesearch.h"
#include "navreq/records/traffic.h"

namespace navkse {

// The outermost record of a request.
enum class Envelope : std::uint8_t {
  kPackage,  // duromap::Package: command number and name, body bytes in tag 8
  kPacket,   // NavSDKGateway::Packet: kind in tag 0, payload bytes in tag 2
};

// Whether the body bytes go out gzip-compressed. (Every Package is flagged
// compressed in its tag 4; only the route search's body really is.)
enum class BodyGzip : std::uint8_t {
  kNever,
  kAlways,
  kByPacketFlag,  // as the Packet's tag 3 says (kPayloadGzip)
};

// The stop event's payload: the trajectory service's protocol-buffers Event,
// not a Kse record (request_reader.h decodes it).
struct StopEventBody {};

// X(kind, envelope, number, name, body type, gzip, entry function)
//   number: the Package's CMD (tag 1) or the Packet's kind (tag 0)
//   name:   the Package's command name (tag 2); "" for a Packet
//   entry:  the identifier of the entry function (requests.h) that writes the
//           request; the table holds its name, the tool calls it through it
// clang-format off
#define NAVKSE_REQUEST_COMMANDS(X)                                                                       \
  X(kRouteSearch, kPackage, 10101, ::navkse::common::commonCmdName(::navkse::common::CMD_ROUTE_CAR_SNS), \
    ::navkse::routesearch::CarRouteReq, kAlways, GetRouteReqData)                                        \
  X(kTrafficRefresh, kPackage, 10102, "CMD_TRAFFIC_ALL_ON_ROUTE_BATCH_SDK",                              \
    ::navkse::traffic::AllOnRouteReqBatch, kNever, GetRouteRefreshReqData)                               \
  X(kRoutePlus, kPackage, 84, "REQ_ROUTE_PLUS",                                                          \
    ::navkse::navicore::nav::ugs_guidance_slice_req_t, kNever, GetRoutePlus)                             \
  X(kGuidanceSlice, kPackage, 84, "REQ_GUIDANCE_SLICE",                                                  \
    ::navkse::navicore::nav::ugs_guidance_slice_req_t, kNever, GetRouteSlice)                            \
  X(kLocationUpload, kPacket, ::navkse::NavSDKGateway::kPacketLocationReport, "",                        \
    ::navkse::locationReportDMQ::LocationReportRequestDMQ, kByPacketFlag, GetLocationUploadReqData)      \
  X(kNavStopEvent, kPacket, ::navkse::NavSDKGateway::kPacketNavStopEvent, "",                            \
    ::navkse::StopEventBody, kNever, GetNavStopActionReqData)
// clang-format on

#define NAVKSE_REQUEST_KIND_(KIND, ENVELOPE, NUMBER, NAME, BODY, GZIP, ENTRY) KIND,
// Every request kind, in the table's order.
enum class RequestKind : std::uint8_t { NAVKSE_REQUEST_COMMANDS(NAVKSE_REQUEST_KIND_) };
#undef NAVKSE_REQUEST_KIND_

// One request kind: its envelope, command, body record and entry function.
struct CommandInfo {
  RequestKind kind;                             // the request kind
  Envelope envelope;                            // Package or Packet
  std::int32_t number;                          // CMD of a Package, kind of a Packet
  const char* name;                             // command name of a Package, "" for a Packet
  const ::navcore::ryn::RecordInfo& (*body)();  // the body record; null for the stop event
  BodyGzip gzip;                                // whether the body is a gzip stream
  const char* entry;                            // the entry function that writes the request
};

#define NAVKSE_REQUEST_INFO_(KIND, ENVELOPE, NUMBER, NAME, BODY, GZIP, ENTRY) \
  CommandInfo{RequestKind::KIND,                                              \
              Envelope::ENVELOPE,                                             \
              NUMBER,                                                         \
              NAME,                                                           \
              ::navcore::ryn::kse_detail::RecordFn<BODY>::value,              \
              BodyGzip::GZIP,                                                 \
              #ENTRY},
// The command table, in RequestKind order.
inline constexpr CommandInfo kCommands[] = {NAVKSE_REQUEST_COMMANDS(NAVKSE_REQUEST_INFO_)};
#undef NAVKSE_REQUEST_INFO_

// The number of request kinds.
constexpr std::size_t kCommandCount = sizeof(kCommands) / sizeof(kCommands[0]);

// The table's entry of a request kind.
constexpr const CommandInfo& commandOf(RequestKind kind) noexcept {
  return kCommands[static_cast<std::size_t>(kind)];
}

// The body type of a request kind: CommandBody<RequestKind::kRouteSearch>::type.
// A Package command's number and name as constants. Writers take these rather
// than the table entry: an entry in a program brings the table, and through its
// body pointers every body record's reflection, into the program.
template <RequestKind Kind>
struct PackageCommand {
  static_assert(commandOf(Kind).envelope == Envelope::kPackage, "not a Package command");
  static constexpr std::int32_t number = commandOf(Kind).number;  // CMD
  static constexpr const char* name = commandOf(Kind).name;       // command name
};

template <RequestKind Kind>
struct CommandBody;
#define NAVKSE_REQUEST_BODY_(KIND, ENVELOPE, NUMBER, NAME, BODY, GZIP, ENTRY) \
  template <>                                                                 \
  struct CommandBody<RequestKind::KIND> {                                     \
    using type = BODY;                                                        \
  };
NAVKSE_REQUEST_COMMANDS(NAVKSE_REQUEST_BODY_)
#undef NAVKSE_REQUEST_BODY_

// The Package command with this number and name, else null.
const CommandInfo* findPackageCommand(std::int32_t cmd, std::string_view name) noexcept;
// The Package command with this name (whatever its number), else null.
const CommandInfo* findPackageCommand(std::string_view name) noexcept;
// The Packet kind with this number, else null.
const CommandInfo* findPacketKind(std::int32_t kind) noexcept;

// Records carried as bytes inside a field of another record, written alone
// (their fields, no begin/end frame).
struct EmbeddedRecord {
  const ::navcore::ryn::RecordInfo& (*holder)();  // the record with the bytes field
  std::uint8_t tag;                               // the bytes field
  const ::navcore::ryn::RecordInfo& (*record)();  // what the bytes hold
};
// Every record carried that way, with where.
inline constexpr EmbeddedRecord kEmbeddedRecords[] = {
    {&duromap::Package::kseInfo, duromap::Package::FieldTag::header, &duromap::Header::kseInfo},
    {&locationReportDMQ::LocationHeader::kseInfo, locationReportDMQ::LocationHeader::FieldTag::extra_data,
     &locationReportDMQ::NavExtraData::kseInfo},
};

// The side records of a route search: entries of CarRouteReq::side_records,
// the value being the bytes of a record written alone.
#define NAVKSE_ROUTE_SIDE_RECORDS(X)                                                        \
  X(::navkse::routesearch::kGuidanceSideRecordKey, ::navkse::navicore::nav::ugs_cloud_info) \
  X(::navkse::routesearch::kRankSideRecordKey, ::navkse::CarRankTrans::ToRankTransInfo)

// A side record a route search may carry: its key and its record.
struct SideRecord {
  const char* key;                                // key in CarRouteReq::side_records
  const ::navcore::ryn::RecordInfo& (*record)();  // the record its value holds
};
#define NAVKSE_SIDE_RECORD_INFO_(KEY, RECORD) SideRecord{KEY, &RECORD::kseInfo},
// The side records a route search may carry.
inline constexpr SideRecord kRouteSideRecords[] = {NAVKSE_ROUTE_SIDE_RECORDS(NAVKSE_SIDE_RECORD_INFO_)};
#undef NAVKSE_SIDE_RECORD_INFO_

// The side record stored under `key`, else null.
const ::navcore::ryn::RecordInfo* findRouteSideRecord(std::string_view key) noexcept;

}  // namespace navkse
