// A program outside the navreq tree, built against the installed package: it
// writes an envelope and reads it back.
#include <navreq/envelope.h>
#include <navreq/request_reader.h>

#include <cstdio>
#include <vector>

int main() {
  navkse::duromap::Package package;
  zv_navi_core::ReqExtraParam extra;
  extra.imei = "consumer";
  const navkse::CommandInfo& slice = navkse::commandOf(navkse::RequestKind::kGuidanceSlice);
  std::vector<char> body;
  if (!zv_navi_core::SerializeKSE(navkse::navicore::nav::ugs_guidance_slice_req_t(), body)) return 1;
  if (zv_navi_core::route_req_serializer::GetPackage(package, extra, navkse::duromap::CMD{slice.number},
                                                     slice.name, body, false) != 0)
    return 1;
  std::vector<char> bytes;
  if (!zv_navi_core::SerializeKSE(package, bytes)) return 1;
  std::printf("%zu\n", bytes.size());

  const navreq::DecodedRequest read = navreq::DecodeRequest(bytes);
  for (const navreq::ReadProblem& p : read.problems) std::printf("%s\n", p.toString().c_str());
  const navreq::PackageEnvelope* envelope = read.package();
  if (!read.ok() || envelope == nullptr || read.command != &slice || envelope->header.imei != "consumer")
    return 1;
  std::printf("read back: %s, device %s\n", envelope->package.cmd_name.c_str(),
              envelope->header.imei.c_str());
  return 0;
}
