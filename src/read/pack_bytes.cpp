// The bytes a dump's JSON tree describes, written through the wire layer's
// stores (wire_format.h) so that each head and integer keeps the form the tree
// records.
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "navreq/kse/input_stream.h"
#include "navreq/kse/wire_format.h"
#include "navreq/read/inflate.h"
#include "pack_tree.h"
#include "protobuf_reader.h"
#include "wire_cursor.h"

namespace navreq {
namespace pack_detail {

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

}  // namespace

using ::navcore::ryn::isIntegerWire;
using ::navcore::ryn::kKseInt32;
using ::navcore::ryn::kKseInt64;
using ::navcore::ryn::kKseLastType;
using ::navcore::ryn::kKseMaxInflatedSize;
using ::navcore::ryn::kKseMaxStringLength;
using ::navcore::ryn::kKseSimpleListElement;
using ::navcore::ryn::kseIntegerFits;
using ::navcore::ryn::kseIntegerMax;
using ::navcore::ryn::kseIntegerMin;
using ::navcore::ryn::kseStringType;

namespace {

template <class U>
void PutBigEndian(std::string& out, U v) {
  char bytes[sizeof(U)];
  ::navcore::ryn::storeBigEndian(bytes, v);
  out.append(bytes, sizeof bytes);
}

void PutHead(std::string& out, int type, int tag, bool long_head) {
  char head[::navcore::ryn::kKseMaxHeadSize];
  const auto t = static_cast<std::uint8_t>(type);
  const auto g = static_cast<std::uint8_t>(tag);
  out.append(head,
             long_head ? ::navcore::ryn::storeLongHead(head, t, g) : ::navcore::ryn::storeHead(head, t, g));
}

// An integer with head (tag, type): the type kept when the value fits it,
// else the smallest form, as the writer chooses it.
void PutInteger(std::string& out, std::int64_t v, int type, int tag, bool long_head) {
  if (!kseIntegerFits(static_cast<std::uint8_t>(type), v)) type = SmallestIntegerWire(v);
  PutHead(out, type, tag, long_head);
  char payload[8];
  out.append(payload, ::navcore::ryn::storeIntegerPayload(payload, static_cast<std::uint8_t>(type), v));
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

}  // namespace

std::int64_t TreeBytes::integer(const Frame& f, const Value& v, const char* k, std::int64_t min,
                                std::int64_t max) {
  auto range = [&] {
    Fail(f.path + "." + k, "expected an integer from " + std::to_string(min) + " to " + std::to_string(max));
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

bool TreeBytes::flag(const Frame& f, const Value& v, const char* k) {
  if (v.kind == Value::kAbsent) return false;
  if (v.kind != Value::kBool) Fail(f.path + "." + k, "expected true or false");
  return v.b;
}

std::string TreeBytes::hexOf(const Frame& f, const Value& v, const char* k) {
  if (v.kind == Value::kAbsent) Fail(f.path, std::string("missing \"") + k + "\"");
  if (v.kind != Value::kString) Fail(f.path + "." + k, "expected a string of hex digits");
  return FromHex(v.s, f.path + "." + k);
}

std::string TreeBytes::textOrHex(const Frame& f) {
  if (f.value.kind == Value::kAbsent) return hexOf(f, f.hex, "hex");
  if (f.value.kind != Value::kString) Fail(f.path + ".value", "expected a string");
  if (f.hex.kind != Value::kAbsent && hexOf(f, f.hex, "hex") != f.value.s)
    Fail(f.path + ".hex", "does not hold the bytes of \"value\": edit one of them and remove the other");
  return f.value.s;
}

// The bytes a byte array or unsigned-byte list holds: its decoded tree
// packed again, or its bytes; a gzip stream keeps its original bytes while
// what they inflate to is unchanged, and is compressed again otherwise.
std::string TreeBytes::content(const Frame& f) const {
  if (!f.has_content) {
    if (f.gzip.kind == Value::kAbsent) return textOrHex(f);
    // A gzip stream that did not inflate: its bytes, of which "hex" shows
    // the part from where inflating failed.
    std::string stream = hexOf(f, f.gzip, "gzip");
    if (f.hex.kind != Value::kAbsent) {
      const std::string rest = hexOf(f, f.hex, "hex");
      if (rest.size() > stream.size() || stream.compare(stream.size() - rest.size(), rest.size(), rest) != 0)
        Fail(f.path + ".hex", "is not the end of the \"gzip\" bytes: edit \"gzip\" instead");
    }
    return stream;
  }
  if (f.gzip.kind == Value::kAbsent) return f.content;
  return Recompressed(f, f.content);
}

// `bytes` compressed: the tree's own gzip bytes when they inflate to them.
// An edited tree is compressed again; edited gzip bytes are refused, as
// pack writes the tree beside them.
std::string TreeBytes::Recompressed(const Frame& f, const std::string& bytes) const {
  const std::string original = hexOf(f, f.gzip, "gzip");
  std::string inflated;
  const GunzipResult g = Gunzip(original, kKseMaxInflatedSize, inflated);
  if (!g.ok())
    Fail(f.path + ".gzip",
         "does not inflate (" + g.error + "): pack compresses the tree, so leave it as it was");
  if (inflated == bytes) return original;
  const Value& size = f.kind == Frame::kRoot ? f.inflated : f.content_size;
  if (size.kind == Value::kInt && static_cast<std::uint64_t>(size.i) != inflated.size())
    Fail(f.path + ".gzip", "inflates to " + std::to_string(inflated.size()) + " bytes, not the " +
                               std::to_string(size.i) +
                               " the tree holds: pack compresses the tree, so leave it as it was");
  std::string packed;
  if (!gzip_) Fail(f.path, "an edited gzip body needs a compressor to be packed");
  if (!gzip_(bytes, packed)) Fail(f.path, "GZipCompress failed");
  return packed;
}

void TreeBytes::count(std::string& out, const Frame& f, std::int64_t n) {
  int type = SmallestIntegerWire(n);
  if (f.count_type.kind != Value::kAbsent) {
    type = static_cast<int>(integer(f, f.count_type, "count_type", 0, kKseZero));
    if (!isIntegerWire(static_cast<std::uint8_t>(type)))
      Fail(f.path + ".count_type", "expected an integer head type");
  }
  PutInteger(out, n, type, 0, false);
}

void TreeBytes::real(std::string& out, const Frame& f, int type) {
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
      if (raw.size() != (type == kKseFloat ? 4u : 8u))
        Fail(f.path + ".bits", "expected the value's bit pattern");
      for (unsigned char c : raw) bits = (bits << 8) | c;
      nan_bits = true;
    }
  } else {
    Fail(f.path + ".value", "expected a number, \"NaN\", \"Infinity\" or \"-Infinity\"");
  }
  if (type == kKseFloat) {
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
    PutBigEndian(out, static_cast<std::uint32_t>(bits));
  } else {
    if (!nan_bits) std::memcpy(&bits, &d, sizeof bits);
    PutBigEndian(out, bits);
  }
}

void TreeBytes::node(const Frame& f, std::string& out) const {
  const int tag = static_cast<int>(integer(f, f.tag, "tag", 0, 255));
  const int type = static_cast<int>(integer(f, f.type, "type", 0, kKseLastType));
  const bool long_head = flag(f, f.long_head, "long_head");
  const bool incomplete = flag(f, f.incomplete, "incomplete");
  auto children = [&f](const char* k) -> const std::string& {
    if (!f.has_children) Fail(f.path, std::string("missing \"") + k + "\"");
    return f.children;
  };
  auto counted = [&f, incomplete]() {
    return incomplete ? integer(f, f.count, "count", 0, kseIntegerMax(kKseInt32)) : f.child_count;
  };
  switch (type) {
    case kKseInt8:
    case kKseInt16:
    case kKseInt32:
    case kKseInt64:
    case kKseZero:
      PutInteger(out, integer(f, f.value, "value", kseIntegerMin(kKseInt64), kseIntegerMax(kKseInt64)), type,
                 tag, long_head);
      return;
    case kKseFloat:
    case kKseDouble:
      PutHead(out, type, tag, long_head);
      real(out, f, type);
      return;
    case kKseString1:
    case kKseString4: {
      const std::string text = textOrHex(f);
      if (text.size() > kKseMaxStringLength)
        Fail(f.path, "a string holds at most " + std::to_string(kKseMaxStringLength) + " bytes");
      // The long form is kept; the short one cannot carry 256 bytes or more.
      const int form = type == kKseString4 ? int{kKseString4} : int{kseStringType(text.size())};
      PutHead(out, form, tag, long_head);
      if (form == kKseString1) {
        out.push_back(static_cast<char>(text.size()));
      } else {
        PutBigEndian(out, static_cast<std::uint32_t>(text.size()));
      }
      out += text;
      return;
    }
    case kKseSimpleList: {
      const std::string bytes = content(f);
      PutHead(out, type, tag, long_head);
      out.push_back(static_cast<char>(kKseSimpleListElement));
      count(out, f, static_cast<std::int64_t>(bytes.size()));
      out += bytes;
      return;
    }
    case kKseList: {
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
    case kKseMap: {
      PutHead(out, type, tag, long_head);
      const std::string& entries = children("entries");
      if (!incomplete && !f.open_entry.empty()) Fail(f.open_entry, "missing \"value\"");
      count(out, f, counted());
      out += entries;
      return;
    }
    case kKseStructBegin: {
      PutHead(out, type, tag, long_head);
      out += children("fields");
      if (!incomplete) {
        const int end =
            f.end_tag.kind == Value::kAbsent ? 0 : static_cast<int>(integer(f, f.end_tag, "end_tag", 0, 255));
        PutHead(out, kKseStructEnd, end, false);
      }
      return;
    }
    default:
      Fail(f.path + ".type", "head type " + std::to_string(type) + " does not carry a value");
  }
}

// A protocol-buffers field: its key (number and wire type), then its value;
// the attribute map's entry count ("count") bare after the key, as the stop
// event's writer puts it. "raw" keeps a field written in a longer form than
// the shortest, as long as it holds the same number, wire type and value.
void TreeBytes::protoField(const Frame& f, std::string& out) {
  const auto number =
      static_cast<std::uint64_t>(integer(f, f.number, "number", 1, (std::int64_t{1} << 61) - 1));
  const int wire = static_cast<int>(integer(f, f.wire, "wire", 0, 5));
  std::string field;
  AppendVarint(field, number << 3 | static_cast<unsigned>(wire));
  std::uint64_t value = 0;
  std::string data;
  switch (wire) {
    case kProtoVarint:
    case kProtoFixed64:
    case kProtoFixed32: {
      const Value& v = f.value;
      if (v.kind == Value::kAbsent) Fail(f.path, "missing \"value\"");
      if (v.kind == Value::kInt) {
        value = static_cast<std::uint64_t>(v.i);  // a negative int64 as protocol buffers write it
      } else if (v.kind == Value::kUInt) {
        value = v.u;
      } else {
        Fail(f.path + ".value", "expected an integer");
      }
      if (wire == kProtoFixed32 && value > 0xFFFFFFFFu)
        Fail(f.path + ".value", "expected an integer that fits 32 bits");
      if (wire == kProtoVarint) {
        AppendVarint(field, value);
      } else {
        for (int i = 0; i < (wire == kProtoFixed64 ? 8 : 4); ++i)
          field.push_back(static_cast<char>(value >> (8 * i)));
      }
      break;
    }
    case kProtoLengthDelimited:
      if (f.count.kind != Value::kAbsent) {
        value = static_cast<std::uint64_t>(integer(f, f.count, "count", 0, INT64_MAX));
        AppendVarint(field, value);
      } else {
        data = textOrHex(f);
        AppendVarint(field, data.size());
        field += data;
      }
      break;
    default:
      Fail(f.path + ".wire", "expected 0, 1, 2 or 5 (varint, fixed64, length-delimited, fixed32)");
  }
  if (f.raw.kind == Value::kAbsent) {
    out += field;
    return;
  }
  const std::string raw = hexOf(f, f.raw, "raw");
  bool same = raw == field;
  if (!same) {
    try {
      ProtobufReader r(raw);
      const ProtobufReader::Key k = r.key();
      if (k.number == number && k.wire == wire) {
        if (wire == kProtoVarint || (wire == kProtoLengthDelimited && f.count.kind != Value::kAbsent)) {
          same = r.varint() == value;
        } else if (wire == kProtoLengthDelimited) {
          same = r.lengthDelimited(0) == data;
        } else {
          same = r.fixed(wire == kProtoFixed64 ? 8 : 4) == value;
        }
        same = same && r.atEnd();
      }
    } catch (const WireStop&) {
      same = false;
    }
  }
  if (!same)
    Fail(f.path + ".raw",
         "does not hold this field's number, wire and value: remove it to write them in the shortest form");
  out += raw;
}

// Fields one after another, then the bytes that did not decode.
std::string TreeBytes::fields(const Frame& f) const {
  if (!f.has_children) return hexOf(f, f.hex, "hex");
  std::string out = f.children;
  if (f.has_undecoded) out += f.undecoded;
  // The inspector's trees show the bytes too: both must say the same.
  if (f.hex.kind != Value::kAbsent && f.kind == Frame::kMessage && hexOf(f, f.hex, "hex") != out)
    Fail(f.path + ".hex", "does not hold the bytes of \"fields\": edit the fields and remove \"hex\"");
  return out;
}

std::string TreeBytes::root(const Frame& f) const {
  if (f.version.kind == Value::kAbsent)
    Fail(f.path, "missing \"navreq_tree\" (not a tree from navreq dump --json)");
  (void)integer(f, f.version, "navreq_tree", 1, 1);
  if (!f.has_children) {
    if (f.gzip.kind == Value::kAbsent) return hexOf(f, f.hex, "hex");
    Frame stream = f;  // a gzip stream that did not inflate: as a byte array holds one
    stream.has_content = false;
    return content(stream);
  }
  const std::string bytes = fields(f);
  if (f.gzip.kind == Value::kAbsent) return bytes;
  return Recompressed(f, bytes);
}

}  // namespace pack_detail
}  // namespace navreq
