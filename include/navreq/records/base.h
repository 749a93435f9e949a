// What every wire-record header needs: the declaration macro and type aliases.
#pragma once

#include <cstdint>
#include <string>

#include "navreq/kse/record.h"

namespace navkse {
using ::navcore::ryn::Bytes;
using ::navcore::ryn::BytesMap;
using ::navcore::ryn::KseStructBase;
using ::navcore::ryn::List;
using ::navcore::ryn::LongMap;
using ::navcore::ryn::StringMap;
using ::navcore::ryn::StringMapOf;
using ::navcore::ryn::UBytes;
using std::int16_t;
using std::int32_t;
using std::int64_t;
using std::int8_t;
using std::string;
using std::uint32_t;
}  // namespace navkse
