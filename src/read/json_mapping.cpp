#include "json_mapping.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "navreq/read/paths.h"
#include "navreq/read/text.h"

namespace navreq {
namespace json_map {

namespace {

// Builds the document from the parser's events, as the library's own DOM
// builder does, and refuses a key given twice in one object (the library
// would keep the last value silently). The check is the insertion itself:
// each key costs one map insertion, whatever the size of the document.
class StrictDocumentBuilder {
 public:
  explicit StrictDocumentBuilder(json& root) : root_(root) {}

  bool null() { return Put(nullptr); }
  bool boolean(bool value) { return Put(value); }
  bool number_integer(json::number_integer_t value) { return Put(value); }
  bool number_unsigned(json::number_unsigned_t value) { return Put(value); }
  bool number_float(json::number_float_t value, const json::string_t&) { return Put(value); }
  bool string(json::string_t& value) { return Put(std::move(value)); }
  bool binary(json::binary_t& value) { return Put(json::binary(std::move(value))); }

  bool start_object(std::size_t) {
    open_.push_back({Slot(json::value_t::object), nullptr});
    return true;
  }
  bool key(json::string_t& key) {
    Open& object = open_.back();
    auto placed = object.value->get_ref<json::object_t&>().emplace(std::move(key), nullptr);
    if (!placed.second) {
      const std::string path = Path();
      throw JsonError((path.empty() ? "" : path + ": ") + "duplicate key " +
                      json(placed.first->first).dump());
    }
    object.key = &placed.first->first;
    next_ = &placed.first->second;
    return true;
  }
  bool end_object() {
    open_.pop_back();
    return true;
  }
  bool start_array(std::size_t) {
    open_.push_back({Slot(json::value_t::array), nullptr});
    return true;
  }
  bool end_array() {
    open_.pop_back();
    return true;
  }

  bool parse_error(std::size_t, const std::string&, const json::exception& e) {
    // "[json.exception.parse_error.101] parse error at line 1, column 9: ...", or
    // "[json.exception.out_of_range.406] number overflow parsing '1e400'"
    std::string message = e.what();
    const auto bracket = message.find("] ");
    if (message.rfind("[json.exception.", 0) == 0 && bracket != std::string::npos)
      message.erase(0, bracket + 2);
    throw JsonError("invalid JSON: " + message);
  }

 private:
  struct Open {
    json* value;
    const std::string* key;  // an object's key being read
  };

  // Where the next value goes: the root, the next element of the open array,
  // or the member whose key was just read.
  json* Slot(json value) {
    json* slot = &root_;
    if (!open_.empty()) {
      json& container = *open_.back().value;
      if (container.is_array()) {
        container.get_ref<json::array_t&>().push_back(std::move(value));
        return &container.get_ref<json::array_t&>().back();
      }
      slot = next_;
    }
    *slot = std::move(value);
    return slot;
  }

  template <class T>
  bool Put(T&& value) {
    Slot(json(std::forward<T>(value)));
    return true;
  }

  // The path of the innermost open object, e.g. "param.viaPoints[3]".
  std::string Path() const {
    std::string path;
    for (std::size_t i = 0; i + 1 < open_.size(); ++i) {
      if (open_[i].value->is_array()) {
        path += "[" + std::to_string(open_[i].value->size() - 1) + "]";
      } else {
        path += (path.empty() ? "" : ".") + *open_[i].key;
      }
    }
    return path;
  }

  json& root_;
  std::vector<Open> open_;
  json* next_ = nullptr;
};

int HexDigit(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The bits of "NaN:HEX" with exactly `digits` hex digits; false when `text`
// is not of that form or the bits are not a NaN of that width.
bool NanBits(const std::string& text, std::size_t digits, std::uint64_t& bits) {
  if (text.size() != 4 + digits || text.compare(0, 4, "NaN:") != 0) return false;
  bits = 0;
  for (std::size_t i = 4; i < text.size(); ++i) {
    const int d = HexDigit(text[i]);
    if (d < 0) return false;
    bits = bits << 4 | static_cast<std::uint64_t>(d);
  }
  if (digits == 8) {
    return (bits & 0x7F800000u) == 0x7F800000u && (bits & 0x007FFFFFu) != 0;
  }
  return (bits & 0x7FF0000000000000ull) == 0x7FF0000000000000ull && (bits & 0x000FFFFFFFFFFFFFull) != 0;
}

std::string HexBits(std::uint64_t bits, std::size_t digits) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text(digits, '0');
  for (std::size_t i = digits; i-- > 0; bits >>= 4) text[i] = kDigits[bits & 0xF];
  return text;
}

// The names of the values a number cannot write.
ojson NonFinite(double value, std::uint64_t bits, std::uint64_t quiet_nan, std::size_t digits) {
  if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
  return bits == quiet_nan ? std::string("NaN") : "NaN:" + HexBits(bits, digits);
}

}  // namespace

json ParseStrict(std::string_view text) {
  json document;
  StrictDocumentBuilder builder(document);
  json::sax_parse(text.begin(), text.end(), &builder);
  return document;
}

void Fail(const std::string& path, const std::string& what) {
  throw JsonError(path.empty() ? what : path + ": " + what);
}

std::string Field(const std::string& path, const char* name) {
  return path.empty() ? std::string(name) : path + "." + name;
}

std::string Index(const std::string& path, std::size_t i) { return path + "[" + std::to_string(i) + "]"; }

float ToFloat(double d) noexcept {
  constexpr double kOverflowMidpoint = 0x1.ffffffp127;
  constexpr double kFloatMax = static_cast<double>(FLT_MAX);
  if (d >= kOverflowMidpoint) return std::numeric_limits<float>::infinity();
  if (d <= -kOverflowMidpoint) return -std::numeric_limits<float>::infinity();
  if (d > kFloatMax) return FLT_MAX;
  if (d < -kFloatMax) return -FLT_MAX;
  return static_cast<float>(d);  // NaN and in-range values
}

double ReadDouble(const json& j, const std::string& path) {
  if (j.is_number()) return j.get<double>();
  if (j.is_string()) {
    const std::string& s = j.get_ref<const std::string&>();
    if (s == "NaN") return std::numeric_limits<double>::quiet_NaN();
    if (s == "Infinity") return std::numeric_limits<double>::infinity();
    if (s == "-Infinity") return -std::numeric_limits<double>::infinity();
    std::uint64_t bits = 0;
    if (NanBits(s, 16, bits)) {
      double d = 0;
      std::memcpy(&d, &bits, sizeof d);
      return d;
    }
  }
  Fail(path, "expected a number");
}

float ReadFloat(const json& j, const std::string& path) {
  std::uint64_t bits = 0;
  if (j.is_string() && NanBits(j.get_ref<const std::string&>(), 8, bits)) {
    const auto narrow = static_cast<std::uint32_t>(bits);
    float f = 0;
    std::memcpy(&f, &narrow, sizeof f);
    return f;
  }
  return ToFloat(ReadDouble(j, path));
}

ojson WriteDouble(double d) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &d, sizeof bits);
  if (!std::isfinite(d)) return NonFinite(d, bits, 0x7FF8000000000000ull, 16);
  return d;  // written as the shortest decimal that reads back as d
}

ojson WriteFloat(float f) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &f, sizeof bits);
  if (!std::isfinite(f)) return NonFinite(static_cast<double>(f), bits, 0x7FC00000u, 8);
  // The shortest decimal of the float, held as the double nearest to it: the
  // document shows "0.1", not the float's exact "0.10000000149011612", and
  // rounding it to float again gives f.
  return std::strtod(ShortestDecimal(static_cast<double>(f), true).c_str(), nullptr);
}

std::string ReadString(const json& j, const std::string& path) {
  if (j.is_string()) return j.get<std::string>();
  if (j.is_object() && j.size() == 1 && j.contains("hex")) return ReadHex(j["hex"], path + ".hex");
  Fail(path, "expected a string");
}

ojson WriteString(const std::string& s) {
  if (ValidUtf8(s)) return s;
  return ojson{{"hex", HexOf(s.data(), s.size())}};
}

std::string ReadHex(const json& j, const std::string& path) {
  if (!j.is_string()) Fail(path, "expected a string of hex digits");
  const std::string& text = j.get_ref<const std::string&>();
  if (text.size() % 2 != 0) Fail(path, "odd number of hex digits");
  std::string bytes(text.size() / 2, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const int hi = HexDigit(text[2 * i]);
    const int lo = HexDigit(text[2 * i + 1]);
    if (hi < 0 || lo < 0) Fail(path, "not a hex digit at " + std::to_string(hi < 0 ? 2 * i : 2 * i + 1));
    bytes[i] = static_cast<char>(hi << 4 | lo);
  }
  return bytes;
}

ojson WriteHex(const char* data, std::size_t size) { return HexOf(data, size); }

bool ValidKeyText(const std::string& key) noexcept { return ValidUtf8(key); }

std::int64_t ReadIntegerKey(const std::string& text, const std::string& path) {
  std::int64_t value = 0;
  if (!NumberedKey(text, true, value)) Fail(path, "key " + json(text).dump() + " is not an integer");
  return value;
}

std::string KeyLevel(const std::string& path, const std::string& key, bool integer) {
  std::string level = path;
  AppendKeyLevel(level, key, integer);
  return level;
}

std::string Dump(const ojson& value) { return value.dump(2); }

}  // namespace json_map
}  // namespace navreq
