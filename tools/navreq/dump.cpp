#include "dump.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

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

// Fields of the records whose bytes carry other records.
constexpr std::uint8_t kPackageCmdNameTag = 2;
constexpr std::uint8_t kPackageHeaderTag = 7;
constexpr std::uint8_t kPackageBodyTag = 8;
constexpr std::uint8_t kPacketKindTag = 0;
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

// The side record stored under `key` in CarRouteReq tag 72.
const RecordInfo* SideRecordFor(const std::string& key) {
  if (key == routesearch::kGuidanceSideRecordKey) return &nav::ugs_cloud_info::kseInfo();
  if (key == routesearch::kRankSideRecordKey) return &::navkse::CarRankTrans::ToRankTransInfo::kseInfo();
  return nullptr;
}

bool IsInteger(const Node& node) noexcept {
  return node.wire <= ::navcore::ryn::kKseInt64 || node.wire == ::navcore::ryn::kKseZero;
}
bool IsString(const Node& node) noexcept {
  return node.wire == ::navcore::ryn::kKseString1 || node.wire == ::navcore::ryn::kKseString4;
}
bool IsByteArray(const Node& node) noexcept {
  return node.wire == ::navcore::ryn::kKseSimpleList && node.complete;
}

Node* FindField(std::vector<Node>& fields, std::uint8_t tag) {
  for (Node& f : fields) {
    if (f.tag == tag) return &f;
  }
  return nullptr;
}

// A complete list whose elements are all integers 0..255 becomes its bytes.
bool GatherUBytes(Node& node) {
  if (node.wire != ::navcore::ryn::kKseList || !node.complete) return false;
  std::string bytes;
  bytes.reserve(node.items.size());
  for (const Node& item : node.items) {
    if (!IsInteger(item) || item.integer < 0 || item.integer > 255) return false;
    bytes.push_back(static_cast<char>(static_cast<unsigned char>(item.integer)));
  }
  node.bytes = std::move(bytes);
  node.ubytes = true;
  return true;
}

void ExpandFields(const RecordInfo* record, std::vector<Node>& fields, int depth);

// A gzip stream that does not inflate is shown like bytes that do not decode:
// stopped at its first byte, all of it left over.
void MarkNotInflated(Embedded& embedded, const std::string& bytes) {
  embedded.kse.size = bytes.size();
  embedded.kse.complete = false;
  embedded.kse.stop_offset = 0;
  embedded.kse.error = embedded.gzip_error;
  embedded.kse.rest = bytes;
}

enum class Content { kKse, kProtobuf };

// Decodes `bytes` (inflated first when `may_gzip` and they are a gzip stream)
// and hangs the result on `node`.
void Embed(Node& node, const std::string& bytes, const RecordInfo* record, Content content, bool may_gzip,
           int depth) {
  auto embedded = std::make_shared<Embedded>();
  embedded->size = bytes.size();
  const std::string* view = &bytes;
  std::string inflated;
  if (may_gzip && LooksGzip(bytes)) {
    embedded->gzip = true;
    if (!Gunzip(bytes, inflated, embedded->gzip_error)) {
      MarkNotInflated(*embedded, bytes);
      node.embedded = std::move(embedded);
      return;
    }
    embedded->inflated = inflated.size();
    view = &inflated;
  }
  const auto* data = reinterpret_cast<const unsigned char*>(view->data());
  if (content == Content::kProtobuf) {
    embedded->is_protobuf = true;
    embedded->protobuf = DecodeProtobuf(data, view->size());
  } else {
    embedded->kse = DecodeFields(data, view->size(), record, depth + 1);
    ExpandFields(record, embedded->kse.fields, depth + 1);
  }
  node.embedded = std::move(embedded);
}

void ExpandNode(Node& node, int depth) {
  if (node.field != nullptr && std::strcmp(node.field->typeName(), "ubytes") == 0) GatherUBytes(node);
  if (node.wire == ::navcore::ryn::kKseStructBegin) {
    ExpandFields(node.record, node.items, depth + 1);
  } else if (node.wire == ::navcore::ryn::kKseList || node.wire == ::navcore::ryn::kKseMap) {
    for (Node& item : node.items) ExpandNode(item, depth + 1);
  }
}

void ExpandPackage(std::vector<Node>& fields, int depth) {
  const Node* name = FindField(fields, kPackageCmdNameTag);
  const std::string cmd_name = name != nullptr && IsString(*name) ? name->bytes : std::string();
  if (Node* header = FindField(fields, kPackageHeaderTag); header != nullptr && IsByteArray(*header)) {
    Embed(*header, header->bytes, &duromap::Header::kseInfo(), Content::kKse, false, depth);
  }
  if (Node* body = FindField(fields, kPackageBodyTag); body != nullptr && IsByteArray(*body)) {
    Embed(*body, body->bytes, BodyRecordFor(cmd_name), Content::kKse, true, depth);
  }
}

void ExpandPacket(std::vector<Node>& fields, int depth) {
  const Node* kind = FindField(fields, kPacketKindTag);
  Node* payload = FindField(fields, kPacketPayloadTag);
  if (kind == nullptr || !IsInteger(*kind) || payload == nullptr || !GatherUBytes(*payload)) return;
  if (kind->integer == gateway::kPacketLocationReport) {
    Embed(*payload, payload->bytes, &location::LocationReportRequestDMQ::kseInfo(), Content::kKse, true,
          depth);
  } else if (kind->integer == gateway::kPacketNavStopEvent) {
    Embed(*payload, payload->bytes, nullptr, Content::kProtobuf, true, depth);
  }
}

void ExpandSideRecords(std::vector<Node>& fields, int depth) {
  Node* map = FindField(fields, kCarRouteSideRecordsTag);
  if (map == nullptr || map->wire != ::navcore::ryn::kKseMap) return;
  for (std::size_t i = 0; i + 1 < map->items.size(); i += 2) {
    const Node& key = map->items[i];
    Node& value = map->items[i + 1];
    if (!IsString(key) || !IsByteArray(value)) continue;
    if (const RecordInfo* side = SideRecordFor(key.bytes)) {
      Embed(value, value.bytes, side, Content::kKse, false, depth);
    }
  }
}

// Follows the bytes that carry records inside the fields of `record`, then
// descends into every nested value.
void ExpandFields(const RecordInfo* record, std::vector<Node>& fields, int depth) {
  if (depth > kMaxDepth) return;
  if (record == &duromap::Package::kseInfo()) {
    ExpandPackage(fields, depth);
  } else if (record == &gateway::Packet::kseInfo()) {
    ExpandPacket(fields, depth);
  } else if (record == &location::LocationHeader::kseInfo()) {
    if (Node* extra = FindField(fields, kLocationHeaderExtraTag); extra != nullptr && IsByteArray(*extra)) {
      Embed(*extra, extra->bytes, &location::NavExtraData::kseInfo(), Content::kKse, false, depth);
    }
  } else if (record == &routesearch::CarRouteReq::kseInfo()) {
    ExpandSideRecords(fields, depth);
  }
  for (Node& field : fields) ExpandNode(field, depth);
}

// Whether `decoded` reads as `record`: every field declared, of a matching
// wire type, in ascending tag order; and either every declared field is
// there, or decoding stopped early after at least three matching fields (a
// truncated envelope is still named).
bool ReadsAs(const Decoded& decoded, const RecordInfo& record) {
  int previous = -1;
  for (const Node& node : decoded.fields) {
    if (node.field == nullptr || node.tag <= previous) return false;
    if (!WireMatchesDeclared(node.wire, node.field->typeName())) return false;
    previous = node.tag;
  }
  if (decoded.complete) return decoded.fields.size() == record.count;
  return decoded.fields.size() >= 3;
}

Decoded DecodeTopLevel(const unsigned char* data, std::size_t size) {
  for (const RecordInfo* envelope : {&duromap::Package::kseInfo(), &gateway::Packet::kseInfo()}) {
    Decoded decoded = DecodeFields(data, size, envelope);
    if (ReadsAs(decoded, *envelope)) {
      ExpandFields(envelope, decoded.fields, 0);
      return decoded;
    }
  }
  return DecodeFields(data, size, nullptr);
}

bool NodeComplete(const Node& node) noexcept;

bool EmbeddedComplete(const Embedded& embedded) noexcept {
  if (!embedded.gzip_error.empty()) return false;
  if (embedded.is_protobuf) return true;
  if (!embedded.kse.complete) return false;
  for (const Node& field : embedded.kse.fields) {
    if (!NodeComplete(field)) return false;
  }
  return true;
}

bool NodeComplete(const Node& node) noexcept {
  if (!node.complete) return false;
  if (node.embedded != nullptr && !EmbeddedComplete(*node.embedded)) return false;
  for (const Node& item : node.items) {
    if (!NodeComplete(item)) return false;
  }
  return true;
}

}  // namespace

DumpResult Dump(const unsigned char* data, std::size_t size) {
  DumpResult result;
  result.size = size;
  if (size >= 2 && data[0] == 0x1F && data[1] == 0x8B) {
    result.gzip = true;
    std::string inflated;
    const std::string input(reinterpret_cast<const char*>(data), size);
    if (!Gunzip(input, inflated, result.gzip_error)) {
      MarkNotInflated(result, input);
      return result;
    }
    result.inflated = inflated.size();
    result.kse = DecodeTopLevel(reinterpret_cast<const unsigned char*>(inflated.data()), inflated.size());
    return result;
  }
  result.kse = DecodeTopLevel(data, size);
  return result;
}

bool DumpComplete(const DumpResult& result) noexcept { return EmbeddedComplete(result); }

}  // namespace tool
}  // namespace navreq
