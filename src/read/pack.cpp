#include "navreq/read/pack.h"

#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "pack_tree.h"

namespace navreq {

namespace {

using json = nlohmann::json;
using pack_detail::Fail;
using pack_detail::Frame;
using pack_detail::TreeBytes;
using pack_detail::Value;

Value OtherValue() {
  Value v;
  v.kind = Value::kOther;
  return v;
}

class Packer final : public nlohmann::json_sax<json> {
 public:
  explicit Packer(Compressor gzip) : gzip_(std::move(gzip)) {}
  std::string take() { return std::move(result_); }

  bool null() override { return scalar(OtherValue()); }
  bool boolean(bool v) override {
    Value x;
    x.kind = Value::kBool;
    x.b = v;
    return scalar(std::move(x));
  }
  bool number_integer(number_integer_t v) override {
    Value x;
    x.kind = Value::kInt;
    x.i = v;
    return scalar(std::move(x));
  }
  bool number_unsigned(number_unsigned_t v) override {
    Value x;
    x.kind = Value::kUInt;
    x.u = v;
    return scalar(std::move(x));
  }
  bool number_float(number_float_t v, const string_t& text) override {
    Value x;
    x.kind = Value::kFloat;
    x.d = v;
    x.s = text;  // a float field reads the decimal text itself, rounded once
    return scalar(std::move(x));
  }
  bool string(string_t& v) override {
    Value x;
    x.kind = Value::kString;
    x.s = std::move(v);
    return scalar(std::move(x));
  }
  bool binary(binary_t&) override { return scalar(OtherValue()); }

  bool key(string_t& k) override {
    frames_.back().key = std::move(k);
    return true;
  }

  bool start_object(std::size_t) override {
    Frame f;
    if (frames_.empty()) {
      f.kind = Frame::kRoot;
      f.path = "$";
    } else {
      Frame& parent = frames_.back();
      f.path = childPath(parent);
      f.kind = objectKind(parent);
      if (parent.kind == Frame::kNodes || parent.kind == Frame::kEntries) ++parent.index;
    }
    frames_.push_back(std::move(f));
    return true;
  }

  bool end_object() override {
    Frame f = std::move(frames_.back());
    frames_.pop_back();
    switch (f.kind) {
      case Frame::kRoot:
        result_ = bytes_.root(f);
        return true;
      case Frame::kNode: {
        std::string bytes;
        bytes_.node(f, bytes);
        deliver(std::move(bytes), f.path);
        return true;
      }
      case Frame::kBuffer: {
        Frame& parent = frames_.back();
        parent.has_content = true;
        parent.content = bytes_.fields(f);
        return true;
      }
      case Frame::kMessage: {
        Frame& parent = frames_.back();
        parent.has_content = true;
        parent.content = TreeBytes::hexOf(f, f.hex, "hex");
        return true;
      }
      case Frame::kUndecoded: {
        Frame& parent = frames_.back();
        parent.has_undecoded = true;
        parent.undecoded = TreeBytes::hexOf(f, f.hex, "hex");
        return true;
      }
      case Frame::kEntry: {
        if (!f.has_key) Fail(f.path, "missing \"key\"");
        Frame& entries = frames_.back();
        entries.children += f.key_bytes;
        if (f.has_value) {
          entries.children += f.value_bytes;
        } else if (entries.open_entry.empty()) {
          entries.open_entry = f.path;
        }
        ++entries.child_count;
        return true;
      }
      default:
        return true;
    }
  }

  bool start_array(std::size_t) override {
    Frame f;
    if (frames_.empty()) Fail("$", "expected an object");
    Frame& parent = frames_.back();
    f.path = childPath(parent);
    if (parent.kind == Frame::kNodes || parent.kind == Frame::kEntries) {
      Fail(f.path, "expected an object");
    }
    f.kind = Frame::kIgnore;
    if (parent.kind == Frame::kRoot || parent.kind == Frame::kBuffer || parent.kind == Frame::kNode) {
      if (parent.key == "fields" || (parent.kind == Frame::kNode && parent.key == "items"))
        f.kind = Frame::kNodes;
      if (parent.kind == Frame::kNode && parent.key == "entries") f.kind = Frame::kEntries;
    }
    if (f.kind == Frame::kIgnore && parent.kind == Frame::kNode &&
        scalarMember(parent, parent.key) != nullptr) {
      scalarMember(parent, parent.key)->kind = Value::kOther;  // an array where a scalar belongs
    }
    frames_.push_back(std::move(f));
    return true;
  }

  bool end_array() override {
    Frame f = std::move(frames_.back());
    frames_.pop_back();
    if (f.kind != Frame::kNodes && f.kind != Frame::kEntries) return true;
    Frame& parent = frames_.back();
    parent.has_children = true;
    parent.children_are_entries = f.kind == Frame::kEntries;
    parent.children = std::move(f.children);
    parent.child_count = f.child_count;
    parent.open_entry = std::move(f.open_entry);
    return true;
  }

  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& e) override {
    throw PackError(std::string("not JSON: ") + e.what());
  }

 private:
  static std::string childPath(const Frame& parent) {
    if (parent.kind == Frame::kNodes || parent.kind == Frame::kEntries || parent.kind == Frame::kIgnore) {
      if (parent.kind != Frame::kIgnore) return parent.path + "[" + std::to_string(parent.index) + "]";
    }
    return parent.path + "." + parent.key;
  }

  static Frame::Kind objectKind(Frame& parent) {
    switch (parent.kind) {
      case Frame::kNodes:
        return Frame::kNode;
      case Frame::kEntries:
        return Frame::kEntry;
      case Frame::kEntry:
        return parent.key == "key" || parent.key == "value" ? Frame::kNode : Frame::kIgnore;
      case Frame::kRoot:
      case Frame::kBuffer:
        return parent.key == "undecoded" ? Frame::kUndecoded : Frame::kIgnore;
      case Frame::kNode:
        if (parent.key == "kse") return Frame::kBuffer;
        if (parent.key == "message") return Frame::kMessage;
        if (Value* v = scalarMember(parent, parent.key))
          v->kind = Value::kOther;  // an object where a scalar belongs
        return Frame::kIgnore;
      default:
        return Frame::kIgnore;
    }
  }

  static Value* scalarMember(Frame& f, const std::string& k) {
    // By length first: most keys of a tree are names, offsets and lengths
    // that pack does not read.
    switch (k.size()) {
      case 3:
        if (k == "tag") return &f.tag;
        if (k == "hex") return &f.hex;
        return nullptr;
      case 4:
        if (k == "type") return &f.type;
        if (k == "bits") return &f.bits;
        if (k == "gzip") return &f.gzip;
        return nullptr;
      case 5:
        if (k == "value") return &f.value;
        if (k == "count") return &f.count;
        return nullptr;
      case 7:
        return k == "end_tag" ? &f.end_tag : nullptr;
      case 9:
        return k == "long_head" ? &f.long_head : nullptr;
      case 10:
        if (k == "incomplete") return &f.incomplete;
        if (k == "count_type") return &f.count_type;
        return nullptr;
      case 11:
        return k == "navreq_tree" ? &f.version : nullptr;
      default:
        return nullptr;
    }
  }

  bool scalar(Value v) {
    if (frames_.empty()) Fail("$", "expected an object");
    Frame& f = frames_.back();
    if (f.kind == Frame::kNodes || f.kind == Frame::kEntries) Fail(childPath(f), "expected an object");
    if (f.kind == Frame::kIgnore) return true;
    const bool holder = f.kind == Frame::kRoot || f.kind == Frame::kBuffer || f.kind == Frame::kNode;
    if (holder &&
        (f.key == "fields" || (f.kind == Frame::kNode && (f.key == "items" || f.key == "entries")))) {
      Fail(f.path + "." + f.key, "expected an array");
    }
    if (f.kind == Frame::kNode && (f.key == "kse" || f.key == "message"))
      Fail(f.path + "." + f.key, "expected an object");
    if (f.kind == Frame::kEntry && (f.key == "key" || f.key == "value"))
      Fail(f.path + "." + f.key, "expected an object");
    if (Value* slot = scalarMember(f, f.key)) *slot = std::move(v);
    return true;
  }

  // A node's bytes, or an entry's key or value, go to its container.
  void deliver(std::string bytes, const std::string& path) {
    Frame& parent = frames_.back();
    if (parent.kind == Frame::kEntry) {
      if (parent.key == "key") {
        parent.has_key = true;
        parent.key_bytes = std::move(bytes);
      } else {
        parent.has_value = true;
        parent.value_bytes = std::move(bytes);
      }
      return;
    }
    (void)path;
    parent.children += bytes;
    ++parent.child_count;
  }

  Compressor gzip_;
  TreeBytes bytes_{gzip_};
  std::vector<Frame> frames_;
  std::string result_;
};

}  // namespace

std::string PackStream(std::istream& in, Compressor gzip) {
  Packer packer(std::move(gzip));
  try {
    json::sax_parse(in, &packer);
  } catch (const json::exception& e) {
    throw PackError(std::string("not JSON: ") + e.what());
  }
  return packer.take();
}

std::string PackJson(std::string_view tree, Compressor gzip) {
  std::istringstream in{std::string(tree)};
  return PackStream(in, std::move(gzip));
}

}  // namespace navreq
