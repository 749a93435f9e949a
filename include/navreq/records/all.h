// Every wire record of the server protocol.
#pragma once

#include "navreq/records/CarRankTrans.h"
#include "navreq/records/MapSession.h"
#include "navreq/records/NavSDKGateway.h"
#include "navreq/records/cockpit.h"
#include "navreq/records/common.h"
#include "navreq/records/common_cmd.h"
#include "navreq/records/duromap.h"
#include "navreq/records/dynamicroute.h"
#include "navreq/records/locationReportDMQ.h"
#include "navreq/records/mobile_car_uni.h"
#include "navreq/records/nav.h"
#include "navreq/records/navicore.h"
#include "navreq/records/routesearch.h"
#include "navreq/records/traffic.h"
#include "navreq/records/ugcUnit.h"
