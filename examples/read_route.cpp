// Reads a route request back and prints its start point:
//   navreq encode route examples/route.json -o route.bin --now-ms 1700000000000
//   navreq_read_route route.bin
#include <navreq/request_reader.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <variant>
#include <vector>

int main(int argc, char** argv) {
  std::ifstream file(argc > 1 ? argv[1] : "route.bin", std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};

  const navreq::DecodedRequest request = navreq::DecodeRequest(bytes);
  for (const navreq::ReadProblem& p : request.problems) std::fprintf(stderr, "%s\n", p.toString().c_str());
  const navreq::PackageEnvelope* envelope = request.package();
  const auto* route = std::get_if<navkse::routesearch::CarRouteReq>(&request.body);
  if (!request.ok() || envelope == nullptr || route == nullptr) return 1;

  std::printf("command %s from device %s\n", envelope->package.cmd_name.c_str(),
              envelope->header.imei.c_str());

  const navkse::common::SimplePOIRequestInfo& start = route->start;
  std::printf("start: %s, longitude %d, latitude %d (micro-degrees)\n", start.primaryText.c_str(),
              start.point.longitude, start.point.latitude);
  return 0;
}
