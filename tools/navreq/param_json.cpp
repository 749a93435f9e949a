#include "param_json.h"

#include <limits>
#include <set>
#include <string>
#include <vector>

namespace navreq {
namespace tool {

json ParseJsonDocument(const std::string& text) {
  // One set of keys per object being parsed, to refuse a key given twice
  // (the parser alone would keep the last value silently).
  std::vector<std::set<std::string>> open_objects;
  const json::parser_callback_t check_keys = [&open_objects](int, json::parse_event_t event, json& parsed) {
    switch (event) {
      case json::parse_event_t::object_start:
        open_objects.emplace_back();
        break;
      case json::parse_event_t::object_end:
        if (!open_objects.empty()) open_objects.pop_back();
        break;
      case json::parse_event_t::key:
        if (!open_objects.empty() && !open_objects.back().insert(parsed.get<std::string>()).second) {
          throw InputError("duplicate key " + parsed.dump());
        }
        break;
      default:
        break;
    }
    return true;
  };
  try {
    return json::parse(text, check_keys);
  } catch (const json::exception& e) {
    // "[json.exception.parse_error.101] parse error at line 1, column 9: ...", or
    // "[json.exception.out_of_range.406] number overflow parsing '1e400'"
    std::string message = e.what();
    const auto bracket = message.find("] ");
    if (message.rfind("[json.exception.", 0) == 0 && bracket != std::string::npos)
      message.erase(0, bracket + 2);
    throw InputError("invalid JSON: " + message);
  }
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
