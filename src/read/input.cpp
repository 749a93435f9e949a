#include "navreq/read/input.h"

#include <utility>

#include "input_forms.h"

namespace navreq {

namespace input_detail {

void Fail(InputForm form, std::size_t offset, std::string what, bool ending) {
  throw InputBroken{form, offset, std::move(what), ending};
}

int HexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsSpace(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::string Character(char c) {
  const auto u = static_cast<unsigned char>(c);
  if (u >= 0x20 && u < 0x7f) return c == '\'' ? "character \"'\"" : std::string("character '") + c + "'";
  static const char kDigits[] = "0123456789abcdef";
  return std::string("byte 0x") + kDigits[u >> 4] + kDigits[u & 15];
}

std::string Stray(char c) { return "a stray " + Character(c); }

namespace {

bool IsHexSeparator(char c) noexcept { return c == ',' || c == ':' || c == '-'; }

// Whether position i of `text` starts a group: the text's start, or after
// whitespace or a separator.
bool AtGroupStart(std::string_view text, std::size_t i) noexcept {
  return i == 0 || IsSpace(text[i - 1]) || IsHexSeparator(text[i - 1]);
}

// Whether the `0` at i is a `0x` prefix.
bool IsPrefix(std::string_view text, std::size_t i) noexcept {
  return text[i] == '0' && i + 1 < text.size() && (text[i + 1] == 'x' || text[i + 1] == 'X') &&
         AtGroupStart(text, i);
}

}  // namespace

std::string ReadHex(std::string_view text) {
  constexpr InputForm kForm = InputForm::kHex;
  std::string out;
  out.reserve(text.size() / 2);
  int high = -1;                 // the first digit of a byte not yet complete
  std::size_t digits = 0;        // every digit read
  std::size_t digits_end = 0;    // just past the last digit
  bool prefixed = false;         // in a group that began with 0x
  std::size_t group_digits = 0;  // the digits of that group so far
  std::size_t group_at = 0;      // where that group's 0x is
  const auto end_group = [&] {
    if (!prefixed) return;
    prefixed = false;
    if (group_digits == 0) Fail(kForm, group_at, "with a 0x and no digits after it");
    if (group_digits == 1) {  // 0x7 is the byte 07, as in C
      out.push_back(static_cast<char>(high));
      high = -1;
    } else if (group_digits % 2 != 0) {
      Fail(kForm, group_at, "with an odd number of digits (" + std::to_string(group_digits) + ") after a 0x");
    }
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const int d = HexValue(c);
    if (d >= 0 && !(c == '0' && IsPrefix(text, i))) {
      ++digits;
      ++group_digits;
      digits_end = i + 1;
      if (high < 0) {
        high = d;
      } else {
        out.push_back(static_cast<char>(high * 16 + d));
        high = -1;
      }
      continue;
    }
    end_group();
    if (c == '0') {  // a prefix, by the test above
      if (high >= 0) Fail(kForm, i, "with an odd number of digits before a 0x");
      prefixed = true;
      group_digits = 0;
      group_at = i++;
      continue;
    }
    if (IsSpace(c)) continue;  // hex wrapped at any width: inside a byte too
    if (IsHexSeparator(c)) {
      if (high >= 0) Fail(kForm, i, std::string("with an odd number of digits before a '") + c + "'");
      continue;
    }
    Fail(kForm, i, "with " + Stray(c));
  }
  end_group();
  if (high >= 0)
    Fail(kForm, digits_end, "with an odd number of digits (" + std::to_string(digits) + ")", true);
  return out;
}

namespace {

int Base64Value(char c) noexcept {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+' || c == '-') return 62;
  if (c == '/' || c == '_') return 63;
  return -1;
}

}  // namespace

std::string ReadBase64(std::string_view text, InputForm& form) {
  // The alphabet first, so that every error names the right one.
  form = InputForm::kBase64;
  for (char c : text) {
    if (c == '-' || c == '_') form = InputForm::kBase64Url;
    if (c == '+' || c == '/' || c == '-' || c == '_') break;
  }
  const bool url = form == InputForm::kBase64Url;
  std::string out;
  out.reserve(text.size() / 4 * 3 + 3);
  std::size_t chars = 0;  // data characters, padding not counted
  std::size_t pads = 0;
  std::size_t pad_at = 0;
  std::size_t last_at = 0;  // the last data character
  std::uint32_t bits = 0;
  int bit_count = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (IsSpace(c)) continue;
    if (c == '=') {
      if (pads++ == 0) pad_at = i;
      continue;
    }
    const int v = Base64Value(c);
    if (v < 0) Fail(form, i, "with " + Stray(c));
    if ((c == '+' || c == '/') == url && v >= 62) {
      Fail(form, i, "mixing the standard ('+', '/') and URL-safe ('-', '_') alphabets");
    }
    if (pads > 0) Fail(form, pad_at, "with '=' padding before its end");
    ++chars;
    last_at = i;
    bits = (bits << 6) | static_cast<std::uint32_t>(v);
    bit_count += 6;
    if (bit_count >= 8) {
      bit_count -= 8;
      out.push_back(static_cast<char>((bits >> bit_count) & 0xff));
    }
  }
  std::size_t end = text.size();
  while (end > 0 && IsSpace(text[end - 1])) --end;
  if (chars % 4 == 1 || chars == 0) {
    Fail(form, end, "of " + std::to_string(chars) + " characters, a length that no bytes encode to,", true);
  }
  const std::size_t due = (4 - chars % 4) % 4;
  if (pads != 0 && pads != due) {
    Fail(form, pad_at,
         "with " + std::to_string(pads) + " '=' where " +
             (due == 0 ? std::string("none") : std::to_string(due)) + " can follow " + std::to_string(chars) +
             " characters");
  }
  // What is left of the last character must be zero bits: otherwise the text
  // was cut or altered, and its bytes are not the ones it was made from.
  if ((bits & ((1u << bit_count) - 1)) != 0) {
    Fail(form, last_at,
         std::string("whose last character '") + text[last_at] + "' has bits past its last byte");
  }
  return out;
}

namespace {

// What the characters of a text say about its form (rules 4 to 6 of input.h).
struct Census {
  std::size_t significant = 0;        // characters but whitespace
  std::size_t hexish = 0;             // hex digits, separators, the x of a 0x prefix
  std::size_t base64_only = 0;        // base64's characters that hex has not: g-z, G-Z, + / _ =
  std::size_t neither = 0;            // characters of no form
  std::size_t first_neither = 0;      // where the first of those is
  std::size_t first_not_hex = 0;      // where the first character that hex has not is
  bool not_hex = false;               // first_not_hex is set
  bool broken_lines = false;          // spaces between two characters of one line
  bool non_base64_separator = false;  // a ',' or ':', which base64 has not
  bool padded = false;                // the last character is base64's '='
};

Census Count(std::string_view text) {
  Census n;
  bool line_started = false;
  bool space_after = false;  // whitespace since the line's last character
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\n') {
      line_started = false;
      space_after = false;
      continue;
    }
    if (IsSpace(c)) {
      space_after = line_started;
      continue;
    }
    if (space_after) n.broken_lines = true;
    n.padded = c == '=';
    line_started = true;
    space_after = false;
    ++n.significant;
    const bool prefix_x = (c == 'x' || c == 'X') && i > 0 && text[i - 1] == '0' && AtGroupStart(text, i - 1);
    if (HexValue(c) >= 0 || IsHexSeparator(c) || prefix_x) {
      ++n.hexish;
      if (c == ',' || c == ':') n.non_base64_separator = true;
      continue;
    }
    if (!n.not_hex) {
      n.not_hex = true;
      n.first_not_hex = i;
    }
    if (Base64Value(c) >= 0 || c == '=') {
      ++n.base64_only;
    } else if (n.neither++ == 0) {
      n.first_neither = i;
    }
  }
  return n;
}

// Rule 5: '=' padding at the end or enough characters that are not hex, and
// more of them when spaces break the lines.
bool Base64Shaped(const Census& n) {
  return (n.padded || n.base64_only * 64 >= n.significant) &&
         (!n.broken_lines || n.base64_only * 4 >= n.significant);
}

std::string ReadHexForms(std::string_view text, InputForm& form) {
  if (LooksHexdump(text)) {
    form = InputForm::kHexdump;
    return ReadHexdump(text);
  }
  if (LooksXxd(text)) {
    form = InputForm::kXxd;
    return ReadXxd(text);
  }
  const std::size_t brace = CArrayBrace(text);
  if (brace != std::string_view::npos) {
    form = InputForm::kCArray;
    return ReadCArray(text, brace);
  }
  RefuseWordDump(text);
  form = InputForm::kHex;
  return ReadHex(text);
}

std::string ReadTextForms(std::string_view text, InputForm& form) {
  if (LooksHexdump(text) || LooksXxd(text) || CArrayBrace(text) != std::string_view::npos) {
    return ReadHexForms(text, form);
  }
  RefuseWordDump(text);
  const Census n = Count(text);
  const bool few_neither = n.neither * 16 <= n.significant;
  if (!n.not_hex) {
    form = InputForm::kHex;
    return ReadHex(text);
  }
  if (Base64Shaped(n) && (n.neither == 0 ? !n.non_base64_separator : !n.broken_lines && few_neither)) {
    return ReadBase64(text, form);  // throws at the first character base64 has not
  }
  if (n.hexish * 2 >= n.significant && few_neither) {
    form = InputForm::kHex;
    return ReadHex(text);  // throws at the first stray character
  }
  const std::size_t at = n.neither > 0 ? n.first_neither : n.first_not_hex;
  Fail(InputForm::kText, at,
       "in none of the input forms (hex, xxd, hexdump -C, C array, base64): " + Character(text[at]));
}

// Not text: a byte that no text form holds, or nothing but whitespace.
bool IsRawBytes(std::string_view input) noexcept {
  bool visible = false;
  for (char c : input) {
    const auto u = static_cast<unsigned char>(c);
    if (u >= 0x7f || (u < 0x20 && !IsSpace(c))) return true;
    if (!IsSpace(c)) visible = true;
  }
  return !visible;
}

std::string_view FormInMessages(InputForm form) noexcept {
  switch (form) {
    case InputForm::kHex:
      return "hex text";
    case InputForm::kBase64:
      return "base64 text";
    case InputForm::kBase64Url:
      return "URL-safe base64 text";
    default:
      return InputFormName(form);
  }
}

InputError ErrorAt(std::string_view input, const InputBroken& broken) {
  InputError e;
  e.form = broken.form;
  e.offset = broken.offset < input.size() ? broken.offset : input.size();
  std::size_t line_start = 0;
  for (std::size_t i = 0; i < e.offset; ++i) {
    if (input[i] == '\n') {
      ++e.line;
      line_start = i + 1;
    }
  }
  e.column = e.offset - line_start + 1;
  e.message = std::string(FormInMessages(broken.form)) + " " + broken.what +
              (broken.ending ? " ending" : "") + " at line " + std::to_string(e.line) + ", column " +
              std::to_string(e.column);
  return e;
}

}  // namespace
}  // namespace input_detail

InputReading ReadInput(std::string input, InputMode mode) {
  using namespace input_detail;
  InputReading r;
  if (mode == InputMode::kRaw || (mode == InputMode::kDetect && IsRawBytes(input))) {
    r.bytes = std::move(input);
    return r;
  }
  try {
    r.bytes = mode == InputMode::kHex ? ReadHexForms(input, r.form) : ReadTextForms(input, r.form);
  } catch (const InputBroken& broken) {
    r.form = broken.form;
    r.bytes.clear();
    r.error = ErrorAt(input, broken);
  }
  return r;
}

std::string_view InputFormName(InputForm form) noexcept {
  switch (form) {
    case InputForm::kRaw:
      return "raw bytes";
    case InputForm::kHex:
      return "hex";
    case InputForm::kXxd:
      return "xxd output";
    case InputForm::kHexdump:
      return "hexdump -C output";
    case InputForm::kCArray:
      return "C array";
    case InputForm::kBase64:
      return "base64";
    case InputForm::kBase64Url:
      return "URL-safe base64";
    case InputForm::kText:
      return "text";
  }
  return "text";
}

}  // namespace navreq
