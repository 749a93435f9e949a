// The traffic refresh request body (namespace navkse::traffic).
#pragma once

#include "navreq/records/base.h"
#include "navreq/records/dynamicroute.h"
#include "navreq/records/routesearch.h"
#include "navreq/records/ugc_unit.h"

namespace navkse {
namespace traffic {

// The route refresh's body: one entry per route, the fixes, the refresh and the request number.
#define NAVKSE_FIELDS_AllOnRouteReqBatch(X)                     \
  X(0, List<::navkse::dynamicroute::AllOnRouteReq>, routes, {}) \
  X(1, ::navkse::ugcUnit::gpsBucket, bucket, {})                \
  X(2, ::navkse::routesearch::RouteRefreshReq, refresh, {})     \
  X(3, string, request_number, {})                              \
  X(4, string, field4, {})
NAVKSE_RECORD(AllOnRouteReqBatch, NAVKSE_FIELDS_AllOnRouteReqBatch);

}  // namespace traffic
}  // namespace navkse
