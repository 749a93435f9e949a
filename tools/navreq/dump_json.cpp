// The JSON view of a dump: the tree that `navreq pack` turns back into bytes
// (the format is described in docs/tree-format.md). Written while the walk
// goes, one value per line.
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "dump_views.h"
#include "paths.h"
#include "text_util.h"
#include "wire_cursor.h"

namespace navreq {
namespace tool {

namespace {

constexpr std::size_t kFlushAt = 1 << 16;

std::string JsonString(std::string_view text) {
  return nlohmann::json(std::string(text)).dump(-1, ' ', false, nlohmann::json::error_handler_t::strict);
}

class JsonView final : public TreeSink {
 public:
  JsonView(std::ostream& out, bool with_paths) : out_(out), with_paths_(with_paths) {}
  ~JsonView() override { flush(); }

  void begin(std::string_view record, std::size_t size, bool gzip, std::size_t inflated,
             std::string_view compressed) override {
    buf_ += "{\"navreq_tree\": 1, \"size\": " + std::to_string(size);
    if (gzip) {
      buf_ += ", \"gzip\": \"" + HexOf(compressed.data(), compressed.size()) + "\"";
      if (inflated > 0) buf_ += ", \"inflated\": " + std::to_string(inflated);
    }
    if (!record.empty()) buf_ += ", \"record\": " + JsonString(record);
    if (gzip && inflated == 0) {
      // Did not inflate: only the bytes themselves.
      levels_.push_back(Level::Object());
      levels_.back().top = true;
      return;
    }
    buf_ += ", \"fields\": [";
    levels_.push_back(Level::Array());
    levels_.back().top = true;
  }

  void end() override {
    closeLevel();
    buf_ += "}\n";
    flush();
  }

  void scalar(const Item& item, const Scalar& v) override {
    start(item);
    switch (item.wire) {
      case kWireFloat:
      case kWireDouble: {
        const std::string real = RealText(item, v);
        if (real == "NaN" || real == "Infinity" || real == "-Infinity") {
          buf_ += ", \"value\": \"" + real + "\"";
          if (real == "NaN") {
            char bits[20];
            std::snprintf(bits, sizeof bits, item.wire == kWireFloat ? "%08llx" : "%016llx",
                          static_cast<unsigned long long>(v.bits));
            buf_ += ", \"bits\": \"" + std::string(bits) + "\"";
          }
        } else {
          buf_ += ", \"value\": " + real;
        }
        break;
      }
      case kWireString1:
      case kWireString4:
        if (ValidUtf8(v.text)) {
          buf_ += ", \"value\": ";
          AppendJsonString(buf_, v.text);
        } else {
          buf_ += ", \"hex\": \"";
          AppendHex(buf_, v.text.data(), v.text.size());
          buf_ += '"';
        }
        break;
      default:
        buf_ += ", \"value\": ";
        AppendInt(buf_, v.integer);
    }
    finish(item);
  }

  void bytes(const Item& item, std::string_view data) override {
    start(item);
    buf_ += ", \"hex\": \"";
    AppendHex(buf_, data.data(), data.size());
    buf_ += "\"";
    finish(item);
  }

  void open(const Item& item, std::int64_t count) override {
    start(item);
    if (item.wire == kWireStructBegin) {
      buf_ += ", \"fields\": [";
    } else {
      buf_ += ", \"count\": " + std::to_string(count);
      buf_ += item.wire == kWireMap ? ", \"entries\": [" : ", \"items\": [";
    }
    levels_.push_back(Level::Array());
    levels_.back().path = std::move(item_path_);
  }

  void close(const Item& item) override {
    closeLevel();
    // Cut short inside: written back without its end head, with its count.
    if (item.stopped && !item.incomplete) buf_ += ", \"incomplete\": true";
    if (item.end_tag != 0) buf_ += ", \"end_tag\": " + std::to_string(item.end_tag);
    finish(item);
  }

  void openEmbedded(const Item& item, std::string_view data, const Embedding& e) override {
    start(item);
    if (e.gzip) buf_ += ", \"gzip\": \"" + HexOf(e.compressed.data(), e.compressed.size()) + "\"";
    if (e.gzip && !e.inflate_error.empty()) {
      levels_.push_back(Level::Object());
      levels_.back().path = std::move(item_path_);
      return;
    }
    if (e.protobuf) {
      buf_ += ", \"message\": {\"hex\": \"" + HexOf(data.data(), data.size()) + "\", \"fields\": [";
    } else {
      buf_ += ", \"kse\": {\"size\": " + std::to_string(data.size());
      if (!e.record.empty()) buf_ += ", \"record\": " + JsonString(e.record);
      buf_ += ", \"fields\": [";
    }
    levels_.push_back(Level::Array());
    levels_.back().path = std::move(item_path_);
  }

  void closeEmbedded(const Item& item) override {
    const bool object = levels_.back().array;
    closeLevel();
    if (object) buf_ += "}";
    finish(item);
  }

  void protobufField(std::size_t offset, std::size_t length, std::uint64_t number, int wire,
                     std::uint64_t value, std::string_view data) override {
    newLine();
    buf_ += "{\"at\": " + std::to_string(offset) + ", \"len\": " + std::to_string(length) +
            ", \"number\": " + std::to_string(number) + ", \"wire\": " + std::to_string(wire);
    if (wire == 2) {
      buf_ += ", \"hex\": \"" + HexOf(data.data(), data.size()) + "\"";
    } else {
      buf_ += ", \"value\": " + std::to_string(value);
    }
    if (with_paths_) {
      Level& level = levels_.back();
      std::string path = level.path;
      AppendProtobufLevel(path, number, level.repetitions[number]++, level.top);
      appendPath(path);
    }
    buf_ += "}";
  }

  void missing(const FieldInfo& field) override {
    levels_.back().tail +=
        std::string(levels_.back().tail.empty() ? "" : ", ") + "{\"tag\": " + std::to_string(field.tag) +
        ", \"name\": " + JsonString(field.name) + ", \"declared\": " + JsonString(field.type->name()) + "}";
  }

  void undecoded(std::size_t offset, std::string_view rest, const std::string& why) override {
    Level& level = levels_.back();
    level.undecoded = ", \"undecoded\": {\"at\": " + std::to_string(offset) +
                      ", \"why\": " + JsonString(why) + ", \"hex\": \"" + HexOf(rest.data(), rest.size()) +
                      "\"";
    if (with_paths_) {
      std::string path = level.path;
      AppendUndecodedLevel(path, level.top);
      level.undecoded += ", \"path\": ";
      AppendJsonString(level.undecoded, path);
    }
    level.undecoded += "}";
    if (!level.array)
      level.undecoded =
          ", \"hex\": \"" + HexOf(rest.data(), rest.size()) + "\", \"error\": " + JsonString(why);
  }

 private:
  struct Level {
    bool first = true;
    bool array = true;  // a "fields"/"items"/"entries" array is open
    std::string tail;   // missing fields, written when the level closes
    std::string undecoded;
    bool entry_open = false;  // a map entry has its key and waits for its value
    bool top = false;         // the top level: its paths start without a dot
    std::string path;         // with paths: the path of the value whose items these are
    std::map<std::uint64_t, std::uint64_t> repetitions;  // protocol-buffers field numbers seen

    static Level Array() { return Level(); }
    static Level Object() {
      Level level;
      level.array = false;
      return level;
    }
  };

  void newLine() {
    Level& level = levels_.back();
    if (!level.first) buf_ += ",";
    level.first = false;
    buf_ += "\n";
    buf_.append(2 * levels_.size(), ' ');
  }

  // Opens the object of a value and writes its head: tag, type, name,
  // declared type, position and the flags of unusual forms.
  void start(const Item& item) {
    if (item.role == Role::kValue) {
      buf_ += ", \"value\": {";
    } else {
      newLine();
      buf_ += item.role == Role::kKey ? "{\"key\": {" : "{";
    }
    buf_ += "\"tag\": ";
    AppendInt(buf_, item.tag);
    buf_ += ", \"type\": ";
    AppendInt(buf_, item.wire);
    if (item.role == Role::kField && item.field != nullptr) {
      buf_ += ", \"name\": ";
      AppendJsonString(buf_, item.field->name);
      buf_ += ", \"declared\": ";
      AppendJsonString(buf_, item.declared->name());
    }
    buf_ += ", \"at\": ";
    AppendInt(buf_, static_cast<std::int64_t>(item.offset));
    buf_ += ", \"len\": ";
    AppendInt(buf_, static_cast<std::int64_t>(item.length));
    if (item.long_head) buf_ += ", \"long_head\": true";
    if (item.count_wire >= 0) {
      buf_ += ", \"count_type\": ";
      AppendInt(buf_, item.count_wire);
    }
    if (item.incomplete) buf_ += ", \"incomplete\": true";
    if (with_paths_ && item.role != Role::kKey) {
      const Level& level = levels_.back();
      item_path_ = level.path;
      if (item.role == Role::kField) {
        AppendFieldLevel(item_path_, item.field != nullptr ? item.field->name : nullptr, item.tag, level.top);
      } else if (item.role == Role::kElement) {
        AppendIndexLevel(item_path_, static_cast<std::int64_t>(item.index));
      } else {
        AppendKeyLevel(item_path_, item.key, item.key_is_integer);
      }
      appendPath(item_path_);
    }
    switch (item.problem) {
      case Problem::kNone:
        break;
      case Problem::kUnknownTag:
        buf_ += ", \"problem\": \"unknown tag\"";
        break;
      case Problem::kDuplicateTag:
        buf_ += ", \"problem\": \"repeated tag\"";
        break;
      case Problem::kTypeMismatch:
      case Problem::kOutOfRange:
        buf_ += ", \"problem\": \"type mismatch\"";
        break;
    }
  }

  void finish(const Item& item) {
    buf_ += item.role == Role::kValue ? "}}" : "}";
    if (item.role == Role::kKey) levels_.back().entry_open = true;
    if (item.role == Role::kValue) levels_.back().entry_open = false;
    if (buf_.size() >= kFlushAt) flush();
  }

  void closeLevel() {
    Level level = std::move(levels_.back());
    levels_.pop_back();
    if (level.entry_open) buf_ += "}";
    if (level.array) {
      if (!level.first) {
        buf_ += "\n";
        buf_.append(2 * levels_.size(), ' ');
      }
      buf_ += "]";
    }
    if (!level.tail.empty()) buf_ += ", \"missing\": [" + level.tail + "]";
    buf_ += level.undecoded;
  }

  void appendPath(const std::string& path) {
    buf_ += ", \"path\": ";
    AppendJsonString(buf_, path);
  }

  void flush() {
    if (buf_.empty()) return;
    out_.write(buf_.data(), static_cast<std::streamsize>(buf_.size()));
    buf_.clear();
  }

  std::ostream& out_;
  const bool with_paths_;
  std::string item_path_;  // with paths: the path of the value being written
  std::string buf_;
  std::vector<Level> levels_;
};

}  // namespace

std::unique_ptr<TreeSink> MakeJsonView(std::ostream& out, bool with_paths) {
  return std::make_unique<JsonView>(out, with_paths);
}

}  // namespace tool
}  // namespace navreq
