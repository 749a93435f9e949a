// The tree that diff and flatten read a request into: collected from the walk
// (diff_tree.cpp), compared (diff.cpp) and written out (diff_output.cpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "navreq/read/walk.h"

namespace navreq {
namespace diff_detail {

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
  void begin(std::string_view, std::size_t size, bool, std::size_t inflated, std::string_view) override;
  void end() override;

  void scalar(const Item& item, const Scalar& v) override;

  void bytes(const Item& item, std::string_view data) override;

  void open(const Item& item, std::int64_t) override;
  void close(const Item&) override;
  void openEmbedded(const Item& item, std::string_view data, const Embedding& e) override;
  void closeEmbedded(const Item& item) override;

  void protobufField(std::size_t, std::size_t, std::uint64_t number, int wire, std::uint64_t value,
                     std::string_view data) override;

  void missing(const FieldInfo&) override {}

  void undecoded(std::size_t, std::string_view rest, const std::string&) override;

 private:
  Node node(const Item& item);

  void keep(Node& n, std::string_view data);

  void leaf(Node& n);

  void push(const Node& n);

  void pop();

  Tree& tree_;
  std::vector<std::size_t> open_;
  std::vector<std::map<std::uint64_t, std::int64_t>> occurrences_;  // protocol-buffers fields seen per level
  int skipping_ = 0;
  std::vector<const char*> encoding_;  // per embedding shown: its encoding problem, or null
};

Tree Collect(const std::string& bytes);

// The text of a node's level in a path ("" for the root).
std::string SegmentText(const Tree& t, const Node& n, bool first);

std::string Shown(const Tree& t, const Node& n);

}  // namespace diff_detail
}  // namespace navreq
