// A program outside the navreq tree, built against the installed package: it
// writes a guidance-slice request in its envelope, checks that it reads back,
// uses the parameter records' conveniences through the installed headers
// (which hold no JSON library), and leaves the bytes in the file named on its
// command line for the reading consumer.
#include <navreq/envelope.h>
#include <navreq/params_diff.h>
#include <navreq/params_json.h>
#include <navreq/read.h>

#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 2) return 64;
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

  const navreq::DecodedRequest read = navreq::DecodeRequest(bytes);
  for (const navreq::ReadProblem& p : read.problems) std::printf("%s\n", p.toString().c_str());
  const navreq::PackageEnvelope* envelope = read.package();
  if (!read.ok() || envelope == nullptr || read.command != &slice || envelope->header.imei != "consumer")
    return 1;
  if (navreq::FromJson<zv_navi_core::ReqExtraParam>(navreq::ToJson(extra)) != extra) return 1;
  if (!navreq::Diff(extra, extra).empty()) return 1;

  std::FILE* out = std::fopen(argv[1], "wb");
  if (out == nullptr) return 1;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
  if (std::fclose(out) != 0 || !written) return 1;
  std::printf("wrote %zu bytes: %s\n", bytes.size(), slice.name);
  return 0;
}
