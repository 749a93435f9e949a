// Keys of the JSON tree that both its writer (dump_json.cpp) and pack's
// checks (pack_check.cpp) spell.
#pragma once

#include "navreq/read/walk.h"

namespace navreq {

// The "problem" key of a value, or null when there is none.
[[nodiscard]] inline const char* ProblemKeyText(Problem p) noexcept {
  switch (p) {
    case Problem::kNone:
      return nullptr;
    case Problem::kUnknownTag:
      return "unknown tag";
    case Problem::kDuplicateTag:
    case Problem::kOutOfOrder:
      return "repeated tag";
    case Problem::kUnexpectedTag:
      return "unexpected tag";
    case Problem::kDuplicateKey:
      return "repeated key";
    case Problem::kTypeMismatch:
    case Problem::kOutOfRange:
      return "type mismatch";
  }
  return nullptr;
}

}  // namespace navreq
