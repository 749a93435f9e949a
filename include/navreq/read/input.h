// A request as people hand it over: the bytes themselves, or the bytes
// written as text the way they are pasted. One reading for every reader of
// requests (dump, diff, the inspector), so that an input means the same bytes
// everywhere.
//
// The text forms:
//  - hex: hex digits in either case, any whitespace, `0x`/`0X` prefixes, and
//    `,` `:` `-` between bytes. Whitespace may fall inside a byte (hex wrapped
//    at any width); the other separators and a prefix only between bytes. A
//    prefixed group of one digit is that byte (`0x1, 0x2` is 01 02).
//  - xxd output: each line `OFFSET: GROUPS  CHARACTERS`. Groups hold whole
//    bytes, two spaces end them, the character column is not read.
//  - hexdump -C output: each line `OFFSET  BYTES  |CHARACTERS|`, the final line
//    the offset alone. A `*` line stands for the row above it repeated up to
//    the next line's offset; those rows may make at most
//    kInputMaxRepeatedBytes in all.
//    In both dumps every line's offset must follow from the bytes before it
//    (the first one may be any): a line lost or doubled in a paste is an error,
//    never a silent shift.
//  - a C array literal: `unsigned char x[] = { 0x12, 0x34 };` or the braces
//    alone; elements in hex, decimal or octal (-128 to 255), a trailing comma
//    and comments allowed; after the closing brace only a `;` and plain
//    declarations such as the `x_len = 2;` that xxd -i writes.
//  - base64, standard (`+` `/`) or URL-safe (`-` `_`), padded or not, with
//    whitespace anywhere.
//
// Deciding, when nothing is forced (InputMode::kDetect):
//  1. Raw bytes when the input is not text: it holds a byte that no text
//     form has (NUL or another control character but whitespace, or a byte
//     from 0x80 on), or nothing but whitespace. A request starts with a Kse
//     head and carries binary lengths and counts, so a real request is
//     nearly always raw by this rule.
//  2. Every other input is one of the text forms, never raw bytes: text that
//     is broken is an error naming the form, the position and the reason.
//     By the first line that is not blank: `OFFSET  0c` (an offset of eight or
//     more hex digits, two spaces, a byte) is hexdump -C, `OFFSET: ` is xxd.
//     The default output of hexdump and od (`0000000 100c 2654`: 16-bit
//     words in the byte order of the machine that wrote them) is refused.
//  3. A `{` after a declaration ending in `=`, or a `{` that opens the text
//     with a number, `-`, `}` or a comment after it, is a C array.
//  4. Only hex digits, separators and `0x` prefixes: hex. Text that is both
//     hex and base64 (`ABCD`, `0c10`) is hex.
//  5. Only base64's characters: base64 when it ends in `=` padding or at
//     least one character in 64 is not a hex digit, and one in 4 when spaces
//     break its lines (hex is written with spaces between bytes, base64 is
//     not). Text with fewer is hex with stray characters: a slip in a long
//     hex text stays an error rather than becoming other bytes (so long
//     unpadded base64 of nearly nothing but zero bytes is refused as hex).
//  6. Anything else is broken: base64 when it would be base64 by rule 5, its
//     lines are unbroken and few (one in 16) of its characters are neither
//     hex nor base64; else hex when at least half of its characters are hex
//     and few are neither; otherwise text in none of the forms.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace navreq {

// The form an input was read in (or, in an error, the form it looked like).
enum class InputForm {
  kRaw,        // the bytes themselves
  kHex,        // hex digits with whitespace, separators, prefixes
  kXxd,        // xxd's dump
  kHexdump,    // hexdump -C's dump
  kCArray,     // a C array literal
  kBase64,     // base64 with `+` and `/`
  kBase64Url,  // base64 with `-` and `_`
  kText        // text in none of the forms (only in an error)
};

// What a reading may take the input to be.
enum class InputMode {
  kDetect,  // raw bytes unless it is text, then any text form
  kText,    // any text form, never raw bytes (for what was typed or pasted)
  kHex,     // a hex form only: hex, xxd, hexdump -C, a C array
  kRaw      // the bytes themselves
};

// The most bytes that the `*` lines of one dump may stand for: a line of text
// would otherwise make any amount of memory.
inline constexpr std::size_t kInputMaxRepeatedBytes = std::size_t{16} << 20;

// Why an input could not be read, and where.
struct InputError {
  InputForm form = InputForm::kText;  // the form it looked like
  std::size_t offset = 0;             // where in the input, counted in bytes from 0
  std::size_t line = 1;               // the line of `offset`, from 1
  std::size_t column = 1;             // the column of `offset` in bytes, from 1
  // One line naming the form, the reason and the line and column, e.g. "hex
  // text with an odd number of digits (3) ending at line 1, column 4".
  std::string message;
};

// An input read: its bytes and the form they were written in, or the error.
struct [[nodiscard]] InputReading {
  InputForm form = InputForm::kRaw;  // the form read (meaningful when ok())
  std::string bytes;                 // the request's bytes (empty on error)
  std::optional<InputError> error;   // set when the input could not be read

  // Whether the input was read.
  bool ok() const noexcept { return !error.has_value(); }
};

// Reads an input as `mode` allows, deciding its form as the file comment
// says. Linear in the input's size (and in the rows that `*` lines stand
// for); throws nothing but std::bad_alloc.
[[nodiscard]] InputReading ReadInput(std::string input, InputMode mode = InputMode::kDetect);

// The form's name as messages give it: "raw bytes", "hex", "xxd output",
// "hexdump -C output", "C array", "base64", "URL-safe base64", "text".
[[nodiscard]] std::string_view InputFormName(InputForm form) noexcept;

}  // namespace navreq
