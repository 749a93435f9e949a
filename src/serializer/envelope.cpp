// Envelope building and the request constant.
#include "navreq/envelope.h"

#include "navreq/engine/services.h"

namespace zv_navi_core {

const std::string VNaviReqConstant::p = "sdk_navreq";

namespace route_req_serializer {

int GetPackage(navkse::duromap::Package& package, const ReqExtraParam& extra, const navkse::duromap::CMD& cmd,
               const std::string cmd_name, const std::vector<char>& body, bool compressed) {
  navkse::duromap::Header header;
  header.identity_number = extra.identity_number;
  header.identity_a = extra.identity_a;
  header.identity_a_again = extra.identity_a;
  header.identity_a_third = extra.identity_a;
  header.identity_d = extra.identity_d;
  header.identity_e = extra.identity_e;
  header.imei = extra.imei;
  header.identity_g = extra.identity_g;
  header.identity_g_again = extra.identity_g;
  header.identity_b = extra.identity_b;
  header.identity_f = extra.identity_f;
  header.zero_text = "0";
  header.identity_h = extra.identity_h;
  header.device_id = extra.alt_device_id1.empty() ? extra.imei : extra.alt_device_id1;
  header.identity_c = extra.identity_c;

  // Logged for every envelope, whatever the command.
  Log::record(kLevelInfo, kEventRequest, "RoutePlus::RequestPlus imei=%s", extra.imei.c_str());

  std::vector<char> header_bytes;
  if (!SerializeKSE(header, header_bytes)) {
    platform::PutLine("SerializeKSE_header_fail");
    return 1;
  }

  navkse::duromap::Tag api_key;
  api_key.key = "apikey";
  api_key.value.assign(extra.api_key.begin(), extra.api_key.end());

  package.version = 0;
  package.cmd = cmd;
  package.cmd_name = cmd_name;
  package.zero_text = "0";
  package.body_encoding = compressed ? navkse::duromap::kBodyGzip : navkse::duromap::kBodyPlain;
  package.extras.assign(1, std::move(api_key));
  package.header = std::move(header_bytes);
  package.body = body;
  return 0;
}

}  // namespace route_req_serializer
}  // namespace zv_navi_core
