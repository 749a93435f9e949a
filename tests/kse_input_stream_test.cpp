// The Kse input stream on literal bytes: heads, payload forms, counts,
// lengths, nesting, and where it stops.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "navreq/kse/input_stream.h"
#include "support/wire.h"

namespace {

using navcore::ryn::KseHead;
using navcore::ryn::KseInputStream;
using navcore::ryn::KseReadError;
using navcore::ryn::ReadProblemKind;
using wire::UnhexBytes;

// Bytes kept alive for a stream over them.
struct Input {
  explicit Input(const std::string& hex) : bytes(UnhexBytes(hex)), in(bytes.data(), bytes.size()) {}
  std::vector<char> bytes;
  KseInputStream in;
};

// The error `f` throws, as "kind@offset: detail"; "none" if none.
template <class F>
std::string ErrorOf(F&& f) {
  try {
    f();
  } catch (const KseReadError& e) {
    return std::string(navcore::ryn::readProblemName(e.kind())) + "@" + std::to_string(e.offset()) + ": " +
           e.detail();
  }
  return "none";
}

TEST(KseInputHead, OneByteHeads) {
  Input t("1c e5 03");
  KseHead h = t.in.readHead();
  EXPECT_EQ(h.tag, 1);
  EXPECT_EQ(h.type, 12);
  EXPECT_EQ(h.size, 1);
  EXPECT_EQ(h.offset, 0u);
  h = t.in.readHead();  // tag 14, double
  EXPECT_EQ(h.tag, 14);
  EXPECT_EQ(h.type, 5);
  EXPECT_EQ(h.offset, 1u);
  EXPECT_EQ(t.in.position(), 2u);
  EXPECT_EQ(t.in.remaining(), 1u);
}

TEST(KseInputHead, TwoByteHeadsForTag15And255) {
  Input t("f00f01fcff");
  KseHead h = t.in.readHead();
  EXPECT_EQ(h.tag, 15);
  EXPECT_EQ(h.type, 0);
  EXPECT_EQ(h.size, 2);
  EXPECT_EQ(t.in.readInteger(h.type), 1);
  h = t.in.readHead();
  EXPECT_EQ(h.tag, 255);
  EXPECT_EQ(h.type, 12);
  EXPECT_EQ(h.offset, 3u);
  EXPECT_TRUE(t.in.atEnd());
}

TEST(KseInputHead, TwoByteHeadCutAfterItsFirstByte) {
  Input t("f0");
  EXPECT_EQ(ErrorOf([&] { t.in.readHead(); }), "truncated@0: two-byte head cut: 2 bytes needed, 1 left");
}

TEST(KseInputHead, TypeCodes14And15AreRejected) {
  Input a("0e");
  EXPECT_EQ(ErrorOf([&] { a.in.readHead(); }), "bad type@0: type code 14, expected 0-13");
  Input b("1c3f");
  b.in.readHead();
  EXPECT_EQ(ErrorOf([&] { b.in.readHead(); }), "bad type@1: type code 15, expected 0-13");
}

TEST(KseInputHead, NoHeadAtTheEnd) {
  Input t("");
  EXPECT_EQ(ErrorOf([&] { t.in.readHead(); }), "truncated@0: head expected: 1 byte needed, 0 left");
}

TEST(KseInputInteger, EveryFormBigEndianAndSignExtended) {
  Input t("00ff 01ff7f 0280000000 03fffffffffffffffe 0c 00 7f 018000 027fffffff 030000000080000000");
  EXPECT_EQ(t.in.readInteger(t.in.readHead().type), -1);
  EXPECT_EQ(t.in.readInteger(t.in.readHead().type), -129);
  EXPECT_EQ(t.in.readInteger(t.in.readHead().type), INT32_MIN);
  EXPECT_EQ(t.in.readInteger(t.in.readHead().type), -2);
  EXPECT_EQ(t.in.readInteger(t.in.readHead().type), 0);
  EXPECT_EQ(t.in.readInteger(t.in.readHead().type), 127);
  EXPECT_EQ(t.in.readInteger(t.in.readHead().type), -32768);
  EXPECT_EQ(t.in.readInteger(t.in.readHead().type), INT32_MAX);
  EXPECT_EQ(t.in.readInteger(t.in.readHead().type), 2147483648LL);
  EXPECT_TRUE(t.in.atEnd());
}

TEST(KseInputInteger, PayloadCutShort) {
  Input t("020000");
  const KseHead h = t.in.readHead();
  EXPECT_EQ(ErrorOf([&] { t.in.readInteger(h.type); }),
            "truncated@1: input ends inside a value: 4 bytes needed, 2 left");
}

TEST(KseInputFloat, BitPatternsBigEndian) {
  Input t("043f800000 05bff0000000000000 047fc00000");
  t.in.readHead();
  EXPECT_EQ(t.in.readFloat(), 1.0f);
  t.in.readHead();
  EXPECT_EQ(t.in.readDouble(), -1.0);
  t.in.readHead();
  EXPECT_TRUE(std::isnan(t.in.readFloat()));
}

TEST(KseInputString, ShortAndLongForms) {
  std::string long_hex = "2700000100";
  for (int i = 0; i < 256; ++i) long_hex += "61";
  Input t("1603616263" + long_hex + "3600");
  KseHead h = t.in.readHead();
  navcore::ryn::KseSpan s = t.in.readString(h.type);
  EXPECT_EQ(std::string(s.data, s.size), "abc");
  EXPECT_EQ(s.offset, 2u);
  h = t.in.readHead();
  EXPECT_EQ(h.type, 7);
  s = t.in.readString(h.type);
  EXPECT_EQ(s.size, 256u);
  EXPECT_EQ(std::string(s.data, s.size), std::string(256, 'a'));
  h = t.in.readHead();
  EXPECT_EQ(t.in.readString(h.type).size, 0u);
}

TEST(KseInputString, LengthBeyondTheInput) {
  Input a("160461");
  KseHead h = a.in.readHead();
  EXPECT_EQ(ErrorOf([&] { a.in.readString(h.type); }), "bad length@2: length 4 exceeds the 1 byte left");
  // A long form announcing 4 GiB in a 7-byte input.
  Input b("07ffffffff6161");
  h = b.in.readHead();
  EXPECT_EQ(ErrorOf([&] { b.in.readString(h.type); }),
            "bad length@1: string length 4294967295 over the limit of 104857600");
  // Over the 100 MiB limit, whatever follows.
  Input c("0706400001");
  h = c.in.readHead();
  EXPECT_EQ(ErrorOf([&] { c.in.readString(h.type); }),
            "bad length@1: string length 104857601 over the limit of 104857600");
}

TEST(KseInputSimpleList, BytesInOnePiece) {
  Input t("7d 00 0003 010203 7d000c");
  KseHead h = t.in.readHead();
  navcore::ryn::KseSpan s = t.in.readSimpleList();
  EXPECT_EQ(wire::Hex(s.data, s.size), "010203");
  h = t.in.readHead();
  EXPECT_EQ(t.in.readSimpleList().size, 0u);
  EXPECT_EQ(h.tag, 7);
}

TEST(KseInputSimpleList, ElementTypeOtherThanBytes) {
  Input t("0d 02 01 00");
  t.in.readHead();
  EXPECT_EQ(ErrorOf([&] { t.in.readSimpleList(); }),
            "bad type@1: simple list element type 2, expected 0 (bytes)");
}

TEST(KseInputCount, LargerThanTheInput) {
  // A list of 2^31-1 elements in a 7-byte input: refused before anything else.
  Input t("09 02 7fffffff 0c");
  t.in.readHead();
  EXPECT_EQ(ErrorOf([&] { t.in.readCount(1); }), "bad count@1: count 2147483647 exceeds the 1 byte left");
  // Exactly as many one-byte elements as bytes left is fine.
  Input u("09 02 00000002 0c0c");
  u.in.readHead();
  EXPECT_EQ(u.in.readCount(1), 2u);
  // A map entry needs two bytes.
  Input m("08 02 00000002 0c0c1c");
  m.in.readHead();
  EXPECT_EQ(ErrorOf([&] { m.in.readCount(2); }), "bad count@1: count 2 needs at least 4 bytes, 3 left");
}

TEST(KseInputCount, NegativeAndNonInteger) {
  Input t("09 00ff");
  t.in.readHead();
  EXPECT_EQ(ErrorOf([&] { t.in.readCount(1); }), "bad count@1: count -1, expected 0 to 2147483647");
  Input u("09 0600");
  u.in.readHead();
  EXPECT_EQ(ErrorOf([&] { u.in.readCount(1); }),
            "bad count@1: count not an integer: type code 6 (string1) read");
}

TEST(KseInputSkip, SkipsNestedValuesWholly) {
  // A record holding a list of two strings and a map of one int pair, then 0x1c.
  Input t("0a 09 0002 060161 0600 18 0001 0c 1005 0b 1c");
  const KseHead h = t.in.readHead();
  t.in.skipValue(h);
  EXPECT_EQ(t.in.position(), 16u);
  EXPECT_EQ(t.in.readHead().tag, 1);
  EXPECT_TRUE(t.in.atEnd());
  EXPECT_EQ(t.in.depth(), 0);
}

std::string Nested(int depth) {
  std::string hex;
  for (int i = 0; i < depth; ++i) hex += "0a";
  for (int i = 0; i < depth; ++i) hex += "0b";
  return hex;
}

TEST(KseInputSkip, NestingCappedAt64) {
  Input ok(Nested(64));
  EXPECT_EQ(ErrorOf([&] { ok.in.skipValue(ok.in.readHead()); }), "none");
  EXPECT_TRUE(ok.in.atEnd());
  Input deep(Nested(65));
  EXPECT_EQ(ErrorOf([&] { deep.in.skipValue(deep.in.readHead()); }),
            "too deep@64: nesting deeper than 64 levels");
}

TEST(KseInputSkip, ListsCountTowardTheCap) {
  std::string hex;
  for (int i = 0; i < 65; ++i) hex += "090001";
  hex += "0c";
  Input deep(hex);
  EXPECT_EQ(ErrorOf([&] { deep.in.skipValue(deep.in.readHead()); }),
            "too deep@192: nesting deeper than 64 levels");
}

TEST(KseInputSkip, RecordWithoutItsEnd) {
  Input t("0a 1c 2c");
  EXPECT_EQ(ErrorOf([&] { t.in.skipValue(t.in.readHead()); }),
            "truncated@3: head expected: 1 byte needed, 0 left");
}

TEST(KseInputInteger, NotAnIntegerHead) {
  Input t("0600");
  const KseHead h = t.in.readHead();
  EXPECT_EQ(ErrorOf([&] { t.in.readInteger(h.type); }),
            "type mismatch@1: integer expected: type code 6 (string1) read");
}

TEST(KseInputCount, OnlyTagZeroInTheOneByteHead) {
  Input t("09 1c");
  t.in.readHead();
  EXPECT_EQ(ErrorOf([&] { t.in.readCount(1); }),
            "bad count@1: count head with tag 1 in 1 byte, expected tag 0 in 1 byte");
  Input u("09 fc00");
  u.in.readHead();
  EXPECT_EQ(ErrorOf([&] { u.in.readCount(1); }),
            "bad count@1: count head with tag 0 in 2 bytes, expected tag 0 in 1 byte");
}

TEST(KseInputSkip, EndHeadInTheTwoByteForm) {
  Input t("0a fb03");
  EXPECT_EQ(ErrorOf([&] { t.in.skipValue(t.in.readHead()); }),
            "bad type@1: end of record with tag 3 in the two-byte form");
}

}  // namespace
