// ToJson and FromJson of every wire record (navreq/read/records.h), compiled
// once here so that the JSON library stays out of the public headers.
#include "json_mapping.h"
#include "navreq/read/records.h"
#include "navreq/records/all.h"

namespace navreq {

template <class R, IfWireRecord<R>>
std::string ToJson(const R& record) {
  return json_map::WriteDocument(record);
}

template <class R, IfWireRecord<R>>
R FromJson(std::string_view text) {
  return json_map::ReadDocument<R>(text);
}

#define NAVREQ_RECORD_JSON_(R)              \
  template std::string ToJson<R>(const R&); \
  template R FromJson<R>(std::string_view);
NAVKSE_ALL_RECORDS(NAVREQ_RECORD_JSON_)
#undef NAVREQ_RECORD_JSON_

}  // namespace navreq
