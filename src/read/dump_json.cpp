// The JSON view of a dump: the tree that `navreq pack` turns back into bytes
// (the format is described in docs/tree-format.md). Written while the walk
// goes, one value per line.
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "json_values.h"
#include "navreq/read/paths.h"
#include "navreq/read/text.h"
#include "navreq/read/views.h"
#include "navreq/request_reader.h"
#include "protobuf_reader.h"
#include "tree_keys.h"
#include "wire_cursor.h"

namespace navreq {

namespace {

constexpr std::size_t kFlushAt = 1 << 16;

std::string JsonString(std::string_view text) {
  return nlohmann::json(std::string(text)).dump(-1, ' ', false, nlohmann::json::error_handler_t::strict);
}

class JsonView final : public TreeSink {
 public:
  JsonView(std::ostream& out, JsonViewOptions options) : out_(out), options_(std::move(options)) {}
  ~JsonView() override { flush(); }

  // Values that are not written need no length (a window walks past most).
  bool wantsLengths() const override { return suppressed_ == 0 && !finished_; }

  // A resumed fragment's next item would be left out (see admit()).
  bool full() const override {
    if (!options_.resumed) return false;
    if (finished_) return true;
    const Level& level = levels_.back();
    return (options_.budget > 0 && written_ >= options_.budget) ||
           (options_.items_cap > 0 && level.items >= options_.from + options_.items_cap);
  }

  void begin(std::string_view record, std::size_t size, bool gzip, std::size_t inflated,
             std::string_view compressed) override {
    if (options_.fragment) {
      // Only the items of one container: the top itself, or one found on the way.
      levels_.push_back(Level::Object());
      if (options_.resumed) {
        enterFragment(options_.node, false);
        levels_.back().items = options_.from;
        next_node_ = options_.first_value;
      } else if (options_.node == 0) {
        enterFragment(0, true);
      } else {
        suppressed_ = 1;
      }
      return;
    }
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
    if (options_.fragment) {
      if (!levels_.empty() && levels_.back().fragment_root) leaveFragment();
      flush();
      return;
    }
    closeLevel();
    buf_ += "}\n";
    flush();
  }

  void scalar(const Item& item, const Scalar& v) override {
    if (admit(item.role, false) != Admission::kWrite) return;
    start(item);
    AppendJsonValue(buf_, item, v);
    finish(item);
  }

  void bytes(const Item& item, std::string_view data) override {
    if (admit(item.role, false) != Admission::kWrite) return;
    start(item);
    AppendJsonBytes(buf_, data);
    finish(item);
  }

  void open(const Item& item, std::int64_t count) override {
    if (admit(item.role, true) != Admission::kWrite) return;
    start(item);
    writeNode();
    if (item.wire == kKseStructBegin) {
      buf_ += ", \"fields\": [";
    } else {
      buf_ += ", \"count\": " + std::to_string(count);
      buf_ += item.wire == kKseMap ? ", \"entries\": [" : ", \"items\": [";
    }
    pushLevel(Level::Array());
  }

  void close(const Item& item) override {
    if (closedSuppressed()) return;
    closeLevel();
    // Cut short inside: written back without its end head, with its count.
    if (item.stopped && !item.incomplete) buf_ += ", \"incomplete\": true";
    if (item.end_tag != 0) buf_ += ", \"end_tag\": " + std::to_string(item.end_tag);
    finish(item);
  }

  void openEmbedded(const Item& item, std::string_view data, const Embedding& e) override {
    if (admit(item.role, true) != Admission::kWrite) return;
    start(item);
    writeNode();
    if (e.gzip) buf_ += ", \"gzip\": \"" + HexOf(e.compressed.data(), e.compressed.size()) + "\"";
    if (e.encoding_problem != nullptr) buf_ += ", \"encoding_problem\": " + JsonString(e.encoding_problem);
    if (e.gzip && !e.inflate_error.empty()) {
      pushLevel(Level::Object());
      return;
    }
    if (e.protobuf) {
      message_ = data;
      buf_ += ", \"message\": {\"size\": " + std::to_string(data.size());
      // The inspector's hex pane shows the message's bytes; pack writes its fields.
      if (options_.paths) buf_ += ", \"hex\": \"" + HexOf(data.data(), data.size()) + "\"";
      buf_ += ", \"fields\": [";
    } else {
      buf_ += ", \"kse\": {\"size\": " + std::to_string(data.size());
      if (!e.record.empty()) buf_ += ", \"record\": " + JsonString(e.record);
      // An unsigned-byte list spreads its bytes over one head each: with
      // paths, the bytes the items' offsets count in come along.
      if (options_.paths && item.wire == kKseList && !e.gzip) {
        buf_ += ", \"hex\": \"";
        AppendHex(buf_, data.data(), data.size());
        buf_ += '"';
      }
      buf_ += ", \"fields\": [";
    }
    pushLevel(Level::Array());
  }

  void closeEmbedded(const Item& item) override {
    if (closedSuppressed()) return;
    const bool object = levels_.back().array;
    closeLevel();
    if (object) buf_ += "}";
    finish(item);
  }

  void protobufField(std::size_t offset, std::size_t length, std::uint64_t number, int wire,
                     std::uint64_t value, std::string_view data) override {
    const std::uint64_t repetition = nextRepetition(number);
    if (admit(Role::kField, false) != Admission::kWrite) return;
    protobufHead(offset, length, number, wire);
    std::size_t canonical = VarintSize(number << 3 | static_cast<unsigned>(wire));
    if (wire == kProtoLengthDelimited) {
      AppendJsonBytes(buf_, data);
      canonical += VarintSize(data.size()) + data.size();
    } else {
      buf_ += ", \"value\": " + std::to_string(value);
      canonical += wire == kProtoVarint ? VarintSize(value) : wire == kProtoFixed64 ? 8 : 4;
    }
    protobufTail(offset, length, canonical, number, repetition);
  }

  void protobufMapCount(std::size_t offset, std::size_t length, std::uint64_t number,
                        std::uint64_t count) override {
    const std::uint64_t repetition = nextRepetition(number);
    if (admit(Role::kField, false) != Admission::kWrite) return;
    protobufHead(offset, length, number, kProtoLengthDelimited);
    buf_ += ", \"count\": " + std::to_string(count);
    protobufTail(offset, length, VarintSize(number << 3 | kProtoLengthDelimited) + VarintSize(count), number,
                 repetition);
  }

  // How often field `number` of the message came before this one: its path's
  // [repetition]. Counts every field, written or not.
  std::uint64_t nextRepetition(std::uint64_t number) {
    return suppressed_ == 0 && !finished_ && options_.paths ? levels_.back().repetitions[number]++ : 0;
  }

  void protobufHead(std::size_t offset, std::size_t length, std::uint64_t number, int wire) {
    newLine();
    buf_ += "{\"at\": " + std::to_string(offset) + ", \"len\": " + std::to_string(length) +
            ", \"number\": " + std::to_string(number);
    if (const char* name = StopEventFieldName(number)) {
      buf_ += ", \"name\": ";
      AppendJsonString(buf_, name);
    }
    buf_ += ", \"wire\": " + std::to_string(wire);
  }

  // A field not in its shortest form (a varint with more bytes than it
  // needs) keeps its bytes as they were, in "raw".
  void protobufTail(std::size_t offset, std::size_t length, std::size_t canonical, std::uint64_t number,
                    std::uint64_t repetition) {
    if (length != canonical && offset <= message_.size()) {
      const std::string_view raw = message_.substr(offset, length);
      buf_ += ", \"raw\": \"" + HexOf(raw.data(), raw.size()) + "\"";
    }
    if (options_.paths) {
      const Level& level = levels_.back();
      std::string path = level.path;
      AppendProtobufLevel(path, number, repetition, level.top);
      appendPath(path);
    }
    buf_ += "}";
  }

  void missing(const FieldInfo& field) override {
    if (!reporting()) return;
    levels_.back().tail +=
        std::string(levels_.back().tail.empty() ? "" : ", ") + "{\"tag\": " + std::to_string(field.tag) +
        ", \"name\": " + JsonString(field.name) + ", \"declared\": " + JsonString(field.type->name()) + "}";
  }

  void undecoded(std::size_t offset, std::string_view rest, const std::string& why) override {
    if (!reporting()) return;
    Level& level = levels_.back();
    level.undecoded = ", \"undecoded\": {\"at\": " + std::to_string(offset) +
                      ", \"why\": " + JsonString(why) + ", \"hex\": \"" + HexOf(rest.data(), rest.size()) +
                      "\"";
    if (options_.paths) {
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
    std::uint64_t node = 0;                              // the container's number (see admit())
    std::uint64_t items = 0;                             // items begun (a map entry counts once)
    std::uint64_t more_from = kAll;                      // the first item left out by the budget
    bool skip_value = false;                             // the entry's key was left out: its value too
    bool fragment_root = false;                          // the container whose items are written

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
    if (options_.paths && item.role != Role::kKey) {
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
    if (const char* problem = ProblemKeyText(item.problem)) {
      buf_ += ", \"problem\": ";
      AppendJsonString(buf_, problem);
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
    if (level.more_from != kAll) {
      buf_ += ", \"more\": {\"node\": " + std::to_string(level.node) +
              ", \"from\": " + std::to_string(level.more_from) +
              ", \"items\": " + std::to_string(level.items) + "}";
    }
  }

  // Which values are written. Every value and protocol-buffers field has a
  // number, its place in the walk (1, 2, ... in the order the values begin; 0
  // is the top); containers are written with it ("node") when paths are.
  // Past the budget, the items left are counted but not written, and their
  // container says from which item on ("more"); a fragment writes only the
  // items of one container, from one item on.
  enum class Admission { kWrite, kSkip };

  Admission admit(Role role, bool container) {
    const std::uint64_t number = next_node_++;
    if (options_.fragment && container && suppressed_ > 0 && number == options_.node && !finished_) {
      saved_suppressed_ = suppressed_;
      suppressed_ = 0;
      enterFragment(number, false);
      return Admission::kSkip;
    }
    if (suppressed_ > 0 || finished_) return skip(container);
    Level& level = levels_.back();
    if (role == Role::kValue) {
      if (level.skip_value) {
        level.skip_value = false;
        return skip(container);
      }
    } else {
      const std::uint64_t index = level.items++;
      const bool before = level.fragment_root && index < options_.from;
      const std::uint64_t first = level.fragment_root ? options_.from : 0;
      const bool over = !before && ((options_.budget > 0 && written_ >= options_.budget) ||
                                    (options_.items_cap > 0 && index >= first + options_.items_cap));
      if (before || over) {
        if (over && level.more_from == kAll) level.more_from = index;
        level.skip_value = role == Role::kKey;
        return skip(container);
      }
    }
    ++written_;
    node_ = number;
    return Admission::kWrite;
  }

  Admission skip(bool container) {
    if (container) ++suppressed_;
    return Admission::kSkip;
  }

  // The close of a container that was not written (true), or of the fragment's.
  bool closedSuppressed() {
    if (suppressed_ > 0) {
      --suppressed_;
      return true;
    }
    if (levels_.back().fragment_root) {
      leaveFragment();
      return true;
    }
    return false;
  }

  void enterFragment(std::uint64_t number, bool top) {
    buf_ += "{\"items\": [";
    Level level = Level::Array();
    level.top = top;
    level.path = options_.node_path;
    level.node = number;
    level.fragment_root = true;
    levels_.push_back(std::move(level));
  }

  void leaveFragment() {
    Level& level = levels_.back();
    level.tail.clear();  // shown with the container itself
    level.undecoded.clear();
    if (options_.resumed) {
      // The walk stopped where the window did: the items after it are the
      // mark's to count.
      if (level.more_from == kAll && level.items < options_.items_total) level.more_from = level.items;
      if (level.items < options_.items_total) level.items = options_.items_total;
    }
    closeLevel();
    buf_ += "}\n";
    finished_ = true;
    suppressed_ = saved_suppressed_;
  }

  // Missing fields and undecoded bytes of the level being written.
  bool reporting() const { return suppressed_ == 0 && !finished_ && !levels_.back().fragment_root; }

  void writeNode() {
    if (!options_.paths) return;
    buf_ += ", \"node\": ";
    AppendInt(buf_, static_cast<std::int64_t>(node_));
  }

  void pushLevel(Level level) {
    level.path = std::move(item_path_);
    level.node = node_;
    levels_.push_back(std::move(level));
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

  static constexpr std::uint64_t kAll = ~std::uint64_t{0};

  std::ostream& out_;
  const JsonViewOptions options_;
  std::uint64_t next_node_ = 1;
  std::uint64_t node_ = 0;    // the number of the value being written
  std::size_t written_ = 0;   // values written
  int suppressed_ = 0;        // containers open that are not written
  int saved_suppressed_ = 0;  // ... outside the fragment's container
  bool finished_ = false;     // the fragment is written
  std::string item_path_;     // with paths: the path of the value being written
  std::string_view message_;  // the bytes of the protocol-buffers message being walked
  std::string buf_;
  std::vector<Level> levels_;
};

}  // namespace

std::unique_ptr<TreeSink> MakeJsonView(std::ostream& out, const JsonViewOptions& options) {
  return std::make_unique<JsonView>(out, options);
}

std::unique_ptr<TreeSink> MakeJsonView(std::ostream& out) { return MakeJsonView(out, JsonViewOptions()); }

}  // namespace navreq
