// What NAVKSE_RECORD tells about a record's fields, and the command table.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "navreq/records/all.h"
#include "navreq/records/commands.h"

namespace {

using navcore::ryn::FieldInfo;
using navcore::ryn::RecordInfo;
using navcore::ryn::WireKind;

const FieldInfo& Field(const RecordInfo& info, const char* name) {
  const FieldInfo* f = info.find(name);
  EXPECT_NE(f, nullptr) << name;
  static const FieldInfo none{};
  return f != nullptr ? *f : none;
}

TEST(KseReflection, NamedTagConstants) {
  using navkse::common::Point;
  static_assert(Point::FieldTag::longitude == 0 && Point::FieldTag::latitude == 1, "Point tags");
  static_assert(navkse::routesearch::CarRouteReq::FieldTag::side_records == 72, "side records tag");
  static_assert(navkse::routesearch::CarRouteReq::FieldTag::ph_value == 13, "no tag 12");
  static_assert(navkse::locationReportDMQ::LocationReportRequestDMQ::FieldTag::session == 100, "tag 100");
  static_assert(navkse::duromap::Package::kFieldCount == 10, "Package has tags 0-9");
  EXPECT_EQ(Point::kseInfo().count, 3u);
}

TEST(KseReflection, ScalarKinds) {
  const RecordInfo& gps = navkse::common::Gps::kseInfo();
  EXPECT_EQ(Field(gps, "timeSeconds").type->kind, WireKind::kInt64);
  EXPECT_EQ(Field(gps, "field19").tag, 19);
  const RecordInfo& route = navkse::routesearch::CarRouteReq::kseInfo();
  EXPECT_EQ(Field(route, "feature_bits").type->kind, WireKind::kUInt32);
  EXPECT_EQ(Field(route, "current_measure").type->kind, WireKind::kFloat);
  EXPECT_EQ(Field(route, "field15").type->kind, WireKind::kBool);
  EXPECT_EQ(Field(route, "viaPointFlags").type->kind, WireKind::kBytes);
  EXPECT_STREQ(Field(route, "imei").type->name(), "string");
  const RecordInfo& point = navkse::locationReportDMQ::LocationPoint::kseInfo();
  EXPECT_EQ(Field(point, "d_longitude").type->kind, WireKind::kInt16);
  EXPECT_EQ(Field(point, "field7").type->kind, WireKind::kInt8);
}

TEST(KseReflection, ContainersDescribeTheirElements) {
  const RecordInfo& route = navkse::routesearch::CarRouteReq::kseInfo();
  const FieldInfo& via = Field(route, "via_points");
  EXPECT_EQ(via.type->kind, WireKind::kList);
  EXPECT_EQ(via.type->element->kind, WireKind::kRecord);
  EXPECT_EQ(&via.type->element->record(), &navkse::common::SimplePOIRequestInfo::kseInfo());
  EXPECT_STREQ(via.type->name(), "list<SimplePOIRequestInfo>");

  const FieldInfo& side = Field(route, "side_records");
  EXPECT_EQ(side.type->kind, WireKind::kMap);
  EXPECT_EQ(side.type->key->kind, WireKind::kString);
  EXPECT_EQ(side.type->element->kind, WireKind::kBytes);
  EXPECT_EQ(side.type->record, nullptr);
  EXPECT_EQ(side.type->element->record, nullptr);

  const FieldInfo& lists = Field(navkse::routesearch::LinkingRouteMeta::kseInfo(), "point_lists");
  EXPECT_EQ(lists.type->element->kind, WireKind::kList);
  EXPECT_EQ(lists.type->element->element->kind, WireKind::kRecord);

  const FieldInfo& payload = Field(navkse::NavSDKGateway::Packet::kseInfo(), "payload");
  EXPECT_EQ(payload.type->kind, WireKind::kUBytes);
  EXPECT_EQ(payload.type->element->kind, WireKind::kUInt8);

  const FieldInfo& start = Field(route, "start");
  EXPECT_EQ(start.type->kind, WireKind::kRecord);
  EXPECT_EQ(&start.type->record(), &navkse::common::SimplePOIRequestInfo::kseInfo());
}

TEST(KseReflection, WireTypesThatFitAKind) {
  using navcore::ryn::wireTypeFits;
  EXPECT_TRUE(wireTypeFits(WireKind::kInt8, navcore::ryn::kKseInt64));
  EXPECT_TRUE(wireTypeFits(WireKind::kInt32, navcore::ryn::kKseZero));
  EXPECT_FALSE(wireTypeFits(WireKind::kInt32, navcore::ryn::kKseFloat));
  EXPECT_TRUE(wireTypeFits(WireKind::kString, navcore::ryn::kKseString4));
  EXPECT_TRUE(wireTypeFits(WireKind::kUBytes, navcore::ryn::kKseList));
  EXPECT_FALSE(wireTypeFits(WireKind::kBytes, navcore::ryn::kKseList));
}

TEST(CommandTable, PackageCommands) {
  const navkse::CommandInfo& route = navkse::commandOf(navkse::RequestKind::kRouteSearch);
  EXPECT_EQ(route.number, 10101);
  EXPECT_STREQ(route.name, "CMD_ROUTE_CAR_SNS");
  EXPECT_EQ(route.body, &navkse::routesearch::CarRouteReq::kseInfo);
  EXPECT_EQ(route.gzip, navkse::BodyGzip::kAlways);
  EXPECT_STREQ(route.entry, "GetRouteReqData");

  const navkse::CommandInfo* refresh =
      navkse::findPackageCommand(10102, "CMD_TRAFFIC_ALL_ON_ROUTE_BATCH_SDK");
  ASSERT_NE(refresh, nullptr);
  EXPECT_EQ(refresh->kind, navkse::RequestKind::kTrafficRefresh);
  EXPECT_EQ(refresh->gzip, navkse::BodyGzip::kNever);

  const navkse::CommandInfo* slice = navkse::findPackageCommand(84, "REQ_GUIDANCE_SLICE");
  ASSERT_NE(slice, nullptr);
  EXPECT_EQ(slice->kind, navkse::RequestKind::kGuidanceSlice);
  EXPECT_EQ(&slice->body(), &navkse::navicore::nav::ugs_guidance_slice_req_t::kseInfo());
  EXPECT_EQ(navkse::findPackageCommand(85, "REQ_GUIDANCE_SLICE"), nullptr);
  EXPECT_EQ(navkse::findPackageCommand(84, "REQ_ROUTE_PLUS")->kind, navkse::RequestKind::kRoutePlus);
  EXPECT_EQ(navkse::findPackageCommand("CMD_ROUTE_CAR"), nullptr);
}

TEST(CommandTable, PacketKinds) {
  const navkse::CommandInfo* location = navkse::findPacketKind(1);
  ASSERT_NE(location, nullptr);
  EXPECT_EQ(location->kind, navkse::RequestKind::kLocationUpload);
  EXPECT_EQ(&location->body(), &navkse::locationReportDMQ::LocationReportRequestDMQ::kseInfo());
  EXPECT_EQ(location->gzip, navkse::BodyGzip::kByPacketFlag);
  const navkse::CommandInfo* stop = navkse::findPacketKind(2);
  ASSERT_NE(stop, nullptr);
  EXPECT_EQ(stop->body, nullptr);
  EXPECT_STREQ(stop->entry, "GetNavStopActionReqData");
  EXPECT_EQ(navkse::findPacketKind(3), nullptr);
  EXPECT_EQ(navkse::kCommandCount, 6u);
}

TEST(CommandTable, SideAndEmbeddedRecords) {
  EXPECT_EQ(navkse::findRouteSideRecord("toGuidance"), &navkse::navicore::nav::ugs_cloud_info::kseInfo());
  EXPECT_EQ(navkse::findRouteSideRecord("toRank"), &navkse::CarRankTrans::ToRankTransInfo::kseInfo());
  EXPECT_EQ(navkse::findRouteSideRecord("toGuidanceX"), nullptr);
  EXPECT_EQ(navkse::kEmbeddedRecords[0].tag, 7);
  EXPECT_EQ(&navkse::kEmbeddedRecords[1].record(), &navkse::locationReportDMQ::NavExtraData::kseInfo());
  EXPECT_EQ(navkse::kEmbeddedRecords[1].tag, 6);
}

}  // namespace
