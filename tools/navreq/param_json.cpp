#include "param_json.h"

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace navreq {
namespace tool {

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
      throw InputError((path.empty() ? "" : path + ": ") + "duplicate key " +
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
    throw InputError("invalid JSON: " + message);
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

}  // namespace

json ParseJsonDocument(const std::string& text) {
  json document;
  StrictDocumentBuilder builder(document);
  json::sax_parse(text, &builder);
  return document;
}

namespace detail {

double ReadReal(const json& j, const std::string& path) {
  if (j.is_number()) return j.get<double>();
  if (j.is_string()) {
    const std::string& s = j.get_ref<const std::string&>();
    if (s == "NaN") return std::numeric_limits<double>::quiet_NaN();
    if (s == "Infinity") return std::numeric_limits<double>::infinity();
    if (s == "-Infinity") return -std::numeric_limits<double>::infinity();
  }
  throw InputError(path + ": expected a number");
}

}  // namespace detail

void FromJson(const json& j, bool& out, const std::string& path) {
  if (!j.is_boolean()) throw InputError(path + ": expected true or false");
  out = j.get<bool>();
}

void FromJson(const json& j, std::string& out, const std::string& path) {
  if (!j.is_string()) throw InputError(path + ": expected a string");
  out = j.get<std::string>();
}

void FromJson(const json& j, double& out, const std::string& path) { out = detail::ReadReal(j, path); }

void FromJson(const json& j, float& out, const std::string& path) {
  out = detail::ToFloat(detail::ReadReal(j, path));
}

void FromJson(const json& j, navcore::TruckBlock& out, const std::string& path) {
  if (!j.is_array() || j.size() != out.size())
    throw InputError(path + ": expected an array of four integers");
  for (std::size_t i = 0; i < out.size(); ++i) FromJson(j[i], out[i], detail::Index(path, i));
}

void FromJson(const json& j, std::vector<zv_navi_core::PendingEntry>& out, const std::string& path) {
  // The refresh only asks whether the list is empty: any values will do.
  if (!j.is_array()) throw InputError(path + ": expected an array");
  out.assign(j.size(), zv_navi_core::PendingEntry{});
}

void FromJson(const json& j, zv_navi_core::ExplainControlMap& out, const std::string& path) {
  if (!j.is_object()) throw InputError(path + ": expected an object");
  out.clear();
  for (const auto& item : j.items()) {
    RecordFromArray(item.value(), out[item.key()], path + "[" + json(item.key()).dump() + "]");
  }
}

}  // namespace tool
}  // namespace navreq
