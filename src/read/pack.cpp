#include "navreq/read/pack.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "navreq/read/paths.h"
#include "pack_tree.h"

namespace navreq {

namespace {

using json = nlohmann::json;
using pack_detail::Fail;
using pack_detail::Frame;
using pack_detail::Note;
using pack_detail::Span;
using pack_detail::TreeBytes;
using pack_detail::TreeFault;
using pack_detail::Value;

Value OtherValue() {
  Value v;
  v.kind = Value::kOther;
  return v;
}

// A key that pack does not write but checks against what dump shows for the
// bytes it wrote (pack_check.cpp), by the kind of object that holds it.
bool NotedKey(Frame::Kind kind, const std::string& k) {
  switch (kind) {
    case Frame::kNode:
      return k == "name" || k == "declared" || k == "problem" || k == "encoding_problem" || k == "error";
    case Frame::kRoot:
      return k == "record" || k == "error";
    case Frame::kBuffer:
      return k == "record";
    case Frame::kUndecoded:
      return k == "why";
    case Frame::kProtoField:
      return k == "name";
    default:
      return false;
  }
}

std::string NoteText(const Value& v) {
  switch (v.kind) {
    case Value::kString:
      return v.s;
    case Value::kInt:
      return std::to_string(v.i);
    case Value::kUInt:
      return std::to_string(v.u);
    default:
      return "(not a string or integer)";
  }
}

class Packer final : public nlohmann::json_sax<json> {
 public:
  explicit Packer(Compressor gzip) : gzip_(std::move(gzip)) {}
  std::string take() { return std::move(result_); }
  const std::vector<Note>& notes() const { return notes_; }

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
    if (v <= static_cast<number_unsigned_t>(INT64_MAX)) {  // one kind for every integer that fits
      x.kind = Value::kInt;
      x.i = static_cast<std::int64_t>(v);
    } else {
      x.kind = Value::kUInt;
      x.u = v;
    }
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
      f.note = newNote(Note::kTop);
      notes_[f.note].path = "$";
    } else {
      Frame& parent = frames_.back();
      f.path = childPath(parent);
      f.kind = objectKind(parent);
      f.note = parent.note;
      if (parent.kind == Frame::kNodes || parent.kind == Frame::kEntries ||
          parent.kind == Frame::kProtoFields || parent.kind == Frame::kMissing) {
        f.index = parent.index++;
      }
      if (f.kind == Frame::kNode) {
        f.role = parent.kind == Frame::kEntry ? (parent.key == "key" ? Note::kKey : Note::kValue)
                 : parent.items               ? Note::kElement
                                              : Note::kField;
        f.note = newNote(f.role);
      } else if (f.kind == Frame::kProtoField) {
        f.role = Note::kProto;
        f.note = newNote(Note::kProto);
      }
    }
    frames_.push_back(std::move(f));
    return true;
  }

  bool end_object() override {
    Frame& f = frames_.back();
    Frame* parent = frames_.size() > 1 ? &frames_[frames_.size() - 2] : nullptr;
    switch (f.kind) {
      case Frame::kRoot:
        result_ = bytes_.root(f);
        pack_detail::CheckOffsets(f);
        break;
      case Frame::kNode: {
        std::string bytes;
        bytes_.node(f, bytes);
        pack_detail::CheckOffsets(f);
        finishNote(f);
        deliver(*parent, f, std::move(bytes));
        break;
      }
      case Frame::kProtoField: {
        std::string bytes;
        TreeBytes::protoField(f, bytes);
        finishNote(f);
        if (f.number.kind == Value::kInt) ++parent->repetitions[static_cast<std::uint64_t>(f.number.i)];
        deliver(*parent, f, std::move(bytes));
        break;
      }
      case Frame::kBuffer:
      case Frame::kMessage:
        pack_detail::CheckOffsets(f);
        parent->has_content = true;
        parent->content = bytes_.fields(f);
        parent->content_size = f.size;
        break;
      case Frame::kUndecoded:
        parent->has_undecoded = true;
        parent->undecoded = TreeBytes::hexOf(f, f.hex, "hex");
        parent->undecoded_at = f.at;
        break;
      case Frame::kEntry: {
        if (!f.has_key) Fail(f.path, "missing \"key\"");
        parent->children += f.key_bytes;
        if (f.has_value) {
          parent->children += f.value_bytes;
        } else if (parent->open_entry.empty()) {
          parent->open_entry = f.path;
        }
        for (Span& s : f.spans) parent->spans.push_back(std::move(s));
        ++parent->child_count;
        break;
      }
      case Frame::kMissingEntry:
        notes_[f.note].keys.push_back(
            {"missing", NoteText(f.tag) + " " + NoteText(f.name) + " " + NoteText(f.declared), f.path});
        break;
      default:
        break;
    }
    frames_.pop_back();
    return true;
  }

  bool start_array(std::size_t) override {
    Frame f;
    if (frames_.empty()) Fail("$", "expected an object");
    Frame& parent = frames_.back();
    f.path = childPath(parent);
    f.note = parent.note;
    if (parent.kind == Frame::kNodes || parent.kind == Frame::kEntries ||
        parent.kind == Frame::kProtoFields || parent.kind == Frame::kMissing) {
      Fail(f.path, "expected an object");
    }
    f.kind = Frame::kIgnore;
    const bool holder =
        parent.kind == Frame::kRoot || parent.kind == Frame::kBuffer || parent.kind == Frame::kNode;
    if (holder && (parent.key == "fields" || (parent.kind == Frame::kNode && parent.key == "items"))) {
      f.kind = Frame::kNodes;
      f.items = parent.key == "items";
    }
    if (parent.kind == Frame::kNode && parent.key == "entries") f.kind = Frame::kEntries;
    if (parent.kind == Frame::kMessage && parent.key == "fields") f.kind = Frame::kProtoFields;
    if ((holder || parent.kind == Frame::kMessage) && parent.key == "missing") f.kind = Frame::kMissing;
    if (f.kind == Frame::kIgnore) {
      if (Value* v = scalarMember(parent, parent.key))
        v->kind = Value::kOther;  // an array where a scalar belongs
      if (NotedKey(parent.kind, parent.key)) note(parent, OtherValue());
    }
    frames_.push_back(std::move(f));
    return true;
  }

  bool end_array() override {
    Frame f = std::move(frames_.back());
    frames_.pop_back();
    if (f.kind != Frame::kNodes && f.kind != Frame::kEntries && f.kind != Frame::kProtoFields) return true;
    Frame& parent = frames_.back();
    parent.has_children = true;
    parent.children_are_entries = f.kind == Frame::kEntries;
    parent.children = std::move(f.children);
    parent.child_count = f.child_count;
    parent.open_entry = std::move(f.open_entry);
    parent.spans = std::move(f.spans);
    return true;
  }

  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& e) override {
    throw PackError(std::string("not JSON: ") + e.what());
  }

  // The field path, as diff names it, of the innermost value being read.
  std::string fieldPath() const {
    std::string p;
    for (std::size_t i = 0; i < frames_.size(); ++i) {
      const Frame& f = frames_[i];
      if (f.kind == Frame::kProtoField) {
        const Frame& fields = frames_[i - 1];
        const std::uint64_t number =
            f.number.kind == Value::kInt ? static_cast<std::uint64_t>(f.number.i) : 0;
        const auto seen = fields.repetitions.find(number);
        AppendProtobufLevel(p, number, seen == fields.repetitions.end() ? 0 : seen->second, p.empty());
      }
      if (f.kind != Frame::kNode) continue;
      if (f.role == Note::kField) {
        if (f.name.kind != Value::kString && f.tag.kind != Value::kInt) {
          p += p.empty() ? "?" : ".?";  // neither name nor tag to name it by
        } else {
          AppendFieldLevel(p, f.name.kind == Value::kString ? f.name.s.c_str() : nullptr,
                           f.tag.kind == Value::kInt ? f.tag.i : 0, p.empty());
        }
      } else if (f.role == Note::kElement) {
        AppendIndexLevel(p, static_cast<std::int64_t>(f.index));
      } else if (f.role == Note::kValue) {
        const Frame& entry = frames_[i - 1];
        if (entry.has_key) {
          AppendKeyLevel(p, entry.key_text, entry.key_integer);
        } else {
          p += "[?]";
        }
      }
    }
    return p;
  }

 private:
  std::size_t newNote(Note::Role role) {
    notes_.emplace_back();
    notes_.back().role = role;
    return notes_.size() - 1;
  }

  // The value's note gets its place and head once its members are read.
  void finishNote(const Frame& f) {
    Note& n = notes_[f.note];
    n.path = f.path;
    n.dpath = fieldPath();
    const Value& tag = f.kind == Frame::kProtoField ? f.number : f.tag;
    const Value& type = f.kind == Frame::kProtoField ? f.wire : f.type;
    n.tag = tag.kind == Value::kInt ? tag.i : -1;
    n.type = type.kind == Value::kInt ? type.i : -1;
  }

  void note(const Frame& f, const Value& v) {
    notes_[f.note].keys.push_back({f.key, NoteText(v), f.path + "." + f.key});
  }

  static std::string childPath(const Frame& parent) {
    if (parent.kind == Frame::kNodes || parent.kind == Frame::kEntries ||
        parent.kind == Frame::kProtoFields || parent.kind == Frame::kMissing) {
      return parent.path + "[" + std::to_string(parent.index) + "]";
    }
    return parent.path + "." + parent.key;
  }

  static Frame::Kind objectKind(Frame& parent) {
    switch (parent.kind) {
      case Frame::kNodes:
        return Frame::kNode;
      case Frame::kEntries:
        return Frame::kEntry;
      case Frame::kProtoFields:
        return Frame::kProtoField;
      case Frame::kMissing:
        return Frame::kMissingEntry;
      case Frame::kEntry:
        return parent.key == "key" || parent.key == "value" ? Frame::kNode : Frame::kIgnore;
      case Frame::kRoot:
      case Frame::kBuffer:
      case Frame::kMessage:
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
    static const std::pair<const char*, Value Frame::*> kMembers[] = {{"tag", &Frame::tag},
                                                                      {"type", &Frame::type},
                                                                      {"value", &Frame::value},
                                                                      {"hex", &Frame::hex},
                                                                      {"bits", &Frame::bits},
                                                                      {"gzip", &Frame::gzip},
                                                                      {"long_head", &Frame::long_head},
                                                                      {"incomplete", &Frame::incomplete},
                                                                      {"count", &Frame::count},
                                                                      {"count_type", &Frame::count_type},
                                                                      {"end_tag", &Frame::end_tag},
                                                                      {"navreq_tree", &Frame::version},
                                                                      {"at", &Frame::at},
                                                                      {"len", &Frame::len},
                                                                      {"size", &Frame::size},
                                                                      {"inflated", &Frame::inflated},
                                                                      {"number", &Frame::number},
                                                                      {"wire", &Frame::wire},
                                                                      {"raw", &Frame::raw},
                                                                      {"name", &Frame::name},
                                                                      {"declared", &Frame::declared}};
    for (const auto& m : kMembers) {
      if (k == m.first) return &(f.*m.second);
    }
    return nullptr;
  }

  bool scalar(Value v) {
    if (frames_.empty()) Fail("$", "expected an object");
    Frame& f = frames_.back();
    if (f.kind == Frame::kNodes || f.kind == Frame::kEntries || f.kind == Frame::kProtoFields ||
        f.kind == Frame::kMissing) {
      Fail(childPath(f), "expected an object");
    }
    if (f.kind == Frame::kIgnore) return true;
    const bool holder = f.kind == Frame::kRoot || f.kind == Frame::kBuffer || f.kind == Frame::kNode;
    if (holder &&
        (f.key == "fields" || (f.kind == Frame::kNode && (f.key == "items" || f.key == "entries")))) {
      Fail(f.path + "." + f.key, "expected an array");
    }
    if (f.kind == Frame::kMessage && f.key == "fields") Fail(f.path + ".fields", "expected an array");
    if (f.kind == Frame::kNode && (f.key == "kse" || f.key == "message"))
      Fail(f.path + "." + f.key, "expected an object");
    if (f.kind == Frame::kEntry && (f.key == "key" || f.key == "value"))
      Fail(f.path + "." + f.key, "expected an object");
    if (NotedKey(f.kind, f.key)) note(f, v);
    if (Value* slot = scalarMember(f, f.key)) *slot = std::move(v);
    return true;
  }

  // A node's bytes go to its container; an entry's key and value to the entry.
  void deliver(Frame& parent, const Frame& f, std::string bytes) {
    if (f.at.kind != Value::kAbsent || f.len.kind != Value::kAbsent) {
      Span s;
      s.at = TreeBytes::integer(f, f.at, "at", 0, INT32_MAX);
      s.len = TreeBytes::integer(f, f.len, "len", 0, INT32_MAX);
      s.path = f.path;
      s.dpath = notes_[f.note].dpath;
      parent.spans.push_back(std::move(s));
    }
    if (parent.kind == Frame::kEntry) {
      if (parent.key == "key") {
        parent.has_key = true;
        parent.key_bytes = std::move(bytes);
        parent.key_integer = f.value.kind == Value::kInt || f.value.kind == Value::kUInt;
        parent.key_text = f.value.kind == Value::kString ? f.value.s
                          : parent.key_integer           ? NoteText(f.value)
                                                         : TreeBytes::textOrHex(f);
      } else {
        parent.has_value = true;
        parent.value_bytes = std::move(bytes);
      }
      return;
    }
    parent.children += bytes;
    ++parent.child_count;
  }

  Compressor gzip_;
  TreeBytes bytes_{gzip_};
  std::vector<Frame> frames_;
  std::vector<Note> notes_;
  std::string result_;
};

}  // namespace

namespace pack_detail {
void Fail(const std::string& path, const std::string& what) { throw TreeFault{path, what, {}}; }
}  // namespace pack_detail

namespace {

template <class Input>
std::string Pack(Input&& in, Compressor gzip) {
  Packer packer(std::move(gzip));
  try {
    json::sax_parse(std::forward<Input>(in), &packer);
  } catch (const json::exception& e) {
    throw PackError(std::string("not JSON: ") + e.what());
  } catch (const TreeFault& fault) {
    const std::string field = fault.dpath.empty() ? packer.fieldPath() : fault.dpath;
    throw PackError(fault.path + (field.empty() ? "" : " (" + field + ")") + ": " + fault.what);
  }
  std::string bytes = packer.take();
  pack_detail::CheckNotes(bytes, packer.notes());
  return bytes;
}

}  // namespace

std::string PackStream(std::istream& in, Compressor gzip) { return Pack(in, std::move(gzip)); }

std::string PackJson(std::string_view tree, Compressor gzip) { return Pack(tree, std::move(gzip)); }

}  // namespace navreq
