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
  if (!read.ok() || read.command == nullptr) return 1;
  std::printf("command %d %s, device %s, body %zu bytes\n", read.package.cmd, read.package.cmd_name.c_str(),
              read.header.imei.c_str(), read.body_size);

  // The record conveniences: a second decode equals the first, field by field.
  const navreq::DecodedRequest again = navreq::DecodeRequest(bytes);
  if (again.header != read.header || !navreq::Diff(again.package, read.package).empty()) return 1;
  if (navreq::FromJson<navkse::duromap::Header>(navreq::ToJson(read.header)) != read.header) return 1;
  std::cout << navreq::ToText(read.header);

  // The whole request as navreq dump prints it.
  const std::unique_ptr<navreq::TreeSink> view = navreq::MakeTextView(std::cout, false);
  const navreq::WalkSummary summary =
      navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  std::cout.flush();
  return std::cout.good() ? summary.status() : 1;
}
