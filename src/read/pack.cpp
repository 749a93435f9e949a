#include "navreq/read/pack.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "navreq/read/inflate.h"
#include "navreq/read/walk.h"
#include "wire_cursor.h"

namespace navreq {

namespace {

// The float a number's text names, rounded once; `otherwise` when the text is
// not one number that fits a float.
float FloatOfText(const std::string& text, float otherwise) {
  float x = 0;
#if defined(__cpp_lib_to_chars)
  const auto r = std::from_chars(text.data(), text.data() + text.size(), x);
  return r.ec == std::errc() && r.ptr == text.data() + text.size() ? x : otherwise;
#else
  // A standard library whose from_chars reads integers only (the browser
  // build's): strtof rounds once too, and the browser has only the "C"
  // locale, whose decimal point JSON numbers use.
  errno = 0;
  char* end = nullptr;
  x = std::strtof(text.c_str(), &end);
  return errno == 0 && end == text.c_str() + text.size() ? x : otherwise;
#endif
}

using json = nlohmann::json;

// The writer's limit for one string.
constexpr std::size_t kMaxStringBytes = 104857600;
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();

[[noreturn]] void Fail(const std::string& path, const std::string& what) {
  throw PackError(path + ": " + what);
}

void PutFixed(std::string& out, std::uint64_t v, int n) {
  for (int i = n - 1; i >= 0; --i) out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

void PutHead(std::string& out, int type, int tag, bool long_head) {
  if (tag < 15 && !long_head) {
    out.push_back(static_cast<char>((tag << 4) | type));
  } else {
    out.push_back(static_cast<char>(0xF0 | type));
    out.push_back(static_cast<char>(tag));
  }
}

bool Fits(std::int64_t v, int type) {
  switch (type) {
    case kWireZero:
      return v == 0;
    case kWireInt8:
      return v >= -128 && v <= 127;
    case kWireInt16:
      return v >= -32768 && v <= 32767;
    case kWireInt32:
      return v >= std::numeric_limits<std::int32_t>::min() && v <= std::numeric_limits<std::int32_t>::max();
    default:
      return true;
  }
}

// An integer with head (tag, type): the type kept when the value fits it,
// else the smallest form, as the writer chooses it.
void PutInteger(std::string& out, std::int64_t v, int type, int tag, bool long_head) {
  if (!Fits(v, type)) type = SmallestIntegerWire(v);
  PutHead(out, type, tag, long_head);
  const int widths[] = {1, 2, 4, 8};
  if (type <= kWireInt64) PutFixed(out, static_cast<std::uint64_t>(v), widths[type]);
}

std::string FromHex(const std::string& hex, const std::string& where) {
  if (hex.size() % 2 != 0) Fail(where, "odd number of hex digits");
  auto nibble = [&where](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    Fail(where, "expected a string of hex digits");
  };
  std::string out;
  out.reserve(hex.size() / 2);
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    out.push_back(static_cast<char>(nibble(hex[i]) * 16 + nibble(hex[i + 1])));
  }
  return out;
}

// One JSON value that is not an object or array, as a tree member holds it.
struct Value {
  enum Kind { kAbsent, kInt, kUInt, kFloat, kString, kBool, kOther } kind = kAbsent;
  std::int64_t i = 0;
  std::uint64_t u = 0;
  double d = 0;
  std::string s;
  bool b = false;
};

Value OtherValue() {
  Value v;
  v.kind = Value::kOther;
  return v;
}

// The members of one object of the tree that pack reads. What it does not
// read (names, offsets, lengths, the missing list, a message's fields) is
// skipped without being kept.
struct Frame {
  enum Kind { kRoot, kNode, kBuffer, kMessage, kUndecoded, kEntry, kNodes, kEntries, kIgnore };
  Kind kind = kIgnore;
  std::string path;
  std::string key;        // an object's member being read
  std::size_t index = 0;  // an array's next element
  // Scalar members.
  Value tag, type, value, hex, bits, gzip, long_head, incomplete, count, count_type, end_tag, version;
  // Children packed so far: the elements of "fields", "items" or "entries".
  bool has_children = false;
  bool children_are_entries = false;
  std::string children;
  std::int64_t child_count = 0;
  std::string open_entry;  // an entry without a value (allowed in an incomplete map)
  // What "kse" or "message" packed to, and a buffer's undecoded bytes.
  bool has_content = false;
  std::string content;
  bool has_undecoded = false;
  std::string undecoded;
  // An entry's key and value.
  bool has_key = false, has_value = false;
  std::string key_bytes, value_bytes;
};

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
        result_ = root(f);
        return true;
      case Frame::kNode: {
        std::string bytes;
        node(f, bytes);
        deliver(std::move(bytes), f.path);
        return true;
      }
      case Frame::kBuffer: {
        Frame& parent = frames_.back();
        parent.has_content = true;
        parent.content = fields(f);
        return true;
      }
      case Frame::kMessage: {
        Frame& parent = frames_.back();
        parent.has_content = true;
        parent.content = hexOf(f, f.hex, "hex");
        return true;
      }
      case Frame::kUndecoded: {
        Frame& parent = frames_.back();
        parent.has_undecoded = true;
        parent.undecoded = hexOf(f, f.hex, "hex");
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

  static std::int64_t integer(const Frame& f, const Value& v, const char* k, std::int64_t min,
                              std::int64_t max) {
    auto range = [&] {
      Fail(f.path + "." + k,
           "expected an integer from " + std::to_string(min) + " to " + std::to_string(max));
    };
    switch (v.kind) {
      case Value::kAbsent:
        Fail(f.path, std::string("missing \"") + k + "\"");
      case Value::kUInt:
        if (v.u > static_cast<std::uint64_t>(max)) range();
        return static_cast<std::int64_t>(v.u);
      case Value::kInt:
        if (v.i < min || v.i > max) range();
        return v.i;
      default:
        Fail(f.path + "." + k, "expected an integer");
    }
  }

  static bool flag(const Frame& f, const Value& v, const char* k) {
    if (v.kind == Value::kAbsent) return false;
    if (v.kind != Value::kBool) Fail(f.path + "." + k, "expected true or false");
    return v.b;
  }

  static std::string hexOf(const Frame& f, const Value& v, const char* k) {
    if (v.kind == Value::kAbsent) Fail(f.path, std::string("missing \"") + k + "\"");
    if (v.kind != Value::kString) Fail(f.path + "." + k, "expected a string of hex digits");
    return FromHex(v.s, f.path + "." + k);
  }

  // The bytes a byte array or unsigned-byte list holds: its decoded tree
  // packed again, or its hex; a gzip stream keeps its original bytes while
  // what they inflate to is unchanged, and is compressed again otherwise.
  std::string content(const Frame& f) const {
    std::string bytes = f.has_content ? f.content : hexOf(f, f.hex, "hex");
    if (!f.has_content || f.gzip.kind == Value::kAbsent) return bytes;
    return Recompressed(hexOf(f, f.gzip, "gzip"), bytes, f.path);
  }

  std::string Recompressed(const std::string& original, const std::string& bytes,
                           const std::string& path) const {
    std::string inflated;
    if (Gunzip(original, kMaxInflatedSize, inflated).ok() && inflated == bytes) return original;
    std::string packed;
    if (!gzip_) Fail(path, "an edited gzip body needs a compressor to be packed");
    if (!gzip_(bytes, packed)) Fail(path, "GZipCompress failed");
    return packed;
  }

  static void count(std::string& out, const Frame& f, std::int64_t n) {
    int type = SmallestIntegerWire(n);
    if (f.count_type.kind != Value::kAbsent) {
      type = static_cast<int>(integer(f, f.count_type, "count_type", 0, 12));
      if (!(type <= kWireInt64 || type == kWireZero))
        Fail(f.path + ".count_type", "expected an integer head type");
    }
    PutInteger(out, n, type, 0, false);
  }

  static void real(std::string& out, const Frame& f, int type) {
    const Value& v = f.value;
    double d = 0;
    bool nan_bits = false;
    std::uint64_t bits = 0;
    if (v.kind == Value::kAbsent) Fail(f.path, "missing \"value\"");
    if (v.kind == Value::kFloat) {
      d = v.d;
    } else if (v.kind == Value::kInt) {
      d = static_cast<double>(v.i);
    } else if (v.kind == Value::kUInt) {
      d = static_cast<double>(v.u);
    } else if (v.kind == Value::kString && v.s == "Infinity") {
      d = std::numeric_limits<double>::infinity();
    } else if (v.kind == Value::kString && v.s == "-Infinity") {
      d = -std::numeric_limits<double>::infinity();
    } else if (v.kind == Value::kString && v.s == "NaN") {
      d = std::numeric_limits<double>::quiet_NaN();
      if (f.bits.kind != Value::kAbsent) {
        const std::string raw = hexOf(f, f.bits, "bits");
        if (raw.size() != (type == kWireFloat ? 4u : 8u))
          Fail(f.path + ".bits", "expected the value's bit pattern");
        for (unsigned char c : raw) bits = (bits << 8) | c;
        nan_bits = true;
      }
    } else {
      Fail(f.path + ".value", "expected a number, \"NaN\", \"Infinity\" or \"-Infinity\"");
    }
    if (type == kWireFloat) {
      if (!nan_bits) {
        float x = static_cast<float>(d);
        if (v.kind == Value::kFloat) {
          // The shortest text of a float names exactly that float; through a
          // double it could round twice.
          x = FloatOfText(v.s, x);
        }
        std::uint32_t b = 0;
        std::memcpy(&b, &x, sizeof b);
        bits = b;
      }
      PutFixed(out, bits, 4);
    } else {
      if (!nan_bits) std::memcpy(&bits, &d, sizeof bits);
      PutFixed(out, bits, 8);
    }
  }

  void node(const Frame& f, std::string& out) const {
    const int tag = static_cast<int>(integer(f, f.tag, "tag", 0, 255));
    const int type = static_cast<int>(integer(f, f.type, "type", 0, 13));
    const bool long_head = flag(f, f.long_head, "long_head");
    const bool incomplete = flag(f, f.incomplete, "incomplete");
    auto children = [&f](const char* k) -> const std::string& {
      if (!f.has_children) Fail(f.path, std::string("missing \"") + k + "\"");
      return f.children;
    };
    auto counted = [&f, incomplete]() {
      return incomplete ? integer(f, f.count, "count", 0, INT32_MAX) : f.child_count;
    };
    switch (type) {
      case kWireInt8:
      case kWireInt16:
      case kWireInt32:
      case kWireInt64:
      case kWireZero:
        PutInteger(out, integer(f, f.value, "value", kInt64Min, kInt64Max), type, tag, long_head);
        return;
      case kWireFloat:
      case kWireDouble:
        PutHead(out, type, tag, long_head);
        real(out, f, type);
        return;
      case kWireString1:
      case kWireString4: {
        std::string text;
        if (f.value.kind != Value::kAbsent) {
          if (f.value.kind != Value::kString) Fail(f.path + ".value", "expected a string");
          text = f.value.s;
        } else {
          text = hexOf(f, f.hex, "hex");
        }
        if (text.size() > kMaxStringBytes) Fail(f.path, "a string holds at most 104857600 bytes");
        const int form = type == kWireString1 && text.size() < 256 ? kWireString1 : kWireString4;
        PutHead(out, form, tag, long_head);
        PutFixed(out, text.size(), form == kWireString1 ? 1 : 4);
        out += text;
        return;
      }
      case kWireSimpleList: {
        const std::string bytes = content(f);
        PutHead(out, type, tag, long_head);
        out.push_back('\0');
        count(out, f, static_cast<std::int64_t>(bytes.size()));
        out += bytes;
        return;
      }
      case kWireList: {
        PutHead(out, type, tag, long_head);
        if (!f.has_children) {
          // Unsigned bytes, each by the 16-bit path.
          const std::string bytes = content(f);
          count(out, f, static_cast<std::int64_t>(bytes.size()));
          for (unsigned char b : bytes) PutInteger(out, b, SmallestIntegerWire(b), 0, false);
          return;
        }
        const std::string& items = children("items");
        count(out, f, counted());
        out += items;
        return;
      }
      case kWireMap: {
        PutHead(out, type, tag, long_head);
        const std::string& entries = children("entries");
        if (!incomplete && !f.open_entry.empty()) Fail(f.open_entry, "missing \"value\"");
        count(out, f, counted());
        out += entries;
        return;
      }
      case kWireStructBegin: {
        PutHead(out, type, tag, long_head);
        out += children("fields");
        if (!incomplete) {
          const int end = f.end_tag.kind == Value::kAbsent
                              ? 0
                              : static_cast<int>(integer(f, f.end_tag, "end_tag", 0, 255));
          PutHead(out, kWireStructEnd, end, false);
        }
        return;
      }
      default:
        Fail(f.path + ".type", "head type " + std::to_string(type) + " does not carry a value");
    }
  }

  // Fields one after another, then the bytes that did not decode.
  std::string fields(const Frame& f) const {
    if (!f.has_children) return hexOf(f, f.hex, "hex");
    std::string out = f.children;
    if (f.has_undecoded) out += f.undecoded;
    return out;
  }

  std::string root(const Frame& f) const {
    if (f.version.kind == Value::kAbsent)
      Fail(f.path, "missing \"navreq_tree\" (not a tree from navreq dump --json)");
    (void)integer(f, f.version, "navreq_tree", 1, 1);
    if (!f.has_children)
      return f.hex.kind != Value::kAbsent ? hexOf(f, f.hex, "hex") : hexOf(f, f.gzip, "gzip");
    const std::string bytes = fields(f);
    if (f.gzip.kind == Value::kAbsent) return bytes;
    return Recompressed(hexOf(f, f.gzip, "gzip"), bytes, f.path);
  }

  Compressor gzip_;
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
