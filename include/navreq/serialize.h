// Writing a whole record into a byte vector.
#pragma once

#include <vector>

#include "navreq/kse/output_stream.h"

namespace zv_navi_core {

// Writes `record` with a fresh output stream and puts exactly the written bytes
// into `out`. Any exception (a string over the limit, memory exhaustion) is
// caught: the result is false and `out` is left empty.
template <class Record>
[[nodiscard]] bool SerializeKSE(const Record& record, std::vector<char>& out) noexcept {
  out.clear();
  try {
    navcore::ryn::KseOutputStream<navcore::ryn::BufferWriter> os;
    record.writeTo(os);
    out.assign(os.data(), os.data() + os.length());
    return true;
  } catch (...) {
    out.clear();
    return false;
  }
}

}  // namespace zv_navi_core
