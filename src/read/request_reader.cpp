// Request decoding: envelope, Header, body by the command table.
#include "navreq/request_reader.h"

#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "navreq/read/envelope.h"

namespace navreq {

namespace {

using ::navcore::ryn::ReadOptions;
using ::navcore::ryn::ReadResult;

class Decoder {
 public:
  Decoder(DecodedRequest& out, const DecodeOptions& options) : out_(out), options_(options) {}

  void run(const void* data, std::size_t size) {
    const std::string_view bytes(static_cast<const char*>(data), size);
    const std::optional<navkse::Envelope> envelope = DetectEnvelope(bytes);
    if (!envelope) {
      problem(ReadProblemKind::kUnknownEnvelope, "", 0, "neither a Package nor a Packet");
      return;
    }
    out_.envelope = *envelope;
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

  void problem(ReadProblemKind kind, std::string path, std::size_t offset, std::string detail) {
    out_.problems.push_back(ReadProblem{kind, std::move(path), offset, std::move(detail)});
  }

  // Reads one part; true when decoding may go on with it.
  template <class R>
  bool part(const void* data, std::size_t size, R& record, const char* root) {
    ReadOptions options;
    options.mode = options_.mode;
    options.root = root;
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
    navkse::duromap::Package& pkg = out_.package;
    if (!part(data, size, pkg, "package")) return;
    out_.envelope_read = true;
    if (!part(pkg.header.data(), pkg.header.size(), out_.header, "header")) return;
    out_.command = navkse::findPackageCommand(pkg.cmd, pkg.cmd_name);
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
    navkse::NavSDKGateway::Packet& pkt = out_.packet;
    if (!part(data, size, pkt, "packet")) return;
    out_.envelope_read = true;
    out_.command = navkse::findPacketKind(pkt.kind);
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
    extras(record);
  }

  void readBodyAs(const char* body, std::size_t size, navkse::StopEventBody*) {
    StopEvent& event = out_.body.emplace<StopEvent>();
    std::string error;
    if (!DecodeStopEvent(body, size, event, error)) problem(ReadProblemKind::kBadEvent, "body", 0, error);
  }

  template <class R>
  void extras(R&) {}

  void extras(navkse::routesearch::CarRouteReq& route) {
    for (const auto& entry : route.side_records) {
      const std::string root = "body.side_records." + entry.first;
      const std::vector<char>& bytes = entry.second;
      if (entry.first == navkse::routesearch::kGuidanceSideRecordKey) {
        part(bytes.data(), bytes.size(), out_.side_records.guidance.emplace(), root.c_str());
      } else if (entry.first == navkse::routesearch::kRankSideRecordKey) {
        part(bytes.data(), bytes.size(), out_.side_records.rank.emplace(), root.c_str());
      }
    }
  }

  void extras(navkse::locationReportDMQ::LocationReportRequestDMQ& report) {
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
    out.envelope_read = false;
    try {
      out.problems.push_back(ReadProblem{ReadProblemKind::kOutOfMemory, "", 0, ""});
    } catch (...) {
    }
  } catch (...) {
    out.envelope_read = false;
  }
  return out;
}

}  // namespace navreq
