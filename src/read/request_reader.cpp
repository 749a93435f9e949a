// Request decoding: envelope, Header, body by the command table.
#include "navreq/request_reader.h"

#include <algorithm>
#include <initializer_list>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "navreq/read/envelope.h"
#include "navreq/read/paths.h"

namespace navreq {

namespace {

using ::navcore::ryn::KseHead;
using ::navcore::ryn::KseInputStream;
using ::navcore::ryn::KseReadError;
using ::navcore::ryn::ReadOptions;
using ::navcore::ryn::ReadResult;

class Decoder {
 public:
  Decoder(DecodedRequest& out, const DecodeOptions& options) : out_(out), options_(options) {}

  void run(const void* data, std::size_t size) {
    std::string_view bytes(static_cast<const char*>(data), size);
    // A whole request sent as one gzip stream (a capture's body whose
    // Content-Encoding was not undone) is read inflated, as dump reads it.
    std::string whole;
    if (LooksGzip(bytes)) {
      const GunzipResult g = Gunzip(bytes, options_.max_inflated_size, whole);
      if (!g.ok()) {
        const bool over = g.status == GunzipStatus::kOverLimit;
        problem(over ? ReadProblemKind::kLimitExceeded : ReadProblemKind::kBadGzip, "", g.offset,
                "the request is a gzip stream that does not inflate: " + g.error);
        return;
      }
      out_.request_gzip = true;
      bytes = whole;
      data = whole.data();
      size = whole.size();
    }
    const std::optional<navkse::Envelope> envelope = DetectEnvelope(bytes);
    if (!envelope) {
      problem(ReadProblemKind::kUnknownEnvelope, "", 0, "neither a Package nor a Packet");
      return;
    }
    if (const std::optional<std::size_t> second = SecondRequestAt(bytes)) {
      problem(ReadProblemKind::kTrailingBytes, "", *second, "a second request starts here");
      if (strict()) return;
      size = *second;
    }
    if (*envelope == navkse::Envelope::kPackage) {
      package(data, size);
    } else {
      packet(data, size);
    }
  }

 private:
  bool strict() const noexcept { return options_.mode == ReadMode::kStrict; }

  // Whether the field at `path` (tags from the top record down through
  // nested records) was read whole, with a head its declared type accepts:
  // only then are the bytes it carries read (in tolerant mode a record can be
  // cut short before it, or lack it). Reading stops at the first damage the
  // record's reading stops at.
  static bool FieldRead(const void* data, std::size_t size, std::initializer_list<std::uint8_t> path,
                        ::navcore::ryn::WireKind declared) noexcept {
    try {
      KseInputStream in(data, size);
      const std::uint8_t* level = path.begin();
      while (!in.atEnd()) {
        const KseHead h = in.readHead();
        if (h.type == ::navcore::ryn::kKseStructEnd) return false;  // the record ends without it
        if (h.tag != *level) {
          in.skipValue(h);
          continue;
        }
        if (level + 1 == path.end()) {
          in.skipValue(h);
          return ::navcore::ryn::wireTypeFits(declared, h.type);
        }
        if (h.type != ::navcore::ryn::kKseStructBegin) return false;
        in.enter(h.offset);
        ++level;
      }
    } catch (const KseReadError&) {
    }
    return false;
  }

  void problem(ReadProblemKind kind, std::string path, std::size_t offset, std::string detail) {
    out_.problems.push_back(ReadProblem{kind, std::move(path), offset, std::move(detail)});
  }

  // Reads one part; true when decoding may go on with it.
  template <class R>
  bool part(const void* data, std::size_t size, R& record, const char* root) {
    ReadOptions options;
    options.mode = options_.mode;
    options.root = root;
    options.key_level = AppendKeyLevel;
    ReadResult r = ::navcore::ryn::readRecord(data, size, record, options);
    for (ReadProblem& p : r.problems) out_.problems.push_back(std::move(p));
    return r.ok() || !strict();
  }

  // The body bytes, inflated when they are a gzip stream; false when they
  // cannot be had.
  bool bodyBytes(const char* data, std::size_t size, std::string& inflated, const char*& body,
                 std::size_t& body_size) {
    body = data;
    body_size = size;
    const std::string_view bytes(data, size);
    if (const char* why = BodyEncodingProblem(*out_.command, bytes)) {
      problem(ReadProblemKind::kBadGzip, "body", 0, why);
      if (strict()) return false;
    }
    if (!LooksGzip(bytes)) return true;
    out_.body_gzip = true;
    const GunzipResult g = Gunzip(bytes, options_.max_inflated_size, inflated);
    if (!g.ok()) {
      const bool over = g.status == GunzipStatus::kOverLimit;
      problem(over ? ReadProblemKind::kLimitExceeded : ReadProblemKind::kBadGzip, "body", g.offset, g.error);
      return false;
    }
    body = inflated.data();
    body_size = inflated.size();
    return true;
  }

  void package(const void* data, std::size_t size) {
    PackageEnvelope& envelope = out_.envelope.emplace<PackageEnvelope>();
    navkse::duromap::Package& pkg = envelope.package;
    if (!part(data, size, pkg, "package")) {
      out_.envelope = std::monostate{};
      return;
    }
    using Tag = navkse::duromap::Package::FieldTag;
    if (FieldRead(data, size, {Tag::header}, ::navcore::ryn::WireKind::kBytes) &&
        !part(pkg.header.data(), pkg.header.size(), envelope.header, "header")) {
      return;
    }
    out_.command = navkse::findPackageCommand(pkg.cmd, pkg.cmd_name);
    if (!FieldRead(data, size, {Tag::body}, ::navcore::ryn::WireKind::kBytes)) return;
    if (out_.command == nullptr) {
      problem(ReadProblemKind::kUnknownCommand, "package.cmd_name", 0,
              "command " + std::to_string(pkg.cmd) + " \"" + pkg.cmd_name + "\"");
      return;
    }
    std::string inflated;
    const char* body = nullptr;
    std::size_t body_size = 0;
    if (!bodyBytes(pkg.body.data(), pkg.body.size(), inflated, body, body_size)) return;
    readBody(body, body_size);
  }

  void packet(const void* data, std::size_t size) {
    navkse::NavSDKGateway::Packet& pkt = out_.envelope.emplace<navkse::NavSDKGateway::Packet>();
    if (!part(data, size, pkt, "packet")) {
      out_.envelope = std::monostate{};
      return;
    }
    out_.command = navkse::findPacketKind(pkt.kind);
    using Tag = navkse::NavSDKGateway::Packet::FieldTag;
    if (!FieldRead(data, size, {Tag::payload}, ::navcore::ryn::WireKind::kUBytes)) return;
    // A payload with an element that did not read as a byte is not the bytes sent.
    for (const ReadProblem& p : out_.problems) {
      if (p.path.rfind("packet.payload[", 0) == 0) return;
    }
    if (out_.command == nullptr) {
      problem(ReadProblemKind::kUnknownCommand, "packet.kind", 0, "kind " + std::to_string(pkt.kind));
      return;
    }
    const std::vector<char> payload(pkt.payload.begin(), pkt.payload.end());
    std::string inflated;
    const char* body = nullptr;
    std::size_t body_size = 0;
    if (!bodyBytes(payload.data(), payload.size(), inflated, body, body_size)) return;
    readBody(body, body_size);
  }

  void readBody(const char* body, std::size_t size) {
    out_.body_size = size;
    switch (out_.command->kind) {
#define NAVREQ_READ_BODY_(KIND, ENVELOPE, NUMBER, NAME, BODY, GZIP, ENTRY) \
  case navkse::RequestKind::KIND:                                          \
    readBodyAs(body, size, static_cast<BODY*>(nullptr));                   \
    break;
      NAVKSE_REQUEST_COMMANDS(NAVREQ_READ_BODY_)
#undef NAVREQ_READ_BODY_
    }
  }

  template <class R>
  void readBodyAs(const char* body, std::size_t size, R*) {
    R& record = out_.body.emplace<R>();
    if (!part(body, size, record, "body")) return;
    extras(record, body, size);
  }

  void readBodyAs(const char* body, std::size_t size, navkse::StopEventBody*) {
    StopEvent& event = out_.body.emplace<StopEvent>();
    std::string error;
    if (!DecodeStopEvent(body, size, event, error)) problem(ReadProblemKind::kBadEvent, "body", 0, error);
  }

  template <class R>
  void extras(R&, const char*, std::size_t) {}

  void extras(navkse::routesearch::CarRouteReq& route, const char*, std::size_t) {
    sideRecords(route, "body.side_records");
  }

  // The route a traffic refresh runs again carries side records too.
  void extras(navkse::traffic::AllOnRouteReqBatch& batch, const char*, std::size_t) {
    sideRecords(batch.refresh.route_req, "body.refresh.route_req.side_records");
  }

  void sideRecords(const navkse::routesearch::CarRouteReq& route, const char* map_path) {
    for (const auto& entry : route.side_records) {
      std::string root = map_path;
      AppendKeyLevel(root, entry.first, false);
      const std::vector<char>& bytes = entry.second;
      // A value that is not a byte array was left empty: there is no record to read.
      const bool damaged =
          std::any_of(out_.problems.begin(), out_.problems.end(), [&root](const ReadProblem& p) {
            return p.path == root && p.kind == ReadProblemKind::kTypeMismatch;
          });
      if (damaged) continue;
      if (entry.first == navkse::routesearch::kGuidanceSideRecordKey) {
        part(bytes.data(), bytes.size(), out_.side_records.guidance.emplace(), root.c_str());
      } else if (entry.first == navkse::routesearch::kRankSideRecordKey) {
        part(bytes.data(), bytes.size(), out_.side_records.rank.emplace(), root.c_str());
      }
    }
  }

  void extras(navkse::locationReportDMQ::LocationReportRequestDMQ& report, const char* body,
              std::size_t size) {
    using Request = navkse::locationReportDMQ::LocationReportRequestDMQ;
    using Report = navkse::locationReportDMQ::LocationReportRequest;
    using Header = navkse::locationReportDMQ::LocationHeader;
    if (!FieldRead(body, size,
                   {Request::FieldTag::report, Report::FieldTag::header, Header::FieldTag::extra_data},
                   ::navcore::ryn::WireKind::kBytes)) {
      return;
    }
    const std::vector<char>& bytes = report.report.header.extra_data;
    part(bytes.data(), bytes.size(), out_.extra_data.emplace(), "body.report.header.extra_data");
  }

  DecodedRequest& out_;
  const DecodeOptions& options_;
};

}  // namespace

DecodedRequest DecodeRequest(const void* data, std::size_t size, const DecodeOptions& options) noexcept {
  DecodedRequest out;
  try {
    Decoder(out, options).run(data, size);
  } catch (const std::bad_alloc&) {
    out.envelope = std::monostate{};
    try {
      out.problems.push_back(ReadProblem{ReadProblemKind::kOutOfMemory, "", 0, ""});
    } catch (...) {
    }
  } catch (...) {
    out.envelope = std::monostate{};
  }
  return out;
}

}  // namespace navreq
