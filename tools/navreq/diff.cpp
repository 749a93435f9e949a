#include "diff.h"

#include <map>
#include <unordered_map>

#include "dump_views.h"
#include "text_util.h"
#include "walk.h"
#include "wire_cursor.h"

namespace navreq {
namespace tool {

namespace {

constexpr std::size_t kShownBytes = 32;
constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);

// One value of a request at its path.
struct Entry {
  std::string path;
  std::size_t parent = kNoParent;
  std::uint8_t wire = 0;
  bool container = false;
  bool number = false;  // `shown` is a JSON number
  std::string shown;    // value as printed
  std::string exact;    // what equality compares (the full bytes, for long values)
};

bool PlainKey(std::string_view key) {
  if (key.empty()) return false;
  for (char c : key) {
    const bool ok =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
    if (!ok) return false;
  }
  return true;
}

std::string BytesShown(std::string_view data) {
  const std::size_t n = data.size() < kShownBytes ? data.size() : kShownBytes;
  std::string text = HexOf(data.data(), n);
  if (n < data.size()) text += "... (" + std::to_string(data.size()) + " bytes)";
  if (data.empty()) text = "(empty)";
  return text;
}

// Collects every value of one request as a flat list of paths.
class Collector final : public TreeSink {
 public:
  explicit Collector(std::vector<Entry>& entries) : entries_(entries) {}

  void begin(std::string_view, std::size_t, bool, std::size_t, std::string_view) override {
    stack_.push_back(Level{kNoParent, "", {}});
  }
  void end() override { stack_.clear(); }

  void scalar(const Item& item, const Scalar& v) override {
    if (item.role == Role::kKey) return;  // the key names the value's path
    Entry e = entry(item);
    switch (item.wire) {
      case kWireFloat:
      case kWireDouble:
        e.shown = RealText(item, v);
        e.number = e.shown.find_first_not_of("-0123456789.e+") == std::string::npos;
        break;
      case kWireString1:
      case kWireString4:
        e.shown = Quote(std::string(v.text));
        break;
      default:
        e.shown = std::to_string(v.integer);
        e.number = true;
    }
    entries_.push_back(std::move(e));
  }

  void bytes(const Item& item, std::string_view data) override {
    if (item.role == Role::kKey) return;
    Entry e = entry(item);
    e.shown = BytesShown(data);
    e.exact = std::string(data);
    entries_.push_back(std::move(e));
  }

  void open(const Item& item, std::int64_t) override {
    Entry e = entry(item);
    e.container = true;
    push(item, std::move(e));
  }
  void close(const Item& item) override {
    if (item.role == Role::kKey) return;
    stack_.pop_back();
  }

  void openEmbedded(const Item& item, std::string_view, const Embedding&) override {
    Entry e = entry(item);
    e.container = true;
    push(item, std::move(e));
  }
  void closeEmbedded(const Item& item) override { close(item); }

  void protobufField(std::size_t, std::size_t, std::uint64_t number, int wire, std::uint64_t value,
                     std::string_view data) override {
    Level& level = stack_.back();
    const std::size_t seen = level.occurrences[number]++;
    Entry e;
    e.path = level.path + (level.path.empty() ? "" : ".") + "#" + std::to_string(number);
    if (seen > 0) e.path += "[" + std::to_string(seen) + "]";
    e.parent = level.entry;
    e.wire = static_cast<std::uint8_t>(wire);
    if (wire == 2) {
      e.shown = BytesShown(data);
      e.exact = std::string(data);
    } else {
      e.shown = std::to_string(value);
      e.number = true;
    }
    entries_.push_back(std::move(e));
  }

  void missing(const FieldInfo&) override {}

  void undecoded(std::size_t, std::string_view rest, const std::string&) override {
    Level& level = stack_.back();
    Entry e;
    e.path = level.path + (level.path.empty() ? "" : ".") + "<undecoded>";
    e.parent = level.entry;
    e.wire = kWireSimpleList;
    e.shown = BytesShown(rest);
    e.exact = std::string(rest);
    entries_.push_back(std::move(e));
  }

 private:
  struct Level {
    std::size_t entry;
    std::string path;
    std::map<std::uint64_t, std::size_t> occurrences;
  };

  // Keys of containers (rare) get a container of their own that no value
  // joins; their scalars are dropped above.
  void push(const Item& item, Entry e) {
    if (item.role == Role::kKey) return;
    entries_.push_back(e);
    stack_.push_back(Level{entries_.size() - 1, e.path, {}});
  }

  Entry entry(const Item& item) const {
    const Level& level = stack_.back();
    Entry e;
    e.parent = level.entry;
    e.wire = item.wire;
    std::string segment;
    switch (item.role) {
      case Role::kField:
        segment = item.field != nullptr ? std::string(item.field->name) : std::to_string(item.tag);
        e.path = level.path.empty() ? segment : level.path + "." + segment;
        return e;
      case Role::kElement:
        e.path = level.path + "[" + std::to_string(item.index) + "]";
        return e;
      case Role::kKey:
        e.path = level.path + "[key " + std::to_string(item.index) + "]";
        return e;
      case Role::kValue:
        e.path = level.path + "[" +
                 (PlainKey(item.key) ? std::string(item.key) : Quote(std::string(item.key))) + "]";
        return e;
    }
    return e;
  }

  std::vector<Entry>& entries_;
  std::vector<Level> stack_;
};

// A path split into its levels: "a.b[0][x]" gives a, b, [0], [x].
std::vector<std::string> Levels(const std::string& path) {
  std::vector<std::string> out;
  std::string cur;
  bool quoted = false;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const char c = path[i];
    if (quoted) {
      cur += c;
      if (c == '\\' && i + 1 < path.size()) {
        cur += path[++i];
      } else if (c == '"') {
        quoted = false;
      }
      continue;
    }
    if (c == '"') {
      quoted = true;
      cur += c;
    } else if (c == '.') {
      if (!cur.empty()) out.push_back(cur);
      cur.clear();
    } else if (c == '[') {
      if (!cur.empty()) out.push_back(cur);
      cur = "[";
    } else if (c == ']') {
      cur += c;
      out.push_back(cur);
      cur.clear();
    } else {
      cur += c;
    }
  }
  if (!cur.empty()) out.push_back(cur);
  return out;
}

// `*` within one level: any run of characters.
bool LevelMatches(const std::string& p, const std::string& s, std::size_t pi = 0, std::size_t si = 0) {
  while (pi < p.size()) {
    if (p[pi] == '*') {
      for (std::size_t k = si; k <= s.size(); ++k) {
        if (LevelMatches(p, s, pi + 1, k)) return true;
      }
      return false;
    }
    if (si >= s.size() || p[pi] != s[si]) return false;
    ++pi;
    ++si;
  }
  return si == s.size();
}

// Whether the pattern levels from `pi` match a prefix of the path levels from `si`.
bool PrefixMatches(const std::vector<std::string>& p, std::size_t pi, const std::vector<std::string>& s,
                   std::size_t si) {
  if (pi == p.size()) return true;
  if (p[pi] == "**") {
    for (std::size_t k = si; k <= s.size(); ++k) {
      if (PrefixMatches(p, pi + 1, s, k)) return true;
    }
    return false;
  }
  if (si == s.size()) return false;
  const bool any = p[pi] == "*" || p[pi] == "[*]";
  if (!(any || LevelMatches(p[pi], s[si]))) return false;
  return PrefixMatches(p, pi + 1, s, si + 1);
}

bool IntegerWire(std::uint8_t w) { return w <= kWireInt64 || w == kWireZero; }
bool StringWire(std::uint8_t w) { return w == kWireString1 || w == kWireString4; }

// Two heads carry the same kind of value (integer forms among themselves,
// both string forms).
bool SameKind(std::uint8_t a, std::uint8_t b) {
  return a == b || (IntegerWire(a) && IntegerWire(b)) || (StringWire(a) && StringWire(b));
}

std::vector<Entry> Collect(const std::string& bytes) {
  std::vector<Entry> entries;
  Collector collector(entries);
  (void)Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), collector);
  return entries;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> FlattenRequest(const std::string& bytes) {
  std::vector<std::pair<std::string, std::string>> out;
  for (Entry& e : Collect(bytes)) out.emplace_back(std::move(e.path), std::move(e.shown));
  return out;
}

bool PathMatches(const std::string& pattern, const std::string& path) {
  return PrefixMatches(Levels(pattern), 0, Levels(path), 0);
}

std::vector<Difference> DiffRequests(const std::string& a_bytes, const std::string& b_bytes,
                                     const std::vector<std::string>& ignore) {
  const std::vector<Entry> a = Collect(a_bytes);
  const std::vector<Entry> b = Collect(b_bytes);
  std::vector<std::vector<std::string>> patterns;
  for (const std::string& p : ignore) patterns.push_back(Levels(p));
  auto ignored = [&patterns](const std::string& path) {
    if (patterns.empty()) return false;
    const std::vector<std::string> levels = Levels(path);
    for (const auto& p : patterns) {
      if (PrefixMatches(p, 0, levels, 0)) return true;
    }
    return false;
  };

  std::unordered_map<std::string, std::size_t> in_b;
  in_b.reserve(b.size());
  for (std::size_t j = 0; j < b.size(); ++j) in_b.emplace(b[j].path, j);
  std::vector<bool> b_matched(b.size(), false);
  std::vector<bool> a_alone(a.size(), false);
  std::vector<bool> b_alone(b.size(), false);
  std::vector<std::size_t> match(a.size(), kNoParent);
  for (std::size_t i = 0; i < a.size(); ++i) {
    const auto it = in_b.find(a[i].path);
    if (it == in_b.end()) continue;
    match[i] = it->second;
    b_matched[it->second] = true;
  }

  std::vector<Difference> out;
  std::size_t next_b = 0;
  auto flush_b = [&](std::size_t upto) {
    for (; next_b < upto; ++next_b) {
      if (b_matched[next_b]) continue;
      b_alone[next_b] = true;
      const std::size_t parent = b[next_b].parent;
      if (parent != kNoParent && b_alone[parent]) continue;  // its container is reported
      if (ignored(b[next_b].path)) continue;
      Difference d;
      d.path = b[next_b].path;
      d.only_b = true;
      d.b = b[next_b].shown;
      d.b_number = b[next_b].number;
      out.push_back(std::move(d));
    }
  };
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (match[i] == kNoParent) {
      a_alone[i] = true;
      const std::size_t parent = a[i].parent;
      if ((parent != kNoParent && a_alone[parent]) || ignored(a[i].path)) continue;
      Difference d;
      d.path = a[i].path;
      d.only_a = true;
      d.a = a[i].shown;
      d.a_number = a[i].number;
      out.push_back(std::move(d));
      continue;
    }
    if (match[i] >= next_b) flush_b(match[i]);
    const Entry& x = a[i];
    const Entry& y = b[match[i]];
    const bool same_kind = SameKind(x.wire, y.wire);
    const bool equal = x.wire == y.wire && x.shown == y.shown && x.exact == y.exact;
    if (equal || (x.container && y.container && same_kind) || ignored(x.path)) continue;
    Difference d;
    d.path = x.path;
    d.a = x.shown;
    d.b = y.shown;
    d.a_number = x.number;
    d.b_number = y.number;
    if (!same_kind || (x.shown == y.shown && x.exact == y.exact)) {
      d.head_changed = true;
      d.a = std::string(WireName(x.wire)) + (x.shown.empty() ? "" : " " + x.shown);
      d.b = std::string(WireName(y.wire)) + (y.shown.empty() ? "" : " " + y.shown);
      d.a_number = d.b_number = false;
    }
    out.push_back(std::move(d));
  }
  flush_b(b.size());
  return out;
}

std::string DifferenceLine(const Difference& d) {
  if (d.only_a) return d.path + ": only in A";
  if (d.only_b) return d.path + ": only in B";
  return d.path + ": " + d.a + " -> " + d.b;
}

}  // namespace tool
}  // namespace navreq
