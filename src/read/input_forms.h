// The readers of the text forms behind ReadInput (navreq/read/input.h). Each
// takes the whole input and gives its bytes, or throws InputBroken at the
// first thing that does not fit its form; ReadInput catches it once and
// turns it into an InputError with a line and a column.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "navreq/read/input.h"

namespace navreq {
namespace input_detail {

// The first thing in an input that does not fit the form it is read as.
struct InputBroken {
  InputForm form;
  std::size_t offset;  // where, in the input
  std::string what;    // after the form's name: "with a stray character 'g'"
  bool ending;         // the position is where something ends ("ending at")
};

[[noreturn]] void Fail(InputForm form, std::size_t offset, std::string what, bool ending = false);

// 0-15 for a hex digit in either case, -1 for any other character.
[[nodiscard]] int HexValue(char c) noexcept;

// The whitespace of text: space, tab, line feed, vertical tab, form feed, return.
[[nodiscard]] bool IsSpace(char c) noexcept;

// "character 'g'", or "byte 0x80" for what cannot be shown.
[[nodiscard]] std::string Character(char c);
// "a stray character 'g'", "a stray byte 0x80".
[[nodiscard]] std::string Stray(char c);

// Where the dump's first line that is not blank says it is xxd output
// (`OFFSET: `) or hexdump -C output (`OFFSET  0c`), with an offset of eight
// or more hex digits.
[[nodiscard]] bool LooksXxd(std::string_view text) noexcept;
[[nodiscard]] bool LooksHexdump(std::string_view text) noexcept;

// Fails when the first line is hexdump's or od's default output (a 7-digit
// offset, then 16-bit words): read as hex it would give the offsets and
// words in the writer's byte order as bytes.
void RefuseWordDump(std::string_view text);

// The `{` that opens a C array literal: nothing or a declaration ending in
// `=` before it, a number, `-`, `}` or a comment after it. npos otherwise.
[[nodiscard]] std::size_t CArrayBrace(std::string_view text) noexcept;

[[nodiscard]] std::string ReadHex(std::string_view text);
// Base64 in either alphabet; `form` says which (the one of its first `+ / - _`).
[[nodiscard]] std::string ReadBase64(std::string_view text, InputForm& form);
[[nodiscard]] std::string ReadXxd(std::string_view text);
[[nodiscard]] std::string ReadHexdump(std::string_view text);
[[nodiscard]] std::string ReadCArray(std::string_view text, std::size_t brace);

}  // namespace input_detail
}  // namespace navreq
