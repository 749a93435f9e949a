// Reading a request back: the bytes of any request this system writes (a
// Package or a Packet) into the envelope, its Header and the typed body.
//
//   const navreq::DecodedRequest r = navreq::DecodeRequest(bytes);
//   if (const auto* route = std::get_if<navkse::routesearch::CarRouteReq>(&r.body))
//     std::printf("%d %d\n", route->start.point.longitude, route->start.point.latitude);
//   for (const navreq::ReadProblem& p : r.problems) std::puts(p.toString().c_str());
//
// The body record is chosen through the command table (records/commands.h):
// by command number and name for a Package, by kind for a Packet. Body bytes
// that are a gzip stream are inflated first, up to a settable size. The route
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
#include "navreq/records/commands.h"

namespace navreq {

using ::navcore::ryn::ReadMode;
using ::navcore::ryn::ReadProblem;
using ::navcore::ryn::ReadProblemKind;

// The navigation stop event's message.
struct StopEvent {
  bool nav_stopped = false;
  std::map<std::string, std::string> attributes;
  std::string value;
  std::int64_t timestamp = 0;
  std::int64_t duration = 0;
};

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

struct DecodeOptions {
  ReadMode mode = ReadMode::kStrict;
  // Largest inflated body accepted; a larger one is a problem, not read.
  std::size_t max_inflated_size = std::size_t{256} << 20;
};

// A Package request's envelope as read, with the Header its tag 7 carries.
struct PackageEnvelope {
  navkse::duromap::Package package;
  navkse::duromap::Header header;
};

// The envelope read: none (not recognised, or it did not read), a Package
// with its Header, or a Packet.
using RequestEnvelope = std::variant<std::monostate, PackageEnvelope, navkse::NavSDKGateway::Packet>;

struct [[nodiscard]] DecodedRequest {
  RequestEnvelope envelope;
  const navkse::CommandInfo* command = nullptr;  // the table's entry, null when unknown
  bool body_gzip = false;                        // the body bytes were a gzip stream
  std::size_t body_size = 0;                     // body bytes read (after inflating)
  RequestBody body;
  RouteSideRecords side_records;                                      // route search and refresh
  std::optional<navkse::locationReportDMQ::NavExtraData> extra_data;  // location upload only
  std::vector<ReadProblem> problems;

  bool envelope_read() const noexcept { return !std::holds_alternative<std::monostate>(envelope); }
  // The envelope, or null when the request is not of that kind.
  const PackageEnvelope* package() const noexcept { return std::get_if<PackageEnvelope>(&envelope); }
  const navkse::NavSDKGateway::Packet* packet() const noexcept {
    return std::get_if<navkse::NavSDKGateway::Packet>(&envelope);
  }
  bool ok() const noexcept { return envelope_read() && problems.empty(); }
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

// Inflates one gzip stream, refusing to produce more than `limit` bytes.
// False with `error` set ("over the limit" included) when it does not.
[[nodiscard]] bool GunzipBounded(const void* data, std::size_t size, std::size_t limit,
                                 std::vector<char>& out, std::string& error) noexcept;

// Whether the bytes start like a gzip stream (1F 8B).
bool LooksGzip(const void* data, std::size_t size) noexcept;

}  // namespace navreq
