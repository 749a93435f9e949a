#include "text_util.h"

namespace navreq {
namespace tool {

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

}  // namespace tool
}  // namespace navreq
