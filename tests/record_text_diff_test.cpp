// ToText and Diff of wire records: the dump tree and the diff lines of a
// record's own bytes.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "navreq/envelope.h"
#include "navreq/params_diff.h"
#include "navreq/read.h"
#include "navreq/records/all.h"
#include "support/random_records.h"

namespace {

using navkse::common::Point;
using navkse::routesearch::CarRouteReq;

std::vector<std::string> Lines(const std::vector<navreq::Difference>& diffs) {
  std::vector<std::string> lines;
  for (const auto& d : diffs) lines.push_back(navreq::DifferenceLine(d));
  return lines;
}

TEST(RecordText, PointIsTheDumpTreeOfItsBytes) {
  Point p;
  p.longitude = 116397128;  // 02 06f01448
  p.latitude = -128;        // 10 80
  // field2 0: 2c
  EXPECT_EQ(navreq::ToText(p),
            "Point, 8 bytes\n"
            "  @0+5 0 longitude int32: 116397128\n"
            "  @5+2 1 latitude int32: -128\n"
            "  @7+1 2 field2 int32: 0\n");
}

TEST(RecordText, ListOfRecords) {
  navkse::routesearch::LimitArea area;
  area.vertices.push_back(Point());
  area.vertices[0].longitude = 1;
  area.vertices[0].latitude = 2;
  area.vertices[0].field2 = 3;
  // 09 0001 | 0a 0001 1002 2003 0b
  EXPECT_EQ(navreq::ToText(area),
            "LimitArea, 11 bytes\n"
            "  @0+11 0 vertices list<Point>[1]\n"
            "    @3+8 [0] Point\n"
            "      @4+2 0 longitude int32: 1\n"
            "      @6+2 1 latitude int32: 2\n"
            "      @8+2 2 field2 int32: 3\n");
}

// A Package is itself the top of a request: its text is then exactly what
// the dump of its bytes shows, carried header and body included.
TEST(RecordText, PackageIsWhatTheDumpOfItsBytesShows) {
  navkse::duromap::Package package;
  zv_navi_core::ReqExtraParam extra;
  extra.imei = "860000000000001";
  const navkse::CommandInfo& slice = navkse::commandOf(navkse::RequestKind::kGuidanceSlice);
  std::vector<char> body;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(navkse::navicore::nav::ugs_guidance_slice_req_t(), body));
  ASSERT_EQ(zv_navi_core::route_req_serializer::GetPackage(package, extra, navkse::duromap::CMD{slice.number},
                                                           slice.name, body, false),
            0);
  const std::string bytes = navreq::RecordBytes(package);
  std::ostringstream dump;
  {
    const auto view = navreq::MakeTextView(dump, false);
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  const std::string text = navreq::ToText(package);
  EXPECT_EQ(text, dump.str());
  EXPECT_NE(text.find("imei string: \"860000000000001\""), std::string::npos) << text;
}

TEST(RecordText, RecordBytesAreWhatWriteToGives) {
  Point p;
  p.longitude = 116397128;
  p.latitude = -128;
  EXPECT_EQ(navreq::RecordBytes(p), std::string("\x02\x06\xf0\x14\x48\x10\x80\x2c", 8));
  EXPECT_EQ(navreq::RecordBytes(navkse::common::TravelJamSearch()), std::string("\x0c", 1));
}

TEST(RecordDiff, EqualRecordsHaveNoDifferences) {
  for (std::uint64_t seed = 1; seed <= 8; ++seed) {
    CarRouteReq r;
    randrec::Filler(seed).fill(r);
    EXPECT_TRUE(navreq::Diff(r, r).empty()) << seed;
  }
}

TEST(RecordDiff, NestedListElementField) {
  CarRouteReq a;
  a.via_points.resize(4);
  CarRouteReq b = a;
  b.via_points[3].point.latitude = 7;
  b.via_points[1].primaryText = "x";
  EXPECT_EQ(Lines(navreq::Diff(a, b)), (std::vector<std::string>{
                                           "via_points[1].primaryText: \"\" -> \"x\"",
                                           "via_points[3].point.latitude: 0 -> 7",
                                       }));
  const auto diffs = navreq::Diff(a, b);
  ASSERT_EQ(diffs.size(), 2u);
  EXPECT_EQ(diffs[1].path, "via_points[3].point.latitude");
  EXPECT_EQ(diffs[1].a, "0");
  EXPECT_EQ(diffs[1].b, "7");
  EXPECT_TRUE(diffs[1].a_number);
}

TEST(RecordDiff, ElementsOnlyInOneSide) {
  CarRouteReq a;
  a.via_points.resize(1);
  CarRouteReq b;
  b.via_points.resize(2);
  EXPECT_EQ(Lines(navreq::Diff(a, b)), (std::vector<std::string>{"via_points[1]: only in B"}));
  EXPECT_EQ(Lines(navreq::Diff(b, a)), (std::vector<std::string>{"via_points[1]: only in A"}));
}

TEST(RecordDiff, MapValuesByKey) {
  CarRouteReq a;
  a.field71["k"] = "1";
  a.field71["gone"] = "g";
  a.field71["with space"] = "s";
  CarRouteReq b;
  b.field71["k"] = "2";
  b.field71["new"] = "n";
  b.field71["with space"] = "t";
  EXPECT_EQ(Lines(navreq::Diff(a, b)), (std::vector<std::string>{
                                           "field71[gone]: only in A",
                                           "field71[k]: \"1\" -> \"2\"",
                                           "field71[new]: only in B",
                                           "field71[\"with space\"]: \"s\" -> \"t\"",
                                       }));
}

TEST(RecordDiff, IntegerMapKeysAndListsOfLists) {
  navkse::common::ReqLinksData a;
  a.link_map[-5] = 1;
  navkse::common::ReqLinksData b;
  b.link_map[-5] = 2;
  EXPECT_EQ(Lines(navreq::Diff(a, b)), (std::vector<std::string>{"link_map[-5]: 1 -> 2"}));

  navkse::routesearch::LinkingRouteMeta m;
  m.point_lists.resize(1);
  m.point_lists[0].resize(2);
  navkse::routesearch::LinkingRouteMeta n = m;
  n.point_lists[0][1].point.longitude = 300;
  EXPECT_EQ(Lines(navreq::Diff(m, n)),
            (std::vector<std::string>{"point_lists[0][1].point.longitude: 0 -> 300"}));
}

TEST(RecordDiff, FloatsShowTheirShortestText) {
  navkse::routesearch::PhExtraInfo a;
  a.values = {0.5f};
  navkse::routesearch::PhExtraInfo b;
  b.values = {-0.0f};
  EXPECT_EQ(Lines(navreq::Diff(a, b)), (std::vector<std::string>{"values[0]: 0.5 -> -0.0"}));
}

}  // namespace

namespace {

// ---- Engine parameter records: the same comparison on records in memory ----

TEST(ParamsDiff, NestedRecordsListsAndMaps) {
  zv_navi_core::RouteRefreshReqParam a;
  a.route_param.viaPoints.resize(2);
  a.explain_controls["r1"].road_links8.resize(1);
  a.fixes.resize(1);
  zv_navi_core::RouteRefreshReqParam b = a;
  EXPECT_TRUE(navreq::Diff(a, b).empty());
  b.route_param.viaPoints[1].pointType = 3;
  b.route_param.truck.truckBlock[2] = -4;
  b.explain_controls["r1"].road_links8[0].name = "ring";
  b.explain_controls["r 2"];
  b.fixes[0].speed = 0.5f;
  b.pending_list.resize(1);
  EXPECT_EQ(Lines(navreq::Diff(a, b)), (std::vector<std::string>{
                                           "route_param.viaPoints[1].pointType: 0 -> 3",
                                           "route_param.truck.truckBlock[2]: 0 -> -4",
                                           "pending_list[0]: only in B",
                                           "explain_controls[\"r 2\"]: only in B",
                                           "explain_controls[r1].road_links8[0].name: \"\" -> \"ring\"",
                                           "fixes[0].speed: 0.0 -> 0.5",
                                       }));
}

TEST(ParamsDiff, FloatsDifferByBits) {
  navcore::KSLatLon a;
  navcore::KSLatLon b;
  b.longitude = -0.0;
  EXPECT_EQ(Lines(navreq::Diff(a, b)), (std::vector<std::string>{"longitude: 0.0 -> -0.0"}));
}

}  // namespace
