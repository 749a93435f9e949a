// Wraps a fixed request body in the command envelope and prints its bytes.
#include <cstdio>
#include <string>
#include <vector>

#include "navreq/envelope.h"

int main() {
  zv_navi_core::ReqExtraParam extra;
  extra.imei = "860000000000001";
  extra.api_key = "demo-key";
  extra.identity_a = "demo-user";

  const std::string text = "example body";
  const std::vector<char> body(text.begin(), text.end());

  navkse::duromap::Package package;
  if (zv_navi_core::route_req_serializer::GetPackage(package, extra, static_cast<navkse::duromap::CMD>(84),
                                                     "REQ_ROUTE_PLUS", body, false) != 0) {
    return 1;
  }
  std::vector<char> bytes;
  if (!zv_navi_core::SerializeKSE(package, bytes)) return 1;
  std::printf("Package (%zu bytes):\n", bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::printf("%02x%s", static_cast<unsigned char>(bytes[i]), (i + 1) % 32 == 0 ? "\n" : "");
  }
  std::printf("\n");
  return 0;
}
