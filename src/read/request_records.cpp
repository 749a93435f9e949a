#include "request_records.h"

#include "navreq/read/envelope.h"
#include "navreq/read/inflate.h"
#include "navreq/records/commands.h"
#include "wire_cursor.h"

namespace navreq {

namespace {

namespace duromap = ::navkse::duromap;
namespace gateway = ::navkse::NavSDKGateway;
namespace routesearch = ::navkse::routesearch;
using ::navcore::ryn::RecordInfo;

// The envelopes a request can start with, in order of preference.
constexpr navkse::Envelope kEnvelopes[] = {navkse::Envelope::kPackage, navkse::Envelope::kPacket};

// A second request is taken as one only when this many of its fields follow
// its envelope's declaration: one integer at tag 0 alone could be anything.
constexpr std::size_t kSecondRequestFields = 2;

// How many fields from the start of `bytes` follow `record`'s declaration.
std::size_t FieldsFollowing(std::string_view bytes, const RecordInfo& record) noexcept {
  std::size_t score = 0;
  try {
    WireCursor c(bytes);
    int previous = -1;
    while (!c.atEnd()) {
      const Head h = c.head();
      const ::navcore::ryn::FieldInfo* f = record.find(h.tag);
      if (f == nullptr || h.tag <= previous || !::navcore::ryn::wireTypeFits(f->type->kind, h.type)) break;
      ++score;
      previous = h.tag;
      c.skip(h);
    }
  } catch (...) {  // WireStop, or no memory for its text: the fields so far count
  }
  return score;
}

struct Recognized {
  std::optional<navkse::Envelope> envelope;
  std::size_t fields = 0;
};

Recognized Recognize(std::string_view bytes) noexcept {
  Recognized best;
  for (const navkse::Envelope e : kEnvelopes) {
    const std::size_t fields = FieldsFollowing(bytes, EnvelopeInfo(e));
    if (fields > best.fields) best = Recognized{e, fields};
  }
  return best;
}

}  // namespace

const std::uint8_t kPackageCommandTag = duromap::Package::FieldTag::cmd;
const std::uint8_t kPackageCommandNameTag = duromap::Package::FieldTag::cmd_name;
const std::uint8_t kPacketKindTag = gateway::Packet::FieldTag::kind;

const RecordInfo& PackageInfo() { return duromap::Package::kseInfo(); }
const RecordInfo& PacketInfo() { return gateway::Packet::kseInfo(); }

const RecordInfo& EnvelopeInfo(navkse::Envelope envelope) {
  return envelope == navkse::Envelope::kPackage ? PackageInfo() : PacketInfo();
}

std::optional<navkse::Envelope> DetectEnvelope(std::string_view bytes) noexcept {
  return Recognize(bytes).envelope;
}

std::optional<std::size_t> SecondRequestAt(std::string_view bytes) noexcept {
  try {
    WireCursor c(bytes);
    int previous = -1;
    while (!c.atEnd()) {
      const Head h = c.head();
      if (h.tag <= previous) {
        if (Recognize(bytes.substr(h.offset)).fields >= kSecondRequestFields) return h.offset;
        return std::nullopt;
      }
      previous = h.tag;
      c.skip(h);
    }
  } catch (...) {  // bytes that do not read: the readers say where
  }
  return std::nullopt;
}

const char* BodyEncodingProblem(const navkse::CommandInfo& command, std::string_view body) noexcept {
  if (command.gzip == navkse::BodyGzip::kAlways && !LooksGzip(body))
    return "sent plain, though this command's body is always gzip-compressed";
  return nullptr;
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
    out.command = c;
    if (c != nullptr && c->body != nullptr) out.record = &c->body();
  } else if (&record == &PacketInfo() && tag == gateway::Packet::FieldTag::payload) {
    if (!int32) return out;
    const ::navkse::CommandInfo* c = ::navkse::findPacketKind(static_cast<std::int32_t>(number));
    if (c == nullptr) return out;
    out.follow = true;
    out.command = c;
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
