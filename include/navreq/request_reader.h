// Reading a request back: the bytes of any request this system writes (a
// Package or a Packet) into the envelope, its Header and the typed body.
//
//   const navreq::DecodedRequest r = navreq::DecodeRequest(bytes);
//   if (const auto* route = std::get_if<navkse::routesearch::CarRouteReq>(&r.body))
//     std::printf("%d %d\n", route->start.point.longitude, route->start.point.latitude);
//   for (const navreq::ReadProblem& p : r.problems) std::puts(p.toString().c_str());
//
// The body record is chosen through the command table (records/commands.h):
// by command number and name for a Package, by kind for a Packet. The
// envelope is found, and two requests back to back refused, by
// read/envelope.h; body bytes that are a gzip stream are inflated first
// (read/inflate.h: one member), up to a settable size, and a body sent plain
// where its command always compresses it is a problem. The route
// search's side records and the location report's extra data are read too, and
// the stop event's protocol-buffers message is decoded with its own map layout.
//
// Problem paths start with the part of the request they are in: "package.",
// "packet.", "header.", "body." (the Package's body or the Packet's payload),
// "body.side_records[toGuidance].", and so on, in the syntax of
// navreq/read/paths.h. Offsets count from the start of the bytes of that part
// (the inflated body, the Header's bytes), not of the whole request. In
// tolerant mode a record cut short is one problem, at the first field absent
// (its detail says how many declared fields are missing from there on).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "navreq/kse/record_reader.h"
#include "navreq/read/inflate.h"
#include "navreq/records/commands.h"

namespace navreq {

using ::navcore::ryn::ReadMode;
using ::navcore::ryn::ReadProblem;
using ::navcore::ryn::ReadProblemKind;

// The stop event's attribute map, key to value.
using StopEventAttributes = std::map<std::string, std::string>;

// The navigation stop event's message, declared once: X(NUMBER, MEMBER, TYPE,
// DEFAULT), in field-number order (proto/normal_traj_server.proto). The
// struct, the field numbers and the names the readers show all come from it.
#define NAVREQ_STOP_EVENT_FIELDS(X)                                             \
  X(1, nav_stopped, bool, false)            /* the navigation stopped */        \
  X(2, attributes, StopEventAttributes, {}) /* the attribute map */             \
  X(3, value, std::string, {})              /* the event's value */             \
  X(4, timestamp, std::int64_t, 0)          /* whole seconds since the epoch */ \
  X(5, duration, std::int64_t, 0)           /* how long (the writer sends 0) */

#define NAVREQ_STOP_EVENT_MEMBER_(NUMBER, MEMBER, TYPE, DEFAULT) TYPE MEMBER = DEFAULT;
struct StopEvent {
  NAVREQ_STOP_EVENT_FIELDS(NAVREQ_STOP_EVENT_MEMBER_)
};
#undef NAVREQ_STOP_EVENT_MEMBER_

#define NAVREQ_STOP_EVENT_NUMBER_(NUMBER, MEMBER, TYPE, DEFAULT) MEMBER = NUMBER,
// The message's field numbers: StopEventField::timestamp is 4.
struct StopEventField {
  enum : std::uint64_t { NAVREQ_STOP_EVENT_FIELDS(NAVREQ_STOP_EVENT_NUMBER_) };
};
#undef NAVREQ_STOP_EVENT_NUMBER_

// The name of the message's field `number` (the StopEvent member), or null.
[[nodiscard]] constexpr const char* StopEventFieldName(std::uint64_t number) noexcept {
#define NAVREQ_STOP_EVENT_NAME_(NUMBER, MEMBER, TYPE, DEFAULT) \
  if (number == (NUMBER)) return #MEMBER;
  NAVREQ_STOP_EVENT_FIELDS(NAVREQ_STOP_EVENT_NAME_)
#undef NAVREQ_STOP_EVENT_NAME_
  return nullptr;
}

// Every body type of the command table; StopEvent stands for its
// protocol-buffers payload.
using RequestBody =
    std::variant<std::monostate, navkse::routesearch::CarRouteReq, navkse::traffic::AllOnRouteReqBatch,
                 navkse::navicore::nav::ugs_guidance_slice_req_t,
                 navkse::locationReportDMQ::LocationReportRequestDMQ, StopEvent>;

// The side records a route search carries in CarRouteReq::side_records: the
// route search's body, or the route a traffic refresh runs again.
struct RouteSideRecords {
  std::optional<navkse::navicore::nav::ugs_cloud_info> guidance;  // "toGuidance"
  std::optional<navkse::CarRankTrans::ToRankTransInfo> rank;      // "toRank"
};

// How DecodeRequest reads.
struct DecodeOptions {
  ReadMode mode = ReadMode::kStrict;  // stop at the first problem, or read on
  // Largest inflated body accepted; a larger one is a problem, not read.
  std::size_t max_inflated_size = ::navcore::ryn::kKseMaxInflatedSize;
};

// A Package request's envelope as read, with the Header its tag 7 carries.
struct PackageEnvelope {
  navkse::duromap::Package package;  // the envelope as read
  navkse::duromap::Header header;    // and its tag 7
};

// The envelope read: none (not recognised, or it did not read), a Package
// with its Header, or a Packet.
using RequestEnvelope = std::variant<std::monostate, PackageEnvelope, navkse::NavSDKGateway::Packet>;

// What DecodeRequest read.
struct [[nodiscard]] DecodedRequest {
  RequestEnvelope envelope;                      // Package with Header, Packet, or none
  const navkse::CommandInfo* command = nullptr;  // the table's entry, null when unknown
  bool request_gzip = false;      // the whole input was a gzip stream, read inflated (offsets count in it)
  bool body_gzip = false;         // the body bytes were a gzip stream
  std::size_t body_size = 0;      // body bytes read (after inflating)
  RequestBody body;               // the body record, monostate when not read
  RouteSideRecords side_records;  // route search and refresh
  std::optional<navkse::locationReportDMQ::NavExtraData> extra_data;  // location upload only
  std::vector<ReadProblem> problems;                                  // what is wrong, in the order found

  // The envelope was recognised and read.
  bool envelope_read() const noexcept { return !std::holds_alternative<std::monostate>(envelope); }
  // The envelope, or null when the request is not of that kind.
  const PackageEnvelope* package() const noexcept { return std::get_if<PackageEnvelope>(&envelope); }
  // The Packet, or null when the request is not one.
  const navkse::NavSDKGateway::Packet* packet() const noexcept {
    return std::get_if<navkse::NavSDKGateway::Packet>(&envelope);
  }
  // The envelope was read and nothing is wrong.
  bool ok() const noexcept { return envelope_read() && problems.empty(); }
};

// Decodes one request (a gzip stream of one is inflated first, within
// max_inflated_size). Never throws; in strict mode (the default) any problem
// stops decoding at the part it is in.
DecodedRequest DecodeRequest(const void* data, std::size_t size, const DecodeOptions& options = {}) noexcept;
inline DecodedRequest DecodeRequest(const std::vector<char>& bytes,
                                    const DecodeOptions& options = {}) noexcept {
  return DecodeRequest(bytes.data(), bytes.size(), options);
}

// Decodes the stop event's message (its attribute map in the service's own
// layout: the field's tag, a bare entry count, then key and value as two
// occurrences of the same field). False with `error` set when it does not.
[[nodiscard]] bool DecodeStopEvent(const void* data, std::size_t size, StopEvent& out,
                                   std::string& error) noexcept;

}  // namespace navreq
