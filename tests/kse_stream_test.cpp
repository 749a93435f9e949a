// Byte-level behaviour of the Kse output stream.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "navreq/kse/exceptions.h"
#include "navreq/kse/output_stream.h"
#include "support/wire.h"

namespace {

using navcore::ryn::BufferWriter;
using navcore::ryn::KseOutputStream;
using Stream = KseOutputStream<BufferWriter>;
using wire::Hex;

std::string HexOf(const Stream& os) { return Hex(os.data(), os.length()); }

template <class T>
std::string Written(const T& value, std::uint8_t tag) {
  Stream os;
  os.write(value, tag);
  return HexOf(os);
}

struct Pair : navcore::ryn::KseStructBase {
  std::int32_t a = 0;
  std::string b;
  void writeTo(Stream& os) const {
    os.write(a, 0);
    os.write(b, 1);
  }
};

TEST(KseHead, TagFourteenIsOneByteFifteenIsTwo) {
  EXPECT_EQ(Written(std::int32_t{0}, 14), "ec");
  EXPECT_EQ(Written(std::int32_t{0}, 15), "fc0f");
  EXPECT_EQ(Written(std::int32_t{1}, 15), "f00f01");
  EXPECT_EQ(Written(std::int32_t{0}, 255), "fcff");
  EXPECT_EQ(Written(std::string(), 100), "f66400");
}

TEST(KseHead, DataHeadWritesOneHead) {
  Stream os;
  navcore::ryn::DataHead::writeTo(os, navcore::ryn::kKseStructBegin, 1);
  navcore::ryn::DataHead::writeTo(os, navcore::ryn::kKseList, 20);
  EXPECT_EQ(HexOf(os), "1af914");
}

TEST(KseInt32, SmallestFittingForms) {
  EXPECT_EQ(Written(std::int32_t{0}, 1), "1c");
  EXPECT_EQ(Written(std::int32_t{1}, 1), "1001");
  EXPECT_EQ(Written(std::int32_t{-1}, 1), "10ff");
  EXPECT_EQ(Written(std::int32_t{127}, 1), "107f");
  EXPECT_EQ(Written(std::int32_t{-128}, 1), "1080");
  EXPECT_EQ(Written(std::int32_t{128}, 1), "110080");
  EXPECT_EQ(Written(std::int32_t{-129}, 1), "11ff7f");
  EXPECT_EQ(Written(std::int32_t{32767}, 1), "117fff");
  EXPECT_EQ(Written(std::int32_t{32768}, 1), "1200008000");
  EXPECT_EQ(Written(std::int32_t{40000}, 1), "1200009c40");
  EXPECT_EQ(Written(std::int32_t{-32769}, 1), "12ffff7fff");
  EXPECT_EQ(Written(std::numeric_limits<std::int32_t>::min(), 1), "1280000000");
}

TEST(KseInt64, ThirtyTwoBitBoundary) {
  EXPECT_EQ(Written(std::int64_t{2147483648LL}, 0), "030000000080000000");
  EXPECT_EQ(Written(std::int64_t{-2147483648LL}, 0), "0280000000");
  EXPECT_EQ(Written(std::int64_t{2147483647LL}, 0), "027fffffff");
  EXPECT_EQ(Written(std::int64_t{-2147483649LL}, 0), "03ffffffff7fffffff");
  EXPECT_EQ(Written(std::int64_t{0}, 2), "2c");
}

TEST(KseInt16AndInt8, ChainEndsInZeroHead) {
  EXPECT_EQ(Written(std::int16_t{0}, 3), "3c");
  EXPECT_EQ(Written(std::int16_t{-25536}, 3), "319c40");
  EXPECT_EQ(Written(std::int16_t{100}, 3), "3064");
  EXPECT_EQ(Written(static_cast<signed char>(-56), 3), "30c8");
  EXPECT_EQ(Written(static_cast<signed char>(0), 3), "3c");
}

TEST(KseBoolAndChar, EightBitPath) {
  EXPECT_EQ(Written(false, 0), "0c");
  EXPECT_EQ(Written(true, 0), "0001");
  EXPECT_EQ(Written('A', 4), "4041");
  // A char is one two's-complement byte whatever the host's char signedness.
  EXPECT_EQ(Written(static_cast<char>(0xC8), 4), "40c8");
}

TEST(KseUnsigned, WidenedWithoutSign) {
  // A uint32 goes through the 64-bit rule: never negative on the wire.
  EXPECT_EQ(Written(std::uint32_t{0xFFFFFFFFu}, 0), "0300000000ffffffff");
  EXPECT_EQ(Written(std::uint32_t{34856}, 0), "0200008828");
  EXPECT_EQ(Written(std::uint32_t{0}, 0), "0c");
  EXPECT_EQ(Written(static_cast<unsigned char>(200), 0), "0100c8");
}

TEST(KseFloat, AlwaysFullWidthBigEndian) {
  EXPECT_EQ(Written(0.0f, 0), "0400000000");
  EXPECT_EQ(Written(-1.0f, 0), "04bf800000");
  EXPECT_EQ(Written(1.0, 10), "a53ff0000000000000");
  EXPECT_EQ(Written(0.0, 0), "050000000000000000");
  EXPECT_EQ(Written(-0.0, 0), "058000000000000000");
  EXPECT_EQ(Written(std::numeric_limits<double>::infinity(), 1), "157ff0000000000000");
  EXPECT_EQ(Written(20037508.0, 10), "a541731bf840000000");
}

TEST(KseString, ShortAndLongForms) {
  EXPECT_EQ(Written(std::string(), 2), "2600");
  EXPECT_EQ(Written(std::string("ab"), 0), "06026162");
  const std::string s255(255, 'x');
  EXPECT_EQ(Written(s255, 0), "06ff" + Hex(s255));
  const std::string s256(256, 'y');
  EXPECT_EQ(Written(s256, 0), "0700000100" + Hex(s256));
  // Bytes go out as they are, NUL included.
  EXPECT_EQ(Written(std::string("a\0b", 3), 1), "1603610062");
}

TEST(KseString, LimitIsOneHundredMebibytes) {
  const std::size_t limit = 104857600;
  {
    Stream os;
    const std::string at_limit(limit, 'z');
    os.write(at_limit, 3);
    ASSERT_EQ(os.length(), 1 + 4 + limit);
    EXPECT_EQ(Hex(os.data(), 5), "3706400000");
  }
  Stream os;
  os.write(std::int32_t{7}, 0);
  const std::string over(limit + 1, 'z');
  try {
    os.write(over, 3);
    FAIL() << "no exception";
  } catch (const navcore::ryn::KseDecodeInvalidValue& e) {
    EXPECT_STREQ(e.what(), "invalid string size, tag: 3, size: 104857601");
  }
  // Nothing was appended for the failing field.
  EXPECT_EQ(HexOf(os), "0007");
}

TEST(KseExceptions, FamilyAndMessages) {
  navcore::ryn::KseDecodeInvalidValue e("boom");
  const navcore::ryn::KseDecodeException& as_decode = e;
  const navcore::ryn::KseException& as_kse = e;
  const std::runtime_error& as_runtime = e;
  EXPECT_STREQ(as_decode.what(), "boom");
  EXPECT_STREQ(as_kse.what(), "boom");
  EXPECT_STREQ(as_runtime.what(), "boom");
}

TEST(KseBytes, SimpleListInOnePiece) {
  EXPECT_EQ(Written(std::vector<char>(), 7), "7d000c");
  EXPECT_EQ(Written(std::vector<char>{'\x01', '\xff'}, 0), "0d00000201ff");
  EXPECT_EQ(Written(std::vector<char>(300, '\x00'), 1), "1d0001012c" + std::string(600, '0'));
}

TEST(KseUnsignedBytes, ListOfSixteenBitElements) {
  EXPECT_EQ(Written(std::vector<unsigned char>{0, 1, 200}, 2), "2900030c00010100c8");
  EXPECT_EQ(Written(std::vector<unsigned char>(), 2), "290c");
}

TEST(KseContainers, EmptyListAndMap) {
  EXPECT_EQ(Written(std::vector<std::int32_t>(), 9), "990c");
  EXPECT_EQ(Written(std::map<std::string, std::string>(), 8), "880c");
}

TEST(KseContainers, ListElementsAtTagZero) {
  EXPECT_EQ(Written(std::vector<std::int32_t>{0, 1, 40000}, 1),
            "1900030c0001"
            "0200009c40");
  EXPECT_EQ(Written(std::vector<std::int64_t>{1}, 1),
            "190001"
            "0001");
  EXPECT_EQ(Written(std::vector<float>{0.0f}, 1), "1900010400000000");
  EXPECT_EQ(Written(std::vector<std::string>{"a", ""}, 1),
            "190002060161"
            "0600");
}

TEST(KseContainers, MapInKeyOrderKeyTagZeroValueTagOne) {
  std::map<std::string, std::string> m{{"b", "2"}, {"a", "1"}};
  EXPECT_EQ(Written(m, 3),
            "380002"
            "060161"
            "160131"
            "060162"
            "160132");
  std::map<std::int64_t, std::int64_t> longs{{5, 0}, {-1, 300}};
  EXPECT_EQ(Written(longs, 0),
            "080002"
            "00ff"
            "11012c"
            "0005"
            "1c");
  std::map<std::string, std::vector<char>> bytes{{"k", {'\x09'}}};
  EXPECT_EQ(Written(bytes, 0),
            "080001"
            "06016b"
            "1d00000109");
}

TEST(KseRecords, NestedRecordIsFramed) {
  Pair p;
  p.a = 5;
  p.b = "x";
  EXPECT_EQ(Written(p, 1),
            "1a"
            "0005"
            "160178"
            "0b");
  EXPECT_EQ(Written(std::vector<Pair>{p}, 0),
            "090001"
            "0a"
            "0005"
            "160178"
            "0b");
  std::map<std::string, Pair> by_name{{"n", p}};
  EXPECT_EQ(Written(by_name, 2),
            "280001"
            "06016e"
            "1a"
            "0005"
            "160178"
            "0b");
  std::vector<std::vector<Pair>> nested{{p}};
  EXPECT_EQ(Written(nested, 0),
            "090001"
            "090001"
            "0a"
            "0005"
            "160178"
            "0b");
}

TEST(KseGrowth, FirstAllocationIsTwiceTheFirstPiece) {
  Stream os;
  EXPECT_EQ(os.buffer().capacity(), 0u);
  EXPECT_EQ(os.data(), nullptr);
  os.write(std::int32_t{0}, 1);  // a single head byte
  EXPECT_EQ(os.buffer().capacity(), 2u);
  EXPECT_EQ(os.length(), 1u);
}

TEST(KseGrowth, HeadAndPayloadArePiecesOfTheirOwn) {
  Stream os;
  os.write(std::int32_t{40000}, 0);  // head: 2 x 1; payload: 2 x (1 + 4)
  EXPECT_EQ(os.buffer().capacity(), 10u);
  EXPECT_EQ(os.length(), 5u);
  os.write(std::int32_t{1}, 1);  // fits: no growth
  EXPECT_EQ(os.buffer().capacity(), 10u);
  EXPECT_EQ(os.length(), 7u);
  os.write(std::string("abcdef"), 2);  // head 8, length byte 9, bytes need 15: 2 x 15
  EXPECT_EQ(os.buffer().capacity(), 30u);
  EXPECT_EQ(os.length(), 15u);
  os.write(std::vector<char>(20, 'q'), 3);  // 3d 00 | 00 14 | 20 bytes
  EXPECT_EQ(os.length(), 15u + 4u + 20u);
  EXPECT_EQ(os.buffer().capacity(), 2u * (19u + 20u));
  std::string twenty_q;
  for (int i = 0; i < 20; ++i) twenty_q += "71";
  EXPECT_EQ(HexOf(os),
            "0200009c40"
            "1001"
            "2606616263646566"
            "3d000014" +
                twenty_q);
}

TEST(KseGrowth, EmptyStringOnFreshStreamAllocatesForHeadThenLength) {
  Stream os;
  os.write(std::string(), 0);
  // head 1 byte -> capacity 2; length byte fits; no bytes.
  EXPECT_EQ(os.buffer().capacity(), 2u);
  EXPECT_EQ(HexOf(os), "0600");
}

TEST(KseGrowth, LongStringOnFreshStream) {
  Stream os;
  os.write(std::string(300, 'a'), 0);
  // head -> 2; 4-byte length: 2 x (1 + 4) = 10; 300 bytes: 2 x (5 + 300).
  EXPECT_EQ(os.buffer().capacity(), 610u);
}

}  // namespace
