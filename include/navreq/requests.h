// The serializer's entry functions and the record fillers they share.
//
// Each entry function takes the engine's parameter records and an output byte
// vector, and reports by its return value: 0 success, 1 (or 2 where noted)
// failure. Failures print or log the fixed line of their stage. Everything but
// the location upload works on per-call values and may run concurrently.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "navreq/engine/params.h"
#include "navreq/envelope.h"

namespace navkse {
namespace common {
struct Gps;
struct SimplePOIRequestInfo;
}  // namespace common
namespace routesearch {
struct CarRouteReq;
struct LimitArea;
struct RouteCloudControl;
}  // namespace routesearch
namespace dynamicroute {
struct OnRouteReq;
struct TrafficTimeReq;
struct AllOnRouteReq;
}  // namespace dynamicroute
namespace locationReportDMQ {
struct LocationReportRequest;
}  // namespace locationReportDMQ
namespace ugcUnit {
struct gpsBucket;
}  // namespace ugcUnit
}  // namespace navkse

namespace zv_navi_core {

namespace route_req_serializer {

// Search point -> SimplePOIRequestInfo: both points in micro-degrees, the texts
// and the point type. Nothing else of `target` changes.
void GetSimplePOIRequestInfo(navkse::common::SimplePOIRequestInfo& target, const KSNaviSearchPoint& point);

}  // namespace route_req_serializer

namespace drive_route_req_serializer {

// ---- Conversions (search points, fixes, areas) ----

// Overwrites the converted fields of `target` from one fix; logs its source type.
void ConvertLocationToCommGPS(navkse::common::Gps& target, const KSLocation& fix);
// Appends one fresh Gps per fix, in order.
void ConvertLocationsToCommGPS(std::vector<navkse::common::Gps>& target,
                               const std::vector<KSLocation>& fixes);
// Appends the via points and one 0 flag byte per via point.
void GetViaPoints(navkse::routesearch::CarRouteReq& request,
                  const std::vector<KSNaviSearchPoint>& via_points);
// Appends one LimitArea per polygon (empty polygons included).
void GetLimitAreaList(std::vector<navkse::routesearch::LimitArea>& target,
                      const std::vector<std::vector<KSLatLon>>& polygons);
// "-1" unless 0 <= angle < 360; otherwise fixed notation with one decimal.
std::string AngleToStr(float angle);

// ---- Route search ----

// Fills the route search record from the engine's parameters and the client's identity.
void GetCarRouteReq(navkse::routesearch::CarRouteReq& request, const DriveRouteReqParam& param,
                    const ReqExtraParam& extra);
// Adds the ranking side record ("toRank") when ranking is enabled.
void GetRankInfo(navkse::routesearch::CarRouteReq& request, const DriveRouteReqParam& param);
// Copies the motorcycle into CarRouteReq tag 86.
void GetMotoParam(navkse::routesearch::CarRouteReq& request, const KSMotoParam& moto);
// Fills the truck parameters, for a positive measure B only.
void GetTruckParam(navkse::routesearch::CarRouteReq& request, const KSTruckParam& truck);

// The complete route search request: a Package (command 10101,
// "CMD_ROUTE_CAR_SNS") around the gzip-compressed CarRouteReq.
[[nodiscard]] unsigned GetRouteReqData(const DriveRouteReqParam& param, const ReqExtraParam& extra,
                                       std::vector<char>& out);

// ---- Route refresh ----

// Fills the on-route part of one route's refresh entry.
void GetOnRouteReq(navkse::dynamicroute::OnRouteReq& target, const OneRouteTrafficReqParam& route,
                   const RouteRefreshReqParam& param, const ReqExtraParam& extra);
// Fills the traffic-time part of one route's refresh entry.
void GetTrafficTimeReq(navkse::dynamicroute::TrafficTimeReq& target, const OneRouteTrafficReqParam& route,
                       const RouteRefreshReqParam& param, const ReqExtraParam& extra, int value);
// Fills one route's refresh entry: both parts and the refresh value.
void GetAllOnRouteReq(navkse::dynamicroute::AllOnRouteReq& target, const OneRouteTrafficReqParam& route,
                      const RouteRefreshReqParam& param, const ReqExtraParam& extra, int value);
// Copies the engine's follow-explain controls into the cloud control map; a
// key already there keeps its control.
void GetKSEExplainControl(navkse::routesearch::RouteCloudControl& target,
                          const std::map<std::string, KSFollowExplainControl>& controls);

// The traffic refresh request: a Package (command 10102,
// "CMD_TRAFFIC_ALL_ON_ROUTE_BATCH_SDK"). A route `id_text` or a read
// `bucket_number_text` that is not a number throws std::invalid_argument /
// std::out_of_range out of this function (FindUnconvertibleText in
// navreq/number_texts.h finds such a text beforehand).
[[nodiscard]] int GetRouteRefreshReqData(const RouteRefreshReqParam& param, const ReqExtraParam& extra,
                                         std::vector<char>& out);

// ---- Location upload ----

// Fills the report from the fixes; advances report_sequence_num once when
// there is at least one fix.
void GetLocationReportRequest(navkse::locationReportDMQ::LocationReportRequest& target,
                              const std::vector<KSLocation>& fixes, std::int64_t request_time_ms,
                              std::int64_t session_id);
// Fills a trajectory bucket from the fixes.
void GetGPSBuket(navkse::ugcUnit::gpsBucket& target, const std::string& number_text, const std::string& text,
                 std::int32_t value, const std::vector<KSLocation>& fixes);

// The location upload: a Packet around the (optionally gzip-compressed)
// location report.
[[nodiscard]] int GetLocationUploadReqData(const LocationUploadParam& param, const ReqExtraParam& extra,
                                           std::vector<char>& out);

// ---- Navigation stop event ----

// A Packet (kind 2) around the protocol-buffers Event. 0 success, 1 encoding
// failure, 2 Packet failure.
[[nodiscard]] int GetNavStopActionReqData(std::string text, std::string device_id, std::string client_key,
                                          std::vector<char>& out);

// ---- Route plus and guidance slices ----

// A Package (command 84) around the plain slice request. 0 success, 2 when the
// inner record cannot be written, 1 for other failures.
[[nodiscard]] int GetRoutePlus(const PlusReq& param, const ReqExtraParam& extra, std::vector<char>& out);
// The same for a guidance slice request, with its own command.
[[nodiscard]] int GetRouteSlice(const SliceReq& param, const ReqExtraParam& extra, std::vector<char>& out);

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
