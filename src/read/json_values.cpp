// How one value of the walk is written in the JSON tree: numbers exactly,
// floats that JSON cannot hold as strings (with a NaN's bits), text as JSON
// strings and other bytes as hex (docs/tree-format.md).
#include "json_values.h"

#include <cstdio>

#include "navreq/read/text.h"
#include "navreq/read/views.h"
#include "wire_cursor.h"

namespace navreq {

void AppendJsonValue(std::string& buf, const Item& item, const Scalar& v) {
  switch (item.wire) {
    case kKseFloat:
    case kKseDouble: {
      const std::string real = RealText(item, v);
      if (real == "NaN" || real == "Infinity" || real == "-Infinity") {
        buf += ", \"value\": \"" + real + "\"";
        if (real == "NaN") {
          char bits[20];
          std::snprintf(bits, sizeof bits, item.wire == kKseFloat ? "%08llx" : "%016llx",
                        static_cast<unsigned long long>(v.bits));
          buf += ", \"bits\": \"" + std::string(bits) + "\"";
        }
      } else {
        buf += ", \"value\": " + real;
      }
      break;
    }
    case kKseString1:
    case kKseString4:
      if (ValidUtf8(v.text)) {
        buf += ", \"value\": ";
        AppendJsonString(buf, v.text);
      } else {
        buf += ", \"hex\": \"";
        AppendHex(buf, v.text.data(), v.text.size());
        buf += '"';
      }
      break;
    default:
      buf += ", \"value\": ";
      AppendInt(buf, v.integer);
  }
}

void AppendJsonBytes(std::string& buf, std::string_view data) {
  if (ShowsAsText(data)) {
    buf += ", \"value\": ";
    AppendJsonString(buf, data);
  }
  buf += ", \"hex\": \"";
  AppendHex(buf, data.data(), data.size());
  buf += '"';
}

}  // namespace navreq
