// Reading a request in every form people hand it over: raw bytes, hex, xxd
// and hexdump -C output, C arrays, base64. Expected bytes are hex literals;
// every broken form is checked for its form, offset, line, column and text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "navreq/read/input.h"
#include "support/wire.h"

namespace {

using navreq::InputForm;
using navreq::InputMode;
using navreq::InputReading;
using navreq::ReadInput;

struct Good {
  const char* name;
  std::string input;
  InputMode mode;
  InputForm form;
  std::string hex;  // the bytes expected
};

struct Bad {
  const char* name;
  std::string input;
  InputMode mode;
  InputForm form;
  std::size_t offset;
  std::size_t line;
  std::size_t column;
  std::string message;
};

constexpr InputMode kDetect = InputMode::kDetect;

const std::string kZeroRowHexdump =
    "00000000  00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  |................|\n";

std::vector<Good> GoodInputs() {
  return {
      {"plain hex", "0c1054", kDetect, InputForm::kHex, "0c1054"},
      {"upper case, spaces, tabs, CRLF", "0C 10\n54\t26\r\n", kDetect, InputForm::kHex, "0c105426"},
      {"wrapped inside a byte", "0c1\n054", kDetect, InputForm::kHex, "0c1054"},
      {"0x and commas", "0x0c, 0x10, 0x54,", kDetect, InputForm::kHex, "0c1054"},
      {"0X, one-digit groups", "0X1,0x2,0xff", kDetect, InputForm::kHex, "0102ff"},
      {"a prefixed run", "0x0c1054", kDetect, InputForm::kHex, "0c1054"},
      {"colons", "0c:10:54", kDetect, InputForm::kHex, "0c1054"},
      {"dashes", "0c-10-54", kDetect, InputForm::kHex, "0c1054"},
      {"all hex digits is hex, not base64", "ABCD", kDetect, InputForm::kHex, "abcd"},
      {"xxd",
       "00000000: 0c10 5426 0e00 0000 0000 0000 0000 0000  ..T&............\n"
       "00000010: 4142 43                                  ABC\n",
       kDetect, InputForm::kXxd, "0c1054260e0000000000000000000000414243"},
      {"xxd -g1, character column of hex digits", "00000000: 0c 41 42  .AB\n", kDetect, InputForm::kXxd,
       "0c4142"},
      {"xxd without its character column", "00000000: 0c10 54\n", kDetect, InputForm::kXxd, "0c1054"},
      {"xxd -s 16: the first offset is anywhere", "00000010: 0c10  ..\r\n00000012: 54    T\r\n", kDetect,
       InputForm::kXxd, "0c1054"},
      {"xxd -a: '*' repeats the row above", "00000000: 0000 0000  ....\n*\n0000000c: 0c10       ..\n",
       kDetect, InputForm::kXxd, "0000000000000000000000000c10"},
      {"hexdump -C",
       "00000000  0c 10 54 26 0e 00 00 00  00 00 00 00 00 00 00 00  |..T&............|\n"
       "00000010  41 42 43                                          |ABC|\n"
       "00000013\n",
       kDetect, InputForm::kHexdump, "0c1054260e0000000000000000000000414243"},
      {"hexdump -C '*' up to the next row", kZeroRowHexdump + "*\n00000030  0c 10  |..|\n00000032\n", kDetect,
       InputForm::kHexdump, std::string(96, '0') + "0c10"},
      {"hexdump -C '*' up to the final offset", kZeroRowHexdump + "*\n00000020\n", kDetect,
       InputForm::kHexdump, std::string(64, '0')},
      {"hexdump -C, '|' in the character column", "00000000  7c 41  ||A|\n00000002\n", kDetect,
       InputForm::kHexdump, "7c41"},
      {"hexdump -C cut before its final offset", "00000000  0c 10  |..|\n", kDetect, InputForm::kHexdump,
       "0c10"},
      {"C array as xxd -i writes it",
       "unsigned char route_bin[] = {\n  0x0c, 0x10, 0x54\n};\nunsigned int route_bin_len = 3;\n", kDetect,
       InputForm::kCArray, "0c1054"},
      {"C array: decimal, octal, negative, comments, trailing comma",
       "static const uint8_t x[4] = { /* head */ 12, 020, -1, // last\n 0, };", kDetect, InputForm::kCArray,
       "0c10ff00"},
      {"C array: the braces alone", "{0x0c,0X10}", kDetect, InputForm::kCArray, "0c10"},
      {"C array: -128 and 255", "{ -128, 255 }", kDetect, InputForm::kCArray, "80ff"},
      {"C array: empty", "x = {};", kDetect, InputForm::kCArray, ""},
      {"base64", "DBBUJg4=", kDetect, InputForm::kBase64, "0c1054260e"},
      {"base64 unpadded", "DBBUJg4", kDetect, InputForm::kBase64, "0c1054260e"},
      {"base64 two pads", "DBBUJg==", kDetect, InputForm::kBase64, "0c105426"},
      {"base64 + and /", "+/+/DBA=", kDetect, InputForm::kBase64, "fbffbf0c10"},
      {"URL-safe base64", "-_-_DBA", kDetect, InputForm::kBase64Url, "fbffbf0c10"},
      {"base64 over lines", "QUJDREVGR0hJSktM\n  TU5PUFFSU1RVVldYWVo=\n", kDetect, InputForm::kBase64,
       "4142434445464748494a4b4c4d4e4f505152535455565758595a"},
      {"base64 with spaces, enough letters", "AQID AQID", kDetect, InputForm::kBase64, "010203010203"},
      {"raw: a NUL", std::string("0c\0", 3), kDetect, InputForm::kRaw, "306300"},
      {"raw: a control character", "\x0c\x10T", kDetect, InputForm::kRaw, "0c1054"},
      {"raw: a byte from 0x80", "0c\x80", kDetect, InputForm::kRaw, "306380"},
      {"raw: DEL", "0c\x7f", kDetect, InputForm::kRaw, "30637f"},
      {"raw: whitespace alone", "\n\n ", kDetect, InputForm::kRaw, "0a0a20"},
      {"raw: empty", "", kDetect, InputForm::kRaw, ""},
      {"--raw: hex text as bytes", "0c", InputMode::kRaw, InputForm::kRaw, "3063"},
      {"--hex: hex", "0c 10", InputMode::kHex, InputForm::kHex, "0c10"},
      {"--hex: xxd", "00000000: 0c10  ..\n", InputMode::kHex, InputForm::kXxd, "0c10"},
      {"--hex: whitespace alone is no bytes", " \n", InputMode::kHex, InputForm::kHex, ""},
      {"text mode: base64", "DBBUJg4=", InputMode::kText, InputForm::kBase64, "0c1054260e"},
      {"text mode: whitespace alone is no bytes", "\n\n", InputMode::kText, InputForm::kHex, ""},
  };
}

std::string Hex200WithG() {
  std::string text(200, 'a');
  text[100] = 'g';
  return text;
}

std::vector<Bad> BadInputs() {
  const std::string line40(40, 'c');
  return {
      {"hex: odd digits", "0c1", kDetect, InputForm::kHex, 3, 1, 4,
       "hex text with an odd number of digits (3) ending at line 1, column 4"},
      {"hex: odd digits, the end on a later line", "0c10\n0c1\n", kDetect, InputForm::kHex, 8, 2, 4,
       "hex text with an odd number of digits (7) ending at line 2, column 4"},
      {"hex: a stray letter among spaced bytes", "0c 10 5g 26", kDetect, InputForm::kHex, 7, 1, 8,
       "hex text with a stray character 'g' at line 1, column 8"},
      {"hex: a stray letter in a long line", Hex200WithG(), kDetect, InputForm::kHex, 100, 1, 101,
       "hex text with a stray character 'g' at line 1, column 101"},
      {"hex: a stray letter on line 2", line40 + "\n" + "cccccGcc" + line40 + "\n" + line40, kDetect,
       InputForm::kHex, 46, 2, 6, "hex text with a stray character 'G' at line 2, column 6"},
      {"hex: a stray '!'", Hex200WithG().replace(100, 1, "!"), kDetect, InputForm::kHex, 100, 1, 101,
       "hex text with a stray character '!' at line 1, column 101"},
      {"hex: one digit before ':'", "0c:1:00", kDetect, InputForm::kHex, 4, 1, 5,
       "hex text with an odd number of digits before a ':' at line 1, column 5"},
      {"hex: 0x alone", "0x, 0c", kDetect, InputForm::kHex, 0, 1, 1,
       "hex text with a 0x and no digits after it at line 1, column 1"},
      {"hex: three digits after 0x", "0x123", kDetect, InputForm::kHex, 0, 1, 1,
       "hex text with an odd number of digits (3) after a 0x at line 1, column 1"},
      {"hex: half a byte before 0x", "0c1 0x10", kDetect, InputForm::kHex, 4, 1, 5,
       "hex text with an odd number of digits before a 0x at line 1, column 5"},
      {"xxd: a line lost", "00000000: 0c10  ..\n00000004: 5426  T&\n", kDetect, InputForm::kXxd, 19, 2, 1,
       "xxd output with offset 00000004 where 00000002 is due (a line lost, doubled or cut) at line 2, "
       "column 1"},
      {"xxd: a stray letter", "00000000: 0c1g 5426  ..T&\n", kDetect, InputForm::kXxd, 13, 1, 14,
       "xxd output with a stray character 'g' at line 1, column 14"},
      {"xxd: an odd group", "00000000: 0c1 5426  ..T&\n", kDetect, InputForm::kXxd, 10, 1, 11,
       "xxd output with a group of an odd number of digits at line 1, column 11"},
      {"xxd: a line that is not xxd", "00000000: 0c10  ..\nhello\n", kDetect, InputForm::kXxd, 19, 2, 1,
       "xxd output with a stray character 'h' where a line's offset is due at line 2, column 1"},
      {"xxd: an offset alone", "00000000: 0c10  ..\n00000002\n", kDetect, InputForm::kXxd, 27, 2, 9,
       "xxd output with a line of an offset alone at line 2, column 9"},
      {"xxd: no ':' after the offset", "00000000: 0c10  ..\n00000002 54\n", kDetect, InputForm::kXxd, 27, 2,
       9, "xxd output with a stray character ' ' at line 2, column 9"},
      {"hexdump: '*' at the end", kZeroRowHexdump + "*\n", kDetect, InputForm::kHexdump, 79, 2, 1,
       "hexdump -C output with a '*' line and no offset after it to say how many rows it stands for at line "
       "2, "
       "column 1"},
      {"hexdump: '*' of half a row", kZeroRowHexdump + "*\n00000018\n", kDetect, InputForm::kHexdump, 79, 2,
       1,
       "hexdump -C output with a '*' line that stands for 8 bytes, not whole rows of 16 at line 2, column 1"},
      {"hexdump: '*' of no rows", kZeroRowHexdump + "*\n00000010\n", kDetect, InputForm::kHexdump, 79, 2, 1,
       "hexdump -C output with a '*' line that stands for no rows before offset 00000010 at line 2, column "
       "1"},
      {"hexdump: '*' of 256 MiB", kZeroRowHexdump + "*\n10000000\n", kDetect, InputForm::kHexdump, 79, 2, 1,
       "hexdump -C output with '*' lines that stand for more than 16 MiB at line 2, column 1"},
      {"hexdump: two '*'", kZeroRowHexdump + "*\n*\n00000040\n", kDetect, InputForm::kHexdump, 81, 3, 1,
       "hexdump -C output with two '*' lines in a row at line 3, column 1"},
      {"hexdump: '*' after a row of no bytes", "00000000  0c  |.|\n00000001  |\n*\n00000002\n", kDetect,
       InputForm::kHexdump, 30, 3, 1,
       "hexdump -C output with a '*' line before any row of bytes at line 3, column 1"},
      {"hexdump: a byte of three digits", "00000000  0c 100 54  |...|\n", kDetect, InputForm::kHexdump, 13, 1,
       14, "hexdump -C output with a byte of 3 digits at line 1, column 14"},
      {"hexdump: a line after the final offset", "00000000  0c  |.|\n00000001\n00000001  0c\n", kDetect,
       InputForm::kHexdump, 27, 3, 1,
       "hexdump -C output with a line after its final offset at line 3, column 1"},
      {"hexdump: a final offset that does not add up", "00000000  0c 10  |..|\n00000003\n", kDetect,
       InputForm::kHexdump, 22, 2, 1,
       "hexdump -C output with offset 00000003 where 00000002 is due (a line lost, doubled or cut) at line "
       "2, "
       "column 1"},
      {"hexdump: an offset before the first", "00000010  0c  |.|\n00000000\n", kDetect, InputForm::kHexdump,
       18, 2, 1, "hexdump -C output with offset 00000000 where 00000011 is due at line 2, column 1"},
      {"hexdump: an offset of 17 digits", "00000000  0c  |.|\n00000000000000001\n", kDetect,
       InputForm::kHexdump, 18, 2, 1,
       "hexdump -C output with an offset of more than 16 digits at line 2, column 1"},
      {"hexdump's default output", "\n0000000 100c 2654 000e\n0000006\n", kDetect, InputForm::kText, 1, 2, 1,
       "text in the default form of hexdump or od (an offset, then 16-bit words in the byte order of the "
       "machine "
       "that wrote them), not read: write it with hexdump -C or xxd; it starts at line 2, column 1"},
      {"--hex: od's default output", "0000000 100c\n0000002\n", InputMode::kHex, InputForm::kText, 0, 1, 1,
       "text in the default form of hexdump or od (an offset, then 16-bit words in the byte order of the "
       "machine "
       "that wrote them), not read: write it with hexdump -C or xxd; it starts at line 1, column 1"},
      {"C array: no closing brace", "x[] = { 0x0c, 0x10\n", kDetect, InputForm::kCArray, 18, 1, 19,
       "C array with no closing '}' ending at line 1, column 19"},
      {"C array: cut after a minus", "x = { -", kDetect, InputForm::kCArray, 7, 1, 8,
       "C array with no closing '}' ending at line 1, column 8"},
      {"C array: 256", "{ 256 }", kDetect, InputForm::kCArray, 2, 1, 3,
       "C array with the element 256, outside -128 to 255 at line 1, column 3"},
      {"C array: -129", "{ -129 }", kDetect, InputForm::kCArray, 2, 1, 3,
       "C array with the element -129, outside -128 to 255 at line 1, column 3"},
      {"C array: a huge element", "{ 0x123456789abcdef0123456789 }", kDetect, InputForm::kCArray, 2, 1, 3,
       "C array with the element 0x123456789abcdef0123456..., outside -128 to 255 at line 1, column 3"},
      {"C array: ';' between elements", "{ 0x0c; 0x10 }", kDetect, InputForm::kCArray, 6, 1, 7,
       "C array with a stray character ';' at line 1, column 7"},
      {"C array: a suffix", "{ 0x0cu }", kDetect, InputForm::kCArray, 6, 1, 7,
       "C array with a stray character 'u' at line 1, column 7"},
      {"C array: 8 in octal", "{ 08 }", kDetect, InputForm::kCArray, 3, 1, 4,
       "C array with a stray character '8' at line 1, column 4"},
      {"C array: 0x with no digits", "{ 0x }", kDetect, InputForm::kCArray, 2, 1, 3,
       "C array with a 0x and no digits after it at line 1, column 3"},
      {"C array: an empty element", "{ 1,, 2 }", kDetect, InputForm::kCArray, 4, 1, 5,
       "C array with a stray character ',' at line 1, column 5"},
      {"C array: a second array", "{ 1 }, { 2 }", kDetect, InputForm::kCArray, 5, 1, 6,
       "C array with a stray character ',' after its closing '}' at line 1, column 6"},
      {"C array: a comment never closed", "{ 1, /* 2 }", kDetect, InputForm::kCArray, 5, 1, 6,
       "C array with a comment that is never closed at line 1, column 6"},
      {"base64: a length no bytes make", "AQIDB", kDetect, InputForm::kBase64, 5, 1, 6,
       "base64 text of 5 characters, a length that no bytes encode to, ending at line 1, column 6"},
      {"base64: padding inside", "AQ==AQID", kDetect, InputForm::kBase64, 2, 1, 3,
       "base64 text with '=' padding before its end at line 1, column 3"},
      {"base64: padding that does not fit", "AQI==", kDetect, InputForm::kBase64, 3, 1, 4,
       "base64 text with 2 '=' where 1 can follow 3 characters at line 1, column 4"},
      {"base64: padding after whole groups", "AQID=", kDetect, InputForm::kBase64, 4, 1, 5,
       "base64 text with 1 '=' where none can follow 4 characters at line 1, column 5"},
      {"base64: both alphabets", "ab+c-d__", kDetect, InputForm::kBase64, 4, 1, 5,
       "base64 text mixing the standard ('+', '/') and URL-safe ('-', '_') alphabets at line 1, column 5"},
      {"URL-safe base64: both alphabets", "ab_c+d__", kDetect, InputForm::kBase64Url, 4, 1, 5,
       "URL-safe base64 text mixing the standard ('+', '/') and URL-safe ('-', '_') alphabets at line 1, "
       "column 5"},
      {"base64: bits past the last byte", "AQJ", kDetect, InputForm::kBase64, 2, 1, 3,
       "base64 text whose last character 'J' has bits past its last byte at line 1, column 3"},
      {"base64: a stray '.'", "QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVo.QUJD", kDetect, InputForm::kBase64, 35, 1,
       36, "base64 text with a stray character '.' at line 1, column 36"},
      {"text of no form", "this is not a request!", kDetect, InputForm::kText, 21, 1, 22,
       "text in none of the input forms (hex, xxd, hexdump -C, C array, base64): character '!' at line 1, "
       "column 22"},
      {"JSON is no C array", "{\"log\": 1}", kDetect, InputForm::kText, 0, 1, 1,
       "text in none of the input forms (hex, xxd, hexdump -C, C array, base64): character '{' at line 1, "
       "column 1"},
      {"text mode: a byte from 0x80", "0c\x80", InputMode::kText, InputForm::kText, 2, 1, 3,
       "text in none of the input forms (hex, xxd, hexdump -C, C array, base64): byte 0x80 at line 1, column "
       "3"},
      {"--hex: base64 is not hex", "AQID", InputMode::kHex, InputForm::kHex, 1, 1, 2,
       "hex text with a stray character 'Q' at line 1, column 2"},
      {"--hex: a NUL", std::string("0c\0", 3), InputMode::kHex, InputForm::kHex, 2, 1, 3,
       "hex text with a stray byte 0x00 at line 1, column 3"},
  };
}

TEST(ReadInput, EveryFormGivesItsBytes) {
  for (const Good& g : GoodInputs()) {
    const InputReading r = ReadInput(g.input, g.mode);
    ASSERT_TRUE(r.ok()) << g.name << ": " << r.error->message;
    EXPECT_EQ(r.form, g.form) << g.name;
    EXPECT_EQ(wire::Hex(r.bytes), g.hex) << g.name;
  }
}

TEST(ReadInput, EveryBrokenFormIsAnErrorWithItsPosition) {
  for (const Bad& b : BadInputs()) {
    const InputReading r = ReadInput(b.input, b.mode);
    ASSERT_FALSE(r.ok()) << b.name << ": read as " << navreq::InputFormName(r.form) << ", "
                         << wire::Hex(r.bytes);
    EXPECT_EQ(r.bytes, "") << b.name;
    EXPECT_EQ(r.form, b.form) << b.name;
    EXPECT_EQ(r.error->form, b.form) << b.name;
    EXPECT_EQ(r.error->offset, b.offset) << b.name;
    EXPECT_EQ(r.error->line, b.line) << b.name;
    EXPECT_EQ(r.error->column, b.column) << b.name;
    EXPECT_EQ(r.error->message, b.message) << b.name;
  }
}

// A '*' may stand for as many rows as make 16 MiB, and no more.
TEST(ReadInput, RepeatedRowsUpToTheirLimit) {
  const std::size_t limit = navreq::kInputMaxRepeatedBytes;
  ASSERT_EQ(limit, std::size_t{16} << 20);
  const std::string at_limit = kZeroRowHexdump + "*\n01000010\n";
  const InputReading r = ReadInput(at_limit);
  ASSERT_TRUE(r.ok()) << r.error->message;
  EXPECT_EQ(r.bytes, std::string(16 + limit, '\0'));
  const InputReading over = ReadInput(kZeroRowHexdump + "*\n01000020\n");
  ASSERT_FALSE(over.ok());
  EXPECT_EQ(over.error->message,
            "hexdump -C output with '*' lines that stand for more than 16 MiB at line 2, column 1");
}

TEST(ReadInput, FormNames) {
  const std::vector<std::pair<InputForm, std::string>> names = {{InputForm::kRaw, "raw bytes"},
                                                                {InputForm::kHex, "hex"},
                                                                {InputForm::kXxd, "xxd output"},
                                                                {InputForm::kHexdump, "hexdump -C output"},
                                                                {InputForm::kCArray, "C array"},
                                                                {InputForm::kBase64, "base64"},
                                                                {InputForm::kBase64Url, "URL-safe base64"},
                                                                {InputForm::kText, "text"}};
  for (const auto& [form, name] : names) EXPECT_EQ(navreq::InputFormName(form), name);
}

}  // namespace
