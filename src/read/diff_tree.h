// The values that diff and flatten read a request into. A NodeReader turns
// the walk into one event per value (a leaf, or a container opened and
// closed); TreeBuilder keeps them as a flat tree (the first request of a
// diff, a flatten), and the comparison (diff.cpp) meets the second request's
// events against that tree as they come, so only one tree is ever held.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "navreq/read/walk.h"

namespace navreq {
namespace diff_detail {

// One value of a request.
struct Node {
  enum Segment : std::uint8_t { kRoot, kField, kIndex, kKeyInt, kKeyText, kProto, kUndecoded, kEncoding };
  enum Value : std::uint8_t { kNone, kInt, kReal, kText, kBytes };
  Segment segment = kRoot;
  Value value = kNone;
  std::uint8_t wire = 0;
  std::int64_t seg = 0;        // kField: tag; kIndex: position; kKeyInt: key; kProto: number, occurrence
  const char* name = nullptr;  // kField of a declared field
  std::int64_t num = 0;        // kInt: value; kReal: bit pattern
};

// A node with the bytes it names (in a kept tree, or in the walk's buffers
// for a value being read) and, in a kept tree, where it and its subtree are.
struct View {
  Node node;
  std::string_view key;        // kKeyText: the key
  std::string_view data;       // kText, kBytes: the value; a carried container: its record's name
  std::uint32_t children = 0;  // kept: where its first child is (a container)
  std::uint32_t end = 0;       // kept: one past its subtree
};

// The values of a request packed into bytes, in the order of the bytes; a
// container is followed by its subtree. Each value takes a few bytes more
// than its own (a head byte, its type, its tag or position, a name number,
// the value in a variable-length form, texts in full), so a tree costs about
// twice the request it comes from, whatever its values.
class Tree {
 public:
  bool empty() const { return bytes_.empty(); }
  // The value at `at`: 0 is the top.
  View view(std::uint32_t at) const;

 private:
  friend class TreeBuilder;
  std::string bytes_;
  std::vector<const char*> names_;  // field names, by number
};

// The record name of carried bytes that hold a protocol-buffers message
// (no record name can begin with '#').
inline constexpr const char* kMessageCarried = "#message";

// What reading one request found besides its values: dump's status, its
// first problem as one line, and its command.
struct InputFacts {
  std::string problem;  // "PATH: what", empty when nothing was found
  std::string kind;     // the command ("CMD_ROUTE_CAR_SNS", "Packet kind 1 (...)"); empty: no envelope
};

// Turns the walk into value events. Keys name their values and are not values
// of their own; a body not encoded as its command says gets an <encoding>
// leaf, last among the body's children (as its segment kind sorts).
class NodeReader : public TreeSink {
 public:
  bool wantsLengths() const override { return false; }
  void begin(std::string_view record, std::size_t size, bool, std::size_t inflated,
             std::string_view) override;
  void end() override;
  void scalar(const Item& item, const Scalar& v) override;
  void bytes(const Item& item, std::string_view data) override;
  void open(const Item& item, std::int64_t) override;
  void close(const Item&) override;
  void openEmbedded(const Item& item, std::string_view data, const Embedding& e) override;
  void closeEmbedded(const Item& item) override;
  void protobufField(std::size_t, std::size_t, std::uint64_t number, int wire, std::uint64_t value,
                     std::string_view data) override;
  void missing(const FieldInfo& field) override;
  void undecoded(std::size_t offset, std::string_view rest, const std::string& why) override;

  // Once the walk has ended.
  [[nodiscard]] InputFacts facts() const;

 protected:
  // The bytes the walk is about to read, for a reader that sizes its storage.
  virtual void expect(std::size_t /*bytes*/) {}
  virtual void onLeaf(const View& v) = 0;
  virtual void onOpen(const View& v) = 0;
  virtual void onClose() = 0;

 private:
  Node node(const Item& item) const;
  void leaf(const Node& n, std::string_view data, std::string_view key = {});
  void push(const Node& n, std::string_view data, std::string_view key = {});
  void pop();
  // Notes the first problem, at the path of the open containers (and `last`).
  void note(const std::string& what, const View* last);
  void noteItem(const Item& item);

  std::vector<Node> open_;              // the containers open, the root first (for problem paths)
  std::vector<std::string_view> keys_;  // ... and their keys, held by the walk while they are open
  std::vector<std::map<std::uint64_t, std::int64_t>> occurrences_;  // protocol-buffers fields seen per level
  int skipping_ = 0;
  std::vector<const char*> encoding_;  // per embedding shown: its encoding problem, or null
  std::string problem_;
  std::string envelope_;
  std::int64_t number_ = -1;  // Package: command number; Packet: kind
  std::string command_;       // Package: command name
};

// Keeps the values as a Tree.
class TreeBuilder final : public NodeReader {
 public:
  explicit TreeBuilder(Tree& tree) : tree_(tree) {}

 private:
  void expect(std::size_t bytes) override;
  void onLeaf(const View& v) override;
  void onOpen(const View& v) override;
  void onClose() override;
  void put(const View& v, bool container);
  void varint(std::uint64_t v);
  void text(std::string_view t);

  Tree& tree_;
  std::vector<std::uint32_t> stack_;  // the containers open: where their end is written
  std::unordered_map<const char*, std::uint32_t> name_numbers_;
};

// The text of a value's level in a path ("" for the root); the field's name
// only when `named`, else its tag.
std::string SegmentText(const View& v, bool first, bool named = true);

std::string Shown(const View& v);

}  // namespace diff_detail
}  // namespace navreq
