// Decimal integer texts of the parameters (navreq/number_texts.h).
#include "navreq/number_texts.h"

#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>

#include "number_text.h"

namespace navreq {

namespace {

// The C locale's whitespace, which std::stoll skips before the number.
constexpr bool IsBlank(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

constexpr bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// A text as it appears in a message: quoted, at most kShown bytes, printable
// ASCII as is and every other byte as \xNN, so the message stays one line.
std::string Quoted(const std::string& text) {
  constexpr std::size_t kShown = 40;
  constexpr char kHex[] = "0123456789abcdef";
  std::string out = "\"";
  for (std::size_t i = 0; i < text.size() && i < kShown; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c >= 0x20 && c < 0x7f) {
      out += static_cast<char>(c);
    } else {
      out += "\\x";
      out += kHex[c >> 4];
      out += kHex[c & 0x0f];
    }
  }
  out += '"';
  if (text.size() > kShown) out += " (" + std::to_string(text.size()) + " bytes)";
  return out;
}

}  // namespace

DecimalInt64 ReadDecimalInt64(std::string_view text) noexcept {
  std::size_t i = 0;
  while (i < text.size() && IsBlank(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  if (i == text.size() || !IsDigit(text[i])) return {DecimalTextStatus::kNoNumber, 0};
  // Accumulated as a negative number: its range reaches INT64_MIN.
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  std::int64_t value = 0;
  bool over = false;
  for (; i < text.size() && IsDigit(text[i]); ++i) {
    const int digit = text[i] - '0';
    if (value < (kMin + digit) / 10) over = true;  // all digits are still consumed, as strtoll does
    if (!over) value = value * 10 - digit;
  }
  if (over || (!negative && value == kMin)) return {DecimalTextStatus::kOutOfRange, 0};
  return {DecimalTextStatus::kOk, negative ? value : -value};
}

std::string UnconvertibleText::message() const {
  if (status == DecimalTextStatus::kOutOfRange) {
    return "expected decimal integer text in the signed 64-bit range, got " + Quoted(text);
  }
  return "expected decimal integer text, got " + Quoted(text);
}

std::optional<UnconvertibleText> FindUnconvertibleText(const ::zv_navi_core::RouteRefreshReqParam& param) {
  auto problem = [](std::string path, const std::string& text) -> std::optional<UnconvertibleText> {
    const DecimalTextStatus status = ReadDecimalInt64(text).status;
    if (status == DecimalTextStatus::kOk) return std::nullopt;
    return UnconvertibleText{std::move(path), status, text};
  };
  for (std::size_t i = 0; i < param.routes.size(); ++i) {
    if (auto found = problem("routes[" + std::to_string(i) + "].id_text", param.routes[i].id_text))
      return found;
  }
  if (BucketNumberIsRead(param.bucket_number_text, param.fixes)) {
    return problem("bucket_number_text", param.bucket_number_text);
  }
  return std::nullopt;
}

std::int64_t TextToInt64(const std::string& text) {
  const DecimalInt64 read = ReadDecimalInt64(text);
  if (read.status == DecimalTextStatus::kNoNumber) throw std::invalid_argument("stoll");
  if (read.status == DecimalTextStatus::kOutOfRange) throw std::out_of_range("stoll");
  return read.value;
}

}  // namespace navreq
