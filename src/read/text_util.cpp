#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "navreq/read/text.h"

namespace navreq {

namespace {

// Length of the well-formed UTF-8 sequence at bytes[i], or 0.
std::size_t Utf8SequenceAt(std::string_view bytes, std::size_t i) noexcept {
  const auto at = [&bytes](std::size_t k) { return static_cast<unsigned char>(bytes[k]); };
  const unsigned char b = at(i);
  if (b < 0x80) return 1;
  std::size_t n = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (b >= 0xC2 && b <= 0xDF) {
    n = 2;
  } else if (b >= 0xE0 && b <= 0xEF) {
    n = 3;
    if (b == 0xE0) low = 0xA0;   // overlong
    if (b == 0xED) high = 0x9F;  // surrogates
  } else if (b >= 0xF0 && b <= 0xF4) {
    n = 4;
    if (b == 0xF0) low = 0x90;   // overlong
    if (b == 0xF4) high = 0x8F;  // above U+10FFFF
  } else {
    return 0;
  }
  if (bytes.size() - i < n) return 0;
  if (at(i + 1) < low || at(i + 1) > high) return 0;
  for (std::size_t k = 2; k < n; ++k) {
    if (at(i + k) < 0x80 || at(i + k) > 0xBF) return 0;
  }
  return n;
}

}  // namespace

std::string HexOf(const char* data, std::size_t size) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  out.reserve(2 * size);
  for (std::size_t i = 0; i < size; ++i) {
    const auto b = static_cast<unsigned char>(data[i]);
    out.push_back(digits[b >> 4]);
    out.push_back(digits[b & 15]);
  }
  return out;
}

bool ValidUtf8(std::string_view bytes) noexcept {
  for (std::size_t i = 0; i < bytes.size();) {
    const std::size_t n = Utf8SequenceAt(bytes, i);
    if (n == 0) return false;
    i += n;
  }
  return true;
}

bool IsPrintableText(std::string_view bytes) noexcept {
  for (unsigned char b : bytes) {
    if (b < 0x20 || b == 0x7F) return false;
  }
  return ValidUtf8(bytes);
}

bool ShowsAsText(std::string_view bytes) noexcept { return !bytes.empty() && IsPrintableText(bytes); }

std::string Quote(std::string_view bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string out = "\"";
  for (std::size_t i = 0; i < bytes.size();) {
    const auto b = static_cast<unsigned char>(bytes[i]);
    const std::size_t n = Utf8SequenceAt(bytes, i);
    if (n > 1) {
      out.append(bytes, i, n);
      i += n;
      continue;
    }
    if (b == '"' || b == '\\') {
      out.push_back('\\');
      out.push_back(static_cast<char>(b));
    } else if (b == '\n') {
      out += "\\n";
    } else if (b == '\r') {
      out += "\\r";
    } else if (b == '\t') {
      out += "\\t";
    } else if (b < 0x20 || b >= 0x7F) {
      out += "\\x";
      out.push_back(digits[b >> 4]);
      out.push_back(digits[b & 15]);
    } else {
      out.push_back(static_cast<char>(b));
    }
    ++i;
  }
  out.push_back('"');
  return out;
}

namespace {

bool ReadsBack(const std::string& text, double value, bool single) {
  if (single) return std::strtof(text.c_str(), nullptr) == static_cast<float>(value);
  return std::strtod(text.c_str(), nullptr) == value;
}

// `digits` (no sign, no point) times 10^(exponent - digits + 1), as to_chars
// writes it: the shorter of the plain and the exponent forms. A plain form
// without a fraction gives the value's exact integer digits, as printf's %f
// would (1e20 as a double is 100000000000000000000, 2^63 9223372036854775808).
std::string ShorterForm(const std::string& digits, int exponent, double magnitude) {
  const int n = static_cast<int>(digits.size());
  std::string plain;
  if (exponent < 0) {
    plain = "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  } else if (n <= exponent + 1) {
    std::vector<char> exact(static_cast<std::size_t>(exponent) + 8);
    std::snprintf(exact.data(), exact.size(), "%.0f", magnitude);
    plain = exact.data();
  } else {
    plain = digits.substr(0, static_cast<std::size_t>(exponent + 1)) + "." +
            digits.substr(static_cast<std::size_t>(exponent + 1));
  }
  char tail[16];
  std::snprintf(tail, sizeof tail, "e%c%02d", exponent < 0 ? '-' : '+', exponent < 0 ? -exponent : exponent);
  std::string scientific = digits.substr(0, 1);
  if (n > 1) scientific += "." + digits.substr(1);
  scientific += tail;
  return scientific.size() < plain.size() ? scientific : plain;
}

}  // namespace

std::string ShortestDecimal(double value, bool single) {
  const std::string sign = std::signbit(value) ? "-" : "";
  const double magnitude = std::fabs(value);
  if (magnitude == 0) return sign + "0";
  for (int precision = 1; precision <= 17; ++precision) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.*e", precision - 1, magnitude);
    // buf: d.ddd...e±XX; the digits as one integer and the decimal exponent.
    std::string digits;
    const char* p = buf;
    for (; *p != 'e'; ++p) {
      if (*p != '.') digits += *p;
    }
    const int exponent = std::atoi(p + 1);
    // The nearest `precision` digits, and where the gap below the value is
    // half the gap above (a power of two), the next ones up or down.
    const std::uint64_t nearest = std::strtoull(digits.c_str(), nullptr, 10);
    for (const std::uint64_t candidate : {nearest, nearest + 1, nearest - 1}) {
      std::string text = std::to_string(candidate);
      int e = exponent;
      if (text.size() > digits.size()) {  // 999 + 1 = 1000: one more decade
        text.pop_back();
        ++e;
      } else if (text.size() < digits.size() || candidate == 0) {  // 100 - 1: 99 of the decade below
        text = std::to_string(nearest * 10 - 1);
        --e;
      }
      if (!ReadsBack(text + "e" + std::to_string(e - precision + 1), magnitude, single)) continue;
      while (text.size() > 1 && text.back() == '0') text.pop_back();
      return sign + ShorterForm(text, e, magnitude);
    }
  }
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.17g", value);
  return buf;
}

}  // namespace navreq
