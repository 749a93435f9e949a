// Byte layout of the traffic refresh records: the four per-route questions,
// the route bundle, the refresh search and the batch around them.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "navreq/records/dynamicroute.h"
#include "navreq/records/routesearch.h"
#include "navreq/records/traffic.h"
#include "navreq/serialize.h"
#include "support/encoded.h"
#include "support/record_info.h"
#include "support/record_tables.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::dynamicroute::AllOnRouteReq;
using navkse::dynamicroute::DynamicReq;
using navkse::dynamicroute::EnergyConsumeReq;
using navkse::dynamicroute::OnRouteReq;
using navkse::dynamicroute::TrafficTimeReq;
using navkse::routesearch::FollowExplainControl;
using navkse::routesearch::RouteCloudControl;
using navkse::routesearch::RouteRefreshReq;
using navkse::traffic::AllOnRouteReqBatch;
using tables::Hx;

using navreq::testing::Encoded;
using navreq::testing::TagRange;
using navreq::testing::TagsOf;

const std::string kZero8 = "0000000000000000";  // the eight bytes of 0.0

std::string LiteralOnRouteReq() {
  return Hx("0c 1c 2c 3c 4600 5600 6c 7c 8600 9600 a5") + kZero8 + "b5" + kZero8 +
         Hx("cc d600 e600 fc0f fc10 fc11");
}

std::string LiteralTrafficTimeReq() {
  return Hx("0c 1c 20ff 35") + kZero8 + "45" + kZero8 + Hx("5002 6c 7c 8600 9600 ac bc");
}

std::string LiteralDynamicReq() {
  return Hx("0001 1c 2c") +                                  // tags 0..2
         "35" + kZero8 + "45" + kZero8 + "55" + kZero8 +     // tags 3..5: doubles
         "65" + kZero8 + "75" + kZero8 + "85" + kZero8 +     // tags 6..8: doubles
         "9c" + "a5" + kZero8 +                              // tags 9, 10
         Hx("b600 c600 dc e600 f60f00") +                    // tags 11..15
         Hx("fc10 fc11 fc12") +                              // tags 16..18: false, two-byte heads
         Hx("fc13 fc14 fc15 fc16 fc17 f61800 fc19 f61a00");  // tags 19..26
}

std::string LiteralPowerConsumeModelParam() {
  return Hx("0a 0600 1600 2600 0b 1c 2c 3c 4c 5c 6400000000 7400000000 8c 9d000c");
}

std::string LiteralEnergyConsumeReq() {
  return "0a" + LiteralPowerConsumeModelParam() + "0b1c2c30ff45" + kZero8 + "55" + kZero8 +
         Hx("6055 700a 8400000000");
}

// ---- The four questions ----------------------------------------------------------

TEST(OnRouteReqRecord, Default) {
  EXPECT_EQ(Encoded(OnRouteReq()), LiteralOnRouteReq());
  EXPECT_EQ(Encoded(OnRouteReq()), tables::DefaultOnRouteReq());
}

TEST(OnRouteReqRecord, MercatorCoordinatesAreDoublesEvenWhenWhole) {
  OnRouteReq r;
  r.mercator_x = 8388608.0;   // 2^23: exponent 0x416, empty mantissa
  r.mercator_y = -2097152.0;  // -2^21: sign bit, exponent 0x414
  EXPECT_EQ(Encoded(r), Hx("0c 1c 2c 3c 4600 5600 6c 7c 8600 9600 a54160000000000000 b5c140000000000000 cc "
                           "d600 e600 fc0f fc10 fc11"));
}

TEST(OnRouteReqRecord, FilledAsARefreshFillsIt) {
  OnRouteReq r;
  r.route_id = INT64_C(12345678901);  // 0x2DFDC1C35: beyond int32
  r.num_a = 3;
  r.field3 = 0xFFFFFFFFu;  // unsigned: never negative on the wire
  r.third_text = "t";
  r.imei = "i";
  r.field7 = 1;
  r.identity_f = "f";
  r.version = "2.0";
  r.mercator_x = 4194304.0;
  r.mercator_y = 8388608.0;
  r.field12 = 1;
  r.primary_text = "p";
  r.secondary_text = "p";
  r.num_e = -1;
  r.num_f = 40000;
  EXPECT_EQ(Encoded(r),
            Hx("0300000002dfdc1c35 1003 2c 3300000000ffffffff 460174 560169 6c 7001 860166 9603322e30 "
               "a54150000000000000 b54160000000000000 c001 d60170 e60170 fc0f f010ff f21100009c40"));
}

TEST(TrafficTimeReqRecord, DefaultMinusOneAtTwoAndTwoAtFive) {
  EXPECT_EQ(Encoded(TrafficTimeReq()), LiteralTrafficTimeReq());
  EXPECT_EQ(Encoded(TrafficTimeReq()), tables::DefaultTrafficTimeReq());
}

TEST(TrafficTimeReqRecord, MercatorAtTagsThreeAndFour) {
  TrafficTimeReq t;
  t.mercator_x = 8388608.0;
  t.mercator_y = 4194304.0;
  t.refresh_value = 0;
  EXPECT_EQ(Encoded(t), Hx("0c 1c 20ff 354160000000000000 454150000000000000 5c 6c 7c 8600 9600 ac bc"));
}

TEST(DynamicReqRecord, FalseBoolsAtSixteenToEighteenAreTwoByteZeroHeads) {
  EXPECT_EQ(Encoded(DynamicReq()), LiteralDynamicReq());
  EXPECT_EQ(Encoded(DynamicReq()), tables::DefaultDynamicReq());
}

TEST(DynamicReqRecord, TrueBoolsAndTheRefreshValue) {
  DynamicReq d;
  d.field16 = true;
  d.field18 = true;
  d.refresh_value = 2;
  const std::string expect =
      "00011c2c35" + kZero8 + "45" + kZero8 + "55" + kZero8 + "65" + kZero8 + "75" + kZero8 + "85" + kZero8 +
      "9ca5" + kZero8 +
      Hx("b600 c600 dc e600 f60f00 f01001 fc11 f01201 fc13 fc14 fc15 fc16 fc17 f61800 f01902 f61a00");
  EXPECT_EQ(Encoded(d), expect);
}

TEST(EnergyConsumeReqRecord, EmptyModelIsStillWrittenInFull) {
  EXPECT_EQ(Encoded(EnergyConsumeReq()), LiteralEnergyConsumeReq());
  EXPECT_EQ(Encoded(EnergyConsumeReq()), tables::DefaultEnergyConsumeReq());
}

// ---- One route, the refresh search, the batch ----------------------------------------

TEST(AllOnRouteReqRecord, FreshBundleKeepsEveryNonZeroDefault) {
  const std::string bucket = tables::DefaultGpsBucket();
  const std::string expect = "0a" + LiteralOnRouteReq() + "0b" + "1a" + LiteralTrafficTimeReq() + "0b" +
                             "2a" + LiteralDynamicReq() + "0b" + "3a" + bucket + "0b" + "4a" +
                             LiteralEnergyConsumeReq() + "0b";
  EXPECT_EQ(Encoded(AllOnRouteReq()), expect);
  EXPECT_EQ(Encoded(AllOnRouteReq()), tables::DefaultAllOnRouteReq());
}

TEST(AllOnRouteReqRecord, CopyIsDeep) {
  AllOnRouteReq original;
  original.on_route.primary_text = "road";
  original.dynamic.field11 = "dyn";
  original.energy.model.model_blob = tables::FromHex("deadbeef");
  original.energy.model.ev_type.field1 = "ev";
  original.bucket.head.text = "imei";
  original.bucket.spots.resize(2);
  const std::string before = Encoded(original);

  AllOnRouteReq copy = original;
  copy.energy.model.model_blob[0] = 0;
  copy.energy.model.model_blob.push_back(1);
  copy.energy.model.ev_type.field1 = "changed";
  copy.on_route.primary_text.append("x");
  copy.dynamic.field11.clear();
  copy.bucket.head.text = "other";
  copy.bucket.spots[1].d_longitude = 7;
  copy.bucket.spots.resize(3);
  EXPECT_EQ(Encoded(original), before);
  EXPECT_NE(Encoded(copy), before);
  // The blob in the original's bytes is still the one it was given.
  EXPECT_NE(before.find("9d000004deadbeef"), std::string::npos);
}

TEST(RouteCloudControlRecord, EntriesInByteWiseKeyOrder) {
  EXPECT_EQ(Encoded(RouteCloudControl()), "080c");
  RouteCloudControl c;
  c.controls["a"] = FollowExplainControl();
  c.controls["B"].code9 = 1;  // 'B' (0x42) sorts before 'a' (0x61)
  const std::string fec = Hx("0c 1c 2c 3c 4c 5600 6600 790c 890c");
  EXPECT_EQ(Encoded(c), "0800020601421a" + fec + "90010b0601611a" + fec + "9c0b");
}

TEST(RouteRefreshReqRecord, Default) {
  const std::string expect = "0a" + tables::DefaultCarRouteReq() + "0b1a080c0b290c";
  EXPECT_EQ(Encoded(RouteRefreshReq()), expect);
  EXPECT_EQ(Encoded(RouteRefreshReq()), tables::DefaultRouteRefreshReq());
}

TEST(RouteRefreshReqRecord, ListOfInt32AtTagTwo) {
  RouteRefreshReq r;
  r.field2 = {1, -40000};
  const std::string expect = "0a" + tables::DefaultCarRouteReq() + Hx("0b 1a080c0b 290002 0001 02ffff63c0");
  EXPECT_EQ(Encoded(r), expect);
}

TEST(AllOnRouteReqBatchRecord, NoRoutesStillWritesEveryPart) {
  const std::string expect =
      "090c1a" + tables::DefaultGpsBucket() + "0b2a" + tables::DefaultRouteRefreshReq() + "0b36004600";
  EXPECT_EQ(Encoded(AllOnRouteReqBatch()), expect);
  EXPECT_EQ(Encoded(AllOnRouteReqBatch()), tables::DefaultAllOnRouteReqBatch());
}

TEST(AllOnRouteReqBatchRecord, RoutesAreNestedRecordsAtTagZero) {
  AllOnRouteReqBatch b;
  b.routes.resize(2);
  b.request_number = "17";
  const std::string route = "0a" + tables::DefaultAllOnRouteReq() + "0b";
  const std::string expect = "090002" + route + route + "1a" + tables::DefaultGpsBucket() + "0b2a" +
                             tables::DefaultRouteRefreshReq() + "0b360231374600";
  EXPECT_EQ(Encoded(b), expect);
}

TEST(AllOnRouteReqBatchRecord, CopyIsDeep) {
  AllOnRouteReqBatch original;
  original.routes.resize(1);
  original.routes[0].energy.model.model_blob = {1, 2};
  original.refresh.route_req.side_records["toRank"] = {3};
  const std::string before = Encoded(original);
  AllOnRouteReqBatch copy = original;
  copy.routes[0].energy.model.model_blob.clear();
  copy.routes.emplace_back();  // may reallocate: the copy's first route moves, the original's stays
  copy.refresh.route_req.side_records["toRank"][0] = 4;
  copy.bucket.spots.resize(1);
  EXPECT_EQ(Encoded(original), before);
  EXPECT_NE(Encoded(copy), before);
}

// ---- Field names: shape of the declarations -------------------------------------

TEST(TrafficRecordsInfo, TagsAscendingWithTheRightCount) {
  EXPECT_EQ(TagsOf<OnRouteReq>(), TagRange(0, 17));
  EXPECT_EQ(TagsOf<TrafficTimeReq>(), TagRange(0, 11));
  EXPECT_EQ(TagsOf<DynamicReq>(), TagRange(0, 26));
  EXPECT_EQ(TagsOf<EnergyConsumeReq>(), TagRange(0, 8));
  EXPECT_EQ(TagsOf<AllOnRouteReq>(), TagRange(0, 4));
  EXPECT_EQ(TagsOf<AllOnRouteReqBatch>(), TagRange(0, 4));
  EXPECT_EQ(TagsOf<RouteRefreshReq>(), TagRange(0, 2));
  EXPECT_STREQ(OnRouteReq::kseInfo().find(3)->type->name(), "uint32");
  EXPECT_STREQ(OnRouteReq::kseInfo().find(10)->type->name(), "double");
}

}  // namespace
