// Byte layout of the location report records and of the trajectory bucket.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "navreq/numeric.h"
#include "navreq/records/location_report_dmq.h"
#include "navreq/records/map_session.h"
#include "navreq/records/ugc_unit.h"
#include "navreq/serialize.h"
#include "support/encoded.h"
#include "support/record_info.h"
#include "support/record_tables.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::locationReportDMQ::LocationHeader;
using navkse::locationReportDMQ::LocationPoint;
using navkse::locationReportDMQ::LocationReportRequest;
using navkse::locationReportDMQ::LocationReportRequestDMQ;
using navkse::locationReportDMQ::NavExtraData;
using navkse::MapSession::SessionInfo;
using navkse::ugcUnit::gpsBucket;
using navkse::ugcUnit::gpsSpot;
using navkse::ugcUnit::gpsStatus;
using navkse::ugcUnit::gpsTaxi;
using tables::Hx;

using navreq::testing::Encoded;
using navreq::testing::TagRange;
using navreq::testing::TagsOf;

const std::string kSession = Hx("1c 2600 3600 4600 5600 6600 7600 8600 9600 ac b600 c600");
const std::string kHeader = Hx("0c 1c 2c 3c 4c 5c 6d000c 7c 8c 9c ac");
const std::string kTaxi = Hx("0c 1c 2c 3c 4c 5c 6c 7600 8600 9600 a600");
const std::string kSpot = Hx("0c 1c 2c 3c 4c 5c 6c 7c 8c 9c ac bc");

// ---- Location report ------------------------------------------------------------

TEST(LocationReportDMQRecord, AllDefaultLayout) {
  const std::string expect = std::string("0600")          // tag 0: imei
                             + "1a1a" + kHeader + "0b"    // tag 1: report, its header at tag 1
                             + "290c0b"                   //        no points
                             + "fa64" + kSession + "0b";  // tag 100: long head
  EXPECT_EQ(Encoded(LocationReportRequestDMQ()), expect);
  EXPECT_EQ(Encoded(LocationReportRequestDMQ()), tables::DefaultLocationReportRequestDMQ());
}

TEST(LocationReportDMQRecord, SessionAtTagOneHundredStartsAtItsTagOne) {
  LocationReportRequestDMQ r;
  r.imei = "im";
  r.session.loc_session_id = INT64_C(0x0123456789ABCDEF);
  r.session.request_time_s = 1700000000;  // 0x6553F100
  const std::string expect =
      std::string("0602696d") + "1a1a" + kHeader + "0b290c0b" + "fa64" +
      Hx("130123456789abcdef 2600 3600 4600 5600 6600 7600 8600 9600 a26553f100 b600 c600 0b");
  EXPECT_EQ(Encoded(r), expect);
}

TEST(LocationReportRequestRecord, NoTagZero) {
  EXPECT_EQ(Encoded(LocationReportRequest()), std::string("1a") + kHeader + "0b290c");
  EXPECT_EQ(Encoded(LocationReportRequest()), tables::DefaultLocationReportRequest());
}

TEST(LocationHeaderRecord, DefaultAndFilled) {
  EXPECT_EQ(Encoded(LocationHeader()), kHeader);
  EXPECT_EQ(Encoded(LocationHeader()), tables::DefaultLocationHeader());
  LocationHeader h;
  h.longitude = 116397128;
  h.latitude = 39916527;
  h.scalarD_x10 = 435;                 // 0x01B3
  h.time_ms = INT64_C(1700000000123);  // 0x18BCFE5687B
  h.time_ms_again = h.time_ms;
  h.field5 = 1;
  h.extra_data = tables::FromHex("0600");
  h.loc_session_id = -1;
  h.request_time_ms = INT64_C(1700000000000);                              // 0x18BCFE56800
  h.sequence_number = navreq::WrapTo<std::int32_t>(UINT32_C(2147483648));  // goes out negative
  h.field10 = 1;
  EXPECT_EQ(Encoded(h), Hx("0206f01448 12026113ef 2101b3 330000018bcfe5687b 430000018bcfe5687b 5001 6d000002 "
                           "0600 70ff 830000018bcfe56800 9280000000 a001"));
}

TEST(LocationHeaderRecord, CarriesNavExtraDataBytes) {
  NavExtraData extra;
  extra.session_id = "s";
  extra.linked_session_id = "s";
  std::vector<char> bytes;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(extra, bytes));
  // Written alone: no struct frame around the six fields.
  ASSERT_EQ(Hex(bytes), Hx("060173 1600 2600 390c 4600 560173"));
  LocationHeader h;
  h.extra_data = bytes;
  EXPECT_EQ(Encoded(h), Hx("0c 1c 2c 3c 4c 5c 6d00000e 060173 1600 2600 390c 4600 560173 7c 8c 9c ac"));
}

TEST(LocationPointRecord, ZeroInt8FieldsAreOneByteZeroHeads) {
  const std::string expect = Hx("0c 1c 2c 3c 4c 5c 6c 7c 8c 9c ac bc cc dc ec fc0f fc10");
  EXPECT_EQ(Encoded(LocationPoint()), expect);
  EXPECT_EQ(Encoded(LocationPoint()), tables::DefaultLocationPoint());
}

TEST(LocationPointRecord, SixteenBitDifferencesAndMillisecondTimes) {
  LocationPoint p;
  p.field0 = 1;
  p.d_longitude = -300;  // 0xFED4
  p.d_latitude = 5;
  p.d_scalarD_x10 = navreq::WrapTo<std::int16_t>(40000);  // keeps the low 16 bits: -25536, 0x9C40
  p.heading = 359;                                        // 0x0167
  p.speed_x100 = 1250;                                    // 0x04E2
  p.scalarA_x10 = 0;
  p.d_time_ms = 1000;  // 0x03E8
  p.d_time_ms_again = 1000;
  p.intValueA = 2;
  p.d_heading = -359;      // 0xFE99
  p.d_speed_x100 = 70000;  // 0x00011170
  p.intValueB = 3;
  EXPECT_EQ(Encoded(p), Hx("0001 11fed4 2005 319c40 410167 5104e2 6c 7c 8c 9103e8 a103e8 b002 cc d1fe99 "
                           "e200011170 f00f03 fc10"));
}

TEST(NavExtraDataRecord, DefaultAndList) {
  EXPECT_EQ(Encoded(NavExtraData()), Hx("0600 1600 2600 390c 4600 5600"));
  EXPECT_EQ(Encoded(NavExtraData()), tables::DefaultNavExtraData());
  NavExtraData n;
  n.extra_list = {"a", "b"};
  EXPECT_EQ(Encoded(n), Hx("0600 1600 2600 390002 060161 060162 4600 5600"));
}

// ---- Trajectory bucket ----------------------------------------------------------------

TEST(GpsTaxiRecord, DefaultAndFilled) {
  EXPECT_EQ(Encoded(gpsTaxi()), kTaxi);
  EXPECT_EQ(Encoded(gpsTaxi()), tables::DefaultGpsTaxi());
  gpsTaxi t;
  t.longitude = 116397128;
  t.time_s = 1700000000;
  t.value = 2;
  t.number = INT64_C(1700000000123);
  t.text = "imei";
  EXPECT_EQ(Encoded(t),
            Hx("0206f01448 1c 2c 326553f100 4c 5002 630000018bcfe5687b 7604696d6569 8600 9600 a600"));
}

TEST(GpsSpotRecord, TimeDifferenceTwoHundredIsOneByteTwoFiftySixIsZero) {
  gpsSpot s;
  s.d_time_s = navreq::WrapTo<std::int8_t>(200);
  EXPECT_EQ(Encoded(s), Hx("0c 1c 2c 30c8 4c 5c 6c 7c 8c 9c ac bc"));
  s.d_time_s = navreq::WrapTo<std::int8_t>(256);
  EXPECT_EQ(Encoded(s), Hx("0c 1c 2c 3c 4c 5c 6c 7c 8c 9c ac bc"));
}

TEST(GpsSpotRecord, ThirtyTwoBitCoordinateDifferences) {
  EXPECT_EQ(Encoded(gpsSpot()), kSpot);
  EXPECT_EQ(Encoded(gpsSpot()), tables::DefaultGpsSpot());
  gpsSpot s;
  s.d_longitude = 40000;  // beyond int16
  s.d_latitude = -32768;  // still int16
  s.heading = 180;        // 0x00B4: above int8
  s.d_time_s = 1;
  s.speed_x100 = -1;
  s.scalarA_x10 = 127;
  s.d_scalarD_x10 = -129;  // 0xFF7F
  EXPECT_EQ(Encoded(s), Hx("0200009c40 118000 2100b4 3001 40ff 507f 61ff7f 7c 8c 9c ac bc"));
}

TEST(GpsStatusRecord, Default) {
  EXPECT_EQ(Encoded(gpsStatus()), "0c1c");
  gpsStatus s;
  s.field0 = INT64_C(-2147483649);  // just below int32: eight bytes
  EXPECT_EQ(Encoded(s), Hx("03ffffffff7fffffff 1c"));
}

TEST(GpsBucketRecord, StatusListIsAlwaysWrittenEmpty) {
  EXPECT_EQ(Encoded(gpsBucket()), std::string("0a") + kTaxi + "0b190c290c3c");
  EXPECT_EQ(Encoded(gpsBucket()), tables::DefaultGpsBucket());
  gpsBucket b;
  b.spots.resize(2);
  b.spots[1].d_longitude = 1;
  EXPECT_EQ(Encoded(b), std::string("0a") + kTaxi + "0b1900020a" + kSpot + "0b0a0001" +
                            Hx("1c 2c 3c 4c 5c 6c 7c 8c 9c ac bc 0b 290c 3c"));
}

TEST(GpsBucketRecord, CopyIsDeep) {
  gpsBucket original;
  original.head.text = "imei";
  original.spots.resize(1);
  original.spots[0].heading = 90;
  const std::string before = Encoded(original);
  gpsBucket copy = original;
  copy.head.text[0] = 'X';
  copy.spots[0].heading = 91;
  copy.spots.emplace_back();
  copy.statuses.emplace_back();
  copy.flag = 1;
  EXPECT_EQ(Encoded(original), before);
  EXPECT_EQ(Encoded(copy), Hx("0a 0c 1c 2c 3c 4c 5c 6c 7604586d6569 8600 9600 a600 0b 190002 0a 0c 1c 205b "
                              "3c 4c 5c 6c 7c 8c 9c ac bc 0b 0a") +
                               std::string(kSpot) + Hx("0b 290001 0a0c1c0b 3001"));
}

// ---- Field names: shape of the declarations -------------------------------------

TEST(LocationRecordsInfo, TagsAscendingWithTheRightCount) {
  EXPECT_EQ(TagsOf<SessionInfo>(), TagRange(1, 12));
  EXPECT_EQ(TagsOf<LocationReportRequestDMQ>(), (std::vector<int>{0, 1, 100}));
  EXPECT_EQ(TagsOf<LocationReportRequest>(), (std::vector<int>{1, 2}));
  EXPECT_EQ(TagsOf<LocationHeader>(), TagRange(0, 10));
  EXPECT_EQ(TagsOf<LocationPoint>(), TagRange(0, 16));
  EXPECT_EQ(TagsOf<NavExtraData>(), TagRange(0, 5));
  EXPECT_EQ(TagsOf<gpsBucket>(), TagRange(0, 3));
  EXPECT_EQ(TagsOf<gpsTaxi>(), TagRange(0, 10));
  EXPECT_EQ(TagsOf<gpsSpot>(), TagRange(0, 11));
  EXPECT_EQ(TagsOf<gpsStatus>(), TagRange(0, 1));
  EXPECT_STREQ(LocationPoint::kseInfo().find(7)->type->name(), "int8");
  EXPECT_STREQ(gpsSpot::kseInfo().find(3)->type->name(), "int8");
  EXPECT_STREQ(LocationPoint::kseInfo().find(1)->type->name(), "int16");
}

}  // namespace
