#include "pack.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "gzip_util.h"
#include "walk.h"
#include "wire_cursor.h"

namespace navreq {
namespace tool {

namespace {

using json = nlohmann::json;

// The writer's limit for one string.
constexpr std::size_t kMaxStringBytes = 104857600;

[[noreturn]] void Fail(const std::string& path, const std::string& what) {
  throw PackError(path + ": " + what);
}

const json& Member(const json& node, const char* key, const std::string& path) {
  if (!node.is_object()) Fail(path, "expected an object");
  const auto it = node.find(key);
  if (it == node.end()) Fail(path, std::string("missing \"") + key + "\"");
  return *it;
}

bool Has(const json& node, const char* key) { return node.is_object() && node.contains(key); }

std::int64_t IntegerAt(const json& node, const char* key, const std::string& path, std::int64_t min,
                       std::int64_t max) {
  const json& v = Member(node, key, path);
  const std::string where = path + "." + key;
  if (v.is_number_unsigned()) {
    if (v.get<std::uint64_t>() > static_cast<std::uint64_t>(max))
      Fail(where, "expected an integer from " + std::to_string(min) + " to " + std::to_string(max));
    return static_cast<std::int64_t>(v.get<std::uint64_t>());
  }
  if (!v.is_number_integer()) Fail(where, "expected an integer");
  const std::int64_t n = v.get<std::int64_t>();
  if (n < min || n > max)
    Fail(where, "expected an integer from " + std::to_string(min) + " to " + std::to_string(max));
  return n;
}

bool BoolAt(const json& node, const char* key, const std::string& path) {
  if (!Has(node, key)) return false;
  const json& v = node.at(key);
  if (!v.is_boolean()) Fail(path + "." + key, "expected true or false");
  return v.get<bool>();
}

std::string HexAt(const json& node, const char* key, const std::string& path) {
  const json& v = Member(node, key, path);
  const std::string where = path + "." + key;
  if (!v.is_string()) Fail(where, "expected a string of hex digits");
  const std::string& hex = v.get_ref<const std::string&>();
  if (hex.size() % 2 != 0) Fail(where, "odd number of hex digits");
  std::string out;
  out.reserve(hex.size() / 2);
  auto nibble = [&where](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    Fail(where, "expected a string of hex digits");
  };
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    out.push_back(static_cast<char>(nibble(hex[i]) * 16 + nibble(hex[i + 1])));
  }
  return out;
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
  switch (type) {
    case kWireInt8:
      PutFixed(out, static_cast<std::uint64_t>(v), 1);
      break;
    case kWireInt16:
      PutFixed(out, static_cast<std::uint64_t>(v), 2);
      break;
    case kWireInt32:
      PutFixed(out, static_cast<std::uint64_t>(v), 4);
      break;
    case kWireInt64:
      PutFixed(out, static_cast<std::uint64_t>(v), 8);
      break;
    default:
      break;
  }
}

// A count with tag 0, in the form the tree names (when it fits) or the smallest.
void PutCount(std::string& out, std::int64_t n, const json& node, const std::string& path) {
  int type = SmallestIntegerWire(n);
  if (Has(node, "count_type")) {
    type = static_cast<int>(IntegerAt(node, "count_type", path, 0, 12));
    if (!(type <= kWireInt64 || type == kWireZero))
      Fail(path + ".count_type", "expected an integer head type");
  }
  PutInteger(out, n, type, 0, false);
}

const json& ArrayAt(const json& node, const char* key, const std::string& path) {
  const json& v = Member(node, key, path);
  if (!v.is_array()) Fail(path + "." + key, "expected an array");
  return v;
}

std::string PackFields(const json& buffer, const std::string& path);
void PackNode(std::string& out, const json& node, const std::string& path);

// The bytes a byte array or unsigned-byte list holds: its decoded tree packed
// again, or its hex; a gzip stream keeps its original bytes while what they
// inflate to is unchanged, and is compressed again otherwise.
std::string Content(const json& node, const std::string& path) {
  std::string bytes;
  const bool tree = Has(node, "kse") || Has(node, "message");
  if (Has(node, "kse")) {
    bytes = PackFields(node.at("kse"), path + ".kse");
  } else if (Has(node, "message")) {
    bytes = HexAt(node.at("message"), "hex", path + ".message");
  } else {
    bytes = HexAt(node, "hex", path);
  }
  if (!tree || !Has(node, "gzip")) return bytes;
  std::string original = HexAt(node, "gzip", path);
  std::string inflated;
  std::string error;
  if (Gunzip(original, kMaxInflatedSize, inflated, error) && inflated == bytes) return original;
  std::string packed;
  if (!Gzip(bytes, packed)) Fail(path, "GZipCompress failed");
  return packed;
}

void PackReal(std::string& out, const json& node, int type, const std::string& path) {
  const json& v = Member(node, "value", path);
  double d = 0;
  bool nan_bits = false;
  std::uint64_t bits = 0;
  if (v.is_number()) {
    d = v.get<double>();
  } else if (v.is_string() && v.get<std::string>() == "Infinity") {
    d = std::numeric_limits<double>::infinity();
  } else if (v.is_string() && v.get<std::string>() == "-Infinity") {
    d = -std::numeric_limits<double>::infinity();
  } else if (v.is_string() && v.get<std::string>() == "NaN") {
    d = std::numeric_limits<double>::quiet_NaN();
    if (Has(node, "bits")) {
      const std::string raw = HexAt(node, "bits", path);
      if (raw.size() != (type == kWireFloat ? 4u : 8u))
        Fail(path + ".bits", "expected the value's bit pattern");
      for (unsigned char c : raw) bits = (bits << 8) | c;
      nan_bits = true;
    }
  } else {
    Fail(path + ".value", "expected a number, \"NaN\", \"Infinity\" or \"-Infinity\"");
  }
  if (type == kWireFloat) {
    if (!nan_bits) {
      const float f = static_cast<float>(d);
      std::uint32_t b = 0;
      std::memcpy(&b, &f, sizeof b);
      bits = b;
    }
    PutFixed(out, bits, 4);
  } else {
    if (!nan_bits) std::memcpy(&bits, &d, sizeof bits);
    PutFixed(out, bits, 8);
  }
}

void PackNode(std::string& out, const json& node, const std::string& path) {
  if (!node.is_object()) Fail(path, "expected an object");
  const int tag = static_cast<int>(IntegerAt(node, "tag", path, 0, 255));
  const int type = static_cast<int>(IntegerAt(node, "type", path, 0, 13));
  const bool long_head = BoolAt(node, "long_head", path);
  const bool incomplete = BoolAt(node, "incomplete", path);
  switch (type) {
    case kWireInt8:
    case kWireInt16:
    case kWireInt32:
    case kWireInt64:
    case kWireZero:
      PutInteger(out,
                 IntegerAt(node, "value", path, std::numeric_limits<std::int64_t>::min(),
                           std::numeric_limits<std::int64_t>::max()),
                 type, tag, long_head);
      return;
    case kWireFloat:
    case kWireDouble:
      PutHead(out, type, tag, long_head);
      PackReal(out, node, type, path);
      return;
    case kWireString1:
    case kWireString4: {
      std::string text;
      if (Has(node, "value")) {
        const json& v = node.at("value");
        if (!v.is_string()) Fail(path + ".value", "expected a string");
        text = v.get<std::string>();
      } else {
        text = HexAt(node, "hex", path);
      }
      if (text.size() > kMaxStringBytes) Fail(path, "a string holds at most 104857600 bytes");
      const int form = type == kWireString1 && text.size() < 256 ? kWireString1 : kWireString4;
      PutHead(out, form, tag, long_head);
      PutFixed(out, text.size(), form == kWireString1 ? 1 : 4);
      out += text;
      return;
    }
    case kWireSimpleList: {
      const std::string bytes = Content(node, path);
      PutHead(out, type, tag, long_head);
      out.push_back('\0');
      PutCount(out, static_cast<std::int64_t>(bytes.size()), node, path);
      out += bytes;
      return;
    }
    case kWireList: {
      PutHead(out, type, tag, long_head);
      if (Has(node, "hex") || Has(node, "kse") || Has(node, "message")) {
        // Unsigned bytes, each by the 16-bit path.
        const std::string bytes = Content(node, path);
        PutCount(out, static_cast<std::int64_t>(bytes.size()), node, path);
        for (unsigned char b : bytes) PutInteger(out, b, SmallestIntegerWire(b), 0, false);
        return;
      }
      const json& items = ArrayAt(node, "items", path);
      const std::int64_t count =
          incomplete ? IntegerAt(node, "count", path, 0, INT32_MAX) : static_cast<std::int64_t>(items.size());
      PutCount(out, count, node, path);
      for (std::size_t i = 0; i < items.size(); ++i)
        PackNode(out, items[i], path + ".items[" + std::to_string(i) + "]");
      return;
    }
    case kWireMap: {
      PutHead(out, type, tag, long_head);
      const json& entries = ArrayAt(node, "entries", path);
      const std::int64_t count = incomplete ? IntegerAt(node, "count", path, 0, INT32_MAX)
                                            : static_cast<std::int64_t>(entries.size());
      PutCount(out, count, node, path);
      for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::string at = path + ".entries[" + std::to_string(i) + "]";
        PackNode(out, Member(entries[i], "key", at), at + ".key");
        if (incomplete && !Has(entries[i], "value")) continue;
        PackNode(out, Member(entries[i], "value", at), at + ".value");
      }
      return;
    }
    case kWireStructBegin: {
      PutHead(out, type, tag, long_head);
      const json& fields = ArrayAt(node, "fields", path);
      for (std::size_t i = 0; i < fields.size(); ++i) {
        PackNode(out, fields[i], path + ".fields[" + std::to_string(i) + "]");
      }
      if (!incomplete) {
        const int end_tag =
            Has(node, "end_tag") ? static_cast<int>(IntegerAt(node, "end_tag", path, 0, 255)) : 0;
        PutHead(out, kWireStructEnd, end_tag, false);
      }
      return;
    }
    default:
      Fail(path + ".type", "head type " + std::to_string(type) + " does not carry a value");
  }
}

// Fields written one after another, then the bytes that did not decode.
std::string PackFields(const json& buffer, const std::string& path) {
  if (!buffer.is_object()) Fail(path, "expected an object");
  std::string out;
  if (!Has(buffer, "fields")) return HexAt(buffer, "hex", path);
  const json& fields = ArrayAt(buffer, "fields", path);
  for (std::size_t i = 0; i < fields.size(); ++i) {
    PackNode(out, fields[i], path + ".fields[" + std::to_string(i) + "]");
  }
  if (Has(buffer, "undecoded")) out += HexAt(buffer.at("undecoded"), "hex", path + ".undecoded");
  return out;
}

}  // namespace

std::string PackTree(const json& tree) {
  const std::string path = "$";
  if (!tree.is_object()) Fail(path, "expected an object");
  if (!Has(tree, "navreq_tree")) Fail(path, "missing \"navreq_tree\" (not a tree from navreq dump --json)");
  (void)IntegerAt(tree, "navreq_tree", path, 1, 1);
  if (!Has(tree, "fields")) return Has(tree, "hex") ? HexAt(tree, "hex", path) : HexAt(tree, "gzip", path);
  const std::string bytes = PackFields(tree, path);
  if (!Has(tree, "gzip")) return bytes;
  const std::string original = HexAt(tree, "gzip", path);
  std::string inflated;
  std::string error;
  if (Gunzip(original, kMaxInflatedSize, inflated, error) && inflated == bytes) return original;
  std::string packed;
  if (!Gzip(bytes, packed)) Fail(path, "GZipCompress failed");
  return packed;
}

}  // namespace tool
}  // namespace navreq
