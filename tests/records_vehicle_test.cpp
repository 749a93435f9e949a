// Byte layout of the vehicle and preference records: both truck records, the
// motorcycle record, the electric-vehicle records and the car-unit state.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "navreq/records/common.h"
#include "navreq/records/mobile_car_uni.h"
#include "navreq/records/nav.h"
#include "navreq/records/routesearch.h"
#include "navreq/serialize.h"
#include "support/encoded.h"
#include "support/record_info.h"
#include "support/record_tables.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::common::MotoParamsReq;
using navkse::common::TruckParamsReq_v2;
using navkse::mobile_car_uni::CarSyncInfo;
using navkse::mobile_car_uni::CarSyncKeyPair;
using navkse::mobile_car_uni::CarSyncStringList;
using navkse::mobile_car_uni::PreferenceConfig;
using navkse::nav::EVType;
using navkse::nav::PowerConsumeModelParam;
using navkse::routesearch::ElectricVehicleParams;
using navkse::routesearch::TruckParamsReq;
using tables::Hx;

using navreq::testing::Encoded;
using navreq::testing::TagRange;
using navreq::testing::TagsOf;

const char kDefaultEVType[] = "060016002600";
const std::string kDefaultModelTail = Hx("1c 2c 3c 4c 5c 6400000000 7400000000 8c 9d000c");

// ---- Truck records ------------------------------------------------------------

TEST(TruckParamsReqRecord, DefaultFloatsAreNeverShortened) {
  EXPECT_EQ(Encoded(TruckParamsReq()), Hx("0400000000 1400000000 2400000000 3c 4c 5c 6400000000 7c 8c"));
  EXPECT_EQ(Encoded(TruckParamsReq()), tables::DefaultTruckParamsReq());
}

TEST(TruckParamsReqRecord, FilledFloatsAndIntegers) {
  TruckParamsReq t;
  t.field0 = 1.5f;
  t.field6 = -1.0f;
  t.field3 = 300;
  EXPECT_EQ(Encoded(t), Hx("043fc00000 1400000000 2400000000 31012c 4c 5c 64bf800000 7c 8c"));
}

TEST(TruckParamsReqV2Record, AllZeroIsStillFourteenZeroHeads) {
  EXPECT_EQ(Encoded(TruckParamsReq_v2()), Hx("0c 1c 2c 3c 4c 5c 6c 7c 8c 9c ac bc cc dc"));
  EXPECT_EQ(Encoded(TruckParamsReq_v2()), tables::DefaultTruckParamsReqV2());
}

TEST(TruckParamsReqV2Record, MeasuresInThousandths) {
  TruckParamsReq_v2 t;
  t.measureF_x1000 = 4200;   // 0x1068
  t.measureB_x1000 = 2500;   // 0x09C4
  t.measureA_x1000 = 55000;  // 0x0000D6D8: above int16
  t.truckOption6 = 6;
  t.truckOption7 = -3;
  t.truckBlock3 = 1;
  t.truckOption52 = 127;
  EXPECT_EQ(Encoded(t), Hx("011068 1109c4 220000d6d8 3c 4c 5c 6006 70fd 8c 9c ac b001 cc d07f"));
}

// ---- Motorcycle ----------------------------------------------------------------

TEST(MotoParamsReqRecord, ThreeIntegersInOrder) {
  EXPECT_EQ(Encoded(MotoParamsReq()), "0c1c2c");
  MotoParamsReq m;
  m.moto_type = 1;
  m.energy_type = 2;
  m.engine_displacement = 250;  // 0x00FA: above int8
  EXPECT_EQ(Encoded(m), "000110022100fa");
}

// ---- Electric-vehicle records ------------------------------------------------------

TEST(EVTypeRecord, ThreeStrings) {
  EXPECT_EQ(Encoded(EVType()), kDefaultEVType);
  EVType e;
  e.field0 = "a";
  e.field2 = "bc";
  EXPECT_EQ(Encoded(e), "060161160026026263");
}

TEST(PowerConsumeModelParamRecord, EmptyBlobIsStillAnEmptyByteList) {
  const std::string expect = std::string("0a") + kDefaultEVType + "0b" + kDefaultModelTail;
  EXPECT_EQ(Encoded(PowerConsumeModelParam()), expect);
  EXPECT_EQ(Encoded(PowerConsumeModelParam()), tables::DefaultPowerConsumeModelParam());
  // Tag 9 closes the record as head 9d, element byte 00, count zero 0c.
  EXPECT_EQ(expect.substr(expect.size() - 6), "9d000c");
}

TEST(PowerConsumeModelParamRecord, BlobIsOneLengthAndTheRawBytes) {
  PowerConsumeModelParam p;
  p.model_blob = tables::FromHex("0102ff00");
  p.field1 = 1;
  p.field7 = 2.0f;
  EXPECT_EQ(Encoded(p), std::string("0a") + kDefaultEVType + "0b" +
                            Hx("1001 2c 3c 4c 5c 6400000000 7440000000") + Hx("8c 9d 00 0004 0102ff00"));
}

TEST(PowerConsumeModelParamRecord, CopyIsDeep) {
  PowerConsumeModelParam original;
  original.ev_type.field0 = "model";
  original.model_blob = {1, 2, 3};
  const std::string before = Encoded(original);
  PowerConsumeModelParam copy = original;
  copy.ev_type.field0 = "other";
  copy.model_blob[0] = 9;
  copy.model_blob.push_back(4);
  EXPECT_EQ(Encoded(original), before);
  EXPECT_EQ(Encoded(copy),
            Hx("0a 06056f74686572 1600 2600 0b 1c 2c 3c 4c 5c 6400000000 7400000000 8c 9d 00 0004 09020304"));
}

TEST(ElectricVehicleParamsRecord, Default) {
  EXPECT_EQ(Encoded(ElectricVehicleParams()), std::string("0a") + "0a" + kDefaultEVType + "0b" +
                                                  kDefaultModelTail +
                                                  Hx("0b 1400000000 2400000000 3c 4c 5c 6c 7c"));
  EXPECT_EQ(Encoded(ElectricVehicleParams()), tables::DefaultElectricVehicleParams());
}

// ---- Car-unit state --------------------------------------------------------------------

TEST(PreferenceConfigRecord, Default) {
  EXPECT_EQ(Encoded(PreferenceConfig()), "0c1c2c3c4c5c6c7c8c9600ac");
  EXPECT_EQ(Encoded(PreferenceConfig()), tables::DefaultPreferenceConfig());
  PreferenceConfig p;
  p.field10 = true;
  p.field9 = "x";
  EXPECT_EQ(Encoded(p), "0c1c2c3c4c5c6c7c8c960178a001");
}

TEST(CarSyncSmallRecords, Defaults) {
  EXPECT_EQ(Encoded(CarSyncKeyPair()), "06001600");
  EXPECT_EQ(Encoded(CarSyncStringList()), "090c1600");
}

TEST(CarSyncInfoRecord, DefaultKeepsTheSearchPointDefaults) {
  const std::string poi = tables::DefaultSimplePOI();
  // The nested search points carry -1 at 8, 85 at 14 and -1 at 18.
  ASSERT_NE(poi.find("80ff"), std::string::npos);
  ASSERT_NE(poi.find("e055"), std::string::npos);
  ASSERT_NE(poi.find("f012ff"), std::string::npos);
  const std::string expect =
      "0a060016000b"                  // tag 0: key pair
      "1600"                          // tag 1
      "2a0c1c2c3c4c5c6c7c8c9600ac0b"  // tag 2: preferences
      "3a" +
      poi +
      "0b"  // tag 3
      "4a" +
      poi +
      "0b"                    // tag 4
      "590c"                  // tag 5: empty list
      "6a0c1c2c0b7a0c1c2c0b"  // tags 6, 7: points
      "8a090c16000b"          // tag 8: string list
      "9c"                    // tag 9
      "a80c";                 // tag 10: empty map
  EXPECT_EQ(Encoded(CarSyncInfo()), expect);
  EXPECT_EQ(Encoded(CarSyncInfo()), tables::DefaultCarSyncInfo());
}

TEST(CarSyncInfoRecord, MapOfBlobsAndStringList) {
  CarSyncInfo c;
  c.blobs["k"] = {1};
  c.blobs[""] = {};
  c.string_list.items = {"s"};
  c.key_pair.key = "a";
  c.via_points.resize(1);
  const std::string poi = tables::DefaultSimplePOI();
  const std::string expect =
      Hx("0a 060161 1600 0b 1600 2a 0c 1c 2c 3c 4c 5c 6c 7c 8c 9600 ac 0b 3a") + poi + "0b4a" + poi +
      "0b5900010a" + poi +
      Hx("0b 6a0c1c2c0b 7a0c1c2c0b 8a 090001 060173 1600 0b 9c a80002 0600 1d000c 06016b 1d00000101");
  EXPECT_EQ(Encoded(c), expect);
}

// ---- Field names: shape of the declarations -------------------------------------

TEST(VehicleRecordsInfo, TagsAscendingWithTheRightCount) {
  EXPECT_EQ(TagsOf<TruckParamsReq>(), TagRange(0, 8));
  EXPECT_EQ(TagsOf<TruckParamsReq_v2>(), TagRange(0, 13));
  EXPECT_EQ(TagsOf<PowerConsumeModelParam>(), TagRange(0, 9));
  EXPECT_EQ(TagsOf<CarSyncInfo>(), TagRange(0, 10));
  EXPECT_EQ(TagsOf<PreferenceConfig>(), TagRange(0, 10));
  EXPECT_STREQ(PowerConsumeModelParam::kseInfo().find(9)->type->name(), "bytes");
}

}  // namespace
