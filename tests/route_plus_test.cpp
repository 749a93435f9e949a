// Route plus and guidance slice requests: the plain slice request inside a
// Package (command 84) that declares it gzip-compressed.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/requests.h"
#include "support/capture.h"
#include "support/package.h"
#include "support/wire.h"

namespace {

using navreq::services::ScopedGzip;
using navreq::testing::LogCapture;
using navreq::testing::StdoutCapture;
using wire::Hex;
using wire::Unhex;
using zv_navi_core::PlusReq;
using zv_navi_core::ReqExtraParam;
using zv_navi_core::SliceDesc;
using zv_navi_core::SliceReq;
using zv_navi_core::drive_route_req_serializer::GetRoutePlus;
using zv_navi_core::drive_route_req_serializer::GetRouteSlice;
using Lines = std::vector<std::string>;

// Client identity of every test: device "dev", api key "k", the rest empty.
ReqExtraParam Extra() {
  ReqExtraParam extra;
  extra.imei = "dev";
  extra.api_key = "k";
  return extra;
}

// The Header for Extra(), 93 bytes: tag 0 zero, the default CmdResult, tag 2
// zero, empty strings except tag 8 "dev", tag 14 "0" and tag 22 "dev" (no
// alternative device id), zero int64 tags 18 and 20, empty byte arrays 25 and 32.
// clang-format off
const char kHeaderHex[] =
    "0c" "1a0c16002c0b" "2c"
    "3600" "4600" "5600" "6600" "7600" "8603646576" "9600" "a600" "b600" "c600" "d600" "e60130"
    "f60f00" "f61000" "f61100" "fc12" "f61300" "fc14" "f61500" "f61603646576" "f61700" "f61800"
    "fd19000c" "f61a00" "f61b00" "f61c00" "f61d00" "f61e00" "f61f00" "fd20000c";

// Session "s1" with one slice {"a", 300, 40000}: 20 bytes. 300 takes the
// int16 form (0x11 01 2c), 40000 the int32 form (0x22 00 00 9c 40).
const char kOneSliceBody[] =
    "0602" "7331"
    "190001"
    "0a" "060161" "11012c" "2200009c40" "0b";
// clang-format on

// The whole Package around `body_hex` with the command name `name`.
std::string PackageHex(const std::string& name, const std::string& body_hex) {
  return navreq::testing::PackageHex({84, name, 3, kHeaderHex, body_hex, "k"});
}

template <class Request>
Request OneSlice() {
  Request req;
  req.slice_session_id = "s1";
  SliceDesc slice;
  slice.slice_text = "a";
  slice.slice_value1 = 300;
  slice.slice_value2 = 40000;
  req.slices.push_back(slice);
  return req;
}

TEST(RoutePlus, HandWrittenTablesHaveTheirSizes) {
  // Guards the hand-written tables above: the counts of tags 7 (0x5d) and 8
  // (0x14) rely on them.
  EXPECT_EQ(Unhex(kHeaderHex).size(), 93u);
  EXPECT_EQ(Unhex(kOneSliceBody).size(), 20u);
}

TEST(RoutePlus, WholePackageWithPlainBodyFlaggedCompressed) {
  LogCapture log;
  std::vector<char> out;
  ASSERT_EQ(GetRoutePlus(OneSlice<PlusReq>(), Extra(), out), 0);
  // Literal envelope: tag 2 "REQ_ROUTE_PLUS", tag 4 = 3 (gzip) although tag 8
  // holds the plain body bytes.
  // clang-format off
  EXPECT_EQ(Hex(out), "0c" "1054" "260e" + Hex(std::string("REQ_ROUTE_PLUS")) + "3c" "4003" "5600" "660130" +
                          "7d00005d" + kHeaderHex + "8d000014" + kOneSliceBody + "990001" + "0a" "0606" +
                          Hex(std::string("apikey")) + "1d000001" "6b" "0b");
  // clang-format on
  EXPECT_EQ(out.size(), 166u);
}

TEST(RoutePlus, LogLinesInOrder) {
  LogCapture log;
  std::vector<char> out;
  ASSERT_EQ(GetRoutePlus(OneSlice<PlusReq>(), Extra(), out), 0);
  EXPECT_EQ(log.lines(), (Lines{
                             "L0 E8 RoutePlus::RequestPlus request serialize slice 300 40000 a",
                             "L0 E8 RoutePlus::RequestPlus request serialize slice_session_id s1",
                             "L0 E8 RoutePlus::RequestPlus request serialize slice_size 1",
                             "L0 E8 RoutePlus::RequestPlus imei=dev",
                             "L0 E8 RoutePlus::RequestPlus request serialize succ size=166 plus=20",
                         }));
}

TEST(RouteSlice, WholePackageAndLogLines) {
  LogCapture log;
  std::vector<char> out;
  ASSERT_EQ(GetRouteSlice(OneSlice<SliceReq>(), Extra(), out), 0);
  EXPECT_EQ(Hex(out), PackageHex("REQ_GUIDANCE_SLICE", kOneSliceBody));
  EXPECT_EQ(out.size(), 170u);
  // GetPackage's own line keeps the plus prefix.
  EXPECT_EQ(log.lines(), (Lines{
                             "L0 E8 RoutePlus::RequestSlice request serialize slice 300 40000 a",
                             "L0 E8 RoutePlus::RequestSlice request serialize slice_session_id s1",
                             "L0 E8 RoutePlus::RequestSlice request serialize slice_size 1",
                             "L0 E8 RoutePlus::RequestPlus imei=dev",
                             "L0 E8 RoutePlus::RequestSlice request serialize succ size=170 plus=20",
                         }));
}

TEST(RoutePlus, PlusAndSliceDifferOnlyInCommandName) {
  std::vector<char> plus;
  std::vector<char> slice;
  ASSERT_EQ(GetRoutePlus(OneSlice<PlusReq>(), Extra(), plus), 0);
  ASSERT_EQ(GetRouteSlice(OneSlice<SliceReq>(), Extra(), slice), 0);
  EXPECT_EQ(Hex(plus), PackageHex("REQ_ROUTE_PLUS", kOneSliceBody));
  EXPECT_EQ(Hex(slice), PackageHex("REQ_GUIDANCE_SLICE", kOneSliceBody));
  // Swapping tag 2 alone turns one into the other.
  std::string swapped = Hex(plus);
  const std::string plus_name = "260e" + Hex(std::string("REQ_ROUTE_PLUS"));
  const std::string slice_name = "2612" + Hex(std::string("REQ_GUIDANCE_SLICE"));
  ASSERT_EQ(swapped.find(plus_name), 6u);  // after 0c 10 54
  swapped.replace(6, plus_name.size(), slice_name);
  EXPECT_EQ(swapped, Hex(slice));
}

TEST(RoutePlus, EmptySliceListStillSends) {
  LogCapture log;
  PlusReq req;
  req.slice_session_id = "s1";
  std::vector<char> out;
  ASSERT_EQ(GetRoutePlus(req, Extra(), out), 0);
  // Session string, then an empty list at tag 1: 06 02 "s1" 19 0c (6 bytes).
  EXPECT_EQ(Hex(out), PackageHex("REQ_ROUTE_PLUS",
                                 "06027331"
                                 "190c"));
  EXPECT_EQ(log.lines(), (Lines{
                             "L0 E8 RoutePlus::RequestPlus request serialize slice_session_id s1",
                             "L0 E8 RoutePlus::RequestPlus request serialize slice_size 0",
                             "L0 E8 RoutePlus::RequestPlus imei=dev",
                             "L0 E8 RoutePlus::RequestPlus request serialize succ size=152 plus=6",
                         }));
}

TEST(RoutePlus, EmptySliceTextLogsEmptyAndWritesEmptyString) {
  LogCapture log;
  PlusReq req;
  SliceDesc slice;
  slice.slice_value1 = 1;
  slice.slice_value2 = -1;
  req.slices.push_back(slice);
  std::vector<char> out;
  ASSERT_EQ(GetRoutePlus(req, Extra(), out), 0);
  // Empty session, one slice: 06 00 | 19 00 01 | 0a 06 00 10 01 20 ff 0b.
  EXPECT_EQ(Hex(out), PackageHex("REQ_ROUTE_PLUS",
                                 "0600"
                                 "190001"
                                 "0a"
                                 "0600"
                                 "1001"
                                 "20ff"
                                 "0b"));
  ASSERT_GE(log.lines().size(), 3u);
  EXPECT_EQ(log.lines()[0], "L0 E8 RoutePlus::RequestPlus request serialize slice 1 -1 ");
  EXPECT_EQ(log.lines()[1], "L0 E8 RoutePlus::RequestPlus request serialize slice_session_id ");
}

TEST(RoutePlus, SliceValueWidths) {
  PlusReq req;
  req.slice_session_id = "s";
  SliceDesc wide;
  wide.slice_text = "w";
  wide.slice_value1 = 40000;
  wide.slice_value2 = std::numeric_limits<std::int32_t>::min();
  SliceDesc narrow;
  narrow.slice_text = "n";
  narrow.slice_value1 = 300;
  narrow.slice_value2 = 0;
  req.slices = {wide, narrow};
  std::vector<char> out;
  ASSERT_EQ(GetRoutePlus(req, Extra(), out), 0);
  // 40000: int32 (12 00 00 9c 40); INT32_MIN: 22 80 00 00 00; 300: int16
  // (11 01 2c); 0: zero head 2c. Slices stay in order.
  EXPECT_EQ(Hex(out), PackageHex("REQ_ROUTE_PLUS",
                                 "060173"
                                 "190002"
                                 "0a"
                                 "060177"
                                 "1200009c40"
                                 "2280000000"
                                 "0b"
                                 "0a"
                                 "06016e"
                                 "11012c"
                                 "2c"
                                 "0b"));
}

TEST(RoutePlus, CompressorSeesThePlainBodyAndItsOutputIsDropped) {
  std::vector<char> seen;
  ScopedGzip gzip([&seen](std::vector<char>& in, std::vector<char>& out) {
    seen = in;
    out = {'z', 'z'};
    return true;
  });
  std::vector<char> out;
  ASSERT_EQ(GetRoutePlus(OneSlice<PlusReq>(), Extra(), out), 0);
  EXPECT_EQ(Hex(seen), kOneSliceBody);
  EXPECT_EQ(Hex(out), PackageHex("REQ_ROUTE_PLUS", kOneSliceBody));
}

TEST(RoutePlus, CompressorFailureGivesOneSilently) {
  ScopedGzip gzip([](std::vector<char>&, std::vector<char>&) { return false; });
  LogCapture log;
  StdoutCapture printed;
  std::vector<char> out = {'o', 'l', 'd'};
  EXPECT_EQ(GetRoutePlus(OneSlice<PlusReq>(), Extra(), out), 1);
  EXPECT_EQ(Hex(out), "6f6c64");
  EXPECT_EQ(printed.text(), "");
  // Only the slice lines, written before anything can fail.
  EXPECT_EQ(log.lines(), (Lines{
                             "L0 E8 RoutePlus::RequestPlus request serialize slice 300 40000 a",
                             "L0 E8 RoutePlus::RequestPlus request serialize slice_session_id s1",
                             "L0 E8 RoutePlus::RequestPlus request serialize slice_size 1",
                         }));
}

TEST(RouteSlice, CompressorFailureGivesOneSilently) {
  ScopedGzip gzip([](std::vector<char>&, std::vector<char>&) { return false; });
  LogCapture log;
  StdoutCapture printed;
  std::vector<char> out = {'o', 'l', 'd'};
  EXPECT_EQ(GetRouteSlice(OneSlice<SliceReq>(), Extra(), out), 1);
  EXPECT_EQ(Hex(out), "6f6c64");
  EXPECT_EQ(printed.text(), "");
  EXPECT_EQ(log.lines().size(), 3u);
  EXPECT_EQ(log.lines().back(), "L0 E8 RoutePlus::RequestSlice request serialize slice_size 1");
}

TEST(RoutePlus, SessionIdOverTheStringLimitGivesTwo) {
  bool compressed = false;
  ScopedGzip gzip([&compressed](std::vector<char>&, std::vector<char>&) {
    compressed = true;
    return true;
  });
  LogCapture log;
  StdoutCapture printed;
  PlusReq req;
  req.slice_session_id.assign(104857601, 's');
  std::vector<char> out = {'o', 'l', 'd'};
  EXPECT_EQ(GetRoutePlus(req, Extra(), out), 2);
  EXPECT_EQ(Hex(out), "6f6c64");
  EXPECT_FALSE(compressed);
  EXPECT_EQ(printed.text(), "");
  // The session and size lines come before the failure; nothing after it.
  ASSERT_EQ(log.lines().size(), 2u);
  EXPECT_EQ(log.lines()[1], "L0 E8 RoutePlus::RequestPlus request serialize slice_size 0");
}

TEST(RouteSlice, SliceTextOverTheStringLimitGivesTwo) {
  SliceReq req;
  SliceDesc slice;
  slice.slice_text.assign(104857601, 't');
  req.slices.push_back(slice);
  std::vector<char> out = {'o', 'l', 'd'};
  EXPECT_EQ(GetRouteSlice(req, Extra(), out), 2);
  EXPECT_EQ(Hex(out), "6f6c64");
}

TEST(RoutePlus, SessionIdAtTheStringLimitIsWritten) {
  PlusReq req;
  req.slice_session_id.assign(104857600, 's');
  std::vector<char> out;
  ASSERT_EQ(GetRoutePlus(req, Extra(), out), 0);
  // Body: 07 06400000 + bytes, then 19 0c; the body count 104857607 is
  // 0x06400007, written in the int32 form at the start of tag 8.
  const std::string tag8 =
      "8d00"
      "0206400007"
      "0706400000";
  const std::string hex = Hex(out.data(), 300);
  EXPECT_EQ(hex.find(tag8), (1 + 2 + 16 + 1 + 2 + 2 + 3 + 4 + 93) * 2u);
}

TEST(RoutePlus, EnvelopeFailureGivesOne) {
  // A device id over the string limit breaks the Header.
  ReqExtraParam extra = Extra();
  extra.imei.assign(104857601, 'd');
  StdoutCapture printed;
  std::vector<char> out = {'o', 'l', 'd'};
  EXPECT_EQ(GetRoutePlus(OneSlice<PlusReq>(), extra, out), 1);
  EXPECT_EQ(Hex(out), "6f6c64");
  EXPECT_EQ(printed.text(), "SerializeKSE_header_fail\n");
}

}  // namespace
