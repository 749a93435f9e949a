// Expected bytes of the Package envelope and its Header, spelled with wire.h: every field in
// tag order, as a Package carries a request to the server.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/wire.h"

namespace navreq {
namespace testing {

struct PackageFields {
  int cmd = 0;             // tag 1
  std::string cmd_name;    // tag 2
  int body_encoding = 0;   // tag 4: 3 says the body is gzip-compressed
  std::string header_hex;  // tag 7: the written Header, as hex
  std::string body_hex;    // tag 8: the body as carried, as hex
  std::string api_key;     // tag 9: the one "apikey" entry
};

// Version 0, tag 3 zero, tag 5 empty, tag 6 "0"; the rest from `p`.
inline std::string PackageHex(const PackageFields& p) {
  using namespace wire;
  return Int(0, 0) + Int(1, p.cmd) + Str(2, p.cmd_name) + Int(3, 0) + Int(4, p.body_encoding) + Str(5, "") +
         Str(6, "0") + Bytes(7, Unhex(p.header_hex)) + Bytes(8, Unhex(p.body_hex)) + List(9, 1) +
         Struct(0, Str(0, "apikey") + Bytes(1, p.api_key));
}

// Expected bytes of a Header: every tag in order, tag 0 the identity number,
// CmdResult (tag 1) at its defaults, the given string tags holding the given
// text, every other field at its default.
inline std::string DefaultHeaderWith(const std::vector<std::pair<int, std::string>>& strings,
                                     std::int64_t identity_number) {
  using namespace wire;
  auto text = [&](int tag) {
    for (const auto& s : strings)
      if (s.first == tag) return s.second;
    return std::string();
  };
  std::string out = Int(0, identity_number) + Struct(1, Int(0, 0) + Str(1, "") + Int(2, 0)) + Int(2, 0);
  for (int tag = 3; tag <= 32; ++tag) {
    if (tag == 18 || tag == 20) {
      out += Int(tag, 0);
    } else if (tag == 25 || tag == 32) {
      out += Bytes(tag, std::string());
    } else {
      out += Str(tag, text(tag));
    }
  }
  return out;
}

}  // namespace testing
}  // namespace navreq
