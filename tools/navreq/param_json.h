// Reading the engine's parameter records from JSON, strictly: the library's
// mapping (navreq/params_json.h, src/serializer/params_json_mapping.h), which
// the tool shares with navreq::FromJson so that both read the same documents.
// Any mismatch throws InputError with the member's path, for example
// "param.viaPoints[1].pointType: 4294967296 is out of range for int32".
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "json_mapping.h"
#include "navreq/read/json_error.h"
#include "params_json_mapping.h"

namespace navreq {
namespace tool {

using json = nlohmann::json;

// Input that is not valid: the message names the problem and its path.
using InputError = ::navreq::JsonError;

// Parses a whole JSON document. Malformed text and duplicate keys in one
// object throw InputError.
[[nodiscard]] inline json ParseJsonDocument(const std::string& text) { return json_map::ParseStrict(text); }

// Reads `out` (a parameter record, or any of its member types) from `j`;
// `path` names `j` in the errors.
template <class T>
void FromJson(const json& j, T& out, const std::string& path) {
  json_map::JsonOf<T>::read(j, out, path);
}

}  // namespace tool
}  // namespace navreq
