// Byte layout of the common building blocks: Point, Gps, SimplePOIRequestInfo,
// ClientParam and its sub-records, NavEnergyModelParams.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "navreq/records/common.h"
#include "navreq/serialize.h"
#include "support/encoded.h"
#include "support/record_info.h"
#include "support/record_tables.h"
#include "support/wire.h"

namespace {

using namespace wire;
using tables::Hx;
using namespace navkse::common;

using navreq::testing::Encoded;
using navreq::testing::TagRange;
using navreq::testing::TagsOf;

// ---- Point ------------------------------------------------------------------

TEST(PointRecord, DefaultIsThreeZeroIntegersNotAnEmptyRecord) {
  EXPECT_EQ(Encoded(Point()), "0c1c2c");
  EXPECT_EQ(Encoded(Point()), tables::DefaultPoint());
}

TEST(PointRecord, LongitudeFirstThenLatitude) {
  Point p;
  p.longitude = 116397128;  // 0x06F01448
  p.latitude = -128;
  EXPECT_EQ(Encoded(p), Hx("0206f01448 1080 2c"));
}

TEST(PointRecord, NestedWithFrame) {
  navcore::ryn::KseOutputStream<navcore::ryn::BufferWriter> os;
  os.write(Point(), 1);
  EXPECT_EQ(Hex(os.data(), os.length()), "1a0c1c2c0b");
}

// ---- Gps ----------------------------------------------------------------------

TEST(GpsRecord, DefaultWritesTwoTwoZeroTwoMinusOneAtTagsFifteenToNineteen) {
  const std::string head = "0c1c2c3c4c5c6c7c8c9cacbcccdcec";  // tags 0..14 zero
  const std::string tail = "f00f02f01002fc11f01202f013ff";
  EXPECT_EQ(Encoded(Gps()), head + tail);
  EXPECT_EQ(Encoded(Gps()), tables::DefaultGps());
}

TEST(GpsRecord, CoordinateAboveSixteenBitsTakesTypeTwoWithFourBigEndianBytes) {
  Gps g;
  g.longitude = 32768;         // 0.032768 degrees: one above the int16 range
  g.latitude = 32767;          // still int16
  g.scalarC = 116397128;       // 0x06F01448
  g.heading = -116397128;      // 0xF90FEBB8
  g.timeSeconds = 1700000000;  // 0x6553F100, fits int32
  g.field19 = 40000;           // two-byte head, then a four-byte value
  EXPECT_EQ(Encoded(g), Hx("0200008000 117fff 2206f01448 32f90febb8 4c 5c 626553f100 7c 8c 9c ac bc cc dc ec "
                           "f00f02 f01002 fc11 f01202 f21300009c40"));
}

TEST(GpsRecord, TimeBeyondInt32TakesEightBytes) {
  Gps g;
  g.timeSeconds = INT64_C(2147483648);  // 2^31
  const std::string expect =
      Hx("0c 1c 2c 3c 4c 5c 630000000080000000 7c 8c 9c ac bc cc dc ec f00f02 f01002 fc11 f01202 f013ff");
  EXPECT_EQ(Encoded(g), expect);
}

TEST(GpsRecord, HighTagsAlwaysUseTheTwoByteHead) {
  Gps g;
  g.field15 = 0;
  g.field16 = 1;
  g.field17 = -1;
  g.field18 = 300;
  g.field19 = 0;
  EXPECT_EQ(Encoded(g), Hx("0c 1c 2c 3c 4c 5c 6c 7c 8c 9c ac bc cc dc ec fc0f f01001 f011ff f112012c fc13"));
}

// ---- SimplePOIRequestInfo ----------------------------------------------------

TEST(SimplePOIRecord, DefaultWritesNonZeroDefaultsAndThreeNestedPoints) {
  const std::string point = "0c1c2c";
  const std::string expect = "0a" + point +
                             "0b"            // tag 0: Point
                             "160026003600"  // tags 1..3
                             "4c"            // tag 4
                             "560066007600"  // tags 5..7
                             "80ff"          // tag 8: -1
                             "9c"            // tag 9: false
                             "aa" +
                             point +
                             "0b"        // tag 10: Point
                             "b600c600"  // tags 11, 12
                             "dc"        // tag 13
                             "e055"      // tag 14: 85
                             "f60f00"    // tag 15
                             "fc10"      // tag 16
                             "f61100"    // tag 17
                             "f012ff"    // tag 18: -1
                             "f9130c"    // tag 19: empty list
                             "fa14" +
                             point +
                             "0b"             // tag 20: Point
                             "fc15fc16fc17";  // tags 21..23
  EXPECT_EQ(Encoded(SimplePOIRequestInfo()), expect);
  EXPECT_EQ(Encoded(SimplePOIRequestInfo()), tables::DefaultSimplePOI());
}

TEST(SimplePOIRecord, FilledPointTextsAndList) {
  SimplePOIRequestInfo s;
  s.point.longitude = 116397128;
  s.point.latitude = 39916527;
  s.point_again = s.point;
  s.primaryText = "A";
  s.secondaryText = "bc";
  s.pointType = 2;
  s.field9 = true;
  s.field19 = {0, 200};
  s.field22 = true;
  std::string expect = Struct(0, "0206f0144812026113ef2c") + Str(1, "A") + Str(2, "") + Str(3, "bc") +
                       "4002" + Str(5, "") + Str(6, "") + Str(7, "") + "80ff" + "9001" +
                       Struct(10, "0206f0144812026113ef2c") + Str(11, "") + Str(12, "") + "dc" + "e055" +
                       Str(15, "") + "fc10" + Str(17, "") + "f012ff" + "f91300020c0100c8" +
                       Struct(20, "0c1c2c") + "fc15f01601fc17";
  EXPECT_EQ(Encoded(s), expect);
}

// ---- ClientParam and its sub-records -------------------------------------------

TEST(ClientParamRecord, DefaultLayout) {
  const std::string expect =
      "00ff"                          // tag 0: -1
      "16002600"                      // tags 1, 2
      "3c4c5c6c7c"                    // tags 3..7
      "8600"                          // tag 8
      "9a0c0b"                        // tag 9: TravelJamSearch
      "ac"                            // tag 10
      "b600"                          // tag 11
      "ca0c190c280c0b"                // tag 12: ReqLinksData
      "dcecfc0ffc10fc11fc12fc13"      // tags 13..19
      "f01401"                        // tag 20: 1
      "fc15"                          // tag 21
      "fa160c1c2c0b"                  // tag 22: NavFusingControlParam
      "fa17060016002c36004c5c66000b"  // tag 23: BrokerReq
      "fc18fc19fc1afc1bfc1cfc1dfc1e"  // tags 24..30
      "fc1f"                          // tag 31: order_source
      "f62000";                       // tag 32: order_id_
  EXPECT_EQ(Encoded(ClientParam()), expect);
  EXPECT_EQ(Encoded(ClientParam()), tables::DefaultClientParam());
}

TEST(ClientParamRecord, InMemoryFlagsAreNeverWritten) {
  ClientParam c;
  c.car_energy_type = 3;
  c.coords_cut_for_yaw = true;
  c.truck_flag = true;
  EXPECT_EQ(Encoded(c), tables::DefaultClientParam());
}

TEST(ClientParamRecord, OrderFieldsAtTagsThirtyOneAndThirtyTwo) {
  ClientParam c;
  c.order_source = 7;
  c.order_id_ = "o1";
  const std::string d = tables::DefaultClientParam();
  // The default ends with "fc1ff62000".
  ASSERT_EQ(d.substr(d.size() - 10), "fc1ff62000");
  EXPECT_EQ(Encoded(c), d.substr(0, d.size() - 10) + Hx("f01f07 f620026f31"));
}

TEST(TravelJamSearchRecord, Default) { EXPECT_EQ(Encoded(TravelJamSearch()), "0c"); }

TEST(ReqLinksDataRecord, EmptyVectorAndMapStillWritten) {
  EXPECT_EQ(Encoded(ReqLinksData()), "0c190c280c");
  EXPECT_EQ(Encoded(ReqLinksData()), tables::DefaultReqLinksData());
}

TEST(ReqLinksDataRecord, LinksAsInt64ListAndMapInKeyOrder) {
  ReqLinksData r;
  r.field0 = 1;
  r.link_ids = {INT64_C(4294967296), 5};
  r.link_map = {{9, -1}, {INT64_C(-3000000000), 0}};
  EXPECT_EQ(Encoded(r), Hx("0001 190002 030000000100000000 0005 280002 03ffffffff4d2fa200 1c 0009 10ff"));
}

TEST(NavFusingControlParamRecord, FalseFlagIsTheZeroHead) {
  EXPECT_EQ(Encoded(NavFusingControlParam()), "0c1c2c");
  NavFusingControlParam n;
  n.field0 = true;
  n.field1 = 128;
  n.field2 = -32769;
  EXPECT_EQ(Encoded(n), Hx("0001 110080 22ffff7fff"));
}

TEST(BrokerReqRecord, Default) {
  EXPECT_EQ(Encoded(BrokerReq()), Hx("0600 1600 2c 3600 4c 5c 6600"));
  EXPECT_EQ(Encoded(BrokerReq()), tables::DefaultBrokerReq());
}

TEST(NavEnergyModelParamsRecord, Default) {
  EXPECT_EQ(Encoded(NavEnergyModelParams()), "0c");
  NavEnergyModelParams n;
  n.field0 = 85;
  EXPECT_EQ(Encoded(n), "0055");
}

// ---- Copies are deep ----------------------------------------------------------

TEST(CommonRecordsAreValues, CopyOfClientParamIsIndependent) {
  ClientParam original;
  original.req_links.link_ids = {1, 2};
  original.broker.field0 = "x";
  const std::string before = Encoded(original);
  ClientParam copy = original;
  copy.req_links.link_ids.push_back(3);
  copy.req_links.link_map[1] = 1;
  copy.broker.field0 = "changed";
  copy.order_id_ = "y";
  EXPECT_EQ(Encoded(original), before);
  EXPECT_NE(Encoded(copy), before);
}

// ---- Field names: shape of the declarations -------------------------------------

TEST(CommonRecordsInfo, TagsAscendingWithTheRightCount) {
  EXPECT_EQ(TagsOf<Point>(), TagRange(0, 2));
  EXPECT_EQ(TagsOf<Gps>(), TagRange(0, 19));
  EXPECT_EQ(TagsOf<SimplePOIRequestInfo>(), TagRange(0, 23));
  EXPECT_EQ(TagsOf<ClientParam>(), TagRange(0, 32));
  EXPECT_EQ(TagsOf<BrokerReq>(), TagRange(0, 6));
  EXPECT_STREQ(SimplePOIRequestInfo::kseInfo().name, "SimplePOIRequestInfo");
  EXPECT_STREQ(Gps::kseInfo().fields[6].type->name(), "int64");
  EXPECT_EQ(&ClientParam::kseInfo().fields[12].type->record(), &ReqLinksData::kseInfo());
}

}  // namespace
