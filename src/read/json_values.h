// How the JSON view writes a value's keys: the value of a scalar, the bytes
// of a byte field (docs/tree-format.md).
#pragma once

#include <string>
#include <string_view>

#include "navreq/read/walk.h"

namespace navreq {

// `, "value": …` (and `, "bits": …` for a NaN) of a scalar, as the JSON tree
// writes it.
void AppendJsonValue(std::string& buf, const Item& item, const Scalar& v);

// Bytes as `, "hex": …`, with `, "value": …` before it when they are text.
void AppendJsonBytes(std::string& buf, std::string_view data);

}  // namespace navreq
