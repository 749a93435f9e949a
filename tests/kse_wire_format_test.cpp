// The wire layer's facts and stores, byte by byte: the forms integers take,
// the ranges of declared kinds, the names of type codes, and the head and
// payload stores that the output stream and pack share.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "navreq/kse/reflection.h"
#include "navreq/kse/wire_format.h"
#include "navreq/kse/wire_types.h"

namespace {

using namespace navcore::ryn;

std::string Hex(const char* data, std::size_t n) {
  static const char* const kDigits = "0123456789abcdef";
  std::string out;
  for (std::size_t i = 0; i < n; ++i) {
    const auto b = static_cast<unsigned char>(data[i]);
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

TEST(KseWireFormat, IntegerFormsHoldTheirSignedRange) {
  EXPECT_TRUE(kseIntegerFits(kKseZero, 0));
  EXPECT_FALSE(kseIntegerFits(kKseZero, 1));
  EXPECT_TRUE(kseIntegerFits(kKseInt8, -128));
  EXPECT_TRUE(kseIntegerFits(kKseInt8, 127));
  EXPECT_FALSE(kseIntegerFits(kKseInt8, 128));
  EXPECT_FALSE(kseIntegerFits(kKseInt8, -129));
  EXPECT_TRUE(kseIntegerFits(kKseInt16, -32768));
  EXPECT_FALSE(kseIntegerFits(kKseInt16, 32768));
  EXPECT_TRUE(kseIntegerFits(kKseInt32, -2147483648LL));
  EXPECT_FALSE(kseIntegerFits(kKseInt32, 2147483648LL));
  EXPECT_TRUE(kseIntegerFits(kKseInt64, INT64_MIN));
  EXPECT_TRUE(kseIntegerFits(kKseInt64, INT64_MAX));
  EXPECT_FALSE(kseIntegerFits(kKseFloat, 0));  // not an integer form
}

TEST(KseWireFormat, SmallestFormFollowsTheRanges) {
  EXPECT_EQ(kseIntegerType<64>(0), kKseZero);
  EXPECT_EQ(kseIntegerType<64>(-128), kKseInt8);
  EXPECT_EQ(kseIntegerType<64>(128), kKseInt16);
  EXPECT_EQ(kseIntegerType<64>(-32769), kKseInt32);
  EXPECT_EQ(kseIntegerType<64>(2147483648LL), kKseInt64);
  EXPECT_EQ(kseIntegerType<16>(2147483648LL), kKseInt16);  // the declared width caps the chain
}

TEST(KseWireFormat, DeclaredKindsHoldTheirValues) {
  EXPECT_TRUE(integerKindHolds(WireKind::kBool, 1));
  EXPECT_FALSE(integerKindHolds(WireKind::kBool, 2));
  EXPECT_FALSE(integerKindHolds(WireKind::kBool, -1));
  EXPECT_TRUE(integerKindHolds(WireKind::kChar, -128));
  EXPECT_FALSE(integerKindHolds(WireKind::kChar, 128));
  EXPECT_TRUE(integerKindHolds(WireKind::kUInt8, 255));
  EXPECT_FALSE(integerKindHolds(WireKind::kUInt8, 256));
  EXPECT_FALSE(integerKindHolds(WireKind::kUInt8, -1));
  EXPECT_FALSE(integerKindHolds(WireKind::kInt16, 32768));
  EXPECT_FALSE(integerKindHolds(WireKind::kInt32, -2147483649LL));
  EXPECT_TRUE(integerKindHolds(WireKind::kUInt32, 4294967295LL));
  EXPECT_FALSE(integerKindHolds(WireKind::kUInt32, 4294967296LL));
  EXPECT_FALSE(integerKindHolds(WireKind::kUInt32, -1));
  EXPECT_TRUE(integerKindHolds(WireKind::kInt64, INT64_MIN));
  EXPECT_TRUE(isIntegerKind(WireKind::kUInt32));
  EXPECT_FALSE(isIntegerKind(WireKind::kFloat));
  EXPECT_FALSE(isIntegerKind(WireKind::kRecord));
}

TEST(KseWireFormat, ScalarTypeNamesAreTheKindNames) {
  EXPECT_STREQ(FieldType<std::uint32_t>::typeName(), "uint32");
  EXPECT_STREQ(FieldType<Bytes>::typeName(), "bytes");
  EXPECT_STREQ(wireKindName(WireKind::kRecord), "record");
}

TEST(KseWireFormat, TypeCodeNames) {
  EXPECT_STREQ(kseTypeName(kKseString4), "string4");
  EXPECT_STREQ(kseTypeShownName(kKseString4), "string");
  EXPECT_STREQ(kseTypeName(kKseStructBegin), "struct-begin");
  EXPECT_STREQ(kseTypeShownName(kKseStructBegin), "struct");
  EXPECT_STREQ(kseTypeShownName(kKseSimpleList), "bytes");
  EXPECT_STREQ(kseTypeName(14), "unknown");
  EXPECT_STREQ(kseTypeShownName(15), "type15");
}

TEST(KseWireFormat, StringFormByLength) {
  EXPECT_EQ(kseStringType(0), kKseString1);
  EXPECT_EQ(kseStringType(255), kKseString1);
  EXPECT_EQ(kseStringType(256), kKseString4);
}

TEST(KseWireFormat, Heads) {
  char out[kKseMaxHeadSize] = {};
  EXPECT_EQ(storeHead(out, kKseInt32, 14), 1u);
  EXPECT_EQ(Hex(out, 1), "e2");
  EXPECT_EQ(storeHead(out, kKseInt32, 15), 2u);
  EXPECT_EQ(Hex(out, 2), "f20f");
  EXPECT_EQ(storeLongHead(out, kKseString1, 3), 2u);
  EXPECT_EQ(Hex(out, 2), "f603");
}

TEST(KseWireFormat, IntegerPayloadsAreBigEndianAtTheFormsWidth) {
  char out[8] = {};
  EXPECT_EQ(storeIntegerPayload(out, kKseZero, 0), 0u);
  EXPECT_EQ(storeIntegerPayload(out, kKseInt8, -1), 1u);
  EXPECT_EQ(Hex(out, 1), "ff");
  EXPECT_EQ(storeIntegerPayload(out, kKseInt16, 5), 2u);  // wider than the value needs
  EXPECT_EQ(Hex(out, 2), "0005");
  EXPECT_EQ(storeIntegerPayload(out, kKseInt32, -2), 4u);
  EXPECT_EQ(Hex(out, 4), "fffffffe");
  EXPECT_EQ(storeIntegerPayload(out, kKseInt64, 0x0102030405060708LL), 8u);
  EXPECT_EQ(Hex(out, 8), "0102030405060708");
  EXPECT_EQ(kKseSimpleListElement, 0x00);
}

}  // namespace
