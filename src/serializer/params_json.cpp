// ToJson and FromJson of every engine parameter record
// (navreq/params_json.h), compiled once here so that the JSON library stays
// out of the public headers.
#include "navreq/params_json.h"

#include "params_json_mapping.h"

namespace navreq {

template <class R, IfEngineRecord<R>>
std::string ToJson(const R& record) {
  return json_map::WriteDocument(record);
}

template <class R, IfEngineRecord<R>>
R FromJson(std::string_view text, const std::string& root) {
  R out{};
  json_map::JsonOf<R>::read(json_map::ParseStrict(text), out, root);
  return out;
}

#define NAVREQ_PARAMS_JSON_(R)              \
  template std::string ToJson<R>(const R&); \
  template R FromJson<R>(std::string_view, const std::string&);
NAVREQ_ALL_ENGINE_RECORDS(NAVREQ_PARAMS_JSON_)
#undef NAVREQ_PARAMS_JSON_

}  // namespace navreq
