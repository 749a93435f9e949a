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
// "packet.", "header.", "body.", "body.side_records.toGuidance.", and so on.
// Offsets count from the start of the bytes of that part (the inflated body,
// the Header's bytes), not of the whole request.
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

// The navigation stop event's message.
struct StopEvent {
  bool nav_stopped = false;                       // the navigation stopped
  std::map<std::string, std::string> attributes;  // the attribute map
  std::string value;                              // the event's value
  std::int64_t timestamp = 0;                     // when, in whole seconds since the Unix epoch
  std::int64_t duration = 0;                      // how long (the writer sends 0)
};

// The Event message's field numbers (proto/normal_traj_server.proto).
enum StopEventField : std::uint64_t {
  kStopEventNavStopped = 1,
  kStopEventAttributes = 2,
  kStopEventValue = 3,
  kStopEventTimestamp = 4,
  kStopEventDuration = 5,
};

// Every body type of the command table; StopEvent stands for its
// protocol-buffers payload.
using RequestBody =
    std::variant<std::monostate, navkse::routesearch::CarRouteReq, navkse::traffic::AllOnRouteReqBatch,
                 navkse::navicore::nav::ugs_guidance_slice_req_t,
                 navkse::locationReportDMQ::LocationReportRequestDMQ, StopEvent>;

// The side records a route search carries in CarRouteReq::side_records.
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

// What DecodeRequest read.
struct [[nodiscard]] DecodedRequest {
  bool envelope_read = false;                              // the envelope was recognised and read
  navkse::Envelope envelope = navkse::Envelope::kPackage;  // Package or Packet
  navkse::duromap::Package package;                        // a Package request: the envelope as read
  navkse::duromap::Header header;                          // and its tag 7
  navkse::NavSDKGateway::Packet packet;                    // a Packet request
  const navkse::CommandInfo* command = nullptr;            // the table's entry, null when unknown
  bool body_gzip = false;                                  // the body bytes were a gzip stream
  std::size_t body_size = 0;                               // body bytes read (after inflating)
  RequestBody body;                                        // the body record, monostate when not read
  RouteSideRecords side_records;                           // route search only
  std::optional<navkse::locationReportDMQ::NavExtraData> extra_data;  // location upload only
  std::vector<ReadProblem> problems;                                  // what is wrong, in the order found

  // The envelope was read and nothing is wrong.
  bool ok() const noexcept { return envelope_read && problems.empty(); }
};

// Decodes one request. Never throws; in strict mode (the default) any problem
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
