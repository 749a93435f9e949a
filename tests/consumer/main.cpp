// A program outside the navreq tree, built against the installed package: it
// writes an envelope and reads it back, and uses the record conveniences
// through the installed headers (which hold no JSON library).
#include <navreq/envelope.h>
#include <navreq/params_diff.h>
#include <navreq/params_json.h>
#include <navreq/read.h>

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
  if (!read.ok() || read.command != &slice || read.header.imei != "consumer") return 1;
  std::printf("read back: %s, device %s\n", read.package.cmd_name.c_str(), read.header.imei.c_str());

  if (navreq::FromJson<navkse::duromap::Header>(navreq::ToJson(read.header)) != read.header) return 1;
  if (navreq::FromJson<zv_navi_core::ReqExtraParam>(navreq::ToJson(extra)) != extra) return 1;
  if (!navreq::Diff(extra, extra).empty()) return 1;
  if (!navreq::Diff(read.package, package).empty() || navreq::ToText(read.header).empty()) return 1;
  return 0;
}
