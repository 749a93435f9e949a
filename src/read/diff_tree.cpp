#include "diff_tree.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "navreq/read/paths.h"
#include "navreq/read/text.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "request_records.h"
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

// What is wrong with a value, in dump's words; empty when nothing is.
std::string ProblemText(const Item& item) {
  const Problem p = item.problem != Problem::kNone ? item.problem : item.also;
  const std::string tag = std::to_string(item.tag);
  switch (p) {
    case Problem::kNone:
      break;
    case Problem::kUnknownTag:
      return "unknown tag " + tag;
    case Problem::kDuplicateTag:
    case Problem::kOutOfOrder:
      return "repeated or out-of-order tag " + tag;
    case Problem::kUnexpectedTag:
      return "unexpected tag " + tag + (item.role == Role::kValue ? ": 1 expected" : ": 0 expected");
    case Problem::kDuplicateKey:
      return "repeated key";
    case Problem::kTypeMismatch:
      return std::string("type mismatch: declared ") +
             (item.declared != nullptr ? item.declared->name() : "?") + ", head " + WireName(item.wire);
    case Problem::kOutOfRange:
      return std::string("type mismatch: value outside ") +
             (item.declared != nullptr ? item.declared->name() : "?");
  }
  return {};
}

bool Fits32(std::int64_t v) { return v >= INT32_MIN && v <= INT32_MAX; }

}  // namespace

void NodeReader::begin(std::string_view record, std::size_t size, bool, std::size_t inflated,
                       std::string_view) {
  envelope_ = std::string(record);
  expect(inflated > size ? inflated : size);
  push(Node(), {});
}

void NodeReader::end() {
  while (!open_.empty()) pop();
}

void NodeReader::scalar(const Item& item, const Scalar& v) {
  noteItem(item);
  if (skipping_ > 0 || item.role == Role::kKey) return;  // a key names its value
  if (open_.size() == 1 && item.role == Role::kField) {
    // The envelope's fields that say which request this is.
    const bool text = item.wire == kKseString1 || item.wire == kKseString4;
    if (envelope_ == PackageInfo().name) {
      if (item.tag == kPackageCommandTag && !text) number_ = v.integer;
      if (item.tag == kPackageCommandNameTag && text) command_ = std::string(v.text);
    } else if (envelope_ == PacketInfo().name && item.tag == kPacketKindTag && !text) {
      number_ = v.integer;
    }
  }
  Node n = node(item);
  std::string_view data;
  switch (item.wire) {
    case kKseFloat:
    case kKseDouble:
      n.value = Node::kReal;
      n.num = static_cast<std::int64_t>(v.bits);
      break;
    case kKseString1:
    case kKseString4:
      n.value = Node::kText;
      data = v.text;
      break;
    default:
      n.value = Node::kInt;
      n.num = v.integer;
  }
  leaf(n, data, item.key);
}

void NodeReader::bytes(const Item& item, std::string_view data) {
  noteItem(item);
  if (skipping_ > 0 || item.role == Role::kKey) return;
  Node n = node(item);
  n.value = Node::kBytes;
  leaf(n, data, item.key);
}

void NodeReader::open(const Item& item, std::int64_t) {
  noteItem(item);
  if (skipping_ > 0 || item.role == Role::kKey) {
    ++skipping_;
    return;
  }
  push(node(item), {}, item.key);
}

void NodeReader::close(const Item&) {
  if (skipping_ > 0) {
    --skipping_;
    return;
  }
  pop();
}

void NodeReader::openEmbedded(const Item& item, std::string_view data, const Embedding& e) {
  noteItem(item);
  if (skipping_ > 0 || item.role == Role::kKey) {
    ++skipping_;
    return;
  }
  expect(data.size());
  push(node(item), e.protobuf ? std::string_view(kMessageCarried) : e.record, item.key);
  encoding_.push_back(e.encoding_problem);
  if (e.encoding_problem != nullptr) note(e.encoding_problem, nullptr);
}

void NodeReader::closeEmbedded(const Item& item) {
  if (skipping_ == 0) {
    // Only where it is wrong, so the same body sent as the table says differs here.
    const char* problem = encoding_.back();
    encoding_.pop_back();
    if (problem != nullptr) {
      Node n;
      n.segment = Node::kEncoding;
      n.value = Node::kText;
      leaf(n, problem);
    }
  }
  close(item);
}

void NodeReader::protobufField(std::size_t, std::size_t, std::uint64_t number, int wire, std::uint64_t value,
                               std::string_view data) {
  if (skipping_ > 0) return;
  std::map<std::uint64_t, std::int64_t>& seen = occurrences_.back();
  Node n;
  n.segment = Node::kProto;
  n.seg = static_cast<std::int64_t>((number << 20) | static_cast<std::uint64_t>(seen[number]++));
  n.wire = static_cast<std::uint8_t>(wire);
  if (wire == 2) {
    n.value = Node::kBytes;
    leaf(n, data);
  } else {
    n.value = Node::kInt;
    n.num = static_cast<std::int64_t>(value);
    leaf(n, {});
  }
}

void NodeReader::missing(const FieldInfo& field) {
  if (!problem_.empty()) return;
  note("missing: " + std::to_string(field.tag) + " " + field.name + " (" + field.type->name() + ")", nullptr);
}

void NodeReader::undecoded(std::size_t offset, std::string_view rest, const std::string& why) {
  note("decoding stopped at offset " + std::to_string(offset) + ": " + why, nullptr);
  if (skipping_ > 0) return;
  Node n;
  n.segment = Node::kUndecoded;
  n.wire = kKseSimpleList;
  n.value = Node::kBytes;
  leaf(n, rest);
}

InputFacts NodeReader::facts() const {
  InputFacts f;
  f.problem = problem_;
  if (envelope_ == PackageInfo().name) {
    const navkse::CommandInfo* c =
        Fits32(number_) ? navkse::findPackageCommand(static_cast<std::int32_t>(number_), command_) : nullptr;
    f.kind =
        c != nullptr ? std::string(c->name) : "command " + std::to_string(number_) + " " + Quote(command_);
  } else if (envelope_ == PacketInfo().name) {
    const navkse::CommandInfo* c =
        Fits32(number_) ? navkse::findPacketKind(static_cast<std::int32_t>(number_)) : nullptr;
    f.kind =
        "Packet kind " + std::to_string(number_) + (c != nullptr ? " (" + std::string(c->entry) + ")" : "");
  } else if (f.problem.empty()) {
    f.problem = "no envelope recognised: neither a Package nor a Packet";
  }
  return f;
}

Node NodeReader::node(const Item& item) const {
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
      }
      break;
    }
  }
  return n;
}

void NodeReader::leaf(const Node& n, std::string_view data, std::string_view key) {
  View v;
  v.node = n;
  v.key = key;
  v.data = data;
  onLeaf(v);
}

void NodeReader::push(const Node& n, std::string_view data, std::string_view key) {
  open_.push_back(n);
  keys_.push_back(key);
  occurrences_.emplace_back();
  View v;
  v.node = n;
  v.key = key;
  v.data = data;
  onOpen(v);
}

void NodeReader::pop() {
  open_.pop_back();
  keys_.pop_back();
  occurrences_.pop_back();
  onClose();
}

void NodeReader::note(const std::string& what, const View* last) {
  if (!problem_.empty()) return;
  std::string path;
  for (std::size_t i = 1; i < open_.size(); ++i) {
    View v;
    v.node = open_[i];
    v.key = keys_[i];
    path += SegmentText(v, i == 1);
  }
  if (last != nullptr) path += SegmentText(*last, open_.size() <= 1);
  problem_ = path.empty() ? what : path + ": " + what;
}

void NodeReader::noteItem(const Item& item) {
  if (!problem_.empty() || (item.problem == Problem::kNone && item.also == Problem::kNone)) return;
  View v;
  v.node = node(item);
  v.key = item.key;
  note(ProblemText(item), &v);
}

std::string SegmentText(const View& v, bool first, bool named) {
  const Node& n = v.node;
  std::string text;
  switch (n.segment) {
    case Node::kRoot:
      break;
    case Node::kField:
      AppendFieldLevel(text, named ? n.name : nullptr, n.seg, first);
      break;
    case Node::kIndex:
    case Node::kKeyInt:
      AppendIndexLevel(text, n.seg);
      break;
    case Node::kKeyText:
      AppendKeyLevel(text, v.key, false);
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

std::string Shown(const View& v) {
  const Node& n = v.node;
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
      return Quote(v.data);
    case Node::kBytes:
      return BytesShown(v.data);
  }
  return {};
}

}  // namespace diff_detail
}  // namespace navreq
