// Every wire record of the server protocol.
#pragma once

#include "navreq/records/car_rank_trans.h"
#include "navreq/records/cockpit.h"
#include "navreq/records/common.h"
#include "navreq/records/common_cmd.h"
#include "navreq/records/duromap.h"
#include "navreq/records/dynamicroute.h"
#include "navreq/records/location_report_dmq.h"
#include "navreq/records/map_session.h"
#include "navreq/records/mobile_car_uni.h"
#include "navreq/records/nav.h"
#include "navreq/records/nav_sdk_gateway.h"
#include "navreq/records/navicore.h"
#include "navreq/records/routesearch.h"
#include "navreq/records/traffic.h"
#include "navreq/records/ugc_unit.h"

// Every wire record, for code that must cover them all (the round-trip tests);
// a record added to a header above is added here too (the round-trip tests
// fail on a record declared in records/ or reached from the command table and
// missing here).
#define NAVKSE_ALL_RECORDS(X)                              \
  X(::navkse::CarRankTrans::ToRankLimitCityInfo)           \
  X(::navkse::CarRankTrans::ToRankTransInfo)               \
  X(::navkse::MapSession::SessionInfo)                     \
  X(::navkse::NavSDKGateway::PacketAuth)                   \
  X(::navkse::NavSDKGateway::Packet)                       \
  X(::navkse::cockpit::OriginalLink)                       \
  X(::navkse::cockpit::SignalGnss)                         \
  X(::navkse::cockpit::NaviPath)                           \
  X(::navkse::cockpit::MMRequest)                          \
  X(::navkse::common::Point)                               \
  X(::navkse::common::Gps)                                 \
  X(::navkse::common::SimplePOIRequestInfo)                \
  X(::navkse::common::TravelJamSearch)                     \
  X(::navkse::common::ReqLinksData)                        \
  X(::navkse::common::NavFusingControlParam)               \
  X(::navkse::common::BrokerReq)                           \
  X(::navkse::common::ClientParam)                         \
  X(::navkse::common::NavEnergyModelParams)                \
  X(::navkse::common::TruckParamsReq_v2)                   \
  X(::navkse::common::MotoParamsReq)                       \
  X(::navkse::duromap::CmdResult)                          \
  X(::navkse::duromap::Header)                             \
  X(::navkse::duromap::Tag)                                \
  X(::navkse::duromap::Package)                            \
  X(::navkse::dynamicroute::OnRouteReq)                    \
  X(::navkse::dynamicroute::TrafficTimeReq)                \
  X(::navkse::dynamicroute::DynamicReq)                    \
  X(::navkse::dynamicroute::EnergyConsumeReq)              \
  X(::navkse::dynamicroute::AllOnRouteReq)                 \
  X(::navkse::locationReportDMQ::NavExtraData)             \
  X(::navkse::locationReportDMQ::LocationHeader)           \
  X(::navkse::locationReportDMQ::LocationPoint)            \
  X(::navkse::locationReportDMQ::LocationReportRequest)    \
  X(::navkse::locationReportDMQ::LocationReportRequestDMQ) \
  X(::navkse::mobile_car_uni::CarSyncKeyPair)              \
  X(::navkse::mobile_car_uni::CarSyncStringList)           \
  X(::navkse::mobile_car_uni::PreferenceConfig)            \
  X(::navkse::mobile_car_uni::CarSyncInfo)                 \
  X(::navkse::nav::EVType)                                 \
  X(::navkse::nav::PowerConsumeModelParam)                 \
  X(::navkse::navicore::nav::ugs_cloud_info)               \
  X(::navkse::navicore::nav::ugs_guidance_slice_params_t)  \
  X(::navkse::navicore::nav::ugs_guidance_slice_req_t)     \
  X(::navkse::routesearch::PhExtraInfo)                    \
  X(::navkse::routesearch::LimitArea)                      \
  X(::navkse::routesearch::FavoriteRoute)                  \
  X(::navkse::routesearch::LinkingRouteMeta)               \
  X(::navkse::routesearch::RoadLinkName)                   \
  X(::navkse::routesearch::FollowExplainControl)           \
  X(::navkse::routesearch::TruckParamsReq)                 \
  X(::navkse::routesearch::ElectricVehicleParams)          \
  X(::navkse::routesearch::CarRouteReq)                    \
  X(::navkse::routesearch::RouteCloudControl)              \
  X(::navkse::routesearch::RouteRefreshReq)                \
  X(::navkse::traffic::AllOnRouteReqBatch)                 \
  X(::navkse::ugcUnit::gpsTaxi)                            \
  X(::navkse::ugcUnit::gpsSpot)                            \
  X(::navkse::ugcUnit::gpsStatus)                          \
  X(::navkse::ugcUnit::gpsBucket)
