// The text view of a dump: one line per value, indented under its container.
#include <charconv>
#include <cmath>
#include <string>

#include "dump_views.h"
#include "text_util.h"
#include "wire_cursor.h"

namespace navreq {
namespace tool {

std::string RealText(const Item& item, const Scalar& value) {
  const double v = value.real;
  if (std::isnan(v)) return "NaN";
  if (std::isinf(v)) return v < 0 ? "-Infinity" : "Infinity";
  char buf[64];
  const auto r = item.wire == kWireFloat ? std::to_chars(buf, buf + sizeof buf, static_cast<float>(v))
                                         : std::to_chars(buf, buf + sizeof buf, v);
  std::string text(buf, r.ptr);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
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
    std::string text = head(item) + ": ";
    switch (item.wire) {
      case kWireFloat:
      case kWireDouble:
        text += RealText(item, v);
        break;
      case kWireString1:
      case kWireString4:
        text += Quote(std::string(v.text));
        break;
      default:
        text += std::to_string(v.integer);
    }
    line(text + problem(item));
  }

  void bytes(const Item& item, std::string_view data) override {
    const std::string h = head(item);
    if (data.size() <= kInlineBytes) {
      line(h + ": " + Inline(data) + problem(item));
      return;
    }
    line(h + ":" + problem(item));
    hexLines(data, data.size());
  }

  void open(const Item& item, std::int64_t) override {
    line(head(item) + problem(item));
    ++indent_;
  }
  void close(const Item&) override { --indent_; }

  void openEmbedded(const Item& item, std::string_view data, const Embedding& e) override {
    std::string text = head(item) + ": ";
    if (e.gzip) {
      if (!e.inflate_error.empty()) {
        text += "gzip stream that does not inflate";
      } else {
        text += "gzip, " + std::to_string(data.size()) + " bytes inflated (offsets below count in them) -> ";
      }
    } else {
      text += "-> ";
    }
    if (e.inflate_error.empty()) {
      text += e.protobuf         ? "protocol-buffers message"
              : e.record.empty() ? "Kse fields"
                                 : std::string(e.record);
    }
    line(text + problem(item));
    ++indent_;
  }
  void closeEmbedded(const Item&) override { --indent_; }

  void protobufField(std::size_t offset, std::size_t length, std::uint64_t number, int wire,
                     std::uint64_t value, std::string_view data) override {
    std::string text = At(offset, length) + "#" + std::to_string(number) + " ";
    if (wire == 2) {
      text += "bytes[" + std::to_string(data.size()) + "]: " + Inline(data);
    } else {
      text += (wire == 0 ? "varint: " : wire == 1 ? "fixed64: " : "fixed32: ") + std::to_string(value);
    }
    line(text);
  }

  void missing(const FieldInfo& field, const TypeDesc& declared) override {
    line("! missing: " + std::to_string(field.tag) + " " + field.name + " (" + declared.text + ")");
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
  static std::string At(std::size_t offset, std::size_t length) {
    return "@" + std::to_string(offset) + "+" + std::to_string(length) + " ";
  }

  static std::string Inline(std::string_view data) {
    if (data.empty()) return "(empty)";
    const std::string bytes(data);
    std::string text = HexOf(bytes);
    if (IsPrintableText(bytes)) text += " " + Quote(bytes);
    return text;
  }

  static std::string head(const Item& item) {
    std::string text = At(item.offset, item.length);
    switch (item.role) {
      case Role::kField:
        text += std::to_string(item.tag);
        if (item.field != nullptr) text += std::string(" ") + item.field->name;
        break;
      case Role::kElement:
        text += "[" + std::to_string(item.index) + "]";
        break;
      case Role::kKey:
        text += "[" + std::to_string(item.index) + "] key";
        break;
      case Role::kValue:
        text += "[" + std::to_string(item.index) + "] value";
        break;
    }
    if (item.role != Role::kField && item.tag != (item.role == Role::kValue ? 1 : 0)) {
      text += " (tag " + std::to_string(item.tag) + ")";
    }
    text += " ";
    if (Known(item)) {
      text += item.declared->text;
    } else if (item.wire == kWireStructBegin && item.record != nullptr) {
      text += item.record->name;
    } else {
      text += WireName(item.wire);
    }
    if (item.wire == kWireList || item.wire == kWireMap || item.wire == kWireSimpleList) {
      text += "[" + std::to_string(CountOf(item)) + "]";
    }
    if (item.incomplete) text += " (incomplete)";
    return text;
  }

  // The element count, read again from the bytes' own framing is not at hand
  // here: lists and maps pass it to open(), byte arrays give their size.
  static std::int64_t CountOf(const Item& item) { return item.count; }

  std::string problem(const Item& item) const {
    switch (item.problem) {
      case Problem::kNone:
        return {};
      case Problem::kUnknownTag:
        return "  ! unknown tag";
      case Problem::kDuplicateTag:
        return "  ! repeated or out-of-order tag";
      case Problem::kTypeMismatch:
        return std::string("  ! type mismatch: declared ") + item.declared->text + ", head " +
               WireName(item.wire);
      case Problem::kOutOfRange:
        return "  ! type mismatch: value outside " + item.declared->text;
    }
    return {};
  }

  void line(const std::string& text) {
    buf_.append(static_cast<std::size_t>(2 * indent_), ' ');
    buf_ += text;
    buf_ += '\n';
    if (buf_.size() >= kFlushAt) flush();
  }

  void hexLines(std::string_view data, std::size_t shown) {
    for (std::size_t i = 0; i < shown; i += kHexBytesPerLine) {
      const std::size_t n = shown - i < kHexBytesPerLine ? shown - i : kHexBytesPerLine;
      line("  " + HexOf(data.data() + i, n));
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

}  // namespace tool
}  // namespace navreq
