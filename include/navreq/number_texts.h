// Parameter texts that the entry functions read as numbers.
//
// The traffic refresh takes a route's identifier and the trajectory bucket's
// number as decimal text and converts them while it builds the request; a
// text that is no number makes GetRouteRefreshReqData throw. Callers that
// would rather refuse such input up front (the navreq tool does) ask
// FindUnconvertibleText first: it applies the very reading the request
// builders apply, ReadDecimalInt64, to the same texts in the same order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "navreq/engine/params.h"

namespace navreq {

// How reading a decimal integer text ended.
enum class DecimalTextStatus {
  kOk,          // a number
  kNoNumber,    // no digit where the number must start
  kOutOfRange,  // digits whose value is outside the signed 64-bit range
};

// A decimal integer text as read: whether it held a number, and which.
struct DecimalInt64 {
  DecimalTextStatus status = DecimalTextStatus::kNoNumber;  // what was found
  std::int64_t value = 0;                                   // meaningful for kOk only
};

// Reads `text` as the engine reads its identifier texts (std::stoll in base
// 10 in the C locale): leading whitespace (space, \t, \n, \v, \f, \r) is
// skipped, then an optional sign and at least one decimal digit; whatever
// follows the digits is ignored ("12ab" is 12).
[[nodiscard]] DecimalInt64 ReadDecimalInt64(std::string_view text) noexcept;

// A parameter text that an entry function cannot convert.
struct UnconvertibleText {
  std::string path;                                         // below the parameter record: "routes[1].id_text"
  DecimalTextStatus status = DecimalTextStatus::kNoNumber;  // why it does not convert
  std::string text;                                         // the text as given

  // One line naming what was expected and what was found:
  // `expected decimal integer text, got "abc"`.
  [[nodiscard]] std::string message() const;
};

// The first text that GetRouteRefreshReqData would fail to convert, in the
// order it converts them: each route's id_text, then bucket_number_text
// (converted only when there is a fix and the text is not empty). None when
// every converted text holds a number.
[[nodiscard]] std::optional<UnconvertibleText> FindUnconvertibleText(
    const ::zv_navi_core::RouteRefreshReqParam& param);

}  // namespace navreq
