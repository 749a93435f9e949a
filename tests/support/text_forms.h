// Test-side writers of the text forms people and tools put bytes in: base64
// and JSON's \uXXXX escapes. Written independently of the library's readers,
// so a test compares the library with a second, plain rendering.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace navreq {
namespace testing {

// Base64 of `bytes`: the standard alphabet or the URL-safe one, with or
// without `=` padding, a newline after every `line_groups` groups of four
// characters (0: one line).
inline std::string Base64Text(const std::string& bytes, bool url = false, bool pad = true,
                              std::size_t line_groups = 0) {
  const std::string alphabet =
      std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789") + (url ? "-_" : "+/");
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t n = bytes.size() - i < 3 ? bytes.size() - i : 3;
    std::uint32_t v = 0;
    for (std::size_t k = 0; k < 3; ++k) v = v << 8 | (k < n ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    for (std::size_t k = 0; k < 4; ++k) {
      if (k <= n)
        text += alphabet[(v >> (18 - 6 * k)) & 63];
      else if (pad)
        text += '=';
    }
    if (line_groups != 0 && (i / 3 + 1) % line_groups == 0) text += '\n';
  }
  return text;
}

// JSON's escape of one UTF-16 code unit: "\u00e9", "\udc80".
inline std::string JsonUnitEscape(unsigned unit) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text = "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) text += kDigits[(unit >> shift) & 15];
  return text;
}

}  // namespace testing
}  // namespace navreq
