// A record written alone by the library, as lowercase hex, for comparing
// against bytes spelled with wire.h.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "navreq/serialize.h"
#include "support/wire.h"

namespace navreq {
namespace testing {

template <class R>
std::string Encoded(const R& record) {
  std::vector<char> out;
  EXPECT_TRUE(zv_navi_core::SerializeKSE(record, out));
  return wire::Hex(out);
}

}  // namespace testing
}  // namespace navreq
