// The location upload: the latest fixes as a delta-encoded location report in
// a Packet, and the trajectory bucket that the traffic refresh carries.
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "location_session.h"
#include "navreq/engine/services.h"
#include "navreq/envelope.h"
#include "navreq/location_session.h"
#include "navreq/numeric.h"
#include "navreq/records/location_report_dmq.h"
#include "navreq/records/map_session.h"
#include "navreq/records/nav_sdk_gateway.h"
#include "navreq/records/ugc_unit.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"
#include "number_text.h"

namespace zv_navi_core {
namespace drive_route_req_serializer {

namespace {

using navkse::locationReportDMQ::LocationHeader;
using navkse::locationReportDMQ::LocationPoint;
using navkse::locationReportDMQ::LocationReportRequest;
using navkse::ugcUnit::gpsBucket;
using navkse::ugcUnit::gpsSpot;
using navreq::Difference32;
using navreq::DifferenceLow16;
using navreq::Low32;
using navreq::MicroDegrees;
using navreq::MillisecondsOf;
using navreq::Times10;
using navreq::Times100Low16;
using navreq::WholeUnitsLow16;

// The report's reference values: those of the last fix that went out.
struct ReportReference {
  std::int32_t longitude;
  std::int32_t latitude;
  std::int32_t scalarD_x10;
  std::int64_t time_ms;
  std::int16_t speed_x100;
  std::int16_t heading;
};

ReportReference ReportReferenceOf(const KSLocation& fix) {
  ReportReference ref;
  ref.longitude = MicroDegrees(fix.longitude);
  ref.latitude = MicroDegrees(fix.latitude);
  ref.scalarD_x10 = Times10(fix.scalarD);
  ref.time_ms = MillisecondsOf(fix.timeSeconds);
  ref.speed_x100 = Times100Low16(fix.speed);
  ref.heading = WholeUnitsLow16(fix.heading);
  return ref;
}

// Fills a report whose sequence number the caller has already taken. Touches
// no process-wide state.
void FillLocationReport(LocationReportRequest& target, const std::vector<KSLocation>& fixes,
                        std::int64_t request_time_ms, std::int64_t session_id, std::uint32_t sequence) {
  const KSLocation& first = fixes.front();
  LocationHeader& header = target.header;
  // Unsigned counter into an int32 field: from 2^31 on it goes out negative.
  header.sequence_number = Low32(sequence);
  header.loc_session_id = session_id;
  header.request_time_ms = request_time_ms;
  header.field5 = 1;
  header.field10 = 1;
  header.longitude = MicroDegrees(first.longitude);
  header.latitude = MicroDegrees(first.latitude);
  header.scalarD_x10 = Times10(first.scalarD);
  header.time_ms = MillisecondsOf(first.timeSeconds);
  header.time_ms_again = header.time_ms;

  ReportReference ref = ReportReferenceOf(first);
  // The first fix lives in the header only; its own time never passes the
  // check below, and neither does any fix not later than the last one sent.
  for (const KSLocation& fix : fixes) {
    const ReportReference cur = ReportReferenceOf(fix);
    if (cur.time_ms <= ref.time_ms) continue;

    LocationPoint point;
    point.field0 = 1;
    point.d_longitude = DifferenceLow16(cur.longitude, ref.longitude);
    point.d_latitude = DifferenceLow16(cur.latitude, ref.latitude);
    point.d_scalarD_x10 = DifferenceLow16(cur.scalarD_x10, ref.scalarD_x10);
    point.heading = cur.heading;
    point.speed_x100 = cur.speed_x100;
    point.scalarA_x10 = navreq::Times10Low16(fix.scalarA);
    // Milliseconds as 32-bit values: only the low halves of the two times count.
    point.d_time_ms = navreq::Low32Difference(cur.time_ms, ref.time_ms);
    point.d_time_ms_again = point.d_time_ms;
    point.intValueA = fix.intValueA;
    point.d_heading = static_cast<std::int32_t>(cur.heading) - ref.heading;
    point.d_speed_x100 = static_cast<std::int32_t>(cur.speed_x100) - ref.speed_x100;
    point.intValueB = fix.intValueB;
    target.points.push_back(point);
    ref = cur;
  }
}

}  // namespace

void GetLocationReportRequest(navkse::locationReportDMQ::LocationReportRequest& target,
                              const std::vector<KSLocation>& fixes, std::int64_t request_time_ms,
                              std::int64_t session_id) {
  if (fixes.empty()) return;  // an empty report takes no sequence number
  std::uint32_t sequence;
  {
    std::lock_guard<std::mutex> lock(location_session_mutex());
    sequence = TakeSequenceNumberLocked();
  }
  FillLocationReport(target, fixes, request_time_ms, session_id, sequence);
}

void GetGPSBuket(navkse::ugcUnit::gpsBucket& target, const std::string& number_text, const std::string& text,
                 std::int32_t value, const std::vector<KSLocation>& fixes) {
  if (fixes.empty()) return;
  const KSLocation& first = fixes.front();
  target.head.text = text;
  if (navreq::BucketNumberIsRead(number_text, fixes)) target.head.number = navreq::TextToInt64(number_text);
  target.head.value = value;
  target.head.longitude = MicroDegrees(first.longitude);
  target.head.latitude = MicroDegrees(first.latitude);
  target.head.scalarD_x10 = Times10(first.scalarD);
  target.head.time_s = Low32(first.timeSeconds);

  std::int32_t ref_longitude = target.head.longitude;
  std::int32_t ref_latitude = target.head.latitude;
  std::int32_t ref_scalarD_x10 = target.head.scalarD_x10;
  std::int64_t ref_seconds = first.timeSeconds;
  // The first fix opens the list with zero differences. Times are not checked
  // for order here, only for fitting 32 bits upward.
  for (const KSLocation& fix : fixes) {
    if (Low32(fix.timeSeconds) < fix.timeSeconds) continue;

    const std::int32_t longitude = MicroDegrees(fix.longitude);
    const std::int32_t latitude = MicroDegrees(fix.latitude);
    const std::int32_t scalarD_x10 = Times10(fix.scalarD);
    gpsSpot spot;
    spot.d_longitude = Difference32(longitude, ref_longitude);
    spot.d_latitude = Difference32(latitude, ref_latitude);
    spot.heading = WholeUnitsLow16(fix.heading);
    // Whole seconds kept to 8 bits: 300 s goes out as 44.
    spot.d_time_s = navreq::DifferenceLow8(fix.timeSeconds, ref_seconds);
    spot.speed_x100 = Times100Low16(fix.speed);
    spot.scalarA_x10 = navreq::Times10Low16(fix.scalarA);
    spot.d_scalarD_x10 = DifferenceLow16(scalarD_x10, ref_scalarD_x10);
    target.spots.push_back(spot);
    ref_longitude = longitude;
    ref_latitude = latitude;
    ref_scalarD_x10 = scalarD_x10;
    ref_seconds = fix.timeSeconds;
  }
}

int GetLocationUploadReqData(const LocationUploadParam& param, const ReqExtraParam& extra,
                             std::vector<char>& out) {
  navkse::locationReportDMQ::LocationReportRequestDMQ dmq;
  dmq.imei = extra.imei;

  // Every time of the request derives from this one reading.
  const std::int64_t now_ms = platform::GetTimestampMilliseconds();

  // The session check and the sequence number are taken together under the
  // lock, so even uploads that overlap (which the engine should not start)
  // keep the shared state whole and never share or skip a sequence number.
  std::int64_t session_id;
  std::uint32_t sequence = 0;
  {
    std::lock_guard<std::mutex> lock(location_session_mutex());
    session_id = EnterLocationSessionLocked(param.session_id, now_ms);
    if (!param.locations.empty()) sequence = TakeSequenceNumberLocked();
  }
  if (!param.locations.empty()) {
    FillLocationReport(dmq.report, param.locations, now_ms, session_id, sequence);
  }

  navkse::locationReportDMQ::NavExtraData extra_data;
  extra_data.session_id = param.session_id;
  extra_data.extra_text1 = param.extra_text1;
  extra_data.extra_text2 = param.extra_text2;
  extra_data.extra_list = param.extra_list;
  extra_data.linked_session_id = param.linked_session_id.empty() ? param.session_id : param.linked_session_id;
  // Written alone, without a record frame; stored even when there is no fix.
  if (!SerializeKSE(extra_data, dmq.report.header.extra_data)) return 1;

  navkse::MapSession::SessionInfo& session = dmq.session;
  session.loc_session_id = session_id;
  session.imei = extra.imei;
  session.device_id = extra.alt_device_id1.empty() ? extra.imei : extra.alt_device_id1;
  session.identity_e = extra.identity_e;
  session.identity_a = extra.identity_a;
  session.identity_g = extra.identity_g;
  session.identity_f = extra.identity_f;
  session.identity_h = extra.identity_h;
  session.request_time_s = Low32(navreq::WholeSecondsOf(now_ms));
  session.identity_c = extra.identity_c;
  session.device_id2 = extra.alt_device_id2.empty() ? extra.imei : extra.alt_device_id2;

  navkse::NavSDKGateway::Packet packet;
  std::vector<char> body;
  if (param.gzip) {
    if (!SerializeKSE(dmq, body)) {
      platform::PutLine("SerializeKSE_location_buf_fail");
      return 1;
    }
    std::vector<char> compressed;
    if (!GZipCompress(body, compressed)) {
      platform::PutLine("GZipCompress_location_buf_fail");
      return 1;
    }
    packet.payload.assign(compressed.begin(), compressed.end());
  } else {
    // Unlike the compressed path, this one prints nothing on failure.
    if (!SerializeKSE(dmq, body)) return 1;
    packet.payload.assign(body.begin(), body.end());
  }

  packet.kind = navkse::NavSDKGateway::kPacketLocationReport;
  packet.auth.api_key = extra.api_key;
  packet.auth.imei = extra.imei;
  packet.payload_encoding =
      param.gzip ? navkse::NavSDKGateway::kPayloadGzip : navkse::NavSDKGateway::kPayloadPlain;

  return SerializeKSE(packet, out) ? 0 : 1;
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
