// Reading fields far enough from the end of the input that the reader's
// one-check paths take them: every integer form, floats, doubles, short and
// long strings, one- and two-byte heads, list elements, and everything those
// paths hand to the general one (values out of the declared range, other
// types, lengths beyond the input), with the same problems, paths and offsets.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "navreq/kse/record.h"
#include "support/wire.h"

namespace fasttest {

using navcore::ryn::List;
using std::int16_t;
using std::int32_t;
using std::int64_t;
using std::string;
using std::uint32_t;

#define NAVKSE_FIELDS_Fast(X)    \
  X(0, int32_t, a, 0)            \
  X(1, bool, flag, false)        \
  X(2, uint32_t, u, 0)           \
  X(3, int16_t, s, 0)            \
  X(4, int64_t, big, 0)          \
  X(5, float, f, 0.0f)           \
  X(6, double, d, 0.0)           \
  X(7, string, text, {})         \
  X(20, int32_t, far, 0)         \
  X(21, string, far_text, {})    \
  X(22, List<int32_t>, list, {}) \
  X(30, string, tail, {})
NAVKSE_RECORD(Fast, NAVKSE_FIELDS_Fast);

}  // namespace fasttest

namespace {

using fasttest::Fast;
using navcore::ryn::ReadMode;
using navcore::ryn::ReadOptions;
using navcore::ryn::ReadResult;
using wire::UnhexBytes;

ReadResult Read(const std::string& hex, Fast& out, ReadMode mode = ReadMode::kStrict) {
  const std::vector<char> bytes = UnhexBytes(hex);
  ReadOptions options;
  options.mode = mode;
  return navcore::ryn::readRecord(bytes, out, options);
}

std::string Problems(const ReadResult& r) {
  std::string out;
  for (const navcore::ryn::ReadProblem& p : r.problems) {
    out += p.path + " @ " + std::to_string(p.offset) + ": " + navcore::ryn::readProblemName(p.kind) + "\n";
  }
  return out;
}

// Fields at offsets: a 0, flag 2, u 4, s 13, big 16, f 25, d 30, text 39,
// far 43, far_text 49, list 52, tail 62 (a 20-byte string: everything before
// it is more than 16 bytes from the end).
const std::string kA = "00fe";                         // -2, int8 form
const std::string kFlag = "1001";                      // true
const std::string kU = "23 00000000ee6b2800";          // 4000000000, int64 form
const std::string kS = "31 012c";                      // 300, int16 form
const std::string kBig = "43 fffffffed5fa0e00";        // -5000000000
const std::string kF = "54 3fc00000";                  // 1.5f
const std::string kD = "65 c002000000000000";          // -2.25
const std::string kText = "76 02 6869";                // "hi"
const std::string kFar = "f214 000186a0";              // 100000, int32 form, two-byte head
const std::string kFarText = "f615 00";                // "", two-byte head
const std::string kList = "f916 0003 0001 0c 01fed4";  // [1, 0, -300]
const std::string kTail = "f61e 14 303132333435363738396162636465666768696a";

std::string After(const std::string& from_flag) { return from_flag + kList + kTail; }
const std::string kMiddle = kF + kD + kText + kFar + kFarText;

TEST(KseReaderFastPath, EveryFormAndHead) {
  Fast r;
  const ReadResult res = Read(kA + kFlag + kU + kS + kBig + After(kMiddle), r);
  ASSERT_TRUE(res.ok()) << Problems(res);
  EXPECT_EQ(res.consumed, 85u);
  EXPECT_EQ(r.a, -2);
  EXPECT_TRUE(r.flag);
  EXPECT_EQ(r.u, 4000000000u);
  EXPECT_EQ(r.s, 300);
  EXPECT_EQ(r.big, -5000000000LL);
  EXPECT_EQ(r.f, 1.5f);
  EXPECT_EQ(r.d, -2.25);
  EXPECT_EQ(r.text, "hi");
  EXPECT_EQ(r.far, 100000);
  EXPECT_EQ(r.far_text, "");
  EXPECT_EQ(r.list, (std::vector<int32_t>{1, 0, -300}));
  EXPECT_EQ(r.tail, "0123456789abcdefghij");
}

TEST(KseReaderFastPath, ZeroHeadsAndTheLongStringForm) {
  Fast r;
  r.a = 9;
  r.text = "old";
  const std::string text_long = "77 00000002 6869";  // "hi" in the four-byte-length form
  const ReadResult res =
      Read("0c" + kFlag + kU + kS + "4c" + kF + kD + text_long + kFar + kFarText + kList + kTail, r);
  ASSERT_TRUE(res.ok()) << Problems(res);
  EXPECT_EQ(r.a, 0);
  EXPECT_EQ(r.big, 0);
  EXPECT_EQ(r.text, "hi");
  EXPECT_EQ(r.tail, "0123456789abcdefghij");
}

// a: 2^31 in the int64 form; flag: 2; u: -1; s: 70000 in the int32 form.
const std::string kOutOfRange =
    "03 0000000080000000"
    "1002"
    "20ff"
    "32 00011170";

TEST(KseReaderFastPath, OutOfRangeStrictStopsAtTheFirst) {
  Fast r;
  const ReadResult res = Read(kOutOfRange + kBig + After(kMiddle), r);
  EXPECT_TRUE(res.stopped);
  EXPECT_EQ(Problems(res), "a @ 0: out of range\n");
}

TEST(KseReaderFastPath, OutOfRangeTolerantReadsOn) {
  Fast r;
  const ReadResult res = Read(kOutOfRange + kBig + After(kMiddle), r, ReadMode::kTolerant);
  EXPECT_FALSE(res.stopped);
  EXPECT_EQ(Problems(res),
            "a @ 0: out of range\n"
            "flag @ 9: out of range\n"
            "u @ 11: out of range\n"
            "s @ 13: out of range\n");
  EXPECT_EQ(r.a, 0);
  EXPECT_FALSE(r.flag);
  EXPECT_EQ(r.u, 0u);
  EXPECT_EQ(r.s, 0);
  EXPECT_EQ(r.big, -5000000000LL);
  EXPECT_EQ(r.far, 100000);
  EXPECT_EQ(r.tail, "0123456789abcdefghij");
}

TEST(KseReaderFastPath, ListElementOutOfRange) {
  Fast r;
  // list [1, 2^32 (int64 form), 0] at offset 52: the second element at 58.
  const std::string list = "f916 0003 0001 03 0000000100000000 0c";
  const ReadResult res = Read(kA + kFlag + kU + kS + kBig + kMiddle + list + kTail, r);
  EXPECT_EQ(Problems(res), "list[1] @ 58: out of range\n");
}

TEST(KseReaderFastPath, OtherTypesAreMismatches) {
  Fast r;
  // a as the string "A" (3 bytes); then f (at 26) as an int32.
  const ReadResult res =
      Read("0601 41" + kFlag + kU + kS + kBig + "52 00000001" + kD + kText + kFar + kFarText + kList + kTail,
           r, ReadMode::kTolerant);
  EXPECT_EQ(Problems(res),
            "a @ 0: type mismatch\n"
            "f @ 26: type mismatch\n");
  EXPECT_EQ(r.d, -2.25);
  EXPECT_EQ(r.tail, "0123456789abcdefghij");
}

TEST(KseReaderFastPath, ShortStringLongerThanTheInput) {
  Fast r;
  // text claims 255 bytes at 39: its bytes would start at 41.
  const ReadResult res =
      Read(kA + kFlag + kU + kS + kBig + kF + kD + "76 ff 6869" + kFar + kFarText + kList + kTail, r);
  EXPECT_TRUE(res.stopped);
  EXPECT_EQ(Problems(res), "text @ 41: bad length\n");
}

TEST(KseReaderFastPath, FieldsOutOfOrderTakeTheGeneralPath) {
  Fast r;
  // flag before a: both read, the second out of order.
  const ReadResult res = Read(kFlag + kA + kU + kS + kBig + After(kMiddle), r, ReadMode::kTolerant);
  EXPECT_EQ(Problems(res), "a @ 2: field out of order\n");
  EXPECT_EQ(r.a, -2);
  EXPECT_TRUE(r.flag);
  EXPECT_EQ(r.tail, "0123456789abcdefghij");
}

}  // namespace
