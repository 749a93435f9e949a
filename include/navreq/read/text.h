// Small text helpers shared by the dump printer and the command output.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace navreq {

// Lowercase hex of every byte, no separators.
[[nodiscard]] std::string HexOf(const char* data, std::size_t size);
[[nodiscard]] inline std::string HexOf(const std::string& bytes) { return HexOf(bytes.data(), bytes.size()); }

// Whether the bytes are well-formed UTF-8 (no overlong forms, no surrogates,
// nothing above U+10FFFF).
[[nodiscard]] bool ValidUtf8(std::string_view bytes) noexcept;

// Well-formed UTF-8 without control characters.
[[nodiscard]] bool IsPrintableText(std::string_view bytes) noexcept;

// Whether bytes show as text as well as hex (the JSON tree's "value" beside
// "hex"): not empty, and printable text as above.
[[nodiscard]] bool ShowsAsText(std::string_view bytes) noexcept;

// The bytes in double quotes, readable on a terminal: well-formed UTF-8 stays
// as it is, quotes and backslashes are escaped, \n \r \t by name, every other
// control byte and every byte outside well-formed UTF-8 as \xNN.
[[nodiscard]] std::string Quote(std::string_view bytes);

// The fewest significant digits that read back as the same finite value (as
// a float when `single`), written in the shorter of the fixed and exponent
// forms, fixed on a tie: what std::to_chars(first, last, value) gives. For C++
// libraries without floating-point to_chars (the browser build's).
[[nodiscard]] std::string ShortestDecimal(double value, bool single);

}  // namespace navreq
