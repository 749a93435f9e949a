// The dumps (xxd, hexdump -C) and the C array literal, as ReadInput reads them.
#include <cstdint>

#include "input_forms.h"

namespace navreq {
namespace input_detail {

namespace {

constexpr std::size_t kMinOffsetDigits = 8;   // what both dumps write at least
constexpr std::size_t kMaxOffsetDigits = 16;  // a 64-bit offset

// One line of a text: [begin, end), its leading and trailing whitespace (a
// "\r" before the line feed too) left out.
struct Line {
  std::size_t begin = 0;
  std::size_t end = 0;
  bool blank() const noexcept { return begin == end; }
};

bool NextLine(std::string_view text, std::size_t& pos, Line& line) {
  if (pos >= text.size()) return false;
  const std::size_t feed = text.find('\n', pos);
  line.begin = pos;
  line.end = feed == std::string_view::npos ? text.size() : feed;
  pos = line.end + 1;
  while (line.begin < line.end && IsSpace(text[line.begin])) ++line.begin;
  while (line.end > line.begin && IsSpace(text[line.end - 1])) --line.end;
  return true;
}

std::string_view FirstLine(std::string_view text) {
  std::size_t pos = 0;
  Line line;
  while (NextLine(text, pos, line)) {
    if (!line.blank()) return text.substr(line.begin, line.end - line.begin);
  }
  return {};
}

std::size_t LeadingHexDigits(std::string_view s) noexcept {
  std::size_t n = 0;
  while (n < s.size() && HexValue(s[n]) >= 0) ++n;
  return n;
}

std::string OffsetText(std::uint64_t offset) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (int shift = 60; shift >= 0; shift -= 4) {
    const char d = kDigits[(offset >> shift) & 15];
    if (d != '0' || !text.empty() || shift < 32) text.push_back(d);
  }
  return text;
}

// The offset that starts a dump's line, at i (advanced past it).
std::uint64_t ReadOffset(InputForm form, std::string_view text, std::size_t& i, std::size_t end) {
  const std::size_t at = i;
  std::uint64_t value = 0;
  for (; i < end && HexValue(text[i]) >= 0; ++i) {
    if (i - at == kMaxOffsetDigits) Fail(form, at, "with an offset of more than 16 digits");
    value = value * 16 + static_cast<std::uint64_t>(HexValue(text[i]));
  }
  if (i == at) Fail(form, at, "with " + Stray(text[at]) + " where a line's offset is due");
  return value;
}

// The rows of a dump as they come: each line's offset checked against the
// bytes before it, a `*` line expanded into copies of the row above it.
class Rows {
 public:
  explicit Rows(InputForm form) : form_(form) {}

  std::string& bytes() { return bytes_; }

  void star(std::size_t at) {
    if (row_size_ == 0) Fail(form_, at, "with a '*' line before any row of bytes");
    if (star_) Fail(form_, at, "with two '*' lines in a row");
    star_ = true;
    star_at_ = at;
  }

  // A line's offset, at `at`: where the bytes so far say it must be, or past
  // them by whole rows after a `*`.
  void offset(std::uint64_t offset, std::size_t at) {
    if (!started_) {
      started_ = true;
      base_ = offset;  // a dump of a file's middle starts anywhere
      return;
    }
    const std::uint64_t due = base_ + bytes_.size();
    if (offset < base_)
      Fail(form_, at, "with offset " + OffsetText(offset) + " where " + OffsetText(due) + " is due");
    const std::uint64_t relative = offset - base_;
    if (!star_) {
      if (relative != bytes_.size()) {
        Fail(form_, at,
             "with offset " + OffsetText(offset) + " where " + OffsetText(due) +
                 " is due (a line lost, doubled or cut)");
      }
      return;
    }
    star_ = false;
    if (relative <= bytes_.size()) {
      Fail(form_, star_at_, "with a '*' line that stands for no rows before offset " + OffsetText(offset));
    }
    const std::uint64_t gap = relative - bytes_.size();
    if (gap % row_size_ != 0) {
      Fail(form_, star_at_,
           "with a '*' line that stands for " + std::to_string(gap) + " bytes, not whole rows of " +
               std::to_string(row_size_));
    }
    if (gap > kInputMaxRepeatedBytes - repeated_) {
      Fail(
          form_, star_at_,
          "with '*' lines that stand for more than " + std::to_string(kInputMaxRepeatedBytes >> 20) + " MiB");
    }
    repeated_ += static_cast<std::size_t>(gap);
    const std::string row = bytes_.substr(row_start_, row_size_);
    bytes_.reserve(bytes_.size() + static_cast<std::size_t>(gap));
    for (std::uint64_t n = gap / row_size_; n > 0; --n) bytes_ += row;
  }

  void begin_row() { row_start_ = bytes_.size(); }
  void end_row() { row_size_ = bytes_.size() - row_start_; }

  void finish() const {
    if (star_)
      Fail(form_, star_at_, "with a '*' line and no offset after it to say how many rows it stands for");
  }

 private:
  InputForm form_;
  std::string bytes_;
  bool started_ = false;
  std::uint64_t base_ = 0;
  std::size_t row_start_ = 0;
  std::size_t row_size_ = 0;
  bool star_ = false;
  std::size_t star_at_ = 0;
  std::size_t repeated_ = 0;
};

bool IsStar(std::string_view text, const Line& line) {
  return line.end - line.begin == 1 && text[line.begin] == '*';
}

bool IsIdentifier(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Skips whitespace and C comments from i.
void SkipSpaceAndComments(std::string_view text, std::size_t& i) {
  for (;;) {
    while (i < text.size() && IsSpace(text[i])) ++i;
    if (i + 1 >= text.size() || text[i] != '/') return;
    if (text[i + 1] == '*') {
      const std::size_t close = text.find("*/", i + 2);
      if (close == std::string_view::npos) Fail(InputForm::kCArray, i, "with a comment that is never closed");
      i = close + 2;
    } else if (text[i + 1] == '/') {
      const std::size_t feed = text.find('\n', i);
      i = feed == std::string_view::npos ? text.size() : feed;
    } else {
      return;
    }
  }
}

std::size_t EndOfText(std::string_view text) noexcept {
  std::size_t end = text.size();
  while (end > 0 && IsSpace(text[end - 1])) --end;
  return end;
}

// One element of a C array at i (advanced past it): hex, octal or decimal,
// -128 to 255 (a negative one as the byte of a signed char).
char ReadElement(std::string_view text, std::size_t& i) {
  constexpr InputForm kForm = InputForm::kCArray;
  const std::size_t at = i;
  const bool negative = text[i] == '-';
  if (negative) ++i;
  unsigned base = 10;
  if (i + 1 < text.size() && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
    base = 16;
    i += 2;
  } else if (i < text.size() && text[i] == '0') {
    base = 8;
  }
  const std::size_t digits_at = i;
  unsigned value = 0;
  for (; i < text.size(); ++i) {
    const int d = HexValue(text[i]);
    if (d < 0 || static_cast<unsigned>(d) >= base) break;
    if (value <= 0xffff) value = value * base + static_cast<unsigned>(d);  // past a byte either way
  }
  if (i == digits_at) {
    if (i == text.size()) Fail(kForm, EndOfText(text), "with no closing '}'", true);
    if (base == 16) Fail(kForm, at, "with a 0x and no digits after it");
    Fail(kForm, i, "with " + Stray(text[i]));
  }
  if (i < text.size() && IsIdentifier(text[i])) Fail(kForm, i, "with " + Stray(text[i]));
  if (negative ? value > 128 : value > 255) {
    const std::string_view literal = text.substr(at, i - at);
    Fail(kForm, at,
         "with the element " + std::string(literal.substr(0, 24)) + (literal.size() > 24 ? "..." : "") +
             ", outside -128 to 255");
  }
  return static_cast<char>(negative ? (256 - value) & 0xff : value);
}

}  // namespace

bool LooksXxd(std::string_view text) noexcept {
  const std::string_view line = FirstLine(text);
  const std::size_t d = LeadingHexDigits(line);
  return d >= kMinOffsetDigits && d < line.size() && line[d] == ':' &&
         (d + 1 == line.size() || line[d + 1] == ' ');
}

bool LooksHexdump(std::string_view text) noexcept {
  const std::string_view line = FirstLine(text);
  const std::size_t d = LeadingHexDigits(line);
  return d >= kMinOffsetDigits && line.size() >= d + 4 && line.compare(d, 2, "  ") == 0 &&
         HexValue(line[d + 2]) >= 0 && HexValue(line[d + 3]) >= 0 &&
         (line.size() == d + 4 || line[d + 4] == ' ');
}

void RefuseWordDump(std::string_view text) {
  const std::string_view line = FirstLine(text);
  if (LeadingHexDigits(line) != 7 || line.size() < 12 || line[7] != ' ' ||
      LeadingHexDigits(line.substr(8)) != 4 || (line.size() > 12 && line[12] != ' ')) {
    return;
  }
  Fail(InputForm::kText, static_cast<std::size_t>(line.data() - text.data()),
       "in the default form of hexdump or od (an offset, then 16-bit words in the byte order of the machine "
       "that "
       "wrote them), not read: write it with hexdump -C or xxd; it starts");
}

std::string ReadXxd(std::string_view text) {
  constexpr InputForm kForm = InputForm::kXxd;
  Rows rows(kForm);
  std::string& out = rows.bytes();
  out.reserve(text.size() / 4);
  std::size_t pos = 0;
  Line line;
  while (NextLine(text, pos, line)) {
    if (line.blank()) continue;
    if (IsStar(text, line)) {  // xxd -a: rows of zeros left out
      rows.star(line.begin);
      continue;
    }
    std::size_t i = line.begin;
    const std::size_t end = line.end;
    rows.offset(ReadOffset(kForm, text, i, end), line.begin);
    if (i == end || text[i] != ':') {
      Fail(kForm, i, i == end ? std::string("with a line of an offset alone") : "with " + Stray(text[i]));
    }
    ++i;
    rows.begin_row();
    // Groups of whole bytes, one space before each; two spaces end them and
    // start the character column, which is not read.
    while (i + 1 < end && text[i] == ' ' && text[i + 1] != ' ') {
      const std::size_t group_at = ++i;
      int high = -1;
      for (; i < end && text[i] != ' '; ++i) {
        const int d = HexValue(text[i]);
        if (d < 0) Fail(kForm, i, "with " + Stray(text[i]));
        if (high < 0) {
          high = d;
        } else {
          out.push_back(static_cast<char>(high * 16 + d));
          high = -1;
        }
      }
      if (high >= 0) Fail(kForm, group_at, "with a group of an odd number of digits");
    }
    if (i < end && text[i] != ' ') Fail(kForm, i, "with " + Stray(text[i]));
    rows.end_row();
  }
  rows.finish();
  return std::move(out);
}

std::string ReadHexdump(std::string_view text) {
  constexpr InputForm kForm = InputForm::kHexdump;
  Rows rows(kForm);
  std::string& out = rows.bytes();
  out.reserve(text.size() / 4);
  bool ended = false;  // the final line, the offset alone, has come
  std::size_t pos = 0;
  Line line;
  while (NextLine(text, pos, line)) {
    if (line.blank()) continue;
    if (ended) Fail(kForm, line.begin, "with a line after its final offset");
    if (IsStar(text, line)) {
      rows.star(line.begin);
      continue;
    }
    std::size_t i = line.begin;
    const std::size_t end = line.end;
    rows.offset(ReadOffset(kForm, text, i, end), line.begin);
    if (i == end) {
      ended = true;
      continue;
    }
    if (text[i] != ' ') Fail(kForm, i, "with " + Stray(text[i]));
    rows.begin_row();
    while (i < end && text[i] != '|') {  // from '|' on: the character column, not read
      if (text[i] == ' ') {
        ++i;
        continue;
      }
      const std::size_t at = i;
      while (i < end && HexValue(text[i]) >= 0) ++i;
      if (i == at) Fail(kForm, i, "with " + Stray(text[i]));
      if (i - at != 2) Fail(kForm, at, "with a byte of " + std::to_string(i - at) + " digits");
      out.push_back(static_cast<char>(HexValue(text[at]) * 16 + HexValue(text[at + 1])));
    }
    rows.end_row();
  }
  rows.finish();
  return std::move(out);
}

std::size_t CArrayBrace(std::string_view text) noexcept {
  const std::size_t brace = text.find('{');
  if (brace == std::string_view::npos) return brace;
  std::size_t before = brace;
  while (before > 0 && IsSpace(text[before - 1])) --before;
  if (before > 0) return text[before - 1] == '=' ? brace : std::string_view::npos;
  std::size_t after = brace + 1;
  while (after < text.size() && IsSpace(text[after])) ++after;
  if (after == text.size()) return std::string_view::npos;
  const char c = text[after];
  return (c >= '0' && c <= '9') || c == '-' || c == '}' || c == '/' ? brace : std::string_view::npos;
}

std::string ReadCArray(std::string_view text, std::size_t brace) {
  constexpr InputForm kForm = InputForm::kCArray;
  std::string out;
  out.reserve((text.size() - brace) / 2);  // an element and its comma are two characters at least
  std::size_t i = brace + 1;
  bool element_due = true;  // after the '{' or a ','
  for (;;) {
    SkipSpaceAndComments(text, i);
    if (i == text.size()) Fail(kForm, EndOfText(text), "with no closing '}'", true);
    const char c = text[i];
    if (c == '}') {
      ++i;
      break;
    }
    if (element_due) {
      out.push_back(ReadElement(text, i));
      element_due = false;
    } else if (c == ',') {
      ++i;
      element_due = true;
    } else {
      Fail(kForm, i, "with " + Stray(c));
    }
  }
  // A ';' and plain declarations may follow: xxd -i writes `unsigned int
  // x_len = 2;` after the array.
  for (;;) {
    SkipSpaceAndComments(text, i);
    if (i == text.size()) break;
    const char c = text[i];
    if (!IsIdentifier(c) && c != '=' && c != ';' && c != '[' && c != ']' && c != '*') {
      Fail(kForm, i, "with " + Stray(c) + " after its closing '}'");
    }
    ++i;
  }
  return out;
}

}  // namespace input_detail
}  // namespace navreq
