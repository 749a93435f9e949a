#include "har_json.h"

#include "navreq/read/har.h"

namespace navreq {
namespace har {

namespace {

bool IsSpace(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

int HexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The four hex digits of a \u escape at `p` (already checked by string()).
std::uint32_t Hex4(std::string_view s, std::size_t p) noexcept {
  std::uint32_t v = 0;
  for (std::size_t i = 0; i < 4; ++i) v = v * 16 + static_cast<std::uint32_t>(HexValue(s[p + i]));
  return v;
}

// The length of the well-formed UTF-8 sequence at `p` whose first byte is
// from 0x80 on, or 0 (overlong forms, surrogates and code points past
// U+10FFFF are not well formed).
std::size_t Utf8Length(std::string_view s, std::size_t p) noexcept {
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(s[i]); };
  const unsigned char b = at(p);
  std::size_t n = 0;
  unsigned char lo = 0x80;
  unsigned char hi = 0xbf;
  if (b >= 0xc2 && b <= 0xdf) {
    n = 2;
  } else if (b >= 0xe0 && b <= 0xef) {
    n = 3;
    if (b == 0xe0) lo = 0xa0;
    if (b == 0xed) hi = 0x9f;
  } else if (b >= 0xf0 && b <= 0xf4) {
    n = 4;
    if (b == 0xf0) lo = 0x90;
    if (b == 0xf4) hi = 0x8f;
  } else {
    return 0;
  }
  if (s.size() - p < n) return 0;
  if (at(p + 1) < lo || at(p + 1) > hi) return 0;
  for (std::size_t i = 2; i < n; ++i) {
    if (at(p + i) < 0x80 || at(p + i) > 0xbf) return 0;
  }
  return n;
}

}  // namespace

void JsonCursor::space() noexcept {
  while (pos_ < text_.size() && IsSpace(text_[pos_])) ++pos_;
}

void JsonCursor::fail(const std::string& what) const {
  std::size_t line = 1;
  std::size_t column = 1;
  const std::size_t end = pos_ < text_.size() ? pos_ : text_.size();
  for (std::size_t i = 0; i < end; ++i) {
    if (text_[i] == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  throw JsonError("not valid JSON at line " + std::to_string(line) + ", column " + std::to_string(column) +
                  ": " + what);
}

JsonType JsonCursor::next() {
  space();
  if (pos_ >= text_.size()) return JsonType::kEnd;
  const char c = text_[pos_];
  if (c == '{') return JsonType::kObject;
  if (c == '[') return JsonType::kArray;
  if (c == '"') return JsonType::kString;
  if (c == '-' || (c >= '0' && c <= '9')) return JsonType::kNumber;
  if (c == 't' || c == 'f' || c == 'n') return JsonType::kLiteral;
  fail(std::string("unexpected character '") + (static_cast<unsigned char>(c) < 0x20 ? '?' : c) + "'");
}

std::string_view JsonCursor::string() {
  space();
  if (pos_ >= text_.size() || text_[pos_] != '"') fail("expected a string");
  const std::size_t start = ++pos_;
  while (true) {
    if (pos_ >= text_.size()) fail("a string that does not end");
    const auto c = static_cast<unsigned char>(text_[pos_]);
    if (c == '"') break;
    if (c < 0x20) fail("a control character in a string");
    if (c == '\\') {
      if (pos_ + 1 >= text_.size()) fail("a string that does not end");
      const char e = text_[pos_ + 1];
      if (e == 'u') {
        for (std::size_t i = 2; i < 6; ++i) {
          if (pos_ + i >= text_.size() || HexValue(text_[pos_ + i]) < 0) {
            pos_ += 1;
            fail("a \\u escape without four hex digits");
          }
        }
        pos_ += 6;
      } else if (e == '"' || e == '\\' || e == '/' || e == 'b' || e == 'f' || e == 'n' || e == 'r' ||
                 e == 't') {
        pos_ += 2;
      } else {
        ++pos_;
        fail("an unknown escape in a string");
      }
    } else if (c >= 0x80) {
      const std::size_t n = Utf8Length(text_, pos_);
      if (n == 0) fail("a string that is not valid UTF-8");
      pos_ += n;
    } else {
      ++pos_;
    }
  }
  const std::string_view raw = text_.substr(start, pos_ - start);
  ++pos_;
  return raw;
}

std::string_view JsonCursor::number() {
  space();
  const std::size_t start = pos_;
  const auto digits = [&] {
    const std::size_t from = pos_;
    while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9') ++pos_;
    return pos_ - from;
  };
  if (pos_ < text_.size() && text_[pos_] == '-') ++pos_;
  if (pos_ < text_.size() && text_[pos_] == '0') {
    ++pos_;
  } else if (digits() == 0) {
    fail("expected a number");
  }
  if (pos_ < text_.size() && text_[pos_] == '.') {
    ++pos_;
    if (digits() == 0) fail("a number with no digit after '.'");
  }
  if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
    ++pos_;
    if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-')) ++pos_;
    if (digits() == 0) fail("a number with no digit in its exponent");
  }
  return text_.substr(start, pos_ - start);
}

void JsonCursor::literal(std::string_view word) {
  if (text_.substr(pos_, word.size()) != word) fail("expected true, false or null");
  pos_ += word.size();
}

void JsonCursor::skip(std::size_t depth) {
  if (depth >= kHarMaxDepth) fail("nested more than " + std::to_string(kHarMaxDepth) + " levels deep");
  switch (next()) {
    case JsonType::kObject:
      open('{');
      while (more('}')) {
        [[maybe_unused]] const std::string_view name = string();
        space();
        if (pos_ >= text_.size() || text_[pos_] != ':') fail("expected ':'");
        ++pos_;
        skip(depth + 1);
      }
      return;
    case JsonType::kArray:
      open('[');
      while (more(']')) skip(depth + 1);
      return;
    case JsonType::kString: {
      [[maybe_unused]] const std::string_view s = string();
      return;
    }
    case JsonType::kNumber: {
      [[maybe_unused]] const std::string_view n = number();
      return;
    }
    case JsonType::kLiteral:
      literal(text_[pos_] == 't' ? "true" : text_[pos_] == 'f' ? "false" : "null");
      return;
    case JsonType::kEnd:
      break;
  }
  fail("the text ends where a value was expected");
}

void JsonCursor::open(char bracket) {
  space();
  if (pos_ >= text_.size() || text_[pos_] != bracket) {
    fail(bracket == '{' ? "expected an object" : "expected an array");
  }
  ++pos_;
  first_ = true;
}

bool JsonCursor::more(char close) {
  space();
  if (pos_ >= text_.size()) fail(std::string("the text ends before '") + close + "'");
  const char c = text_[pos_];
  if (first_) {
    first_ = false;
    if (c == close) {
      ++pos_;
      return false;
    }
    return true;
  }
  if (c == close) {
    ++pos_;
    return false;
  }
  if (c != ',') fail(std::string("expected ',' or '") + close + "'");
  ++pos_;
  return true;
}

std::string JsonCursor::key() {
  std::string name = DecodeText(string());
  space();
  if (pos_ >= text_.size() || text_[pos_] != ':') fail("expected ':'");
  ++pos_;
  return name;
}

void JsonCursor::finish() {
  space();
  if (pos_ < text_.size()) fail("text after the end of the JSON value");
}

bool CodePoints::next(std::uint32_t& cp) noexcept {
  if (pos_ >= raw_.size()) return false;
  const auto c = static_cast<unsigned char>(raw_[pos_]);
  if (c == '\\') {
    const char e = raw_[pos_ + 1];
    pos_ += 2;
    switch (e) {
      case 'b':
        cp = 0x08;
        return true;
      case 'f':
        cp = 0x0c;
        return true;
      case 'n':
        cp = 0x0a;
        return true;
      case 'r':
        cp = 0x0d;
        return true;
      case 't':
        cp = 0x09;
        return true;
      case 'u':
        break;
      default:
        cp = static_cast<unsigned char>(e);
        return true;
    }
    cp = Hex4(raw_, pos_);
    pos_ += 4;
    // A high surrogate followed by a low one's escape is one code point.
    if (cp >= 0xd800 && cp <= 0xdbff && pos_ + 6 <= raw_.size() && raw_[pos_] == '\\' &&
        raw_[pos_ + 1] == 'u') {
      const std::uint32_t low = Hex4(raw_, pos_ + 2);
      if (low >= 0xdc00 && low <= 0xdfff) {
        cp = 0x10000 + ((cp - 0xd800) << 10) + (low - 0xdc00);
        pos_ += 6;
      }
    }
    return true;
  }
  if (c < 0x80) {
    cp = c;
    ++pos_;
    return true;
  }
  const std::size_t n = Utf8Length(raw_, pos_);
  cp = n == 2 ? c & 0x1fu : n == 3 ? c & 0x0fu : c & 0x07u;
  for (std::size_t i = 1; i < n; ++i) cp = (cp << 6) | (static_cast<unsigned char>(raw_[pos_ + i]) & 0x3fu);
  pos_ += n;
  return true;
}

void AppendUtf8(std::string& out, std::uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xc0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3f));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xe0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3f));
    out += static_cast<char>(0x80 | (cp & 0x3f));
  } else {
    out += static_cast<char>(0xf0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3f));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3f));
    out += static_cast<char>(0x80 | (cp & 0x3f));
  }
}

std::string DecodeText(std::string_view raw) {
  std::string text;
  text.reserve(raw.size());
  CodePoints points(raw);
  std::uint32_t cp = 0;
  while (points.next(cp)) AppendUtf8(text, cp >= 0xd800 && cp <= 0xdfff ? 0xfffd : cp);
  return text;
}

}  // namespace har
}  // namespace navreq
