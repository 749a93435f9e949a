// A client identity for request tests: each identity field holds its own
// letter ("A" for identity_a ...), the api key is "KEY", so every value is
// easy to find in the expected bytes.
#pragma once

#include <cstdint>
#include <string>

#include "navreq/engine/params.h"

namespace navreq {
namespace testing {

// identity_a..identity_h and api_key set; imei and identity_number vary
// between the tests; identity_i and the alternative device ids stay empty.
inline zv_navi_core::ReqExtraParam LetteredExtra(const std::string& imei, std::int64_t identity_number) {
  zv_navi_core::ReqExtraParam e;
  e.identity_a = "A";
  e.imei = imei;
  e.identity_b = "B";
  e.identity_number = identity_number;
  e.identity_c = "C";
  e.identity_d = "D";
  e.api_key = "KEY";
  e.identity_e = "E";
  e.identity_f = "F";
  e.identity_g = "G";
  e.identity_h = "H";
  return e;
}

}  // namespace testing
}  // namespace navreq
