// The text view of a dump: one line per value, indented under its container.
#include <charconv>
#include <cmath>
#include <string>

#include "navreq/read/text.h"
#include "navreq/read/views.h"
#include "navreq/request_reader.h"
#include "wire_cursor.h"

namespace navreq {

std::string RealText(const Item& item, const Scalar& value) {
  const double v = value.real;
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v < 0 ? "-Infinity" : "Infinity";
#if defined(__cpp_lib_to_chars)
  char buf[64];
  const auto r = item.wire == kKseFloat ? std::to_chars(buf, buf + sizeof buf, static_cast<float>(v))
                                        : std::to_chars(buf, buf + sizeof buf, v);
  std::string text(buf, r.ptr);
#else
  std::string text = ShortestDecimal(v, item.wire == kKseFloat);
#endif
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

void AppendInt(std::string& out, std::int64_t v) {
  char buf[24];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  out.append(buf, r.ptr);
}

void AppendHex(std::string& out, const char* data, std::size_t size) {
  static const char digits[] = "0123456789abcdef";
  const std::size_t at = out.size();
  out.resize(at + 2 * size);
  char* p = out.data() + at;
  for (std::size_t i = 0; i < size; ++i) {
    const auto b = static_cast<unsigned char>(data[i]);
    *p++ = digits[b >> 4];
    *p++ = digits[b & 15];
  }
}

void AppendJsonString(std::string& out, std::string_view text) {
  static const char digits[] = "0123456789abcdef";
  out += '"';
  for (char c : text) {
    const auto b = static_cast<unsigned char>(c);
    if (b == '"' || b == '\\') {
      out += '\\';
      out += c;
    } else if (b < 0x20) {
      out += "\\u00";
      out += digits[b >> 4];
      out += digits[b & 15];
    } else {
      out += c;
    }
  }
  out += '"';
}

namespace {

constexpr std::size_t kHexBytesPerLine = 32;
constexpr std::size_t kInlineBytes = 32;
constexpr std::size_t kFlushAt = 1 << 16;

bool Known(const Item& item) { return item.declared != nullptr && item.problem != Problem::kTypeMismatch; }

class TextView final : public TreeSink {
 public:
  TextView(std::ostream& out, bool full) : out_(out), full_(full) {}
  ~TextView() override { flush(); }

  void begin(std::string_view record, std::size_t size, bool gzip, std::size_t inflated,
             std::string_view) override {
    if (gzip && inflated > 0) {
      buf_ += "gzip stream, " + std::to_string(size) + " bytes, " + std::to_string(inflated) +
              " bytes inflated (offsets below count in the inflated bytes)\n";
      size = inflated;
    }
    if (record.empty()) {
      buf_ += size == 0 ? "empty input\n" : "no envelope recognised (neither Package nor Packet), ";
      if (size != 0) buf_ += std::to_string(size) + " bytes\n";
    } else {
      buf_ += std::string(record) + ", " + std::to_string(size) + " bytes\n";
    }
    indent_ = 1;
  }
  void end() override { flush(); }

  void scalar(const Item& item, const Scalar& v) override {
    head(item);
    buf_ += ": ";
    switch (item.wire) {
      case kKseFloat:
      case kKseDouble:
        buf_ += RealText(item, v);
        break;
      case kKseString1:
      case kKseString4:
        if (IsPlain(v.text)) {
          buf_ += '"';
          buf_ += v.text;
          buf_ += '"';
        } else {
          buf_ += Quote(v.text);
        }
        break;
      default:
        AppendInt(buf_, v.integer);
    }
    endLine(item);
  }

  void bytes(const Item& item, std::string_view data) override {
    head(item);
    if (data.size() <= kInlineBytes) {
      buf_ += ": ";
      Inline(data);
      endLine(item);
      return;
    }
    buf_ += ":";
    endLine(item);
    hexLines(data, data.size());
  }

  void open(const Item& item, std::int64_t) override {
    head(item);
    endLine(item);
    ++indent_;
  }
  void close(const Item&) override { --indent_; }

  void openEmbedded(const Item& item, std::string_view data, const Embedding& e) override {
    head(item);
    buf_ += ": ";
    if (e.gzip) {
      if (!e.inflate_error.empty()) {
        buf_ += "gzip stream that does not inflate";
      } else {
        buf_ += "gzip, " + std::to_string(data.size()) + " bytes inflated (offsets below count in them) -> ";
      }
    } else {
      buf_ += "-> ";
    }
    if (e.inflate_error.empty()) {
      buf_ += e.protobuf         ? "protocol-buffers message"
              : e.record.empty() ? "Kse fields"
                                 : std::string(e.record);
    }
    if (e.encoding_problem != nullptr) buf_ += std::string("  ! ") + e.encoding_problem;
    endLine(item);
    ++indent_;
  }
  void closeEmbedded(const Item&) override { --indent_; }

  void protobufField(std::size_t offset, std::size_t length, std::uint64_t number, int wire,
                     std::uint64_t value, std::string_view data) override {
    protobufHead(offset, length, number);
    if (wire == 2) {
      buf_ += "bytes[" + std::to_string(data.size()) + "]: ";
      Inline(data);
    } else {
      buf_ += (wire == 0 ? "varint: " : wire == 1 ? "fixed64: " : "fixed32: ") + std::to_string(value);
    }
    newline();
  }

  void protobufMapCount(std::size_t offset, std::size_t length, std::uint64_t number,
                        std::uint64_t count) override {
    protobufHead(offset, length, number);
    buf_ += "entries: " + std::to_string(count);
    newline();
  }

  void missing(const FieldInfo& field) override {
    line("! missing: " + std::to_string(field.tag) + " " + field.name + " (" + field.type->name() + ")");
  }

  void undecoded(std::size_t offset, std::string_view rest, const std::string& why) override {
    line("! decoding stopped at offset " + std::to_string(offset) + ": " + why);
    line("! undecoded, " + std::to_string(rest.size()) + " bytes:");
    const std::size_t shown = full_ || rest.size() <= kUndecodedShown ? rest.size() : kUndecodedShown;
    hexLines(rest, shown);
    if (shown < rest.size())
      line("  ... " + std::to_string(rest.size() - shown) + " more bytes (--full shows them)");
  }

 private:
  // Text that prints as it is between quotes.
  static bool IsPlain(std::string_view text) {
    for (char c : text) {
      const auto b = static_cast<unsigned char>(c);
      if (b < 0x20 || b >= 0x7F || b == '"' || b == '\\') return false;
    }
    return true;
  }

  // The stop event's message is the only one a request carries: its fields
  // are named as StopEvent names them.
  void protobufHead(std::size_t offset, std::size_t length, std::uint64_t number) {
    startLine();
    At(offset, length);
    buf_ += "#" + std::to_string(number) + " ";
    if (const char* name = StopEventFieldName(number)) {
      buf_ += name;
      buf_ += ' ';
    }
  }

  void At(std::size_t offset, std::size_t length) {
    buf_ += '@';
    AppendInt(buf_, static_cast<std::int64_t>(offset));
    buf_ += '+';
    AppendInt(buf_, static_cast<std::int64_t>(length));
    buf_ += ' ';
  }

  void Inline(std::string_view data) {
    if (data.empty()) {
      buf_ += "(empty)";
      return;
    }
    AppendHex(buf_, data.data(), data.size());
    if (IsPrintableText(data)) {
      buf_ += ' ';
      buf_ += Quote(data);
    }
  }

  void head(const Item& item) {
    startLine();
    At(item.offset, item.length);
    switch (item.role) {
      case Role::kField:
        AppendInt(buf_, item.tag);
        if (item.field != nullptr) {
          buf_ += ' ';
          buf_ += item.field->name;
        }
        break;
      case Role::kElement:
        buf_ += '[';
        AppendInt(buf_, static_cast<std::int64_t>(item.index));
        buf_ += ']';
        break;
      case Role::kKey:
      case Role::kValue:
        buf_ += '[';
        AppendInt(buf_, static_cast<std::int64_t>(item.index));
        buf_ += item.role == Role::kKey ? "] key" : "] value";
        break;
    }
    if (item.role != Role::kField && item.tag != (item.role == Role::kValue ? 1 : 0)) {
      buf_ += " (tag " + std::to_string(item.tag) + ")";
    }
    buf_ += ' ';
    if (Known(item)) {
      buf_ += item.declared->name();
    } else if (item.wire == kKseStructBegin && item.record != nullptr) {
      buf_ += item.record->name;
    } else {
      buf_ += WireName(item.wire);
    }
    if (item.wire == kKseList || item.wire == kKseMap || item.wire == kKseSimpleList) {
      buf_ += '[';
      AppendInt(buf_, item.count);
      buf_ += ']';
    }
    if (item.incomplete) buf_ += " (incomplete)";
  }

  // Ends a value's line with what is wrong with it, if anything.
  void endLine(const Item& item) {
    switch (item.problem) {
      case Problem::kNone:
        break;
      case Problem::kUnknownTag:
        buf_ += "  ! unknown tag";
        break;
      case Problem::kDuplicateTag:
      case Problem::kOutOfOrder:
        buf_ += "  ! repeated or out-of-order tag";
        break;
      case Problem::kUnexpectedTag:
        buf_ +=
            item.role == Role::kValue ? "  ! unexpected tag: 1 expected" : "  ! unexpected tag: 0 expected";
        break;
      case Problem::kDuplicateKey:
        buf_ += "  ! repeated key";
        break;
      case Problem::kTypeMismatch:
        buf_ += std::string("  ! type mismatch: declared ") + item.declared->name() + ", head " +
                WireName(item.wire);
        break;
      case Problem::kOutOfRange:
        buf_ += std::string("  ! type mismatch: value outside ") + item.declared->name();
        break;
    }
    newline();
  }

  void startLine() { buf_.append(static_cast<std::size_t>(2 * indent_), ' '); }

  void newline() {
    buf_ += '\n';
    if (buf_.size() >= kFlushAt) flush();
  }

  void line(const std::string& text) {
    startLine();
    buf_ += text;
    newline();
  }

  void hexLines(std::string_view data, std::size_t shown) {
    for (std::size_t i = 0; i < shown; i += kHexBytesPerLine) {
      const std::size_t n = shown - i < kHexBytesPerLine ? shown - i : kHexBytesPerLine;
      startLine();
      buf_ += "  ";
      AppendHex(buf_, data.data() + i, n);
      newline();
    }
  }

  void flush() {
    if (buf_.empty()) return;
    out_.write(buf_.data(), static_cast<std::streamsize>(buf_.size()));
    buf_.clear();
  }

  std::ostream& out_;
  bool full_;
  int indent_ = 0;
  std::string buf_;
};

}  // namespace

std::unique_ptr<TreeSink> MakeTextView(std::ostream& out, bool full) {
  return std::make_unique<TextView>(out, full);
}

}  // namespace navreq
