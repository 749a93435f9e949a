#include "navreq/read/diff.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "diff_tree.h"
#include "navreq/read/paths.h"
#include "navreq/read/walk.h"
#include "wire_cursor.h"

namespace navreq {
namespace diff_detail {

namespace {

bool IsNumber(const View& v, const std::string& shown) {
  return v.node.value == Node::kInt ||
         (v.node.value == Node::kReal && shown.find_first_not_of("-0123456789.e+") == std::string::npos);
}

// Order of sibling segments: by kind, then tag, position, key or field number.
int CompareSegments(const View& a, const View& b) {
  const Node& x = a.node;
  const Node& y = b.node;
  const int kx = x.segment == Node::kIndex ? 2 : x.segment;
  const int ky = y.segment == Node::kIndex ? 2 : y.segment;
  if (kx != ky) return kx < ky ? -1 : 1;
  if (x.segment == Node::kKeyText) {
    const int c = a.key.compare(b.key);
    return c < 0 ? -1 : c > 0 ? 1 : 0;
  }
  return x.seg < y.seg ? -1 : x.seg > y.seg ? 1 : 0;
}

bool IntegerWire(std::uint8_t w) { return w <= kKseInt64 || w == kKseZero; }
bool StringWire(std::uint8_t w) { return w == kKseString1 || w == kKseString4; }

// Two heads carry the same kind of value (integer forms among themselves,
// both string forms).
bool SameKind(std::uint8_t a, std::uint8_t b) {
  return a == b || (IntegerWire(a) && IntegerWire(b)) || (StringWire(a) && StringWire(b));
}

bool SameName(const char* x, const char* y) {
  return x == y || (x != nullptr && y != nullptr && std::strcmp(x, y) == 0);
}

std::string RecordShown(std::string_view name) {
  if (name == kMessageCarried) return "protocol-buffers message";
  return name.empty() ? std::string("fields of no known record") : "record " + std::string(name);
}

// The --ignore patterns, and which of them matched a path of either request.
class Patterns {
 public:
  explicit Patterns(const std::vector<std::string>& ignore)
      : text_(ignore), matched_(ignore.size(), false), unmatched_(ignore.size()) {
    for (const std::string& p : ignore) levels_.push_back(PathLevels(p));
  }

  // Whether `path` is left out.
  bool ignored(const std::string& path) {
    if (levels_.empty()) return false;
    return match(path, true);
  }

  // Notes the patterns that match a path not compared (under one left out,
  // or only in one request), so that a pattern naming it is not reported.
  void seen(const std::string& path) {
    if (unmatched_ > 0) (void)match(path, false);
  }

  bool tracking() const { return unmatched_ > 0; }

  std::vector<std::string> unmatched() const {
    std::vector<std::string> out;
    for (std::size_t i = 0; i < text_.size(); ++i) {
      if (!matched_[i]) out.push_back(text_[i]);
    }
    return out;
  }

 private:
  bool match(const std::string& path, bool all) {
    const std::vector<std::string> levels = PathLevels(path);
    bool any = false;
    for (std::size_t i = 0; i < levels_.size(); ++i) {
      if (!all && matched_[i]) continue;
      if (!LevelsMatch(levels_[i], levels)) continue;
      any = true;
      if (!matched_[i]) {
        matched_[i] = true;
        --unmatched_;
      }
    }
    return any;
  }

  std::vector<std::string> text_;
  std::vector<std::vector<std::string>> levels_;
  std::vector<bool> matched_;
  std::size_t unmatched_;
};

// Reads request B and meets each of its values against A's tree as it comes:
// the children of two matched containers are merged in the order of their
// segments (records by tag, lists by position, maps by key, as the writer
// orders them), so the comparison is one pass and a difference is sent as
// soon as it is found.
class Comparer final : public NodeReader {
 public:
  Comparer(const Tree& a, bool force, Patterns& patterns, const DifferenceSink& sink, std::size_t& count)
      : a_(a), force_(force), patterns_(patterns), sink_(sink), count_(count) {}

 private:
  // One container of B open: compared with A's container whose subtree
  // ends at `a_end` (its next child not yet met at `next`), or read past.
  struct Frame {
    bool matched = false;
    std::uint32_t a_end = 0;
    std::uint32_t next = 0;
    std::size_t mark = 0;  // path_'s length before this container's level
  };

  void onLeaf(const View& y) override { arrive(y, false); }
  void onOpen(const View& y) override { arrive(y, true); }

  void onClose() override {
    const Frame f = frames_.back();
    frames_.pop_back();
    if (f.matched) {
      const bool first = frames_.empty();
      for (std::uint32_t i = f.next; i < f.a_end;) {
        const View x = a_.view(i);
        onlyA(x, first);
        i = x.end;
      }
    }
    path_.resize(f.mark);
  }

  void arrive(const View& y, bool container) {
    if (frames_.empty()) {  // the top of B
      Frame root;
      root.matched = !a_.empty();
      if (root.matched) {
        const View top = a_.view(0);
        root.a_end = top.end;
        root.next = top.children;
      }
      frames_.push_back(root);
      return;
    }
    const bool first = frames_.size() == 1;
    const std::size_t mark = path_.size();
    if (!frames_.back().matched) {
      if (patterns_.tracking()) {
        path_ += SegmentText(y, first);
        patterns_.seen(path_);
      }
      readPast(container, mark);
      return;
    }
    Frame& f = frames_.back();
    int order = 1;
    View x;
    while (f.next < f.a_end) {
      x = a_.view(f.next);
      order = CompareSegments(x, y);
      if (order >= 0) break;
      onlyA(x, first);
      f.next = x.end;
    }
    if (f.next >= f.a_end) order = 1;
    if (order != 0) {
      path_ += SegmentText(y, first);
      if (!patterns_.ignored(path_)) onlyB(y);
      readPast(container, mark);
      return;
    }
    f.next = x.end;
    // A field is named only where both records name it alike.
    path_ += SegmentText(x, first, SameName(x.node.name, y.node.name));
    if (patterns_.ignored(path_)) {
      scanA(x);
      readPast(container, mark);
      return;
    }
    const Node& xn = x.node;
    if (container && xn.value == Node::kNone && SameKind(xn.wire, y.node.wire)) {
      if (x.data != y.data && !force_) {
        // Bytes carrying different records: their fields would be named by
        // one record and read by the other.
        Difference d;
        d.path = path_;
        d.head_changed = true;
        d.a = RecordShown(x.data);
        d.b = RecordShown(y.data);
        emit(std::move(d));
        scanA(x);
        readPast(true, mark);
        return;
      }
      Frame inner;
      inner.matched = true;
      inner.a_end = x.end;
      inner.next = x.children;
      inner.mark = mark;
      frames_.push_back(inner);
      return;
    }
    compare(x, y);
    scanA(x);
    readPast(container, mark);
  }

  void readPast(bool container, std::size_t mark) {
    if (container) {
      Frame f;
      f.mark = mark;
      frames_.push_back(f);
    } else {
      path_.resize(mark);
    }
  }

  void compare(const View& xv, const View& yv) {
    const Node& x = xv.node;
    const Node& y = yv.node;
    const bool x_leaf = x.value != Node::kNone;
    const bool y_leaf = y.value != Node::kNone;
    const bool text = x.value == Node::kText || x.value == Node::kBytes;
    const bool same_value =
        x_leaf && y_leaf && x.value == y.value && (text ? xv.data == yv.data : x.num == y.num);
    if (x.wire == y.wire && same_value) return;
    const std::string xs = Shown(xv);
    const std::string ys = Shown(yv);
    Difference d;
    d.path = path_;
    d.a = xs;
    d.b = ys;
    d.a_number = IsNumber(xv, xs);
    d.b_number = IsNumber(yv, ys);
    if (!SameKind(x.wire, y.wire) || same_value || !x_leaf || !y_leaf) {
      d.head_changed = true;
      d.a = std::string(WireName(x.wire)) + (x_leaf ? " " + xs : "");
      d.b = std::string(WireName(y.wire)) + (y_leaf ? " " + ys : "");
      d.a_number = d.b_number = false;
    }
    emit(std::move(d));
  }

  void onlyA(const View& v, bool first) {
    const std::size_t mark = path_.size();
    path_ += SegmentText(v, first);
    if (!patterns_.ignored(path_)) {
      Difference d;
      d.path = path_;
      d.only_a = true;
      d.a = Shown(v);
      d.a_number = IsNumber(v, d.a);
      emit(std::move(d));
    }
    scanA(v);
    path_.resize(mark);
  }

  void onlyB(const View& y) {
    Difference d;
    d.path = path_;
    d.only_b = true;
    d.b = Shown(y);
    d.b_number = IsNumber(y, d.b);
    emit(std::move(d));
  }

  // The paths under A's value `v` (path_ is its own), for the patterns that
  // have matched nothing yet.
  void scanA(const View& v) {
    if (v.node.value != Node::kNone) return;
    for (std::uint32_t c = v.children; c < v.end && patterns_.tracking();) {
      const View child = a_.view(c);
      const std::size_t mark = path_.size();
      path_ += SegmentText(child, false);
      patterns_.seen(path_);
      scanA(child);
      path_.resize(mark);
      c = child.end;
    }
  }

  void emit(Difference&& d) {
    ++count_;
    sink_(d);
  }

  const Tree& a_;
  const bool force_;
  Patterns& patterns_;
  const DifferenceSink& sink_;
  std::size_t& count_;
  std::vector<Frame> frames_;
  std::string path_;
};

DiffInput InputOf(const WalkSummary& summary, const InputFacts& facts) {
  DiffInput in;
  in.status = summary.status();
  in.kind = facts.kind;
  if (in.status != 0) {
    in.problem = !facts.problem.empty()
                     ? facts.problem
                     : "dump reports a problem (exit status " + std::to_string(in.status) + ")";
  }
  return in;
}

}  // namespace

}  // namespace diff_detail

bool PathMatches(const std::string& pattern, const std::string& path) {
  return LevelsMatch(PathLevels(pattern), PathLevels(path));
}

DiffReport DiffRequests(const std::string& a_bytes, const std::string& b_bytes, const DiffOptions& options,
                        const DifferenceSink& sink) {
  using namespace diff_detail;
  DiffReport report;
  // A is kept as a tree; B is compared with it as it is read, and not kept.
  // One after the other: the library starts no threads of its own.
  Tree a;
  TreeBuilder builder(a);
  const WalkSummary a_summary =
      Walk(reinterpret_cast<const unsigned char*>(a_bytes.data()), a_bytes.size(), builder);
  Patterns patterns(options.ignore);
  Comparer comparer(a, options.force, patterns, sink, report.differences);
  const WalkSummary b_summary =
      Walk(reinterpret_cast<const unsigned char*>(b_bytes.data()), b_bytes.size(), comparer);
  report.a = InputOf(a_summary, builder.facts());
  report.b = InputOf(b_summary, comparer.facts());
  report.kind_mismatch =
      !options.force && !report.a.kind.empty() && !report.b.kind.empty() && report.a.kind != report.b.kind;
  report.unmatched_ignores = patterns.unmatched();
  return report;
}

DiffResult CollectDifferences(const std::string& a, const std::string& b, const DiffOptions& options) {
  DiffResult result;
  result.report =
      DiffRequests(a, b, options, [&result](const Difference& d) { result.differences.push_back(d); });
  return result;
}

std::vector<Difference> DiffRequests(const std::string& a, const std::string& b,
                                     const std::vector<std::string>& ignore) {
  DiffOptions options;
  options.ignore = ignore;
  return CollectDifferences(a, b, options).differences;
}

std::vector<Difference> DiffWalks(const std::function<void(TreeSink&)>& a,
                                  const std::function<void(TreeSink&)>& b) {
  using namespace diff_detail;
  Tree ta;
  {
    TreeBuilder builder(ta);
    a(builder);
  }
  std::vector<Difference> out;
  std::size_t count = 0;
  Patterns none({});
  const DifferenceSink sink = [&out](const Difference& d) { out.push_back(d); };
  Comparer comparer(ta, false, none, sink, count);
  b(comparer);
  return out;
}

}  // namespace navreq
