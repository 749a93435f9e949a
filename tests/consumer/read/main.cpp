// A program outside the navreq tree that only reads requests, built against
// the read component of the installed package: it decodes the request in the
// file named on its command line and prints what it holds.
#include <navreq/read.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 2) return 64;
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) return 1;
  const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};

  const navreq::DecodedRequest read = navreq::DecodeRequest(bytes);
  for (const navreq::ReadProblem& p : read.problems) std::printf("problem: %s\n", p.toString().c_str());
  const navreq::PackageEnvelope* envelope = read.package();
  if (!read.ok() || read.command == nullptr || envelope == nullptr) return 1;
  std::printf("command %d %s, device %s, body %zu bytes\n", envelope->package.cmd,
              envelope->package.cmd_name.c_str(), envelope->header.imei.c_str(), read.body_size);

  // The record conveniences: a second decode equals the first, field by field.
  const navreq::DecodedRequest again = navreq::DecodeRequest(bytes);
  const navreq::PackageEnvelope* same = again.package();
  if (same == nullptr || same->header != envelope->header ||
      !navreq::Diff(same->package, envelope->package).empty())
    return 1;
  if (navreq::FromJson<navkse::duromap::Header>(navreq::ToJson(envelope->header)) != envelope->header)
    return 1;
  std::cout << navreq::ToText(envelope->header);

  // The whole request as navreq dump prints it.
  const std::unique_ptr<navreq::TreeSink> view = navreq::MakeTextView(std::cout, false);
  const navreq::WalkSummary summary =
      navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  std::cout.flush();
  return std::cout.good() ? summary.status() : 1;
}
