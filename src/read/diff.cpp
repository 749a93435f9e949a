#include "navreq/read/diff.h"

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

}  // namespace

}  // namespace diff_detail

bool PathMatches(const std::string& pattern, const std::string& path) {
  return LevelsMatch(PathLevels(pattern), PathLevels(path));
}

std::vector<Difference> DiffRequests(const std::string& a_bytes, const std::string& b_bytes,
                                     const std::vector<std::string>& ignore) {
  // One after the other: the library starts no threads of its own (a caller
  // that wants both trees read at once owns that choice).
  const diff_detail::Tree a = diff_detail::Collect(a_bytes);
  const diff_detail::Tree b = diff_detail::Collect(b_bytes);
  std::vector<Difference> out;
  diff_detail::Comparer(a, b, ignore, out).run();
  return out;
}

std::vector<Difference> DiffWalks(const std::function<void(TreeSink&)>& a,
                                  const std::function<void(TreeSink&)>& b) {
  diff_detail::Tree ta;
  diff_detail::Tree tb;
  {
    diff_detail::Collector collector(ta);
    a(collector);
  }
  {
    diff_detail::Collector collector(tb);
    b(collector);
  }
  std::vector<Difference> out;
  diff_detail::Comparer(ta, tb, {}, out).run();
  return out;
}

}  // namespace navreq
