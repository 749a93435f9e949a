// Every record reads back what it wrote: random instances (fixed seed) are
// written, read in strict mode, compared field by field with the original and
// written again to the same bytes. The record list they run on (all.h) is
// checked against the record headers and the command tables.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "navreq/records/all.h"
#include "navreq/records/commands.h"
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

// `record` and every record it nests, at any depth.
void Reach(const navcore::ryn::RecordInfo& record, std::set<std::string>& reached) {
  if (!reached.insert(record.name).second) return;
  for (const navcore::ryn::FieldInfo& f : record) {
    for (const navcore::ryn::TypeInfo* t = f.type; t != nullptr; t = t->element) {
      if (t->record != nullptr) Reach(t->record(), reached);
      if (t->key != nullptr && t->key->record != nullptr) Reach(t->key->record(), reached);
    }
  }
}

std::multiset<std::string> Listed() {
  std::multiset<std::string> listed;
#define NAVREQ_LISTED_(RECORD) listed.insert(RECORD::kseInfo().name);
  NAVKSE_ALL_RECORDS(NAVREQ_LISTED_)
#undef NAVREQ_LISTED_
  return listed;
}

TEST(KseRoundTrip, TheRecordListHoldsEveryRecordTheTablesReach) {
  std::set<std::string> reached;
  for (const navkse::CommandInfo& c : navkse::kCommands) {
    if (c.body != nullptr) Reach(c.body(), reached);
  }
  for (const navkse::EmbeddedRecord& e : navkse::kEmbeddedRecords) {
    Reach(e.holder(), reached);
    Reach(e.record(), reached);
  }
  for (const navkse::SideRecord& s : navkse::kRouteSideRecords) Reach(s.record(), reached);
  const std::multiset<std::string> listed = Listed();
  for (const std::string& name : reached) EXPECT_EQ(listed.count(name), 1u) << name;
  EXPECT_GT(reached.size(), 30u);  // the request bodies and all they nest
}

// Every record declared in the headers of records/ is listed, once per
// declaration (names are compared; two namespaces may declare the same one).
TEST(KseRoundTrip, TheRecordListHoldsEveryDeclaredRecord) {
  const std::filesystem::path dir = std::filesystem::path(NAVREQ_SOURCE_DIR) / "include/navreq/records";
  const std::regex declaration(R"(^\s*NAVKSE_RECORD(?:_WITH_MEMORY)?\((\w+),)");
  std::multiset<std::string> declared;
  std::size_t headers = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() != ".h") continue;
    ++headers;
    std::ifstream in(entry.path());
    std::string line;
    std::smatch m;
    while (std::getline(in, line)) {
      if (std::regex_search(line, m, declaration)) declared.insert(m[1].str());
    }
  }
  ASSERT_GT(headers, 10u) << dir;
  const std::multiset<std::string> listed = Listed();
  for (const std::string& name : std::set<std::string>(declared.begin(), declared.end())) {
    EXPECT_EQ(listed.count(name), declared.count(name)) << name << " is declared but not listed in all.h";
  }
  for (const std::string& name : std::set<std::string>(listed.begin(), listed.end())) {
    EXPECT_EQ(declared.count(name), listed.count(name)) << name << " is listed but not declared";
  }
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
