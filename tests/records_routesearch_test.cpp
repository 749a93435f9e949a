// Byte layout of the route search body CarRouteReq and the small records that
// only it nests, including the ranking side record.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "navreq/records/car_rank_trans.h"
#include "navreq/records/navicore.h"
#include "navreq/records/routesearch.h"
#include "navreq/serialize.h"
#include "support/encoded.h"
#include "support/record_info.h"
#include "support/record_tables.h"
#include "support/wire.h"

namespace {

using namespace wire;
using navkse::CarRankTrans::ToRankLimitCityInfo;
using navkse::CarRankTrans::ToRankTransInfo;
using navkse::common::Point;
using navkse::common::SimplePOIRequestInfo;
using navkse::routesearch::CarRouteReq;
using navkse::routesearch::FavoriteRoute;
using navkse::routesearch::FollowExplainControl;
using navkse::routesearch::LimitArea;
using navkse::routesearch::LinkingRouteMeta;
using navkse::routesearch::PhExtraInfo;
using navkse::routesearch::RoadLinkName;
using tables::FieldHead;
using tables::FromHex;
using tables::Hx;

using navreq::testing::Encoded;
using navreq::testing::TagsOf;

// ---- CarRouteReq ------------------------------------------------------------

TEST(CarRouteReqRecord, DefaultWrittenAloneIsTheWholeTable) {
  EXPECT_EQ(Encoded(CarRouteReq()), tables::DefaultCarRouteReq());
}

TEST(CarRouteReqRecord, TableHasEveryTagButTwelveInOrder) {
  // The table itself, read back: 87 fields, tags 0 to 87 rising, no tag 12.
  const std::vector<FieldHead> heads = tables::TopLevelHeads(FromHex(tables::DefaultCarRouteReq()));
  ASSERT_EQ(heads.size(), 87u);
  int expected_tag = 0;
  for (const FieldHead& h : heads) {
    if (expected_tag == 12) ++expected_tag;
    EXPECT_EQ(h.tag, expected_tag);
    ++expected_tag;
  }
}

TEST(CarRouteReqRecord, DefaultLiteralRuns) {
  const std::string h = Encoded(CarRouteReq());
  // Tags 8 to 18: tag 11 is followed directly by tag 13.
  EXPECT_NE(h.find(Hx("8600 9c a600 b600 dc e600 fc0f f9100c fd11000c f9120c")), std::string::npos);
  // Tags 21 to 24: -1 at tag 23.
  EXPECT_NE(h.find("fc15f61600f017fff9180c"), std::string::npos);
  // Tags 35 to 42: -1 at 36, 37, 38 and 40, -1.0f at 41.
  EXPECT_NE(h.find(Hx("f62300 f024ff f025ff f026ff fc27 f028ff f429bf800000 fc2a")), std::string::npos);
  // The last field: the MMRequest with its defaults, closing the record.
  EXPECT_EQ(h.substr(h.size() - 18), Hx("fa57 090c 1c 290c 3c 0b"));
}

TEST(CarRouteReqRecord, Uint32AllOnesGoesOutAsFourBillionInNineBytes) {
  CarRouteReq r;
  r.routeOption58 = 0xFFFFFFFFu;
  r.feature_bits = 0x8828;  // above int16: four bytes
  r.routeOption66 = 0x80000000u;
  EXPECT_EQ(Encoded(r), tables::CarRouteReqWith(
                            {Hx("f33a 00000000ffffffff"), Hx("f240 00008828"), Hx("f342 0000000080000000")}));
}

TEST(CarRouteReqRecord, SideRecordMapInKeyOrderGuidanceBeforeRank) {
  // "toGuidance": a default guidance side record, 16 bytes.
  const std::string guidance = Hx("0c 1600 2c 3c 4c 5c 6c 7c 8c 9c ac bc cc dc ec");
  // "toRank": ranking record with the single rank value 269, 10 bytes.
  const std::string rank = Hx("090c 1c 290001 01010d 3c");
  CarRouteReq r;
  r.side_records["toRank"] = tables::FromHex(rank);  // inserted first on purpose
  r.side_records["toGuidance"] = tables::FromHex(guidance);
  const std::string tag72 =
      Hx("f848 0002 060a746f47756964616e6365 1d000010") + guidance + Hx("0606746f52616e6b 1d00000a") + rank;
  EXPECT_EQ(Encoded(r), tables::CarRouteReqWith({tag72}));
}

TEST(CarRouteReqRecord, SideRecordBytesAreWhatTheirRecordsWrite) {
  EXPECT_EQ(Encoded(navkse::navicore::nav::ugs_cloud_info()),
            Hx("0c 1600 2c 3c 4c 5c 6c 7c 8c 9c ac bc cc dc ec"));
  ToRankTransInfo rank;
  rank.rank_values = {269};
  EXPECT_EQ(Encoded(rank), Hx("090c 1c 290001 01010d 3c"));
}

TEST(CarRouteReqRecord, FilledFieldsAndLists) {
  CarRouteReq r;
  r.via_points.resize(1);
  r.viaPointFlags = {0};
  r.field21 = 1;
  r.field23 = 2;
  r.field46 = "nav";
  r.current_measure = 1.5f;
  r.field9 = 40;
  r.routeOption49 = {"a"};
  EXPECT_EQ(Encoded(r),
            tables::CarRouteReqWith({"9028", "f91000010a" + tables::DefaultSimplePOI() + "0b", "fd1100000100",
                                     "f01501", "f01702", "f4293fc00000", "f62e036e6176", "f9310001060161"}));
}

TEST(CarRouteReqRecord, CopyIsDeep) {
  CarRouteReq original;
  original.side_records["toGuidance"] = {1, 2, 3};
  original.via_points.resize(2);
  original.limit_areas.resize(1);
  original.limit_areas[0].vertices.resize(3);
  original.cli_param.order_id_ = "id";
  original.recent_fixes.resize(1);
  const std::string before = Encoded(original);

  CarRouteReq copy = original;
  copy.side_records["toGuidance"].push_back(4);
  copy.side_records["toRank"] = {9};
  copy.via_points[0].primaryText = "changed";
  copy.limit_areas[0].vertices[1].longitude = 5;
  copy.cli_param.order_id_ = "other";
  copy.recent_fixes[0].longitude = 1;
  copy.ev_params.model.model_blob = {7};
  EXPECT_EQ(Encoded(original), before);
  EXPECT_NE(Encoded(copy), before);
}

// ---- Small records ------------------------------------------------------------

TEST(PhExtraInfoRecord, DefaultAndFloats) {
  EXPECT_EQ(Encoded(PhExtraInfo()), Hx("00ff 1a0c1c2c0b 290c 3600"));
  EXPECT_EQ(Encoded(PhExtraInfo()), tables::DefaultPhExtraInfo());
  PhExtraInfo p;
  p.values = {1.5f, 0.0f};
  EXPECT_EQ(Encoded(p), Hx("00ff 1a0c1c2c0b 290002 043fc00000 0400000000 3600"));
}

TEST(LimitAreaRecord, VerticesAreNestedPoints) {
  EXPECT_EQ(Encoded(LimitArea()), "090c");
  LimitArea a;
  a.vertices.resize(1);
  a.vertices[0].longitude = 116397128;
  a.vertices[0].latitude = 39916527;
  EXPECT_EQ(Encoded(a), Hx("090001 0a 0206f01448 12026113ef 2c 0b"));
}

TEST(FavoriteRouteRecord, Default) {
  EXPECT_EQ(Encoded(FavoriteRoute()), "0c1600");
  EXPECT_EQ(Encoded(FavoriteRoute()), tables::DefaultFavoriteRoute());
}

TEST(LinkingRouteMetaRecord, DefaultAndListOfLists) {
  EXPECT_EQ(Encoded(LinkingRouteMeta()), Hx("0c 190c 2c 3600 4c 590c 690c"));
  EXPECT_EQ(Encoded(LinkingRouteMeta()), tables::DefaultLinkingRouteMeta());
  LinkingRouteMeta m;
  m.point_lists = {{SimplePOIRequestInfo()}, {}};
  m.field4 = INT64_C(-2147483648);
  m.field5 = {"x"};
  EXPECT_EQ(Encoded(m), Hx("0c 190002 090001 0a") + tables::DefaultSimplePOI() +
                            Hx("0b 090c 2c 3600 4280000000 590001 060178 690c"));
}

TEST(RoadLinkNameRecord, Default) {
  EXPECT_EQ(Encoded(RoadLinkName()), "0c1600");
  RoadLinkName n;
  n.link_id = INT64_C(0x123456789);
  n.name = "n";
  EXPECT_EQ(Encoded(n), Hx("030000000123456789 16016e"));
}

TEST(FollowExplainControlRecord, DefaultAndRoadLinks) {
  EXPECT_EQ(Encoded(FollowExplainControl()), Hx("0c 1c 2c 3c 4c 5600 6600 790c 890c 9c"));
  EXPECT_EQ(Encoded(FollowExplainControl()), tables::DefaultFollowExplainControl());
  FollowExplainControl f;
  f.road_links8.resize(1);
  f.road_links8[0].link_id = 5;
  f.road_links8[0].name = "n";
  f.texts7 = {"", "ab"};
  EXPECT_EQ(Encoded(f), Hx("0c 1c 2c 3c 4c 5600 6600 790002 0600 06026162 890001 0a 0005 16016e 0b 9c"));
}

TEST(ToRankRecords, Defaults) {
  EXPECT_EQ(Encoded(ToRankTransInfo()), "090c1c290c3c");
  EXPECT_EQ(Encoded(ToRankTransInfo()), tables::DefaultToRankTransInfo());
  EXPECT_EQ(Encoded(ToRankLimitCityInfo()), "0c190c290c");
  EXPECT_EQ(Encoded(ToRankLimitCityInfo()), tables::DefaultToRankLimitCityInfo());
}

TEST(ToRankRecords, LimitCitiesAsNestedRecords) {
  ToRankTransInfo t;
  t.limit_cities.resize(1);
  t.limit_cities[0].field0 = 110000;  // 0x0001ADB0
  t.limit_cities[0].field1 = {1};
  t.rank_values = {269};
  EXPECT_EQ(Encoded(t), Hx("090001 0a 020001adb0 1900010001 290c 0b 1c 290001 01010d 3c"));
}

// ---- Field names: shape of the declarations -------------------------------------

TEST(RouteSearchRecordsInfo, CarRouteReqHasEightySevenFieldsAndNoTagTwelve) {
  std::vector<int> expect;
  for (int t = 0; t <= 87; ++t) {
    if (t != 12) expect.push_back(t);
  }
  EXPECT_EQ(TagsOf<CarRouteReq>(), expect);
  EXPECT_EQ(CarRouteReq::kseInfo().count, 87u);
  EXPECT_EQ(CarRouteReq::kseInfo().find(12), nullptr);
  EXPECT_STREQ(CarRouteReq::kseInfo().find(17)->type->name(), "bytes");
  EXPECT_STREQ(CarRouteReq::kseInfo().find(58)->type->name(), "uint32");
  EXPECT_STREQ(CarRouteReq::kseInfo().find(64)->type->name(), "uint32");
  EXPECT_STREQ(CarRouteReq::kseInfo().find(66)->type->name(), "uint32");
  EXPECT_STREQ(CarRouteReq::kseInfo().find(41)->type->name(), "float");
  EXPECT_STREQ(CarRouteReq::kseInfo().find(72)->type->name(), "map<string,bytes>");
}

TEST(RouteSearchRecordsInfo, SmallRecords) {
  EXPECT_EQ(TagsOf<PhExtraInfo>(), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(TagsOf<LinkingRouteMeta>(), (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(TagsOf<FollowExplainControl>(), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(TagsOf<ToRankTransInfo>(), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(TagsOf<ToRankLimitCityInfo>(), (std::vector<int>{0, 1, 2}));
}

}  // namespace
