// Route search assembly: one CarRouteReq from the engine's DriveRouteReqParam.
//
// GetCarRouteReq runs on a freshly constructed CarRouteReq (route search and
// route refresh alike), so every field it leaves alone goes out with the
// record's default. The order of the steps below is the order of the log lines
// and of the side effects; keep it.
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "fixed_text.h"
#include "navreq/engine/services.h"
#include "navreq/numeric.h"
#include "navreq/records/car_rank_trans.h"
#include "navreq/records/navicore.h"
#include "navreq/records/routesearch.h"
#include "navreq/requests.h"
#include "navreq/serialize.h"

namespace zv_navi_core {
namespace drive_route_req_serializer {

namespace {

using navkse::routesearch::CarRouteReq;

// Engine reasons for a search (DriveRouteReqParam::reason).
enum SearchReason : std::int32_t {
  kReasonFork = -2,
  kReasonRouteRefresh = -1,
  kReasonSearch = 0,
  kReasonPh = 1,
  kReasonHint = 2,
  kReasonFr = 3,
  kReasonChangeDest = 4,
  kReasonRemoveViaPoint = 5,
  kReasonChangeDestAgain = 6,
  kReasonPrefChange = 7,
  kReasonRideOrder = 8,
};

// subReason of a "hint" search that asks for the reverse heading.
constexpr std::int32_t kHintSubReasonReverse = 5;

// Asynchronous-guidance codes of the "toGuidance" side record.
constexpr std::int32_t kAsyncGuidanceNone = 0;
constexpr std::int32_t kAsyncGuidanceLongTrip = 201;
constexpr std::int32_t kAsyncGuidanceSearch = 200;
// planMode 9 asks for asynchronous guidance only beyond this distance.
constexpr double kLongTripMetres = 50000.0;

// The one value of the ranking side record's list.
constexpr std::int32_t kRankValue = 269;
// Route option 59 of a truck search.
constexpr std::int32_t kTruckRouteOption59 = 301;
// Highest truck option 6 the service accepts.
constexpr std::int32_t kTruckOption6Max = 6;

using navreq::MicroDegrees;
using navreq::Thousandths;

// Heading opposite to the yaw angle, in [0, 360] for finite angles.
std::string ReverseHeadingText(float yaw_angle) {
  const float reversed = yaw_angle + 180.0f;  // added in single precision
  double heading = std::fmod(static_cast<double>(reversed), 360.0);
  if (heading < 0.0) heading += 360.0;  // -0.0 is not negative and stays "-0.000000"
  // fmod of an infinity yields the CPU's default NaN, negative on x86 and
  // positive on the phones' ARM; take the phones' so the text is "nan" on
  // every host. A NaN angle keeps its own sign, as it does on every CPU.
  if (std::isnan(heading) && !std::isnan(reversed)) heading = std::numeric_limits<double>::quiet_NaN();
  return FixedText(heading, 6);
}

void SetPoint(navkse::common::Point& point, double latitude, double longitude) {
  point.longitude = MicroDegrees(longitude);
  point.latitude = MicroDegrees(latitude);
}

// The reason text and what comes with each reason.
void ApplyReason(CarRouteReq& request, const DriveRouteReqParam& param) {
  switch (param.reason) {
    case kReasonFork:
      request.reason_text = "fork";
      break;
    case kReasonRouteRefresh:
      request.reason_text = "routerefresh";
      break;
    case kReasonSearch:
      request.sub_reason = param.subReason;
      // The engine's own angle wins over the fix heading when it is valid.
      if (param.reasonAngle >= 0.0f && param.reasonAngle < 360.0f) {
        request.heading_text = FixedText(static_cast<double>(param.reasonAngle), 6);
      }
      break;
    case kReasonPh:
      request.reason_text = "ph";
      request.ph_value = param.phValue;
      break;
    case kReasonHint:
      request.reason_text = "hint";
      request.sub_reason = param.subReason;
      if (param.subReason == kHintSubReasonReverse) {
        request.reverse_heading_text = ReverseHeadingText(param.yawAngle);
      }
      break;
    case kReasonFr:
      request.reason_text = "fr";
      break;
    case kReasonChangeDest:
    case kReasonChangeDestAgain:
      request.reason_text = "changedest";
      break;
    case kReasonRemoveViaPoint:
      request.reason_text = "removeviapoint";
      break;
    case kReasonPrefChange:
      request.reason_text = "prefchange";
      break;
    case kReasonRideOrder:
      request.reason_text = "chengkexuanlu";  // the server's word, kept as it is
      request.sub_reason = param.subReason;
      break;
    default:
      break;  // unknown reasons go out without a reason text
  }
}

// Reroutes (fork, route refresh): where and how the car left the route.
void ApplyRerouteExtras(CarRouteReq& request, const DriveRouteReqParam& param) {
  request.reroute_yaw_heading_text = AngleToStr(param.yawAngle);
  SetPoint(request.reroute_yaw_position, param.yawLatitude, param.yawLongitude);
  request.reroute_ph_value = param.phValue;
  request.routeOption38 = param.routeOption38;
  request.routeOption37 = param.routeOption37;
  request.reroute_text = param.routeOption14;
  request.reroute_text_again = param.routeOption14;
  request.routeOption49 = param.routeOption49;
}

// Whether the server should prepare the guidance asynchronously.
std::int32_t AsyncGuidanceCode(const DriveRouteReqParam& param) {
  const auto long_trip = [&param]() {
    const double metres = math::CalcDistanceFromLatLon(
        param.start.latitude, param.start.longitude, param.destination.latitude, param.destination.longitude);
    return metres > kLongTripMetres ? kAsyncGuidanceLongTrip : kAsyncGuidanceNone;
  };
  if (param.reason != kReasonSearch) {
    if (param.planMode == 1 || param.planMode == 2) return kAsyncGuidanceLongTrip;
    if (param.planMode == 9) return long_trip();
    return kAsyncGuidanceNone;
  }
  if (param.planMode == 1) return kAsyncGuidanceLongTrip;
  if (param.planMode == 2) return kAsyncGuidanceSearch;
  if (param.planMode == 9) return long_trip();
  return kAsyncGuidanceNone;
}

// "<measure>$$<identity_b>$$<speed with one decimal>".
std::string StatusText(float scalar_a, const std::string& identity_b, float speed) {
  std::int32_t measure = navreq::WholeUnits(scalar_a);
  if (measure < 5) measure = 4;  // deliberate floor: the server reads anything below 5 as 4
  return std::to_string(measure) + "$$" + identity_b + "$$" + FixedText(static_cast<double>(speed), 1);
}

// Option 65 (falling back to option 52), start, destination and via points.
void SetRouteEnds(CarRouteReq& request, const DriveRouteReqParam& param) {
  request.routeOption52 = param.routeOption52;
  request.routeOption65 = param.routeOption65.empty() ? param.routeOption52 : param.routeOption65;
  route_req_serializer::GetSimplePOIRequestInfo(request.start, param.start);
  route_req_serializer::GetSimplePOIRequestInfo(request.destination, param.destination);
  GetViaPoints(request, param.viaPoints);
}

// Preferences copied as they are, and two fixed values.
void CopyPreferences(CarRouteReq& request, const DriveRouteReqParam& param) {
  request.routeOption61 = param.routeOption61;
  request.routeOption47 = param.routeOption47;
  request.routeOption60 = param.routeOption60;
  request.routeOption28 = param.routeOption28;
  request.trafficPref = param.trafficPref;
  request.routeOption42 = param.routeOption42;
  request.noToll = param.noToll;
  request.noHighway = param.noHighway;
  request.routeOption73 = param.routeOption73;
  request.routeOption74 = param.routeOption74;
  request.prefer_shortdist = param.prefer_shortdist;
  request.field23 = 2;
  request.field40 = 0;
}

// The preference query repeats tags 6, 7 and 5 as text.
void AppendPreferenceQuery(CarRouteReq& request, const DriveRouteReqParam& param) {
  Log::record(kLevelInfo, kEventSearchPreference, "zelto SetupSearchPreference prefer_shortdist=%d",
              param.prefer_shortdist);
  request.preference_query += "&cond=0";
  request.preference_query += "&noround=0";
  request.preference_query += "&nohighway=" + std::to_string(request.noHighway);
  request.preference_query += "&notoll=" + std::to_string(request.noToll);
  request.preference_query += "&traffic=" + std::to_string(request.trafficPref);
}

// Client identity, the options that depend on the via points, fixed values
// and plain copies.
void SetClientOptions(CarRouteReq& request, const DriveRouteReqParam& param, const ReqExtraParam& extra) {
  if (!extra.identity_i.empty()) request.identity_i = extra.identity_i;
  // The doubled option 3 is only for a search without via points.
  request.routeOption3 = param.viaPoints.empty() ? 2 * param.routeOption3 : 0;
  request.field9 = 40;
  request.field21 = 1;
  request.field39 = 1;
  request.field46 = "nav";
  request.field15 = true;

  request.routeOption43 = param.routeOption43;
  request.identity_a = extra.identity_a;
  request.routeOption59 = param.routeOption59;
  request.routeOption11 = param.routeOption11;
  request.routeOption14 = param.routeOption14;
  request.identity_number = extra.identity_number;
  request.routeOption58 = param.routeOption58;
  request.routeOption66 = param.routeOption66;
}

// Heading, measure and speed of the car, unknown ones taken from the last
// recent fix.
struct CurrentValues {
  float heading;
  float measure;
  float speed;
};

// The measure takes the fix's scalarA when the current scalarA is unknown,
// whatever scalarC says: the server expects exactly this.
CurrentValues CurrentValuesOf(const DriveRouteReqParam& param) {
  CurrentValues cur{param.curHeading, param.curScalarC, param.curSpeed};
  if (!param.recentFixes.empty()) {
    const KSLocation& last = param.recentFixes.back();
    if (cur.heading < 0.0f) cur.heading = last.heading;
    if (param.curScalarC < 0.0f) cur.measure = last.scalarC;
    if (param.curScalarA <= 0.0f) cur.measure = last.scalarA;
    if (cur.speed <= 0.0f) cur.speed = last.speed;
  }
  return cur;
}

// Always sent: the device, two options, the energy type and the yaw position.
void SetDeviceAndYaw(CarRouteReq& request, const DriveRouteReqParam& param, const ReqExtraParam& extra) {
  request.imei = extra.imei;
  request.routeOption22 = param.routeOption22;
  request.routeOption48 = param.routeOption48;
  request.cli_param.car_energy_type = param.car_energy_type;
  SetPoint(request.yaw_position, param.yawLatitude, param.yawLongitude);
}

// One log line per fix, recent fixes first.
void ConvertFixes(CarRouteReq& request, const DriveRouteReqParam& param) {
  std::vector<navkse::common::Gps> recent;
  ConvertLocationsToCommGPS(recent, param.recentFixes);
  request.recent_fixes = std::move(recent);
  std::vector<navkse::common::Gps> trajectory;
  ConvertLocationsToCommGPS(trajectory, param.trajectoryFixes);
  request.trajectory_fixes = std::move(trajectory);
}

// The ride order, the feature bits and the yaw-cut flag.
void SetOrderAndFeatures(CarRouteReq& request, const DriveRouteReqParam& param) {
  request.cli_param.order_source = param.order_source;
  request.cli_param.order_id_ = param.order_id_;
  request.feature_bits |= navkse::routesearch::kRouteSearchFeatureBits;
  // A first search and a reroute have yaw-cut flags of their own.
  request.cli_param.coords_cut_for_yaw = param.reason == kReasonSearch ? param.is_search_coords_cut_for_yaw
                                                                       : param.is_reroute_coords_cut_for_yaw;
}

void LogSearchSummary(const CarRouteReq& request, const DriveRouteReqParam& param, std::int32_t async_code) {
  Log::record(kLevelInfo, kEventRequest, "RoutePlus::RequestPlus reason=%d isAsync=%d", param.reason,
              async_code);
  Log::record(kLevelInfo, kEventRequest,
              "RoutePlus::is_search_coords_cut_for_yaw=%d is_reroute_coords_cut_for_yaw=%d",
              static_cast<int>(param.is_search_coords_cut_for_yaw),
              static_cast<int>(param.is_reroute_coords_cut_for_yaw));
  Log::record(kLevelInfo, kEventRequest, "RoutePlus::RequestPlus car_energy_type=%d",
              request.cli_param.car_energy_type);
  Log::record(kLevelInfo, kEventRequest, "RoutePlus::RequestPlus route_req.cli_param.order_source=%d",
              request.cli_param.order_source);
  Log::record(kLevelInfo, kEventRequest, "RoutePlus::RequestPlus route_req.cli_param.order_id_=%s",
              request.cli_param.order_id_.c_str());
}

// The guidance side record travels as its own serialized bytes; an entry
// already under the key is kept.
void AttachGuidanceRecord(CarRouteReq& request, std::int32_t async_code) {
  navkse::navicore::nav::ugs_cloud_info guidance;
  guidance.async_guidance_code = async_code;
  std::vector<char> guidance_bytes;
  if (SerializeKSE(guidance, guidance_bytes)) {
    request.side_records.emplace(navkse::routesearch::kGuidanceSideRecordKey, std::move(guidance_bytes));
  } else {
    Log::record(kLevelInfo, kEventFailure, "toGuidance_failed");
  }
}

}  // namespace

void GetCarRouteReq(CarRouteReq& request, const DriveRouteReqParam& param, const ReqExtraParam& extra) {
  SetRouteEnds(request, param);
  CopyPreferences(request, param);
  AppendPreferenceQuery(request, param);
  SetClientOptions(request, param, extra);

  const CurrentValues cur = CurrentValuesOf(param);
  request.heading_text = AngleToStr(cur.heading);
  request.current_measure = cur.measure;

  ApplyReason(request, param);
  if (param.reason == kReasonFork || param.reason == kReasonRouteRefresh) ApplyRerouteExtras(request, param);

  SetDeviceAndYaw(request, param, extra);
  ConvertFixes(request, param);
  SetOrderAndFeatures(request, param);
  // The status text reads the current scalarA itself, not the fallback.
  request.status_text = StatusText(param.curScalarA, extra.identity_b, cur.speed);

  // Limit areas, motorcycle, truck (only for a positive measure B).
  GetLimitAreaList(request.limit_areas, param.limitAreas);
  GetMotoParam(request, param.moto);
  GetTruckParam(request, param.truck);
  request.routeOption56 = param.routeOption56;
  request.routeOption57 = param.routeOption57;
  request.routeOption19 = param.routeOption19;

  const std::int32_t async_code = AsyncGuidanceCode(param);
  LogSearchSummary(request, param, async_code);
  AttachGuidanceRecord(request, async_code);
  GetRankInfo(request, param);
}

void GetRankInfo(CarRouteReq& request, const DriveRouteReqParam& param) {
  if (!param.rankEnabled) return;
  navkse::CarRankTrans::ToRankTransInfo rank;
  rank.rank_values.push_back(kRankValue);
  std::vector<char> bytes;
  // A failure leaves the request without ranking, silently.
  if (SerializeKSE(rank, bytes)) {
    request.side_records.emplace(navkse::routesearch::kRankSideRecordKey, std::move(bytes));
  }
}

void GetMotoParam(CarRouteReq& request, const KSMotoParam& moto) {
  request.moto_params_req.moto_type = moto.moto_type;
  request.moto_params_req.energy_type = moto.energy_type;
  request.moto_params_req.engine_displacement = moto.engine_displacement;
  Log::record(
      kLevelInfo, kEventRequest,
      "GetMotoParam: route_req.moto_params_req.moto_type=%d,route_req.moto_params_req.energy_type=%d, "
      "route_req.moto_params_req.engine_displacement=%d",
      request.moto_params_req.moto_type, request.moto_params_req.energy_type,
      request.moto_params_req.engine_displacement);
}

void GetTruckParam(CarRouteReq& request, const KSTruckParam& truck) {
  // A positive measure B is what makes the vehicle a truck; NaN is not.
  if (!(truck.truckMeasureB > 0.0f)) return;
  request.routeOption59 = kTruckRouteOption59;
  navkse::common::TruckParamsReq_v2& out = request.truck_params;
  out.measureB_x1000 = Thousandths(truck.truckMeasureB);
  out.measureA_x1000 = Thousandths(truck.truckMeasureA);
  out.measureF_x1000 = Thousandths(truck.truckMeasureF);
  // Signed cap: negative options pass unchanged.
  out.truckOption6 = truck.truckOption6 < kTruckOption6Max ? truck.truckOption6 : kTruckOption6Max;
  out.measureE_x1000 = Thousandths(truck.truckMeasureE);
  if (!truck.skipMeasureCD) {
    out.measureC_x1000 = Thousandths(truck.truckMeasureC);
    out.measureD_x1000 = Thousandths(truck.truckMeasureD);
  }
  out.truckOption7 = truck.truckOption7;
  out.truckBlock0 = truck.truckBlock[0];
  out.truckBlock1 = truck.truckBlock[1];
  out.truckBlock2 = truck.truckBlock[2];
  out.truckBlock3 = truck.truckBlock[3];
  out.truckOption48 = truck.truckOption48;
  out.truckOption52 = truck.truckOption52;
  request.cli_param.truck_flag = truck.truckClientFlag;
}

}  // namespace drive_route_req_serializer
}  // namespace zv_navi_core
