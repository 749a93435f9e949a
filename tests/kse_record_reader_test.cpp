// Reading records from literal bytes: accepted integer forms, widths, both
// string forms, tags 14/15/255, strict and tolerant problems with their paths
// and offsets.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "navreq/kse/record.h"
#include "navreq/records/common.h"
#include "navreq/records/location_report_dmq.h"
#include "navreq/records/routesearch.h"
#include "support/wire.h"

namespace readtest {

using navcore::ryn::List;
using navcore::ryn::StringMap;
using std::int16_t;
using std::int32_t;
using std::int64_t;
using std::string;
using std::uint32_t;

#define NAVKSE_FIELDS_Inner(X) \
  X(0, int32_t, a, 0)          \
  X(1, string, s, {})
NAVKSE_RECORD(Inner, NAVKSE_FIELDS_Inner);

#define NAVKSE_FIELDS_Outer(X) \
  X(0, Inner, one, {})         \
  X(1, List<Inner>, many, {})  \
  X(14, int16_t, narrow, 0)    \
  X(15, uint32_t, wide, 0)     \
  X(255, StringMap, named, {})
NAVKSE_RECORD(Outer, NAVKSE_FIELDS_Outer);

#define NAVKSE_FIELDS_Flags(X) \
  X(0, bool, flag, false)      \
  X(1, char, letter, 0)        \
  X(2, signed char, small, 0)  \
  X(3, float, ratio, 0.0f)     \
  X(4, double, exact, 0.0)
NAVKSE_RECORD(Flags, NAVKSE_FIELDS_Flags);

}  // namespace readtest

namespace {

using navcore::ryn::ReadMode;
using navcore::ryn::ReadOptions;
using navcore::ryn::ReadResult;
using readtest::Flags;
using readtest::Outer;
using wire::UnhexBytes;

template <class R>
ReadResult Read(const std::string& hex, R& out, ReadMode mode = ReadMode::kStrict) {
  const std::vector<char> bytes = UnhexBytes(hex);
  ReadOptions options;
  options.mode = mode;
  return navcore::ryn::readRecord(bytes, out, options);
}

// The problems as "path @ offset: kind" lines, details left out.
std::string Problems(const ReadResult& r) {
  std::string out;
  for (const navcore::ryn::ReadProblem& p : r.problems) {
    out += (p.path.empty() ? std::string("(root)") : p.path) + " @ " + std::to_string(p.offset) + ": " +
           navcore::ryn::readProblemName(p.kind) + "\n";
  }
  return out;
}

// one {a=1, s="x"}, many [], narrow 0, wide 0, named {}.
const std::string kOuterMinimal = "0a 0001 160178 0b  19 0c  ec  fc0f  f8ff 0c";

TEST(KseRecordRead, TagsFourteenFifteenAnd255) {
  Outer o;
  const ReadResult r = Read(kOuterMinimal, o);
  EXPECT_TRUE(r.ok()) << Problems(r);
  EXPECT_EQ(r.consumed, 15u);
  EXPECT_EQ(o.one.a, 1);
  EXPECT_EQ(o.one.s, "x");
  static_assert(Outer::FieldTag::named == 255, "tag constant");
}

TEST(KseRecordRead, EveryIntegerFormIntoAnInt32) {
  navkse::common::Point p;
  // longitude as a 64-bit form, latitude as 16-bit, field2 as 32-bit.
  ASSERT_TRUE(Read("03 0000000000000005 11 ff9c 22 00000007", p).ok());
  EXPECT_EQ(p.longitude, 5);
  EXPECT_EQ(p.latitude, -100);
  EXPECT_EQ(p.field2, 7);
}

TEST(KseRecordRead, IntegerOutsideTheDeclaredWidth) {
  navkse::common::Point p;
  const ReadResult r = Read("0c 13 0000000080000000 2c", p);
  EXPECT_EQ(Problems(r), "latitude @ 1: out of range\n");
  EXPECT_EQ(r.problems[0].detail, "value 2147483648, expected int32 (-2147483648 to 2147483647)");
  // int16: 40000 does not fit; uint32: negative values do not fit, 2^32-1 does.
  Outer o;
  EXPECT_EQ(Problems(Read("0a 0c 1600 0b 19 0c e2 00009c40 fc0f f8ff 0c", o)), "narrow @ 7: out of range\n");
  EXPECT_EQ(Problems(Read("0a 0c 1600 0b 19 0c ec f00f ff f8ff 0c", o)), "wide @ 8: out of range\n");
  ASSERT_TRUE(Read("0a 0c 1600 0b 19 0c ec f30f 00000000ffffffff f8ff 0c", o).ok());
  EXPECT_EQ(o.wide, 4294967295u);
}

TEST(KseRecordRead, OneByteFields) {
  Flags f;
  ASSERT_TRUE(Read("0001 10ff 2080 343fc00000 45 3ff8000000000000", f).ok());
  EXPECT_TRUE(f.flag);
  EXPECT_EQ(static_cast<int>(static_cast<signed char>(f.letter)), -1);
  EXPECT_EQ(f.small, -128);
  EXPECT_EQ(f.ratio, 1.5f);
  EXPECT_EQ(f.exact, 1.5);
  EXPECT_EQ(Problems(Read("0002 1c 2c 3400000000 4500000000 00000000", f)), "flag @ 0: out of range\n");
  EXPECT_EQ(Problems(Read("0c 11 0080 2c 3400000000 4500000000 00000000", f)), "letter @ 1: out of range\n");
}

TEST(KseRecordRead, FloatsNeedTheirOwnCodes) {
  Flags f;
  // A double where a float is declared, and an integer zero where a double is.
  EXPECT_EQ(Problems(Read("0c 1c 2c 35 3ff8000000000000 45 0000000000000000", f)),
            "ratio @ 3: type mismatch\n");
  EXPECT_EQ(Problems(Read("0c 1c 2c 34 00000000 4c", f)), "exact @ 8: type mismatch\n");
}

TEST(KseRecordRead, BothStringForms) {
  navkse::routesearch::RoadLinkName link;
  std::string long_form = "17 00000100";
  for (int i = 0; i < 256; ++i) long_form += "7a";
  ASSERT_TRUE(Read("0c " + long_form, link).ok());
  EXPECT_EQ(link.name, std::string(256, 'z'));
  // A short string in the long form is read too.
  ASSERT_TRUE(Read("0c 17 00000002 6869", link).ok());
  EXPECT_EQ(link.name, "hi");
}

TEST(KseRecordRead, StrictStopsAtTheFirstProblem) {
  navkse::common::Point p;
  EXPECT_EQ(Problems(Read("0001 1002", p)), "field2 @ 4: missing field\n");
  EXPECT_EQ(Problems(Read("0001 1002 2c 3c", p)), "3 @ 5: unknown field\n");
  EXPECT_EQ(Problems(Read("060161 1002 2c", p)), "longitude @ 0: type mismatch\n");
  EXPECT_EQ(Problems(Read("1002 0001 2c", p)), "longitude @ 2: field out of order\n");
  EXPECT_EQ(Problems(Read("0001 1002 1003 2c", p)), "latitude @ 4: duplicate field\n");
  EXPECT_EQ(Problems(Read("0001 1002 2c 0b", p)), "(root) @ 5: unexpected end of record\n");
}

TEST(KseRecordRead, TolerantReportsEveryProblemAndKeepsDefaults) {
  navkse::common::Gps g;  // field15 defaults to 2, field19 to -1
  const ReadResult r = Read("0001 160161 3c f60f00", g, ReadMode::kTolerant);
  EXPECT_FALSE(r.ok());
  EXPECT_EQ(g.longitude, 1);
  EXPECT_EQ(g.field15, 2);
  EXPECT_EQ(g.heading, 0);
  const std::string problems = Problems(r);
  EXPECT_NE(problems.find("latitude @ 2: type mismatch\n"), std::string::npos) << problems;
  EXPECT_NE(problems.find("field15 @ 6: type mismatch\n"), std::string::npos) << problems;
  // Fields 2 and 4 to 14 are missing between fields read; the record ends
  // after field 15, so 16 to 19 are one problem.
  EXPECT_NE(problems.find("scalarC @ 9: missing field\n"), std::string::npos) << problems;
  EXPECT_NE(problems.find("field14 @ 9: missing field\n"), std::string::npos) << problems;
  EXPECT_EQ(problems.find("field19"), std::string::npos) << problems;
  ASSERT_EQ(r.problems.size(), 2u + 12u + 1u);
  EXPECT_EQ(r.problems.back().toString(),
            "field16 @ 9: missing field (record cut short: 4 declared fields missing from here)");
}

TEST(KseRecordRead, TolerantAcceptsAnyOrder) {
  navkse::common::Point p;
  const ReadResult r = Read("2003 1002 0001", p, ReadMode::kTolerant);
  EXPECT_EQ(p.longitude, 1);
  EXPECT_EQ(p.latitude, 2);
  EXPECT_EQ(p.field2, 3);
  EXPECT_EQ(Problems(r), "latitude @ 2: field out of order\nlongitude @ 4: field out of order\n");
}

TEST(KseRecordRead, PathsThroughRecordsListsAndMaps) {
  Outer o;
  // many[1].a is a string; named["k"] has tag 2 on its value.
  const std::string hex =
      "0a 0c 1600 0b  19 0002 0a 0c 1600 0b 0a 060161 1600 0b  ec fc0f  f8ff 0001 060168 260176";
  const ReadResult r = Read(hex, o, ReadMode::kTolerant);
  EXPECT_EQ(Problems(r), "many[1].a @ 14: type mismatch\nnamed[0] @ 30: unexpected tag\n");
  EXPECT_EQ(o.named.at("h"), "v");
}

// A map value named by its key, spelt by the caller.
void KeyLevel(std::string& path, std::string_view key, bool integer) {
  path += integer ? "[#" : "[";
  path += key;
  path += ']';
}

TEST(KseRecordRead, MapValuesNamedByKey) {
  Outer o;
  const std::vector<char> bytes =
      UnhexBytes("0a 0c 1600 0b  19 0002 0a 0c 1600 0b 0a 060161 1600 0b  ec fc0f  f8ff 0001 060168 260176");
  ReadOptions options;
  options.mode = ReadMode::kTolerant;
  options.key_level = KeyLevel;
  const ReadResult r = navcore::ryn::readRecord(bytes, o, options);
  EXPECT_EQ(Problems(r), "many[1].a @ 14: type mismatch\nnamed[h] @ 30: unexpected tag\n");
}

TEST(KseRecordRead, RepeatedMapKeyAtItsHeadFirstValueKept) {
  // Tag 255 map, two entries under "h": the second key's head is at 10.
  const std::string hex = "0a 0001 160178 0b  19 0c  ec  fc0f  f8ff 0002 060168 160176 060168 160177";
  const std::size_t skip = UnhexBytes("0a 0001 160178 0b  19 0c  ec  fc0f").size();
  Outer o;
  EXPECT_EQ(Problems(Read(hex, o, ReadMode::kTolerant)),
            "named[1].key @ " + std::to_string(skip + 10) + ": duplicate key\n");
  EXPECT_EQ(o.named.at("h"), "v");
  const std::vector<char> bytes = UnhexBytes(hex);
  ReadOptions options;
  options.key_level = KeyLevel;
  Outer strict;
  EXPECT_EQ(Problems(navcore::ryn::readRecord(bytes, strict, options)),
            "named[h] @ " + std::to_string(skip + 10) + ": duplicate key\n");
}

TEST(KseRecordRead, EndHeadWhereAValueBelongsStopsBothModes) {
  Outer o;
  // A list of two records whose second element is an end head; an end head
  // at the top; an end head in the two-byte form closing a record.
  for (const ReadMode mode : {ReadMode::kStrict, ReadMode::kTolerant}) {
    EXPECT_EQ(Problems(Read("0a 0001 160178 0b  19 0002 0a 0c 1600 0b 0b", o, mode)),
              "many[1] @ 15: unexpected end of record\n");
    EXPECT_EQ(Problems(Read("0a 0001 160178 0b 0b", o, mode)), "(root) @ 7: unexpected end of record\n");
    EXPECT_EQ(Problems(Read("0a 0001 160178 fb00", o, mode)), "one @ 6: bad type\n");
  }
}

TEST(KseRecordRead, SkippedValueFollowsTheSameRules) {
  navkse::common::Point p;
  // Undeclared tag 3, skipped in tolerant mode: a list whose one element is
  // an end head, then a record closed by an end head in the two-byte form.
  EXPECT_EQ(Problems(Read("0001 1002 2c 39 0001 0b", p, ReadMode::kTolerant)),
            "3 @ 5: unknown field\n3 @ 8: unexpected end of record\n");
  EXPECT_EQ(Problems(Read("0001 1002 2c 3a fb00", p, ReadMode::kTolerant)),
            "3 @ 5: unknown field\n3 @ 6: bad type\n");
}

TEST(KseRecordRead, CountInAnotherFormIsRefused) {
  Outer o;
  // The list count with tag 1, then tag 0 in the two-byte form.
  EXPECT_EQ(Problems(Read("0a 0001 160178 0b  19 1c", o)), "many @ 8: bad count\n");
  EXPECT_EQ(Problems(Read("0a 0001 160178 0b  19 fc00", o)), "many @ 8: bad count\n");
}

TEST(KseRecordRead, CountLargerThanTheInput) {
  Outer o;
  const ReadResult r = Read("0a 0c 1600 0b 19 02 7fffffff 0a0b", o, ReadMode::kTolerant);
  EXPECT_EQ(Problems(r), "many @ 6: bad count\n");
  EXPECT_TRUE(r.stopped);
}

TEST(KseRecordRead, UnknownFieldNestedTooDeep) {
  navkse::common::Point p;
  std::string hex = "0001 1002 2c 3a";
  for (int i = 0; i < 64; ++i) hex += "0a";
  for (int i = 0; i < 65; ++i) hex += "0b";
  EXPECT_EQ(Problems(Read(hex, p, ReadMode::kTolerant)), "3 @ 5: unknown field\n3 @ 69: too deep\n");
  // 64 levels in all are still skipped.
  hex = "0001 1002 2c 3a";
  for (int i = 0; i < 63; ++i) hex += "0a";
  for (int i = 0; i < 64; ++i) hex += "0b";
  EXPECT_EQ(Problems(Read(hex, p, ReadMode::kTolerant)), "3 @ 5: unknown field\n");
}

TEST(KseRecordRead, TruncationAtEveryByte) {
  const std::vector<char> whole = UnhexBytes(kOuterMinimal);
  for (std::size_t cut = 1; cut < whole.size(); ++cut) {
    Outer o;
    const ReadResult r = navcore::ryn::readRecord(whole.data(), cut, o);
    EXPECT_FALSE(r.ok()) << cut;
  }
}

TEST(KseRecordRead, MemoryLimitOnContainers) {
  navkse::locationReportDMQ::NavExtraData extra;
  ReadOptions options;
  options.memory_limit = 64;  // room for two strings of the list, not three
  const std::vector<char> bytes = UnhexBytes("0600 1600 2600 39 0003 0600 0600 0600 4600 5600");
  const ReadResult r = navcore::ryn::readRecord(bytes, extra, options);
  EXPECT_EQ(Problems(r), "extra_list @ 6: limit exceeded\n");
}

}  // namespace
