// The tags a record declares, in declaration order, for checking the shape
// of the NAVKSE_RECORD field lists against the protocol tables.
#pragma once

#include <cstddef>
#include <vector>

#include "navreq/kse/reflection.h"

namespace navreq {
namespace testing {

template <class R>
std::vector<int> TagsOf() {
  const navcore::ryn::RecordInfo& info = R::kseInfo();
  std::vector<int> tags;
  for (std::size_t i = 0; i < info.count; ++i) tags.push_back(info.fields[i].tag);
  return tags;
}

// from, from + 1, ..., to (both included).
inline std::vector<int> TagRange(int from, int to) {
  std::vector<int> out;
  for (int t = from; t <= to; ++t) out.push_back(t);
  return out;
}

}  // namespace testing
}  // namespace navreq
