// Byte layout of the cockpit records (paths, road links, positioning samples)
// and of the guidance-slice records.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "navreq/numeric.h"
#include "navreq/records/cockpit.h"
#include "navreq/records/navicore.h"
#include "navreq/serialize.h"
#include "support/encoded.h"
#include "support/record_info.h"
#include "support/record_tables.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::cockpit::MMRequest;
using navkse::cockpit::NaviPath;
using navkse::cockpit::OriginalLink;
using navkse::cockpit::SignalGnss;
using navkse::navicore::nav::ugs_cloud_info;
using navkse::navicore::nav::ugs_guidance_slice_params_t;
using navkse::navicore::nav::ugs_guidance_slice_req_t;
using tables::Hx;

using navreq::testing::Encoded;
using navreq::testing::TagRange;
using navreq::testing::TagsOf;

const char kOriginalLink[] =
    "0c1c2c3c"          // tags 0..3
    "4600"              // tag 4: string
    "5c6c"              // tags 5, 6
    "7c8c9c"            // tag 7 int8, tag 8, tag 9 int8
    "acbcccdcec"        // tags 10..14
    "fc0ffc10fc11"      // tags 15..17: two-byte heads
    "f8120c"            // tag 18: empty map
    "fc13fc14fc15fc16"  // tags 19..22
    "fc17fc18"          // tags 23, 24: int64
    "fc19";             // tag 25
const std::string kSignalGnss = Hx("0c 1c 2c 3c 4c 5c 6c 7c 8c 9c ac ba0c1c2c0b");
const char kNaviPath[] = "06001c290c390c";
const std::string kCloudInfo = Hx("0c 1600 2c 3c 4c 5c 6c 7c 8c 9c ac bc cc dc ec");

// ---- Cockpit records ------------------------------------------------------------

TEST(OriginalLinkRecord, DefaultWritesTwentySixFields) {
  EXPECT_EQ(Encoded(OriginalLink()), kOriginalLink);
  EXPECT_EQ(Encoded(OriginalLink()), tables::DefaultOriginalLink());
  std::vector<char> raw;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(OriginalLink(), raw));
  const std::vector<tables::FieldHead> heads = tables::TopLevelHeads(raw);
  ASSERT_EQ(heads.size(), 26u);
  for (int tag = 0; tag < 26; ++tag) EXPECT_EQ(heads[static_cast<std::size_t>(tag)].tag, tag);
  EXPECT_EQ(heads[4].type, kStr1);
  EXPECT_EQ(heads[18].type, kMap);
}

TEST(OriginalLinkRecord, FilledMapAndWideValues) {
  OriginalLink l;
  l.field0 = 40000;
  l.field4 = "L";
  l.field7 = -128;
  l.field9 = 1;
  l.field15 = 300;
  l.attributes["k"] = "v";
  l.attributes["a"] = "";
  l.field23 = INT64_C(2147483648);
  l.field24 = INT64_C(-2147483648);
  l.field25 = -1;
  EXPECT_EQ(Encoded(l),
            Hx("0200009c40 1c 2c 3c 46014c 5c 6c 7080 8c 9001 ac bc cc dc ec f10f012c fc10 fc11 f8120002 "
               "060161 1600 06016b 160176 fc13 fc14 fc15 fc16 f3170000000080000000 f21880000000 f019ff"));
}

TEST(SignalGnssRecord, DefaultStillWritesItsNestedPoint) {
  EXPECT_EQ(Encoded(SignalGnss()), kSignalGnss);
  EXPECT_EQ(Encoded(SignalGnss()), tables::DefaultSignalGnss());
  SignalGnss s;
  s.field9 = 9;
  s.field10 = INT64_C(1700000000123);  // 0x18BCFE5687B
  s.position.longitude = 116397128;
  EXPECT_EQ(Encoded(s), Hx("0c 1c 2c 3c 4c 5c 6c 7c 8c 9009 a30000018bcfe5687b ba 0206f01448 1c 2c 0b"));
}

TEST(NaviPathRecord, GeometryAndLinksAsNestedRecords) {
  EXPECT_EQ(Encoded(NaviPath()), kNaviPath);
  EXPECT_EQ(Encoded(NaviPath()), tables::DefaultNaviPath());
  NaviPath p;
  p.field0 = "id";
  p.field1 = 7;
  p.geometry.resize(2);
  p.geometry[1].latitude = -1;
  p.links.resize(1);
  EXPECT_EQ(Encoded(p), std::string("06026964") + "1007" + Hx("2900020a0c1c2c0b0a0c10ff2c0b") + "3900010a" +
                            kOriginalLink + "0b");
}

TEST(MMRequestRecord, DefaultAndFilled) {
  EXPECT_EQ(Encoded(MMRequest()), "090c1c290c3c");
  EXPECT_EQ(Encoded(MMRequest()), tables::DefaultMMRequest());
  MMRequest m;
  m.paths.resize(1);
  m.gnss_samples.resize(2);
  m.field3 = 1;
  EXPECT_EQ(Encoded(m), std::string("090001") + "0a" + kNaviPath + "0b" + "1c" + "290002" + "0a" +
                            kSignalGnss + "0b" + "0a" + kSignalGnss + "0b" + "3001");
}

TEST(MMRequestRecord, CopyIsDeep) {
  MMRequest original;
  original.paths.resize(1);
  original.paths[0].links.resize(1);
  original.paths[0].links[0].attributes["k"] = "v";
  const std::string before = Encoded(original);
  MMRequest copy = original;
  copy.paths[0].links[0].attributes["k"] = "w";
  copy.paths[0].geometry.resize(1);
  EXPECT_EQ(Encoded(original), before);
  EXPECT_NE(Encoded(copy), before);
}

// ---- Guidance-slice records ------------------------------------------------------------

TEST(UgsCloudInfoRecord, DefaultAndFilled) {
  EXPECT_EQ(Encoded(ugs_cloud_info()), kCloudInfo);
  EXPECT_EQ(Encoded(ugs_cloud_info()), tables::DefaultUgsCloudInfo());
  ugs_cloud_info c;
  c.async_guidance_code = 1;
  c.field1 = "g";
  c.field2 = -1;
  c.field9 = 127;
  c.field14 = 32768;
  EXPECT_EQ(Encoded(c), Hx("0001 160167 20ff 3c 4c 5c 6c 7c 8c 907f ac bc cc dc e200008000"));
}

TEST(SliceParamsRecord, ValueAboveInt16IsFourBytesThreeHundredIsTwo) {
  EXPECT_EQ(Encoded(ugs_guidance_slice_params_t()), "06001c2c");
  EXPECT_EQ(Encoded(ugs_guidance_slice_params_t()), tables::DefaultSliceParams());
  ugs_guidance_slice_params_t p;
  p.slice_value1 = 40000;
  EXPECT_EQ(Encoded(p), Hx("0600 1200009c40 2c"));
  p.slice_value1 = 300;
  p.slice_value2 = -1;
  p.slice_text = "s";
  EXPECT_EQ(Encoded(p), Hx("060173 11012c 20ff"));
}

TEST(SliceReqRecord, SlicesInOrderAsNestedRecords) {
  EXPECT_EQ(Encoded(ugs_guidance_slice_req_t()), "0600190c");
  EXPECT_EQ(Encoded(ugs_guidance_slice_req_t()), tables::DefaultSliceReq());
  ugs_guidance_slice_req_t r;
  r.slice_session_id = "ab";
  r.slices.resize(2);
  r.slices[0].slice_value1 = 40000;
  r.slices[1].slice_value1 = 300;
  EXPECT_EQ(Encoded(r), Hx("06026162 190002 0a 0600 1200009c40 2c 0b 0a 0600 11012c 2c 0b"));
}

// ---- Field names: shape of the declarations -------------------------------------

TEST(GuidanceRecordsInfo, TagsAscendingWithTheRightCount) {
  EXPECT_EQ(OriginalLink::kseInfo().count, 26u);
  EXPECT_EQ(TagsOf<OriginalLink>(), TagRange(0, 25));
  EXPECT_EQ(TagsOf<SignalGnss>(), TagRange(0, 11));
  EXPECT_EQ(TagsOf<NaviPath>(), TagRange(0, 3));
  EXPECT_EQ(TagsOf<MMRequest>(), TagRange(0, 3));
  EXPECT_EQ(TagsOf<ugs_cloud_info>(), TagRange(0, 14));
  EXPECT_EQ(TagsOf<ugs_guidance_slice_params_t>(), TagRange(0, 2));
  EXPECT_EQ(TagsOf<ugs_guidance_slice_req_t>(), TagRange(0, 1));
  EXPECT_STREQ(OriginalLink::kseInfo().find(7)->type->name(), "int8");
  EXPECT_STREQ(OriginalLink::kseInfo().find(9)->type->name(), "int8");
  EXPECT_STREQ(OriginalLink::kseInfo().find(18)->type->name(), "map<string,string>");
  EXPECT_STREQ(ugs_cloud_info::kseInfo().find(2)->type->name(), "int8");
}

}  // namespace
