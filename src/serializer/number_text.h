// The serializers' conversions of parameter texts to numbers, and when they
// happen: shared with FindUnconvertibleText (navreq/number_texts.h) so that a
// check made before a call applies the rules the call applies.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "navreq/engine/params.h"

namespace navreq {

// ReadDecimalInt64 of `text`, throwing as std::stoll does when it fails:
// std::invalid_argument("stoll") without a number, std::out_of_range("stoll")
// outside the signed 64-bit range.
[[nodiscard]] std::int64_t TextToInt64(const std::string& text);

// A trajectory bucket reads its number text only when it is written at all
// (there is a fix) and the text names a number (is not empty).
[[nodiscard]] inline bool BucketNumberIsRead(const std::string& number_text,
                                             const std::vector<::navcore::KSLocation>& fixes) noexcept {
  return !fixes.empty() && !number_text.empty();
}

}  // namespace navreq
