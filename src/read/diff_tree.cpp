#include "diff_tree.h"

#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "navreq/read/paths.h"
#include "navreq/read/text.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "wire_cursor.h"

namespace navreq {
namespace diff_detail {

namespace {

constexpr std::size_t kShownBytes = 32;

std::string BytesShown(std::string_view data) {
  const std::size_t n = data.size() < kShownBytes ? data.size() : kShownBytes;
  std::string text = HexOf(data.data(), n);
  if (n < data.size()) text += "... (" + std::to_string(data.size()) + " bytes)";
  if (data.empty()) text = "(empty)";
  return text;
}

}  // namespace

void Collector::begin(std::string_view, std::size_t size, bool, std::size_t inflated, std::string_view) {
  // About one value per four bytes: grown rarely.
  tree_.nodes.reserve((inflated > size ? inflated : size) / 4 + 16);
  push(Node());
}

void Collector::end() {
  while (!open_.empty()) pop();
}

void Collector::scalar(const Item& item, const Scalar& v) {
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

void Collector::bytes(const Item& item, std::string_view data) {
  if (skipping_ > 0 || item.role == Role::kKey) return;
  Node n = node(item);
  n.value = Node::kBytes;
  keep(n, data);
  leaf(n);
}

void Collector::open(const Item& item, std::int64_t) {
  if (skipping_ > 0 || item.role == Role::kKey) {
    ++skipping_;
    return;
  }
  push(node(item));
}

void Collector::close(const Item&) {
  if (skipping_ > 0) {
    --skipping_;
    return;
  }
  pop();
}

void Collector::openEmbedded(const Item& item, std::string_view data, const Embedding& e) {
  // An inflated body holds about one value per two or three bytes.
  if (tree_.nodes.capacity() - tree_.nodes.size() < data.size() / 3) {
    tree_.nodes.reserve(tree_.nodes.size() + data.size() / 3 + 16);
  }
  const bool shown = skipping_ == 0 && item.role != Role::kKey;
  open(item, 0);
  if (shown) encoding_.push_back(e.encoding_problem);
}

void Collector::closeEmbedded(const Item& item) {
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

void Collector::protobufField(std::size_t, std::size_t, std::uint64_t number, int wire, std::uint64_t value,
                              std::string_view data) {
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

void Collector::undecoded(std::size_t, std::string_view rest, const std::string&) {
  if (skipping_ > 0) return;
  Node n;
  n.segment = Node::kUndecoded;
  n.wire = kKseSimpleList;
  n.value = Node::kBytes;
  keep(n, rest);
  leaf(n);
}

Node Collector::node(const Item& item) {
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

void Collector::keep(Node& n, std::string_view data) {
  n.num = static_cast<std::int64_t>(tree_.arena.size());
  n.text_len = static_cast<std::uint32_t>(data.size());
  tree_.arena.append(data);
}

void Collector::leaf(Node& n) {
  n.end = static_cast<std::uint32_t>(tree_.nodes.size() + 1);
  tree_.nodes.push_back(n);
}

void Collector::push(const Node& n) {
  open_.push_back(tree_.nodes.size());
  tree_.nodes.push_back(n);
  occurrences_.emplace_back();
}

void Collector::pop() {
  tree_.nodes[open_.back()].end = static_cast<std::uint32_t>(tree_.nodes.size());
  open_.pop_back();
  occurrences_.pop_back();
}

Tree Collect(const std::string& bytes) {
  Tree tree;
  Collector collector(tree);
  (void)Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), collector);
  return tree;
}

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

}  // namespace diff_detail
}  // namespace navreq
