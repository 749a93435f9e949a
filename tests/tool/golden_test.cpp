// The examples through the built `navreq`: every kind encodes, the bytes
// equal the golden files (written by scripts/regen-goldens.sh), and the
// goldens themselves hold what the wire rules give by hand.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/gzip_fields.h"
#include "support/package.h"
#include "support/wire.h"
#include "tool_run.h"

namespace {

using namespace wire;
using navreq::testing::FromHex;
using navreq::testing::InflatedView;
using navreq::testing::ReadFile;
using navreq::testing::RunTool;
using navreq::testing::ScratchDir;
using navreq::testing::SourcePath;

const char* const kNowMs = "1700000000000";

std::string Golden(const std::string& name) { return ReadFile(SourcePath("tests/tool/golden/" + name)); }

// Where two texts first differ, by line, for a readable failure.
std::string FirstDifference(const std::string& expected, const std::string& actual) {
  std::size_t line = 1;
  std::size_t start = 0;
  while (true) {
    const std::size_t e_end = expected.find('\n', start);
    const std::size_t a_end = actual.find('\n', start);
    const std::string e =
        expected.substr(start, e_end == std::string::npos ? std::string::npos : e_end - start);
    const std::string a =
        actual.substr(start, a_end == std::string::npos ? std::string::npos : a_end - start);
    if (e != a || e_end != a_end) {
      return "line " + std::to_string(line) + ":\n  golden: " + e + "\n  actual: " + a +
             "\n(regenerate with scripts/regen-goldens.sh only if the change is intended)";
    }
    if (e_end == std::string::npos) return "identical";
    start = e_end + 1;
    ++line;
  }
}

std::string EncodeExample(const std::string& kind) {
  const auto r = RunTool({"encode", kind, SourcePath("examples/" + kind + ".json"), "--now-ms", kNowMs});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  return r.out;
}

class ExampleKind : public ::testing::TestWithParam<const char*> {};

// Goldens hold one line of hex. A gzip body is compared by what it inflates
// to, so the goldens hold for either compressor of the default services.
TEST_P(ExampleKind, EncodesToItsGoldenBytes) {
  const std::string kind = GetParam();
  const std::string golden = Golden(kind + ".hex");
  ASSERT_FALSE(golden.empty()) << "missing tests/tool/golden/" << kind << ".hex";
  const std::string actual = EncodeExample(kind);
  ASSERT_FALSE(actual.empty());
  EXPECT_EQ(actual.back(), '\n');
  EXPECT_EQ(actual.find_first_not_of("0123456789abcdef"), actual.size() - 1);
  const std::string expected_view = InflatedView(FromHex(golden));
  const std::string actual_view = InflatedView(FromHex(actual));
  EXPECT_TRUE(actual_view == expected_view) << FirstDifference(expected_view, actual_view);
}

INSTANTIATE_TEST_SUITE_P(Examples, ExampleKind,
                         ::testing::Values("route", "refresh", "location", "navstop", "plus", "slice"));

// What `dump` must say about each example: its envelope, its command name
// (for a Package) and the record of its body.
struct DumpExpectation {
  const char* kind;
  const char* first_line;
  const char* command;
  const char* body;
};
void PrintTo(const DumpExpectation& e, std::ostream* os) { *os << e.kind << ": " << e.command; }

class ExampleDump : public ::testing::TestWithParam<DumpExpectation> {};

TEST_P(ExampleDump, NamesEnvelopeCommandAndBody) {
  const DumpExpectation& e = GetParam();
  ScratchDir dir;
  const std::string bin = dir.file("request.bin");
  const auto encoded =
      RunTool({"encode", e.kind, SourcePath(std::string("examples/") + e.kind + ".json"), "-o", bin});
  ASSERT_EQ(encoded.status, 0) << encoded.err;
  EXPECT_EQ(encoded.out, "");
  const auto dumped = RunTool({"dump", bin});
  EXPECT_EQ(dumped.status, 0) << dumped.out;
  EXPECT_EQ(dumped.out.rfind(e.first_line, 0), 0u) << dumped.out.substr(0, 200);
  if (*e.command != '\0') {
    EXPECT_NE(dumped.out.find(std::string(" 2 cmd_name string: \"") + e.command + "\"\n"), std::string::npos);
  }
  EXPECT_NE(dumped.out.find(e.body), std::string::npos) << e.body;
}

INSTANTIATE_TEST_SUITE_P(
    Examples, ExampleDump,
    ::testing::Values(
        DumpExpectation{"route", "Package, ", "CMD_ROUTE_CAR_SNS", " 8 body bytes["},
        DumpExpectation{"route", "Package, ", "CMD_ROUTE_CAR_SNS",
                        " bytes inflated (offsets below count in them) -> CarRouteReq\n"},
        DumpExpectation{"refresh", "Package, ", "CMD_TRAFFIC_ALL_ON_ROUTE_BATCH_SDK",
                        "]: -> AllOnRouteReqBatch\n"},
        DumpExpectation{"plus", "Package, ", "REQ_ROUTE_PLUS", "]: -> ugs_guidance_slice_req_t\n"},
        DumpExpectation{"slice", "Package, ", "REQ_GUIDANCE_SLICE", "]: -> ugs_guidance_slice_req_t\n"},
        DumpExpectation{"location", "Packet, ", "",
                        " bytes inflated (offsets below count in them) -> LocationReportRequestDMQ\n"},
        DumpExpectation{"navstop", "Packet, ", "", "]: -> protocol-buffers message\n"}),
    [](const ::testing::TestParamInfo<DumpExpectation>& param) {
      return std::string(param.param.kind) + std::to_string(param.index);
    });

// Both views of every example, against their golden files.
class ExampleViews : public ::testing::TestWithParam<const char*> {};

TEST_P(ExampleViews, TextAndJsonEqualTheirGoldens) {
  const std::string kind = GetParam();
  // The dump reads the committed request bytes (hex, detected as such), not a
  // fresh encode: the compressed bytes, and so every offset after them,
  // depend on the compressor the build uses.
  const std::string hex_path = SourcePath("tests/tool/golden/" + kind + ".hex");
  const auto text = RunTool({"dump", hex_path});
  EXPECT_EQ(text.status, 0) << text.err;
  const std::string text_golden = Golden(kind + ".dump.txt");
  ASSERT_FALSE(text_golden.empty()) << "missing tests/tool/golden/" << kind << ".dump.txt";
  EXPECT_TRUE(text.out == text_golden) << FirstDifference(text_golden, text.out);
  const auto json = RunTool({"dump", "--json", hex_path});
  EXPECT_EQ(json.status, 0) << json.err;
  const std::string json_golden = Golden(kind + ".dump.json");
  ASSERT_FALSE(json_golden.empty()) << "missing tests/tool/golden/" << kind << ".dump.json";
  EXPECT_TRUE(json.out == json_golden) << FirstDifference(json_golden, json.out);
}

INSTANTIATE_TEST_SUITE_P(Examples, ExampleViews,
                         ::testing::Values("route", "refresh", "location", "navstop", "plus", "slice"));

// ---- The goldens against the wire rules, by hand ----

// The client identity of every example but the stop event.
const std::string kImei = "860000000000001";
const std::string kApiKey = "demo-api-key-0001";

// The Header that the examples' client identity gives (identity_number
// 20231114, alt_device_id1 empty so tag 22 repeats the imei).
std::string ExampleHeader() {
  const std::string a = "navreq-demo-user";
  return Int(0, 20231114) + Struct(1, Int(0, 0) + Str(1, "") + Int(2, 0)) + Int(2, 0) + Str(3, "") +
         Str(4, a) + Str(5, "") + Str(6, "nav-sdk-7.2.0") + Str(7, "phone") + Str(8, kImei) +
         Str(9, "release") + Str(10, "android-14") + Str(11, "") + Str(12, "beijing") + Str(13, "release") +
         Str(14, "0") + Str(15, a) + Str(16, "wifi") + Str(17, "") + Int(18, 0) + Str(19, "") + Int(20, 0) +
         Str(21, "") + Str(22, kImei) + Str(23, "zh-CN") + Str(24, "") + Bytes(25, "") + Str(26, "") +
         Str(27, "") + Str(28, "") + Str(29, a) + Str(30, "") + Str(31, "") + Bytes(32, "");
}

std::string SlicePackage(const std::string& cmd_name, const std::string& slices_hex, int count) {
  const std::string body = Str(0, "guid-20231114-0001") + List(1, count) + slices_hex;
  // Flagged as gzip (tag 4 = 3) although the body is the plain record.
  return navreq::testing::PackageHex({84, cmd_name, 3, ExampleHeader(), body, kApiKey}) + "\n";
}

std::string Slice(const std::string& text, int v1, int v2) {
  return Struct(0, Str(0, text) + Int(1, v1) + Int(2, v2));
}

TEST(GoldenByHand, Plus) {
  EXPECT_EQ(Golden("plus.hex"),
            SlicePackage("REQ_ROUTE_PLUS", Slice("lane", 0, 2000) + Slice("camera", 2000, 40000), 2));
}

TEST(GoldenByHand, Slice) {
  EXPECT_EQ(Golden("slice.hex"), SlicePackage("REQ_GUIDANCE_SLICE",
                                              Slice("lane", 0, 2000) + Slice("junction-view", 2000, 12000) +
                                                  Slice("camera", 12000, 40000),
                                              3));
}

TEST(GoldenByHand, NavStop) {
  // Event: flag 1; the "ulmid" map entry as the service lays it out (tag,
  // bare count, tag + key, tag + value); the text; the time in seconds,
  // 1700000000 = varint 80 e2 cf aa 06. The Packet: kind 2, credentials,
  // payload bytes each as a list element, payload encoding 0.
  const std::string payload = Unhex(
      "0801"
      "1201"
      "12"
      "05" +
      Hex(std::string("ulmid")) +
      "12"
      "0f" +
      Hex(kImei) +
      "1a"
      "1b" +
      Hex(std::string("navigation stopped: arrived")) +
      "20"
      "80e2cfaa06");
  EXPECT_EQ(Golden("navstop.hex"), Int(0, 2) + Struct(1, Str(0, "demo-client-key") + Str(1, kImei)) +
                                       UBytes(2, payload) + Int(3, 0) + "\n");
}

TEST(GoldenByHand, RouteBegins) {
  EXPECT_EQ(Golden("route.hex")
                .rfind("0c"
                       "112775"
                       "2611434d445f524f5554455f4341525f534e53"
                       "3c"
                       "4003"
                       "5600"
                       "660130" +
                           Bytes(7, Unhex(ExampleHeader())) + "8d00",
                       0),
            0u);
}

TEST(GoldenByHand, RefreshBegins) {
  // 10102 is 0x2776; the 34-byte name; flagged gzip; the body follows plain:
  // its first field is the list of two routes, so 09 00 02 0a.
  EXPECT_EQ(Golden("refresh.hex")
                .rfind("0c"
                       "112776"
                       "2622" +
                           Hex(std::string("CMD_TRAFFIC_ALL_ON_ROUTE_BATCH_SDK")) +
                           "3c"
                           "4003"
                           "5600"
                           "660130" +
                           Bytes(7, Unhex(ExampleHeader())) + "8d00",
                       0),
            0u);
  const std::string golden = Golden("refresh.hex");
  const std::size_t body =
      golden.find(Bytes(7, Unhex(ExampleHeader()))) + Bytes(7, Unhex(ExampleHeader())).size();
  // 8d 00, the body length (01 + 2 bytes: 128 to 32767), then the batch: 09 0002 0a ...
  EXPECT_EQ(golden.substr(body, 6), "8d0001");
  EXPECT_EQ(golden.substr(body + 10, 8), "0900020a");
}

TEST(GoldenByHand, LocationBegins) {
  // Packet kind 1, credentials, then the payload list whose first elements
  // are the gzip magic 1f 8b (31 as 00 1f, 139 as 01 00 8b) and method 08.
  const std::string golden = Golden("location.hex");
  const std::string head = Int(0, 1) + Struct(1, Str(0, kApiKey) + Str(1, kImei)) + "29";
  ASSERT_EQ(golden.rfind(head, 0), 0u);
  const std::size_t count = head.size();  // the element count: 01 + two bytes
  EXPECT_EQ(golden.substr(count, 2), "01");
  EXPECT_EQ(golden.substr(count + 6, 14),
            "001f"
            "01008b"
            "0008");
  EXPECT_EQ(golden.substr(golden.size() - 5), "3003\n");  // tag 3, payload encoding 3: gzip
}

}  // namespace
