#include "navreq/read/diff.h"

#include <cstring>
#include <map>
#include <nlohmann/json.hpp>

#include "navreq/read/paths.h"
#include "navreq/read/text.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "wire_cursor.h"

namespace navreq {

namespace {

constexpr std::size_t kShownBytes = 32;

std::string BytesShown(std::string_view data) {
  const std::size_t n = data.size() < kShownBytes ? data.size() : kShownBytes;
  std::string text = HexOf(data.data(), n);
  if (n < data.size()) text += "... (" + std::to_string(data.size()) + " bytes)";
  if (data.empty()) text = "(empty)";
  return text;
}

// One value of a request, in a flat array in the order of the bytes; a
// record, list, map or carried byte array is followed by its subtree.
struct Node {
  enum Segment : std::uint8_t { kRoot, kField, kIndex, kKeyInt, kKeyText, kProto, kUndecoded, kEncoding };
  enum Value : std::uint8_t { kNone, kInt, kReal, kText, kBytes };
  std::uint32_t end = 0;      // one past the last node of its subtree
  std::uint32_t seg_len = 0;  // kKeyText: key bytes in the arena at `seg`
  Segment segment = kRoot;
  Value value = kNone;
  std::uint8_t wire = 0;
  std::uint32_t text_len = 0;  // kText, kBytes: bytes in the arena at `num`
  std::int64_t seg = 0;        // kField: tag; kIndex: position; kKeyInt: key; kProto: number, occurrence
  const char* name = nullptr;  // kField of a declared field
  std::int64_t num = 0;        // kInt: value; kReal: bit pattern; kText, kBytes: arena offset
};

struct Tree {
  std::vector<Node> nodes;
  std::string arena;

  std::string_view bytes(std::uint64_t at, std::uint32_t n) const {
    return std::string_view(arena).substr(at, n);
  }
};

// Builds the tree of one request from the walk.
class Collector final : public TreeSink {
 public:
  explicit Collector(Tree& tree) : tree_(tree) {}

  bool wantsLengths() const override { return false; }
  void begin(std::string_view, std::size_t size, bool, std::size_t inflated, std::string_view) override {
    // About one value per four bytes: grown rarely.
    tree_.nodes.reserve((inflated > size ? inflated : size) / 4 + 16);
    push(Node());
  }
  void end() override {
    while (!open_.empty()) pop();
  }

  void scalar(const Item& item, const Scalar& v) override {
    if (skipping_ > 0 || item.role == Role::kKey) return;  // a key names its value
    Node n = node(item);
    switch (item.wire) {
      case kKseFloat:
      case kKseDouble:
        n.value = Node::kReal;
        n.num = static_cast<std::int64_t>(v.bits);
        break;
      case kKseString1:
      case kKseString4:
        n.value = Node::kText;
        keep(n, v.text);
        break;
      default:
        n.value = Node::kInt;
        n.num = v.integer;
    }
    leaf(n);
  }

  void bytes(const Item& item, std::string_view data) override {
    if (skipping_ > 0 || item.role == Role::kKey) return;
    Node n = node(item);
    n.value = Node::kBytes;
    keep(n, data);
    leaf(n);
  }

  void open(const Item& item, std::int64_t) override {
    if (skipping_ > 0 || item.role == Role::kKey) {
      ++skipping_;
      return;
    }
    push(node(item));
  }
  void close(const Item&) override {
    if (skipping_ > 0) {
      --skipping_;
      return;
    }
    pop();
  }
  void openEmbedded(const Item& item, std::string_view data, const Embedding& e) override {
    // An inflated body holds about one value per two or three bytes.
    if (tree_.nodes.capacity() - tree_.nodes.size() < data.size() / 3) {
      tree_.nodes.reserve(tree_.nodes.size() + data.size() / 3 + 16);
    }
    const bool shown = skipping_ == 0 && item.role != Role::kKey;
    open(item, 0);
    if (shown) encoding_.push_back(e.encoding_problem);
  }
  void closeEmbedded(const Item& item) override {
    if (skipping_ == 0) {
      // Last among the body's children, as its segment kind sorts; only
      // where it is wrong, so the same body sent as the table says differs here.
      const char* problem = encoding_.back();
      encoding_.pop_back();
      if (problem != nullptr) {
        Node n;
        n.segment = Node::kEncoding;
        n.value = Node::kText;
        keep(n, problem);
        leaf(n);
      }
    }
    close(item);
  }

  void protobufField(std::size_t, std::size_t, std::uint64_t number, int wire, std::uint64_t value,
                     std::string_view data) override {
    if (skipping_ > 0) return;
    std::map<std::uint64_t, std::int64_t>& seen = occurrences_.back();
    Node n;
    n.segment = Node::kProto;
    n.seg = static_cast<std::int64_t>((number << 20) | static_cast<std::uint64_t>(seen[number]++));
    n.wire = static_cast<std::uint8_t>(wire);
    if (wire == 2) {
      n.value = Node::kBytes;
      keep(n, data);
    } else {
      n.value = Node::kInt;
      n.num = static_cast<std::int64_t>(value);
    }
    leaf(n);
  }

  void missing(const FieldInfo&) override {}

  void undecoded(std::size_t, std::string_view rest, const std::string&) override {
    if (skipping_ > 0) return;
    Node n;
    n.segment = Node::kUndecoded;
    n.wire = kKseSimpleList;
    n.value = Node::kBytes;
    keep(n, rest);
    leaf(n);
  }

 private:
  Node node(const Item& item) {
    Node n;
    n.wire = item.wire;
    switch (item.role) {
      case Role::kField:
        n.segment = Node::kField;
        n.seg = item.tag;
        n.name = item.field != nullptr ? item.field->name : nullptr;
        break;
      case Role::kElement:
      case Role::kKey:
        n.segment = Node::kIndex;
        n.seg = static_cast<std::int64_t>(item.index);
        break;
      case Role::kValue: {
        std::int64_t k = 0;
        if (NumberedKey(item.key, item.key_is_integer, k)) {
          n.segment = Node::kKeyInt;
          n.seg = k;
        } else {
          n.segment = Node::kKeyText;
          n.seg = static_cast<std::int64_t>(tree_.arena.size());
          n.seg_len = static_cast<std::uint32_t>(item.key.size());
          tree_.arena.append(item.key);
        }
        break;
      }
    }
    return n;
  }

  void keep(Node& n, std::string_view data) {
    n.num = static_cast<std::int64_t>(tree_.arena.size());
    n.text_len = static_cast<std::uint32_t>(data.size());
    tree_.arena.append(data);
  }

  void leaf(Node& n) {
    n.end = static_cast<std::uint32_t>(tree_.nodes.size() + 1);
    tree_.nodes.push_back(n);
  }

  void push(const Node& n) {
    open_.push_back(tree_.nodes.size());
    tree_.nodes.push_back(n);
    occurrences_.emplace_back();
  }

  void pop() {
    tree_.nodes[open_.back()].end = static_cast<std::uint32_t>(tree_.nodes.size());
    open_.pop_back();
    occurrences_.pop_back();
  }

  Tree& tree_;
  std::vector<std::size_t> open_;
  std::vector<std::map<std::uint64_t, std::int64_t>> occurrences_;  // protocol-buffers fields seen per level
  int skipping_ = 0;
  std::vector<const char*> encoding_;  // per embedding shown: its encoding problem, or null
};

// The text of a node's level in a path ("" for the root).
std::string SegmentText(const Tree& t, const Node& n, bool first) {
  std::string text;
  switch (n.segment) {
    case Node::kRoot:
      break;
    case Node::kField:
      AppendFieldLevel(text, n.name, n.seg, first);
      break;
    case Node::kIndex:
    case Node::kKeyInt:
      AppendIndexLevel(text, n.seg);
      break;
    case Node::kKeyText:
      AppendKeyLevel(text, t.bytes(static_cast<std::uint64_t>(n.seg), n.seg_len), false);
      break;
    case Node::kProto:
      AppendProtobufLevel(text, static_cast<std::uint64_t>(n.seg) >> 20,
                          static_cast<std::uint64_t>(n.seg) & 0xFFFFF, first);
      break;
    case Node::kUndecoded:
      AppendUndecodedLevel(text, first);
      break;
    case Node::kEncoding:
      AppendEncodingLevel(text, first);
      break;
  }
  return text;
}

std::string Shown(const Tree& t, const Node& n) {
  switch (n.value) {
    case Node::kNone:
      return WireName(n.wire);
    case Node::kInt:
      return std::to_string(n.num);
    case Node::kReal: {
      Item item;
      item.wire = n.wire;
      Scalar s;
      s.bits = static_cast<std::uint64_t>(n.num);
      if (n.wire == kKseFloat) {
        float f = 0;
        const auto b = static_cast<std::uint32_t>(s.bits);
        std::memcpy(&f, &b, sizeof f);
        s.real = static_cast<double>(f);
      } else {
        std::memcpy(&s.real, &s.bits, sizeof s.real);
      }
      return RealText(item, s);
    }
    case Node::kText:
      return Quote(t.bytes(static_cast<std::uint64_t>(n.num), n.text_len));
    case Node::kBytes:
      return BytesShown(t.bytes(static_cast<std::uint64_t>(n.num), n.text_len));
  }
  return {};
}

bool IsNumber(const Node& n, const std::string& shown) {
  return n.value == Node::kInt ||
         (n.value == Node::kReal && shown.find_first_not_of("-0123456789.e+") == std::string::npos);
}

// Order of sibling segments: by kind, then tag, position, key or field number.
int CompareSegments(const Tree& ta, const Node& a, const Tree& tb, const Node& b) {
  const int ka = a.segment == Node::kIndex ? 2 : a.segment;
  const int kb = b.segment == Node::kIndex ? 2 : b.segment;
  if (ka != kb) return ka < kb ? -1 : 1;
  if (a.segment == Node::kKeyText) {
    const int c = ta.bytes(static_cast<std::uint64_t>(a.seg), a.seg_len)
                      .compare(tb.bytes(static_cast<std::uint64_t>(b.seg), b.seg_len));
    return c < 0 ? -1 : c > 0 ? 1 : 0;
  }
  return a.seg < b.seg ? -1 : a.seg > b.seg ? 1 : 0;
}
bool IntegerWire(std::uint8_t w) { return w <= kKseInt64 || w == kKseZero; }
bool StringWire(std::uint8_t w) { return w == kKseString1 || w == kKseString4; }

// Two heads carry the same kind of value (integer forms among themselves,
// both string forms).
bool SameKind(std::uint8_t a, std::uint8_t b) {
  return a == b || (IntegerWire(a) && IntegerWire(b)) || (StringWire(a) && StringWire(b));
}

Tree Collect(const std::string& bytes) {
  Tree tree;
  Collector collector(tree);
  (void)Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), collector);
  return tree;
}

// Aligns two trees by path: the children of two matched nodes are merged in
// the order of their segments (records by tag, lists by position, maps by
// key, as the writer orders them), so the whole comparison is one pass.
class Comparer {
 public:
  Comparer(const Tree& a, const Tree& b, const std::vector<std::string>& ignore, std::vector<Difference>& out)
      : a_(a), b_(b), out_(out) {
    for (const std::string& p : ignore) patterns_.push_back(PathLevels(p));
  }

  void run() {
    if (a_.nodes.empty() || b_.nodes.empty()) return;
    children(0, 0);
  }

 private:
  void compare(std::uint32_t i, std::uint32_t j) {
    const Node& x = a_.nodes[i];
    const Node& y = b_.nodes[j];
    const bool x_leaf = x.value != Node::kNone;
    const bool y_leaf = y.value != Node::kNone;
    if (!x_leaf && !y_leaf && SameKind(x.wire, y.wire)) {
      children(i, j);
      return;
    }
    const std::string xs = Shown(a_, x);
    const std::string ys = Shown(b_, y);
    const bool text = x.value == Node::kText || x.value == Node::kBytes;
    const bool same_value =
        x.value == y.value && (text ? a_.bytes(static_cast<std::uint64_t>(x.num), x.text_len) ==
                                          b_.bytes(static_cast<std::uint64_t>(y.num), y.text_len)
                                    : x.num == y.num);
    if (x.wire == y.wire && same_value) return;
    Difference d;
    d.path = path_;
    d.a = xs;
    d.b = ys;
    d.a_number = IsNumber(x, xs);
    d.b_number = IsNumber(y, ys);
    if (!SameKind(x.wire, y.wire) || same_value || !x_leaf || !y_leaf) {
      d.head_changed = true;
      d.a = std::string(WireName(x.wire)) + (x_leaf ? " " + xs : "");
      d.b = std::string(WireName(y.wire)) + (y_leaf ? " " + ys : "");
      d.a_number = d.b_number = false;
    }
    out_.push_back(std::move(d));
  }

  void children(std::uint32_t i, std::uint32_t j) {
    const bool first = a_.nodes[i].segment == Node::kRoot;
    std::uint32_t ai = i + 1;
    std::uint32_t bj = j + 1;
    const std::uint32_t a_end = a_.nodes[i].end;
    const std::uint32_t b_end = b_.nodes[j].end;
    while (ai < a_end || bj < b_end) {
      int order = 0;
      if (ai >= a_end) {
        order = 1;
      } else if (bj >= b_end) {
        order = -1;
      } else {
        order = CompareSegments(a_, a_.nodes[ai], b_, b_.nodes[bj]);
      }
      const Node& named = order <= 0 ? a_.nodes[ai] : b_.nodes[bj];
      const std::size_t mark = path_.size();
      path_ += SegmentText(order <= 0 ? a_ : b_, named, first);
      if (!ignored()) {
        if (order == 0) {
          compare(ai, bj);
        } else {
          only(order < 0, named);
        }
      }
      path_.resize(mark);
      if (order <= 0) ai = a_.nodes[ai].end;
      if (order >= 0) bj = b_.nodes[bj].end;
    }
  }

  void only(bool in_a, const Node& n) {
    Difference d;
    d.path = path_;
    const Tree& t = in_a ? a_ : b_;
    const std::string shown = Shown(t, n);
    if (in_a) {
      d.only_a = true;
      d.a = shown;
      d.a_number = IsNumber(n, shown);
    } else {
      d.only_b = true;
      d.b = shown;
      d.b_number = IsNumber(n, shown);
    }
    out_.push_back(std::move(d));
  }

  bool ignored() const {
    if (patterns_.empty()) return false;
    const std::vector<std::string> levels = PathLevels(path_);
    for (const auto& p : patterns_) {
      if (LevelsMatch(p, levels)) return true;
    }
    return false;
  }

  const Tree& a_;
  const Tree& b_;
  std::vector<Difference>& out_;
  std::vector<std::vector<std::string>> patterns_;
  std::string path_;
};

void Flatten(const Tree& t, std::uint32_t i, std::string& path,
             std::vector<std::pair<std::string, std::string>>& out) {
  const bool first = t.nodes[i].segment == Node::kRoot;
  for (std::uint32_t c = i + 1; c < t.nodes[i].end; c = t.nodes[c].end) {
    const std::size_t mark = path.size();
    path += SegmentText(t, t.nodes[c], first);
    const Node& n = t.nodes[c];
    out.emplace_back(path, n.value == Node::kNone ? std::string() : Shown(t, n));
    if (n.value == Node::kNone) Flatten(t, c, path, out);
    path.resize(mark);
  }
}

}  // namespace

std::vector<std::pair<std::string, std::string>> FlattenRequest(const std::string& bytes) {
  const Tree tree = Collect(bytes);
  std::vector<std::pair<std::string, std::string>> out;
  std::string path;
  if (!tree.nodes.empty()) Flatten(tree, 0, path, out);
  return out;
}

bool PathMatches(const std::string& pattern, const std::string& path) {
  return LevelsMatch(PathLevels(pattern), PathLevels(path));
}

std::vector<Difference> DiffRequests(const std::string& a_bytes, const std::string& b_bytes,
                                     const std::vector<std::string>& ignore) {
  // One after the other: the library starts no threads of its own (a caller
  // that wants both trees read at once owns that choice).
  const Tree a = Collect(a_bytes);
  const Tree b = Collect(b_bytes);
  std::vector<Difference> out;
  Comparer(a, b, ignore, out).run();
  return out;
}

std::vector<Difference> DiffWalks(const std::function<void(TreeSink&)>& a,
                                  const std::function<void(TreeSink&)>& b) {
  Tree ta;
  Tree tb;
  {
    Collector collector(ta);
    a(collector);
  }
  {
    Collector collector(tb);
    b(collector);
  }
  std::vector<Difference> out;
  Comparer(ta, tb, {}, out).run();
  return out;
}

std::string DifferenceLine(const Difference& d) {
  if (d.only_a) return d.path + ": only in A";
  if (d.only_b) return d.path + ": only in B";
  return d.path + ": " + d.a + " -> " + d.b;
}

std::string DifferencesJson(const std::vector<Difference>& diffs, bool with_lines) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Difference& d : diffs) {
    nlohmann::ordered_json item;
    item["path"] = d.path;
    auto value = [](bool present, const std::string& text, bool number) -> nlohmann::ordered_json {
      if (!present) return nullptr;
      if (number) {
        const auto parsed = nlohmann::ordered_json::parse(text, nullptr, false);
        if (!parsed.is_discarded()) return parsed;
      }
      return text;
    };
    item["a"] = value(!d.only_b, d.a, d.a_number);
    item["b"] = value(!d.only_a, d.b, d.b_number);
    if (with_lines) item["line"] = DifferenceLine(d);
    list.push_back(std::move(item));
  }
  return list.dump(with_lines ? -1 : 2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace navreq
