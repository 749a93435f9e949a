// Every record reads back what it wrote: random instances (fixed seed) are
// written, read in strict mode, compared field by field with the original and
// written again to the same bytes.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "navreq/records/all.h"
#include "navreq/serialize.h"
#include "support/random_records.h"
#include "support/wire.h"

namespace {

constexpr int kInstancesPerRecord = 1000;

template <class R>
void RoundTrip(std::uint64_t seed) {
  randrec::Filler filler(seed);
  for (int i = 0; i < kInstancesPerRecord; ++i) {
    R original;
    filler.fill(original);
    std::vector<char> first;
    ASSERT_TRUE(zv_navi_core::SerializeKSE(original, first)) << R::kseInfo().name << " #" << i;
    R copy;
    const navcore::ryn::ReadResult r = navcore::ryn::readRecord(first, copy);
    ASSERT_TRUE(r.ok()) << R::kseInfo().name << " #" << i << ": " << r.problems.front().toString();
    ASSERT_EQ(r.consumed, first.size());
    ASSERT_TRUE(randrec::Same(original, copy)) << R::kseInfo().name << " #" << i;
    std::vector<char> second;
    ASSERT_TRUE(zv_navi_core::SerializeKSE(copy, second));
    ASSERT_EQ(wire::Hex(second), wire::Hex(first)) << R::kseInfo().name << " #" << i;
  }
}

TEST(KseRoundTrip, EveryRecordThousandRandomInstances) {
  std::uint64_t seed = 20261123;
#define NAVREQ_ROUND_TRIP_(RECORD) \
  RoundTrip<RECORD>(seed++);       \
  if (::testing::Test::HasFatalFailure()) return;
  NAVKSE_ALL_RECORDS(NAVREQ_ROUND_TRIP_)
#undef NAVREQ_ROUND_TRIP_
}

TEST(KseRoundTrip, DefaultsOfEveryRecord) {
#define NAVREQ_DEFAULTS_(RECORD)                                        \
  {                                                                     \
    RECORD original;                                                    \
    std::vector<char> bytes;                                            \
    ASSERT_TRUE(zv_navi_core::SerializeKSE(original, bytes));           \
    RECORD copy;                                                        \
    EXPECT_TRUE(navcore::ryn::readRecord(bytes, copy).ok()) << #RECORD; \
    EXPECT_TRUE(randrec::Same(original, copy)) << #RECORD;              \
  }
  NAVKSE_ALL_RECORDS(NAVREQ_DEFAULTS_)
#undef NAVREQ_DEFAULTS_
}

// The list covers every record any listed record nests.
void Collect(const navcore::ryn::TypeInfo* type, std::set<std::string>& nested) {
  if (type == nullptr) return;
  if (type->record != nullptr) nested.insert(type->record().name);
  Collect(type->element, nested);
  Collect(type->key, nested);
}

TEST(KseRoundTrip, TheRecordListIsClosedUnderNesting) {
  std::set<std::string> listed;
  std::set<std::string> nested;
#define NAVREQ_COLLECT_(RECORD)          \
  listed.insert(RECORD::kseInfo().name); \
  for (const navcore::ryn::FieldInfo& f : RECORD::kseInfo()) Collect(f.type, nested);
  NAVKSE_ALL_RECORDS(NAVREQ_COLLECT_)
#undef NAVREQ_COLLECT_
  for (const std::string& name : nested) EXPECT_TRUE(listed.count(name) == 1) << name;
  EXPECT_EQ(listed.size(), 59u);
}

}  // namespace
