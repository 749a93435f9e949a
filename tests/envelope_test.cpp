// The envelope records and GetPackage.
#include "navreq/envelope.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/records/map_session.h"
#include "navreq/records/nav_sdk_gateway.h"
#include "support/capture.h"
#include "support/encoded.h"
#include "support/extra.h"
#include "support/package.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::duromap::Header;
using navkse::duromap::Package;
using zv_navi_core::ReqExtraParam;
using zv_navi_core::SerializeKSE;
using zv_navi_core::route_req_serializer::GetPackage;

using navreq::testing::Encoded;

// Package tags 5 to 9 at their defaults: empty strings at 5 and 6, empty
// bytes at 7 (header) and 8 (body), an empty credentials list at 9.
const char kDefaultTagsFiveToNine[] =
    "5600"
    "6600"
    "7d000c"
    "8d000c"
    "990c";

TEST(PackageRecord, DefaultLayout) {
  EXPECT_EQ(Encoded(Package()),
            "0c"
            "1001"
            "2600"
            "3c"
            "4c" +
                std::string(kDefaultTagsFiveToNine));
}

TEST(PackageRecord, GzipBodyFlag) {
  Package p;
  p.body_encoding = 3;
  EXPECT_EQ(Encoded(p),
            "0c"
            "1001"
            "2600"
            "3c"
            "4003" +
                std::string(kDefaultTagsFiveToNine));
}

TEST(HeaderRecord, DefaultCmdResultBytes) {
  const std::string h = Encoded(Header());
  // tag 0 zero, then CmdResult at tag 1 with its defaults.
  EXPECT_EQ(h.substr(0, 14),
            "0c"
            "1a0c16002c0b");
}

using navreq::testing::DefaultHeaderWith;

TEST(HeaderRecord, DefaultEncodingHasAllThirtyThreeFields) {
  EXPECT_EQ(Encoded(Header()), DefaultHeaderWith({}, 0));
}

TEST(SessionInfoRecord, StartsAtTagOne) {
  const std::string s = Encoded(navkse::MapSession::SessionInfo());
  EXPECT_EQ(s,
            "1c"
            "2600"
            "3600"
            "4600"
            "5600"
            "6600"
            "7600"
            "8600"
            "9600"
            "ac"
            "b600"
            "c600");
}

TEST(PacketRecord, PayloadByteAboveOneTwentySevenTakesThreeBytes) {
  navkse::NavSDKGateway::Packet p;
  p.payload = {200};
  EXPECT_EQ(Encoded(p),
            "0001"
            "1a06001600"
            "0b"
            "290001"
            "0100c8"
            "3c");
}

TEST(CommonCmd, Names) {
  using navkse::common::etos;
  using navkse::common::MAP_COMMON_CMD;
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(33)), "CMD_ROUTE_CAR_SNS");
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(3)), "CMD_GET_CITY_BY_LOACTION");
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(1)), "CMD_GET_POI_BY_LOCATION");
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(52)), "CMD_ROUTE_ELECCYCLE");
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(501)), "CMD_KALDO_LIGHTNAV");
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(53)), "");
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(500)), "");
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(0)), "");
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(-1)), "");
  EXPECT_EQ(etos(static_cast<MAP_COMMON_CMD>(502)), "");
}

ReqExtraParam FullExtra() {
  ReqExtraParam e = navreq::testing::LetteredExtra("IMEI", 77);
  e.identity_i = "I";
  return e;
}

TEST(GetPackage, FillsHeaderFromExtraParam) {
  Package p;
  navreq::testing::LogCapture log;
  ASSERT_EQ(GetPackage(p, FullExtra(), static_cast<navkse::duromap::CMD>(10101), "NAME", {'x'}, true), 0);
  const std::string expected_header = DefaultHeaderWith({{4, "A"},
                                                         {6, "D"},
                                                         {7, "E"},
                                                         {8, "IMEI"},
                                                         {9, "G"},
                                                         {10, "B"},
                                                         {12, "F"},
                                                         {13, "G"},
                                                         {14, "0"},
                                                         {15, "A"},
                                                         {16, "H"},
                                                         {22, "IMEI"},
                                                         {23, "C"},
                                                         {29, "A"}},
                                                        77);
  EXPECT_EQ(Hex(p.header), expected_header);
  EXPECT_EQ(Encoded(p), Int(0, 0) + Int(1, 10101) + Str(2, "NAME") + Int(3, 0) + Int(4, 3) + Str(5, "") +
                            Str(6, "0") + Bytes(7, p.header) + Bytes(8, std::string("x")) + List(9, 1) +
                            Struct(0, Str(0, "apikey") + Bytes(1, std::string("KEY"))));
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_EQ(log.lines()[0], "L0 E8 RoutePlus::RequestPlus imei=IMEI");
}

TEST(GetPackage, AltDeviceIdReplacesImeiAtTag22) {
  ReqExtraParam e = FullExtra();
  e.alt_device_id1 = "ALT";
  Package p;
  ASSERT_EQ(GetPackage(p, e, static_cast<navkse::duromap::CMD>(1), "", {}, false), 0);
  const std::string h = Hex(p.header);
  EXPECT_NE(h.find(Str(22, "ALT") + Str(23, "C")), std::string::npos);
  EXPECT_EQ(h.find(Str(22, "IMEI")), std::string::npos);
}

TEST(GetPackage, CompressionFlagBothWays) {
  Package plain;
  ASSERT_EQ(GetPackage(plain, FullExtra(), static_cast<navkse::duromap::CMD>(1), "", {}, false), 0);
  EXPECT_EQ(plain.body_encoding, 0);
  EXPECT_NE(Encoded(plain).find("3c"
                                "4c"
                                "5600"),
            std::string::npos);
  Package gz;
  ASSERT_EQ(GetPackage(gz, FullExtra(), static_cast<navkse::duromap::CMD>(1), "", {}, true), 0);
  EXPECT_EQ(gz.body_encoding, 3);
  EXPECT_NE(Encoded(gz).find("3c"
                             "4003"
                             "5600"),
            std::string::npos);
}

TEST(GetPackage, EmptyApiKeyStillGivesTheEntry) {
  ReqExtraParam e;
  Package p;
  ASSERT_EQ(GetPackage(p, e, static_cast<navkse::duromap::CMD>(84), "REQ", {}, true), 0);
  ASSERT_EQ(p.extras.size(), 1u);
  EXPECT_EQ(p.extras[0].key, "apikey");
  EXPECT_TRUE(p.extras[0].value.empty());
  const std::string enc = Encoded(p);
  const std::string entry = List(9, 1) + Struct(0, Str(0, "apikey") + Bytes(1, std::string()));
  ASSERT_GE(enc.size(), entry.size());
  EXPECT_EQ(enc.substr(enc.size() - entry.size()), entry);
}

TEST(GetPackage, KeepsTagsThreeAndFiveOfTheCallersPackage) {
  Package p;
  p.reserved3 = 9;
  p.reserved5 = "keep";
  ASSERT_EQ(GetPackage(p, FullExtra(), static_cast<navkse::duromap::CMD>(84), "N", {}, true), 0);
  EXPECT_EQ(p.reserved3, 9);
  EXPECT_EQ(p.reserved5, "keep");
}

TEST(GetPackage, HeaderFailurePrintsLineAndLeavesPackageUntouched) {
  ReqExtraParam e = FullExtra();
  e.identity_h.assign(104857601, 'h');
  Package p;
  p.cmd_name = "before";
  navreq::testing::StdoutCapture out;
  EXPECT_EQ(GetPackage(p, e, static_cast<navkse::duromap::CMD>(10101), "NAME", {'x'}, true), 1);
  EXPECT_EQ(out.text(), "SerializeKSE_header_fail\n");
  EXPECT_EQ(Encoded(p),
            "0c"
            "1001"
            "2606" +
                Hex(std::string("before")) +
                "3c"
                "4c" +
                std::string(kDefaultTagsFiveToNine));
}

TEST(SerializeKSE, OversizedStringEmptiesAPreviouslyFilledVector) {
  navkse::duromap::Tag t;
  t.key.assign(104857601, 'k');
  std::vector<char> out{'a', 'b', 'c'};
  EXPECT_FALSE(SerializeKSE(t, out));
  EXPECT_TRUE(out.empty());
}

TEST(SerializeKSE, ExactBytes) {
  navkse::duromap::Tag t;
  t.key = "k";
  std::vector<char> out{'z'};
  ASSERT_TRUE(SerializeKSE(t, out));
  EXPECT_EQ(Hex(out),
            "06016b"
            "1d000c");
  EXPECT_EQ(out.size(), 6u);
}

}  // namespace
