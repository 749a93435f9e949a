// The Kse reader on hand-spelled bytes: every value type, names from the
// record declarations, and every way bytes can fail to decode.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "kse_reader.h"
#include "navreq/engine/service_overrides.h"
#include "navreq/records/navicore.h"
#include "tool_run.h"

namespace {

using navreq::testing::FromHex;
using navreq::tool::Decoded;
using navreq::tool::DecodeFields;
using navreq::tool::DecodeProtobuf;
using navreq::tool::Node;
using navreq::tool::PbDecoded;
using navreq::tool::RecordInfo;

// Decodes from a buffer of exactly the input's size, so that a read past the
// end is an out-of-bounds access the sanitizers report.
Decoded Decode(const std::string& bytes, const RecordInfo* record = nullptr) {
  const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
  return DecodeFields(exact.data(), exact.size(), record);
}

Decoded DecodeHex(const std::string& hex, const RecordInfo* record = nullptr) {
  return Decode(FromHex(hex), record);
}

// Tags 0..9, then 15 and 200 (two-byte heads).
const char* const kEveryScalar =
    "0c"                  // 0: zero head
    "10ff"                // 1: int8 -1
    "210080"              // 2: int16 128
    "3200009c40"          // 3: int32 40000
    "430000000080000000"  // 4: int64 2^31
    "5280000000"          // 5: int32 -2^31
    "6400000000"          // 6: float 0.0
    "753ff0000000000000"  // 7: double 1.0
    "8600"                // 8: empty short string
    "96026162"            // 9: "ab"
    "f00f07"              // 15: int8 7
    "f0c801";             // 200: int8 1
// Where each field of kEveryScalar starts (in bytes), and the end.
const std::vector<std::size_t> kEveryScalarBoundaries = {0, 1, 3, 6, 11, 20, 25, 30, 39, 41, 45, 48, 51};

TEST(KseReader, DecodesEveryScalarType) {
  const Decoded d = DecodeHex(kEveryScalar);
  ASSERT_TRUE(d.complete) << d.error;
  ASSERT_EQ(d.fields.size(), 12u);
  const std::vector<int> tags = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 200};
  const std::vector<int> wires = {12, 0, 1, 2, 3, 2, 4, 5, 6, 6, 0, 0};
  for (std::size_t i = 0; i < tags.size(); ++i) {
    EXPECT_EQ(d.fields[i].tag, tags[i]) << i;
    EXPECT_EQ(d.fields[i].wire, wires[i]) << i;
    EXPECT_EQ(d.fields[i].offset, kEveryScalarBoundaries[i]) << i;
  }
  EXPECT_EQ(d.fields[0].integer, 0);
  EXPECT_EQ(d.fields[1].integer, -1);
  EXPECT_EQ(d.fields[2].integer, 128);
  EXPECT_EQ(d.fields[3].integer, 40000);
  EXPECT_EQ(d.fields[4].integer, 2147483648LL);
  EXPECT_EQ(d.fields[5].integer, -2147483648LL);
  EXPECT_EQ(d.fields[6].real, 0.0);
  EXPECT_EQ(d.fields[7].real, 1.0);
  EXPECT_EQ(d.fields[8].bytes, "");
  EXPECT_EQ(d.fields[9].bytes, "ab");
  EXPECT_EQ(d.fields[10].integer, 7);
  EXPECT_EQ(d.fields[11].integer, 1);
  for (const Node& n : d.fields) EXPECT_EQ(n.field, nullptr);  // no declaration given
}

TEST(KseReader, LongStringHasAFourByteLength) {
  const Decoded d = Decode(FromHex("0700000100") + std::string(256, 'x'));
  ASSERT_TRUE(d.complete) << d.error;
  ASSERT_EQ(d.fields.size(), 1u);
  EXPECT_EQ(d.fields[0].wire, 7);
  EXPECT_EQ(d.fields[0].bytes, std::string(256, 'x'));
}

TEST(KseReader, DecodesContainers) {
  const Decoded d = DecodeHex(
      "1a00070b"        // 1: record { 0: 7 }
      "a9000200010002"  // 10: list [1, 2]
      "880001"          // 8: map, one entry
      "06016b160176"    //    "k" -> "v"
      "7d0000026869"    // 7: byte array "hi"
      "990c"            // 9: empty list
      "b80c"            // 11: empty map
      "7d000c");        // 7: empty byte array
  ASSERT_TRUE(d.complete) << d.error;
  ASSERT_EQ(d.fields.size(), 7u);

  const Node& record = d.fields[0];
  EXPECT_EQ(record.wire, 10);
  ASSERT_EQ(record.items.size(), 1u);
  EXPECT_EQ(record.items[0].integer, 7);

  const Node& list = d.fields[1];
  EXPECT_EQ(list.tag, 10);
  EXPECT_EQ(list.count, 2);
  ASSERT_EQ(list.items.size(), 2u);
  EXPECT_EQ(list.items[0].integer, 1);
  EXPECT_EQ(list.items[1].integer, 2);

  const Node& map = d.fields[2];
  EXPECT_EQ(map.count, 1);
  ASSERT_EQ(map.items.size(), 2u);  // key, value
  EXPECT_EQ(map.items[0].tag, 0);
  EXPECT_EQ(map.items[0].bytes, "k");
  EXPECT_EQ(map.items[1].tag, 1);
  EXPECT_EQ(map.items[1].bytes, "v");

  EXPECT_EQ(d.fields[3].wire, 13);
  EXPECT_EQ(d.fields[3].bytes, "hi");
  EXPECT_EQ(d.fields[4].count, 0);
  EXPECT_EQ(d.fields[5].count, 0);
  EXPECT_EQ(d.fields[6].bytes, "");
}

TEST(KseReader, NamesFieldsFromTheRecordDeclaration) {
  using navkse::navicore::nav::ugs_guidance_slice_req_t;
  const Decoded d = DecodeHex(
      "06027331"  // 0: "s1"
      "190001"    // 1: list of one
      "0a0601611101"
      "2c2200009c400b",  //    { "a", 300, 40000 }
      &ugs_guidance_slice_req_t::kseInfo());
  ASSERT_TRUE(d.complete) << d.error;
  ASSERT_EQ(d.fields.size(), 2u);
  ASSERT_NE(d.fields[0].field, nullptr);
  EXPECT_STREQ(d.fields[0].field->name, "slice_session_id");
  EXPECT_STREQ(d.fields[1].field->name, "slices");
  const Node& slice = d.fields[1].items.at(0);
  EXPECT_EQ(slice.record, &navkse::navicore::nav::ugs_guidance_slice_params_t::kseInfo());
  ASSERT_EQ(slice.items.size(), 3u);
  EXPECT_STREQ(slice.items[0].field->name, "slice_text");
  EXPECT_EQ(slice.items[0].bytes, "a");
  EXPECT_STREQ(slice.items[1].field->name, "slice_value1");
  EXPECT_EQ(slice.items[1].integer, 300);
  EXPECT_STREQ(slice.items[2].field->typeName(), "int32");
  EXPECT_EQ(slice.items[2].integer, 40000);
}

TEST(KseReader, TruncatedValueStopsAtItsHead) {
  const Decoded d = DecodeHex("0c1200");  // zero, then an int32 with one byte of four
  EXPECT_FALSE(d.complete);
  EXPECT_EQ(d.stop_offset, 1u);
  EXPECT_EQ(d.error, "an int32 needs 4 bytes, 1 left");
  EXPECT_EQ(d.rest, FromHex("1200"));
  ASSERT_EQ(d.fields.size(), 2u);
  EXPECT_TRUE(d.fields[0].complete);
  EXPECT_FALSE(d.fields[1].complete);
}

TEST(KseReader, EveryPrefixDecodesUpToTheLastWholeField) {
  const std::string all = FromHex(kEveryScalar);
  for (std::size_t n = 0; n <= all.size(); ++n) {
    const Decoded d = Decode(all.substr(0, n));
    bool boundary = false;
    std::size_t whole = 0;  // fields wholly inside the prefix
    for (std::size_t i = 0; i < kEveryScalarBoundaries.size(); ++i) {
      if (kEveryScalarBoundaries[i] == n) boundary = true;
      if (i > 0 && kEveryScalarBoundaries[i] <= n) whole = i;
    }
    EXPECT_EQ(d.complete, boundary) << "prefix " << n;
    if (!boundary) {
      EXPECT_EQ(d.stop_offset, kEveryScalarBoundaries[whole]) << "prefix " << n;
      EXPECT_EQ(d.rest, all.substr(kEveryScalarBoundaries[whole], n - kEveryScalarBoundaries[whole]));
    }
  }
}

TEST(KseReader, CountsBeyondTheInputAreRefusedBeforeAnyAllocation) {
  Decoded d = DecodeHex("99027fffffff");  // list of 2^31 - 1 elements, none there
  EXPECT_FALSE(d.complete);
  EXPECT_EQ(d.stop_offset, 0u);
  EXPECT_EQ(d.error, "list count 2147483647 exceeds the 0 bytes left");

  d = DecodeHex("88020000000200");  // map of 2 entries in one byte
  EXPECT_EQ(d.error, "map count 2 exceeds the 1 bytes left");

  d = DecodeHex("7d0002ffffffff6869");  // byte array of 2^32 - 1... written as int32 -1
  EXPECT_EQ(d.error, "byte array count -1 is negative");

  d = DecodeHex("9900ff");
  EXPECT_EQ(d.error, "list count -1 is negative");

  d = DecodeHex("07ffffffff");
  EXPECT_EQ(d.error, "string of 4294967295 bytes, 0 left");
}

TEST(KseReader, NestingIsLimited) {
  Decoded d = Decode(std::string(200, '\x0a'));  // records begun, never ended
  EXPECT_FALSE(d.complete);
  EXPECT_EQ(d.error, "nesting deeper than 64 levels");
  EXPECT_EQ(d.stop_offset, 64u);

  std::string lists;
  for (int i = 0; i < 100; ++i) lists += FromHex("090001");  // list of one list of one ...
  d = Decode(lists);
  EXPECT_FALSE(d.complete);
  EXPECT_EQ(d.error, "nesting deeper than 64 levels");
}

TEST(KseReader, MalformedHeads) {
  Decoded d = DecodeHex("0c0e");
  EXPECT_EQ(d.error, "unknown type code 14");
  EXPECT_EQ(d.stop_offset, 1u);
  EXPECT_EQ(DecodeHex("1f").error, "unknown type code 15");
  EXPECT_EQ(DecodeHex("f0").error, "input ends inside a two-byte field head");
  EXPECT_EQ(DecodeHex("0b").error, "end-of-record head outside any record");
  EXPECT_EQ(DecodeHex("9900010b").error, "end-of-record head where a value was expected");
  d = DecodeHex("1a0007");
  EXPECT_EQ(d.error, "input ends inside the record begun at offset 0");
  EXPECT_EQ(d.stop_offset, 3u);
  EXPECT_EQ(DecodeHex("88000116016b160176").error, "tag 0 expected inside a container, found tag 1");
  EXPECT_EQ(DecodeHex("9906").error, "the count of a list must be an integer at tag 0");
  EXPECT_EQ(DecodeHex("7d01").error, "a byte array must name its element type with the byte 00");
}

TEST(KseReader, RandomBytesNeverReadPastTheEnd) {
  std::mt19937 rng(20231114);
  const std::string valid = FromHex(kEveryScalar);
  for (int round = 0; round < 3000; ++round) {
    std::string bytes;
    if (round % 2 == 0) {
      bytes.resize(rng() % 257);
      for (char& c : bytes) c = static_cast<char>(rng() & 0xFF);
    } else {
      bytes = valid;  // a valid stream with a few bytes changed
      for (int k = 0; k < 3; ++k) bytes[rng() % bytes.size()] = static_cast<char>(rng() & 0xFF);
    }
    const Decoded d = Decode(bytes);
    if (!d.complete) {
      ASSERT_LE(d.stop_offset, bytes.size());
      ASSERT_EQ(d.rest, bytes.substr(d.stop_offset));
      ASSERT_FALSE(d.error.empty());
    }
  }
}

TEST(ProtobufReader, ReadsPlainFields) {
  const std::string bytes = FromHex(
      "089601"              // 1: varint 150
      "1203616263"          // 2: "abc"
      "1d01000000"          // 3: fixed32 1
      "210200000000000000"  // 4: fixed64 2
  );
  const PbDecoded p = DecodeProtobuf(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  ASSERT_TRUE(p.complete) << p.error;
  ASSERT_EQ(p.fields.size(), 4u);
  EXPECT_EQ(p.fields[0].number, 1u);
  EXPECT_EQ(p.fields[0].value, 150u);
  EXPECT_EQ(p.fields[1].wire, 2);
  EXPECT_EQ(p.fields[1].bytes, "abc");
  EXPECT_EQ(p.fields[2].value, 1u);
  EXPECT_EQ(p.fields[3].value, 2u);
}

TEST(ProtobufReader, StopEventMapLayoutIsReadUntilItStopsParsing) {
  // flag 1, then the map field's tag, a bare count 01, the tag again and
  // the length-prefixed key: a plain reader takes "12 01 12" as a one-byte
  // field and then meets field number 0.
  const std::string bytes = FromHex(
      "0801"
      "1201"
      "12"
      "05756c6d6964");
  const PbDecoded p = DecodeProtobuf(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  EXPECT_FALSE(p.complete);
  ASSERT_EQ(p.fields.size(), 2u);
  EXPECT_EQ(p.fields[1].number, 2u);
  EXPECT_EQ(p.fields[1].bytes, FromHex("12"));
  EXPECT_EQ(p.stop_offset, 5u);
  EXPECT_EQ(p.error, "field number 0");
  EXPECT_EQ(p.rest, FromHex("05756c6d6964"));

  const std::string cut = FromHex("12056162");
  EXPECT_EQ(DecodeProtobuf(reinterpret_cast<const unsigned char*>(cut.data()), cut.size()).error,
            "length 5 runs past the end");
}

TEST(Gunzip, InflatesAndReportsBrokenStreams) {
  const std::vector<char> plain = {'h', 'e', 'l', 'l', 'o'};
  std::vector<char> packed;
  ASSERT_TRUE(navreq::services::DefaultGZipCompress(plain, packed));
  const std::string stream(packed.begin(), packed.end());
  EXPECT_TRUE(navreq::tool::LooksGzip(stream));

  std::string out;
  std::string error;
  ASSERT_TRUE(navreq::tool::Gunzip(stream, out, error)) << error;
  EXPECT_EQ(out, "hello");

  EXPECT_FALSE(navreq::tool::Gunzip(stream.substr(0, stream.size() - 4), out, error));
  EXPECT_EQ(error, "truncated gzip stream");
  EXPECT_TRUE(out.empty());

  error.clear();
  EXPECT_FALSE(navreq::tool::Gunzip(FromHex("1f8b0800000000000003ffffffffffff"), out, error));
  EXPECT_EQ(error.rfind("corrupt gzip stream", 0), 0u) << error;
}

TEST(WireMatchesDeclared, FollowsTheSmallestFittingRule) {
  using navreq::tool::WireMatchesDeclared;
  EXPECT_TRUE(WireMatchesDeclared(2, "int32"));
  EXPECT_FALSE(WireMatchesDeclared(3, "int32"));
  EXPECT_TRUE(WireMatchesDeclared(3, "uint32"));  // unsigned 32-bit goes out by the 64-bit rule
  EXPECT_FALSE(WireMatchesDeclared(2, "int16"));
  EXPECT_TRUE(WireMatchesDeclared(12, "bool"));
  EXPECT_FALSE(WireMatchesDeclared(1, "int8"));
  EXPECT_TRUE(WireMatchesDeclared(7, "string"));
  EXPECT_FALSE(WireMatchesDeclared(5, "float"));
  EXPECT_FALSE(WireMatchesDeclared(9, "bytes"));
  EXPECT_TRUE(WireMatchesDeclared(9, "ubytes"));
  EXPECT_TRUE(WireMatchesDeclared(9, "list<Point>"));
  EXPECT_TRUE(WireMatchesDeclared(8, "map<string,bytes>"));
  EXPECT_TRUE(WireMatchesDeclared(10, "Point"));
  EXPECT_FALSE(WireMatchesDeclared(9, "Point"));
}

}  // namespace
