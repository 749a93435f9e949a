// Request A's values as diff keeps them: packed into bytes by TreeBuilder,
// read back one at a time by Tree::view.
#include <cstdint>
#include <string>
#include <string_view>

#include "diff_tree.h"

namespace navreq {
namespace diff_detail {

// The packed form of a value: a byte of segment kind, value kind and whether
// a name follows; its head type; for a container, where its subtree ends (4
// bytes, written at its close); its segment (a tag byte, a position, a key or
// field number as a variable-length integer, a text key as length and bytes);
// its name's number; its value (an integer zigzagged, a real's 8 bytes, a
// text as length and bytes, a container's record name likewise).
namespace {

constexpr std::uint8_t kNamed = 0x80;

std::uint64_t Zigzag(std::int64_t v) {
  return (static_cast<std::uint64_t>(v) << 1) ^ (v < 0 ? ~std::uint64_t{0} : 0);
}

std::int64_t Unzigzag(std::uint64_t v) {
  return static_cast<std::int64_t>(v >> 1) ^ -static_cast<std::int64_t>(v & 1);
}

// Reads what TreeBuilder wrote: no bounds to check beyond its own.
struct Unpacker {
  const std::string& bytes;
  std::size_t at;

  std::uint8_t byte() { return static_cast<std::uint8_t>(bytes[at++]); }
  std::uint64_t varint() {
    std::uint64_t v = 0;
    for (int shift = 0;; shift += 7) {
      const std::uint8_t b = byte();
      v |= static_cast<std::uint64_t>(b & 0x7F) << shift;
      if ((b & 0x80) == 0) return v;
    }
  }
  std::uint64_t fixed(int n) {
    std::uint64_t v = 0;
    for (int i = 0; i < n; ++i) v |= static_cast<std::uint64_t>(byte()) << (8 * i);
    return v;
  }
  std::string_view text() {
    const auto n = static_cast<std::size_t>(varint());
    const std::string_view t = std::string_view(bytes).substr(at, n);
    at += n;
    return t;
  }
};

}  // namespace

View Tree::view(std::uint32_t at) const {
  Unpacker u{bytes_, at};
  View v;
  Node& n = v.node;
  const std::uint8_t kinds = u.byte();
  n.segment = static_cast<Node::Segment>(kinds & 0x7);
  n.value = static_cast<Node::Value>((kinds >> 3) & 0x7);
  n.wire = u.byte();
  const bool container = n.value == Node::kNone;
  if (container) v.end = static_cast<std::uint32_t>(u.fixed(4));
  switch (n.segment) {
    case Node::kField:
      n.seg = u.byte();
      break;
    case Node::kIndex:
    case Node::kProto:
      n.seg = static_cast<std::int64_t>(u.varint());
      break;
    case Node::kKeyInt:
      n.seg = Unzigzag(u.varint());
      break;
    case Node::kKeyText:
      v.key = u.text();
      break;
    default:
      break;
  }
  if ((kinds & kNamed) != 0) n.name = names_[static_cast<std::size_t>(u.varint())];
  switch (n.value) {
    case Node::kInt:
      n.num = Unzigzag(u.varint());
      break;
    case Node::kReal:
      n.num = static_cast<std::int64_t>(u.fixed(8));
      break;
    default:
      v.data = u.text();
  }
  v.children = static_cast<std::uint32_t>(u.at);
  if (!container) v.end = v.children;
  return v;
}

void TreeBuilder::expect(std::size_t bytes) {
  // About twice the bytes read: grown rarely.
  std::string& b = tree_.bytes_;
  if (b.capacity() - b.size() < 2 * bytes) b.reserve(b.size() + 2 * bytes + 64);
}

void TreeBuilder::varint(std::uint64_t v) {
  while (v >= 0x80) {
    tree_.bytes_ += static_cast<char>((v & 0x7F) | 0x80);
    v >>= 7;
  }
  tree_.bytes_ += static_cast<char>(v);
}

void TreeBuilder::text(std::string_view t) {
  varint(t.size());
  tree_.bytes_.append(t);
}

void TreeBuilder::put(const View& v, bool container) {
  const Node& n = v.node;
  std::string& b = tree_.bytes_;
  const bool named = n.segment == Node::kField && n.name != nullptr;
  b += static_cast<char>(n.segment | (n.value << 3) | (named ? kNamed : 0));
  b += static_cast<char>(n.wire);
  if (container) {
    stack_.push_back(static_cast<std::uint32_t>(b.size()));
    b.append(4, '\0');
  }
  switch (n.segment) {
    case Node::kField:
      b += static_cast<char>(n.seg);
      break;
    case Node::kIndex:
    case Node::kProto:
      varint(static_cast<std::uint64_t>(n.seg));
      break;
    case Node::kKeyInt:
      varint(Zigzag(n.seg));
      break;
    case Node::kKeyText:
      text(v.key);
      break;
    default:
      break;
  }
  if (named) {
    const auto [it, added] = name_numbers_.emplace(n.name, static_cast<std::uint32_t>(tree_.names_.size()));
    if (added) tree_.names_.push_back(n.name);
    varint(it->second);
  }
  switch (n.value) {
    case Node::kInt:
      varint(Zigzag(n.num));
      break;
    case Node::kReal:
      for (int i = 0; i < 8; ++i) b += static_cast<char>(static_cast<std::uint64_t>(n.num) >> (8 * i));
      break;
    default:
      text(v.data);
  }
}

void TreeBuilder::onLeaf(const View& v) { put(v, false); }

void TreeBuilder::onOpen(const View& v) { put(v, true); }

void TreeBuilder::onClose() {
  std::string& b = tree_.bytes_;
  const auto end = static_cast<std::uint32_t>(b.size());
  for (int i = 0; i < 4; ++i)
    b[stack_.back() + static_cast<std::size_t>(i)] = static_cast<char>(end >> (8 * i));
  stack_.pop_back();
}

}  // namespace diff_detail
}  // namespace navreq
