// `dump` in process: envelopes recognised, carried bytes followed, the text
// and JSON trees, and inputs that do not decode.
#include "dump.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "navreq/engine/service_overrides.h"
#include "navreq/records/routesearch.h"
#include "navreq/serialize.h"
#include "support/package.h"
#include "support/wire.h"
#include "tool_run.h"

namespace {

using namespace wire;
using navreq::testing::FromHex;
using navreq::tool::Dump;
using navreq::tool::DumpComplete;
using navreq::tool::DumpResult;
using navreq::tool::RenderJson;
using navreq::tool::RenderText;

DumpResult DumpBytes(const std::string& bytes) {
  const std::vector<unsigned char> exact(bytes.begin(), bytes.end());
  return Dump(exact.data(), exact.size());
}

std::string TextOf(const std::string& bytes) { return RenderText(DumpBytes(bytes)); }

std::string Gzip(const std::string& plain) {
  std::vector<char> out;
  EXPECT_TRUE(navreq::services::DefaultGZipCompress(std::vector<char>(plain.begin(), plain.end()), out));
  return std::string(out.begin(), out.end());
}

// A short header: identity number 5 and the default CmdResult.
const std::string kHeader = Int(0, 5) + Struct(1, Int(0, 0) + Str(1, "") + Int(2, 0));
// A slice request body: session "s1", one slice {"a", 300, 40000}.
const std::string kSliceBody =
    Str(0, "s1") + List(1, 1) + Struct(0, Str(0, "a") + Int(1, 300) + Int(2, 40000));

// Every Package field, in tag order, as a Package writes it.
std::string PackageHex(const std::string& cmd_name, const std::string& body, int body_encoding = 0) {
  return navreq::testing::PackageHex({84, cmd_name, body_encoding, kHeader, Hex(body), "key1"});
}

TEST(Dump, PackageWithItsHeaderAndBody) {
  const std::string bytes = FromHex(PackageHex("REQ_GUIDANCE_SLICE", FromHex(kSliceBody)));
  const DumpResult result = DumpBytes(bytes);
  EXPECT_TRUE(DumpComplete(result));
  EXPECT_EQ(RenderText(result),
            "Package, 87 bytes\n"
            "  0 version int16: 0\n"
            "  1 cmd int32: 84\n"
            "  2 cmd_name string: \"REQ_GUIDANCE_SLICE\"\n"
            "  3 reserved3 int32: 0\n"
            "  4 body_encoding int8: 0\n"
            "  5 reserved5 string: \"\"\n"
            "  6 zero_text string: \"0\"\n"
            "  7 header bytes[8]: -> Header\n"
            "    0 identity_number int64: 5\n"
            "    1 result CmdResult\n"
            "      0 code int32: 0\n"
            "      1 message string: \"\"\n"
            "      2 detail_code int32: 0\n"
            "  8 body bytes[20]: -> ugs_guidance_slice_req_t\n"
            "    0 slice_session_id string: \"s1\"\n"
            "    1 slices list<ugs_guidance_slice_params_t>[1]\n"
            "      [0] ugs_guidance_slice_params_t\n"
            "        0 slice_text string: \"a\"\n"
            "        1 slice_value1 int32: 300\n"
            "        2 slice_value2 int32: 40000\n"
            "  9 extras list<Tag>[1]\n"
            "    [0] Tag\n"
            "      0 key string: \"apikey\"\n"
            "      1 value bytes[4]: 6b657931 \"key1\"\n");
}

TEST(Dump, GzipBodyIsInflatedWhateverTheFlagSays) {
  const std::string body = Gzip(FromHex(kSliceBody));
  const std::string text = TextOf(FromHex(PackageHex("REQ_ROUTE_PLUS", body, 0)));
  EXPECT_NE(text.find("  4 body_encoding int8: 0\n"), std::string::npos) << text;
  EXPECT_NE(text.find("  8 body bytes[" + std::to_string(body.size()) +
                      "]: gzip, 20 bytes inflated -> ugs_guidance_slice_req_t\n"
                      "    0 slice_session_id string: \"s1\"\n"),
            std::string::npos)
      << text;
}

TEST(Dump, UnknownCommandBodyIsDecodedWithoutNames) {
  const std::string text = TextOf(FromHex(PackageHex("CMD_SOMETHING_ELSE", FromHex(kSliceBody))));
  EXPECT_NE(text.find("  8 body bytes[20]: -> Kse fields\n"
                      "    0 string: \"s1\"\n"
                      "    1 list[1]\n"
                      "      [0] struct\n"
                      "        0 string: \"a\"\n"
                      "        1 int16: 300\n"
                      "        2 int32: 40000\n"),
            std::string::npos)
      << text;
}

TEST(Dump, WireTypeDisagreeingWithTheDeclarationIsFlagged) {
  const std::string body = FromHex(Int(0, 1) + List(1, 0));
  const std::string text = TextOf(FromHex(PackageHex("REQ_ROUTE_PLUS", body)));
  EXPECT_NE(text.find("    0 slice_session_id string (wire int8!): 1\n"), std::string::npos) << text;
}

TEST(Dump, TruncatedPackageIsStillNamedAndShowsWhereItStopped) {
  // The body field starts at offset 42: cut it after its length and 10 of its 20 bytes.
  const std::string bytes = FromHex(PackageHex("REQ_GUIDANCE_SLICE", FromHex(kSliceBody))).substr(0, 56);
  const DumpResult result = DumpBytes(bytes);
  EXPECT_FALSE(DumpComplete(result));
  const std::string text = RenderText(result);
  EXPECT_EQ(text.rfind("Package, 56 bytes\n", 0), 0u) << text;
  EXPECT_NE(text.find("  8 body bytes[20] (incomplete)\n"
                      "  ! decoding stopped at offset 42: byte array count 20 exceeds the 10 bytes left\n"
                      "  ! undecoded rest, 14 bytes:\n"
                      "    " +
                      Bytes(8, "").substr(0, 4) + Int(0, 20) + kSliceBody.substr(0, 20) + "\n"),
            std::string::npos)
      << text;
}

// A location report by hand: imei "i", a header with longitude 1 and its
// extra data, the session record at tag 100 with identifier 7.
const std::string kNavExtra = Str(0, "sess") + Str(5, "linked");
const std::string kLocationReport =
    Str(0, "i") + Struct(1, Struct(1, Int(0, 1) + Bytes(6, FromHex(kNavExtra)))) + Struct(100, Int(1, 7));

std::string PacketHex(int kind, const std::string& payload) {
  return Int(0, kind) + Struct(1, Str(0, "k") + Str(1, "i")) + UBytes(2, payload) + Int(3, 0);
}

TEST(Dump, PacketWithALocationReport) {
  const std::string payload = FromHex(kLocationReport);
  ASSERT_EQ(payload.size(), 32u);
  const DumpResult result = DumpBytes(FromHex(PacketHex(1, payload)));
  EXPECT_TRUE(DumpComplete(result));
  EXPECT_EQ(RenderText(result),
            "Packet, 76 bytes\n"
            "  0 kind int32: 1\n"
            "  1 auth PacketAuth\n"
            "    0 api_key string: \"k\"\n"
            "    1 imei string: \"i\"\n"
            "  2 payload ubytes[32]: -> LocationReportRequestDMQ\n"
            "    0 imei string: \"i\"\n"
            "    1 report LocationReportRequest\n"
            "      1 header LocationHeader\n"
            "        0 longitude int32: 1\n"
            "        6 extra_data bytes[14]: -> NavExtraData\n"
            "          0 session_id string: \"sess\"\n"
            "          5 linked_session_id string: \"linked\"\n"
            "    100 session SessionInfo\n"
            "      1 loc_session_id int64: 7\n"
            "  3 payload_encoding int8: 0\n");
}

TEST(Dump, PacketWithAGzipLocationReport) {
  const std::string text = TextOf(FromHex(PacketHex(1, Gzip(FromHex(kLocationReport)))));
  EXPECT_NE(text.find("]: gzip, 32 bytes inflated -> LocationReportRequestDMQ\n    0 imei string: \"i\"\n"),
            std::string::npos)
      << text;
}

TEST(Dump, PacketWithTheStopEventMessage) {
  const std::string text = TextOf(FromHex(PacketHex(2, FromHex("0801"
                                                               "1201"
                                                               "12"
                                                               "05756c6d6964"))));
  EXPECT_NE(text.find("  2 payload ubytes[11]: -> protocol-buffers message (read without its schema)\n"
                      "    #1 varint: 1\n"
                      "    #2 bytes[1]: 12\n"
                      "    ! not a standard message from offset 5: field number 0\n"
                      "    ! rest, 6 bytes:\n"
                      "      05756c6d6964\n"
                      "  3 payload_encoding int8: 0\n"),
            std::string::npos)
      << text;
}

TEST(Dump, PacketOfAnotherKindShowsItsPayloadBytes) {
  const std::string text = TextOf(FromHex(PacketHex(9, FromHex("01c8"))));
  EXPECT_NE(text.find("  2 payload ubytes[2]: 01c8\n"), std::string::npos) << text;
}

TEST(Dump, RouteSearchSideRecords) {
  navkse::routesearch::CarRouteReq request;
  const std::string guidance = FromHex(Int(0, 201));
  const std::string rank = FromHex(List(0, 0) + Int(1, 0) + List(2, 1) + Int(0, 269) + Int(3, 0));
  request.side_records["toGuidance"].assign(guidance.begin(), guidance.end());
  request.side_records["toRank"].assign(rank.begin(), rank.end());
  std::vector<char> body;
  ASSERT_TRUE(zv_navi_core::SerializeKSE(request, body));
  const std::string text =
      TextOf(FromHex(PackageHex("CMD_ROUTE_CAR_SNS", Gzip(std::string(body.begin(), body.end())), 3)));
  EXPECT_NE(text.find("-> CarRouteReq\n"), std::string::npos) << text;
  EXPECT_NE(text.find("    72 side_records map<string,bytes>[2]\n"
                      "      [\"toGuidance\"] bytes[3]: -> ugs_cloud_info\n"
                      "        0 async_guidance_code int32: 201\n"
                      "      [\"toRank\"] bytes[10]: -> ToRankTransInfo\n"
                      "        0 limit_cities list<ToRankLimitCityInfo>[0]\n"
                      "        1 field1 int32: 0\n"
                      "        2 rank_values list<int32>[1]\n"
                      "          [0] int32: 269\n"
                      "        3 field3 int32: 0\n"),
            std::string::npos)
      << text;
}

TEST(Dump, BytesOfNoEnvelopeAreDecodedWithoutNames) {
  EXPECT_EQ(TextOf(FromHex("0c1001")),
            "Kse fields (no envelope recognised), 3 bytes\n"
            "  0 int: 0\n"
            "  1 int8: 1\n");
}

TEST(Dump, EmptyInput) {
  const DumpResult result = DumpBytes("");
  EXPECT_TRUE(DumpComplete(result));
  EXPECT_EQ(RenderText(result), "empty input: nothing to decode\n");
}

TEST(Dump, GzipInput) {
  const std::string packed = Gzip(FromHex("0c1001"));
  EXPECT_EQ(TextOf(packed), "gzip stream, " + std::to_string(packed.size()) +
                                " bytes, 3 bytes inflated\n"
                                "Kse fields (no envelope recognised), 3 bytes\n"
                                "  0 int: 0\n"
                                "  1 int8: 1\n");
  const DumpResult broken = DumpBytes(packed.substr(0, 12));
  EXPECT_FALSE(DumpComplete(broken));
  EXPECT_EQ(RenderText(broken),
            "gzip stream, 12 bytes\n"
            "  ! decoding stopped at offset 0: truncated gzip stream\n"
            "  ! undecoded rest, 12 bytes:\n"
            "    " +
                navreq::testing::HexOf(packed.substr(0, 12)) + "\n");
}

TEST(Dump, JsonTree) {
  const auto j = nlohmann::json::parse(
      RenderJson(DumpBytes(FromHex(PackageHex("REQ_GUIDANCE_SLICE", FromHex(kSliceBody))))));
  EXPECT_EQ(j["complete"], true);
  EXPECT_EQ(j["size"], 87);
  EXPECT_EQ(j["kse"]["record"], "Package");
  const auto& fields = j["kse"]["fields"];
  ASSERT_EQ(fields.size(), 10u);
  EXPECT_EQ(fields[2]["name"], "cmd_name");
  EXPECT_EQ(fields[2]["type"], "string");
  EXPECT_EQ(fields[2]["value"], "REQ_GUIDANCE_SLICE");
  EXPECT_EQ(fields[8]["tag"], 8);
  EXPECT_EQ(fields[8]["offset"], 42);
  EXPECT_EQ(fields[8]["size"], 20);
  const auto& body = fields[8]["embedded"]["kse"];
  EXPECT_EQ(body["record"], "ugs_guidance_slice_req_t");
  const auto& slice = body["fields"][1]["items"][0];
  EXPECT_EQ(slice["record"], "ugs_guidance_slice_params_t");
  EXPECT_EQ(slice["fields"][1]["name"], "slice_value1");
  EXPECT_EQ(slice["fields"][1]["wire"], "int16");
  EXPECT_EQ(slice["fields"][1]["value"], 300);

  const auto broken = nlohmann::json::parse(RenderJson(DumpBytes(FromHex("0c1200"))));
  EXPECT_EQ(broken["complete"], false);
  EXPECT_EQ(broken["kse"]["error"]["offset"], 1);
  EXPECT_EQ(broken["kse"]["error"]["message"], "an int32 needs 4 bytes, 1 left");
  EXPECT_EQ(broken["kse"]["error"]["rest"], "1200");
}

TEST(Dump, ArbitraryBytesNeverBreakTheDump) {
  std::mt19937 rng(1700000000);
  const std::string package = FromHex(PackageHex("REQ_GUIDANCE_SLICE", FromHex(kSliceBody)));
  const std::string packet = FromHex(PacketHex(1, Gzip(FromHex(kLocationReport))));
  for (int round = 0; round < 1500; ++round) {
    std::string bytes;
    switch (round % 3) {
      case 0:
        bytes.resize(rng() % 300);
        for (char& c : bytes) c = static_cast<char>(rng() & 0xFF);
        break;
      case 1:
        bytes = package;
        for (int k = 0; k < 2; ++k) bytes[rng() % bytes.size()] = static_cast<char>(rng() & 0xFF);
        break;
      default:
        bytes = packet.substr(0, rng() % (packet.size() + 1));
        break;
    }
    const DumpResult result = DumpBytes(bytes);
    const std::string text = RenderText(result);
    ASSERT_FALSE(text.empty());
    ASSERT_TRUE(nlohmann::json::accept(RenderJson(result)));
  }
}

}  // namespace
