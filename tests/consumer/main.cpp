// A program outside the navreq tree, built against the installed package.
#include <navreq/envelope.h>

#include <cstdio>
#include <vector>

int main() {
  navkse::duromap::Package package;
  zv_navi_core::ReqExtraParam extra;
  extra.imei = "consumer";
  if (zv_navi_core::route_req_serializer::GetPackage(package, extra, navkse::duromap::CMD{}, "X", {},
                                                     false) != 0)
    return 1;
  std::vector<char> bytes;
  if (!zv_navi_core::SerializeKSE(package, bytes)) return 1;
  std::printf("%zu\n", bytes.size());
  return bytes.empty() ? 1 : 0;
}
