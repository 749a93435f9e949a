// `dump`, `pack` and `diff` in process, on bytes spelled by hand from the
// wire rules: the text view line by line, the checks of known records, where
// decoding stops, the JSON tree packed back, edits, and differences by path.
#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "gzip_compress.h"
#include "navreq/kse/output_stream.h"
#include "navreq/read/diff.h"
#include "navreq/read/pack.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "support/wire.h"
#include "tool_run.h"
#include "wire_cursor.h"

namespace {

using namespace wire;
using navreq::WalkSummary;
using navreq::testing::FromHex;

struct Dumped {
  std::string text;
  WalkSummary summary;
};

Dumped TextOf(const std::string& bytes, bool full = false) {
  std::ostringstream out;
  Dumped d;
  {
    const auto view = navreq::MakeTextView(out, full);
    d.summary = navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  d.text = out.str();
  return d;
}

nlohmann::json TreeOf(const std::string& bytes) {
  std::ostringstream out;
  {
    const auto view = navreq::MakeJsonView(out);
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  return nlohmann::json::parse(out.str());
}

std::string PackHex(const nlohmann::json& tree) {
  return Hex(navreq::PackJson(tree.dump(), navreq::tool::Gzip));
}

// gzip framing at a chosen level, test-side (the tool's own uses the default).
std::string GzipAt(const std::string& plain, int level) {
  z_stream z{};
  EXPECT_EQ(deflateInit2(&z, level, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string out(deflateBound(&z, plain.size()) + 32, '\0');
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));
  z.avail_in = static_cast<uInt>(plain.size());
  z.next_out = reinterpret_cast<Bytef*>(out.data());
  z.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

// A slice request body: session "s1", one slice {"a", 300, 40000}.
std::string SliceBody(int value1 = 300) {
  return FromHex(Str(0, "s1") + List(1, 1) + Struct(0, Str(0, "a") + Int(1, value1) + Int(2, 40000)));
}

// A Package around `body` with a header that holds only tag 0 (the rest is
// reported missing) and the "apikey" entry.
std::string PackageWith(const std::string& body, int cmd = 84, int reserved3 = 0) {
  return FromHex(Int(0, 0) + Int(1, cmd) + Str(2, "REQ_GUIDANCE_SLICE") + Int(3, reserved3) + Int(4, 3) +
                 Str(5, "") + Str(6, "0") + Bytes(7, FromHex(Int(0, 5))) + Bytes(8, body) + List(9, 1) +
                 Struct(0, Str(0, "apikey") + Bytes(1, "key1")));
}

TEST(DumpText, PacketLineByLine) {
  const std::string bytes =
      FromHex(Int(0, 7) + Struct(1, Str(0, "k") + Str(1, "i")) + UBytes(2, "\x01\xc8") + Int(3, 0));
  ASSERT_EQ(bytes.size(), 19u);
  const Dumped d = TextOf(bytes);
  EXPECT_EQ(d.text,
            "Packet, 19 bytes\n"
            "  @0+2 0 kind int32: 7\n"
            "  @2+8 1 auth PacketAuth\n"
            "    @3+3 0 api_key string: \"k\"\n"
            "    @6+3 1 imei string: \"i\"\n"
            "  @10+8 2 payload ubytes[2]: 01c8\n"
            "  @18+1 3 payload_encoding int8: 0\n");
  EXPECT_EQ(d.summary.status(), 0);
}

TEST(DumpText, KnownRecordReportsMissingMistypedAndUnknown) {
  const std::string bytes =
      FromHex(Int(0, 0) + Int(1, 84) + Str(2, "X") + Str(3, "bad") + "41012c" + List(9, 0) + Int(12, 1));
  const Dumped d = TextOf(bytes);
  EXPECT_EQ(d.text,
            "Package, 18 bytes\n"
            "  @0+1 0 version int16: 0\n"
            "  @1+2 1 cmd int32: 84\n"
            "  @3+3 2 cmd_name string: \"X\"\n"
            "  @6+5 3 reserved3 string: \"bad\"  ! type mismatch: declared int32, head string\n"
            "  @11+3 4 body_encoding int8: 300  ! type mismatch: value outside int8\n"
            "  @14+2 9 extras list<Tag>[0]\n"
            "  @16+2 12 int8: 1  ! unknown tag\n"
            "  ! missing: 5 reserved5 (string)\n"
            "  ! missing: 6 zero_text (string)\n"
            "  ! missing: 7 header (bytes)\n"
            "  ! missing: 8 body (bytes)\n");
  EXPECT_EQ(d.summary.status(), 2);
  EXPECT_EQ(d.summary.missing, 4u);
  EXPECT_EQ(d.summary.mismatches, 2u);
  EXPECT_EQ(d.summary.unknown, 1u);
}

TEST(DumpText, StopsAtTheHeadOfTheValueThatIsCutShort) {
  const Dumped d = TextOf(FromHex("0c10"));
  EXPECT_EQ(d.text,
            "Package, 2 bytes\n"
            "  @0+1 0 version int16: 0\n"
            "  ! decoding stopped at offset 1: truncated: input ends inside a value: 1 byte needed, 0 left\n"
            "  ! undecoded, 1 bytes:\n"
            "    10\n");
  EXPECT_EQ(d.summary.status(), 1);
}

TEST(DumpText, UndecodedRunsShowSixtyFourBytesUnlessFull) {
  // A Package whose tag 3 is a string of 200 bytes with only 100 present.
  const std::string bytes = FromHex(Int(0, 0) + Int(1, 1) + Str(2, "") + "36c8") + std::string(100, 'z');
  const Dumped cut = TextOf(bytes);
  EXPECT_NE(
      cut.text.find("  ! decoding stopped at offset 5: bad length: length 200 exceeds the 100 bytes left\n"
                    "  ! undecoded, 102 bytes:\n"
                    "    36c87a7a"),
      std::string::npos)
      << cut.text;
  EXPECT_NE(cut.text.find("    ... 38 more bytes (--full shows them)\n"), std::string::npos) << cut.text;
  const Dumped full = TextOf(bytes, true);
  EXPECT_EQ(full.text.find("more bytes"), std::string::npos);
  EXPECT_NE(full.text.find("\n    7a7a7a7a7a7a\n"), std::string::npos) << full.text;
}

TEST(DumpText, FollowsTheGzipBodyByItsCommandName) {
  const std::string body = SliceBody();
  const std::string compressed = GzipAt(body, 6);
  const Dumped d = TextOf(PackageWith(compressed));
  ASSERT_LT(compressed.size(), 128u);                     // its count takes two bytes
  const std::size_t at = 1 + 2 + 20 + 1 + 2 + 2 + 3 + 6;  // fields 0 to 7
  EXPECT_NE(d.text.find("  @" + std::to_string(at) + "+" + std::to_string(4 + compressed.size()) +
                        " 8 body bytes[" + std::to_string(compressed.size()) + "]: gzip, " +
                        std::to_string(body.size()) +
                        " bytes inflated (offsets below count in them) -> ugs_guidance_slice_req_t\n"
                        "    @0+4 0 slice_session_id string: \"s1\"\n"
                        "    @4+16 1 slices list<ugs_guidance_slice_params_t>[1]\n"
                        "      @7+13 [0] ugs_guidance_slice_params_t\n"
                        "        @8+3 0 slice_text string: \"a\"\n"
                        "        @11+3 1 slice_value1 int32: 300\n"
                        "        @14+5 2 slice_value2 int32: 40000\n"),
            std::string::npos)
      << d.text;
  EXPECT_NE(d.text.find("  @31+6 7 header bytes[2]: -> Header\n    @0+2 0 identity_number int64: 5\n"),
            std::string::npos)
      << d.text;
  EXPECT_NE(d.text.find("    ! missing: 32 reserved32 (bytes)\n"), std::string::npos);
  EXPECT_EQ(d.summary.status(), 2);  // the short header
}

TEST(DumpText, ABodyThatDoesNotInflateIsAnErrorLine) {
  std::string broken = GzipAt(SliceBody(), 6);
  broken.resize(broken.size() - 6);
  const Dumped d = TextOf(PackageWith(broken));
  EXPECT_NE(
      d.text.find(
          " 8 body bytes[" + std::to_string(broken.size()) +
          "]: gzip stream that does not inflate\n"
          "    ! decoding stopped at offset 0: gzip stream that does not inflate: truncated gzip stream\n"),
      std::string::npos)
      << d.text;
  EXPECT_EQ(d.summary.status(), 1);
}

// Every prefix of the example route request reports what is missing or
// where decoding stopped, and never passes as complete.
TEST(DumpText, EveryCutOfTheRouteExampleIsReported) {
  const std::string whole =
      FromHex(navreq::testing::ReadFile(navreq::testing::SourcePath("tests/tool/golden/route.hex")));
  ASSERT_GT(whole.size(), 1000u);
  for (std::size_t cut = 0; cut < whole.size(); ++cut) {
    const Dumped d = TextOf(whole.substr(0, cut));
    ASSERT_NE(d.summary.status(), 0) << cut;
    const bool reported = d.text.find("! missing: ") != std::string::npos ||
                          d.text.find("! decoding stopped at offset ") != std::string::npos;
    ASSERT_TRUE(reported) << cut << "\n" << d.text;
  }
  EXPECT_EQ(TextOf(whole).summary.status(), 0);
}

// ---- pack ----

TEST(Pack, GivesBackOddButReadableForms) {
  const std::vector<std::string> inputs = {
      "f00005",                // tag 5 in the two-byte head
      "0100050c",              // 5 in the 16-bit form, then a zero
      "99010001" + Int(0, 9),  // a list whose count takes the 16-bit form
      "0700000001"
      "41",                                // a one-byte string in the long form
      "047fc00001",                        // a float NaN with a payload
      "058000000000000000",                // double -0.0
      "1a" + Int(0, 1) + "1b",             // a record ended by a head with tag 1
      "0c10",                              // cut short: packs back what was there
      Int(0, 0) + List(9, 3) + Int(0, 1),  // a list cut short after one element
      Int(0, 0) +
          "99"
          "3c",  // a count under tag 3: not decoded, kept as it is
      Float(0, 0.1f) + Float(1, 1e-45f) + Float(2, 3.4028235e38f) + Float(3, -0.0f),  // floats, exactly
      Int(0, 0) + Struct(1, Int(0, 1) + "fb00"),  // an end head in the two-byte form: not decoded, kept
  };
  for (const std::string& hex : inputs) {
    EXPECT_EQ(PackHex(TreeOf(FromHex(hex))), hex) << hex;
  }
}

TEST(Pack, AnIntegerKeepsItsFormUnlessTheValueNoLongerFits) {
  nlohmann::json tree =
      TreeOf(FromHex("0c"
                     "100a"
                     "210005"));
  tree["fields"][0]["value"] = 5;    // zero head: 5 no longer fits
  tree["fields"][1]["value"] = 300;  // int8: needs the 16-bit form
  tree["fields"][2]["value"] = 7;    // int16 form kept for a small value
  EXPECT_EQ(PackHex(tree),
            "0005"
            "11012c"
            "210007");
  tree["fields"][1]["value"] = 0;
  EXPECT_EQ(PackHex(tree),
            "0005"
            "1000"
            "210007");
}

TEST(Pack, LengthsAndCountsAreComputedAgain) {
  nlohmann::json tree = TreeOf(FromHex(Str(0, "ab") + List(1, 1) + Int(0, 1)));
  tree["fields"][0]["value"] = std::string(300, 'x');
  tree["fields"][1]["items"].push_back(tree["fields"][1]["items"][0]);
  EXPECT_EQ(PackHex(tree),
            "07"
            "0000012c" +
                Hex(std::string(300, 'x')) +
                "19"
                "0002"
                "0001"
                "0001");
}

TEST(Pack, AnUnchangedBodyKeepsItsBytesAndAnEditedOneIsCompressedAgain) {
  const std::string compressed = GzipAt(SliceBody(), 9);
  const std::string input = PackageWith(compressed);
  nlohmann::json tree = TreeOf(input);
  EXPECT_EQ(navreq::PackJson(tree.dump(), navreq::tool::Gzip), input);
  nlohmann::json& body = tree["fields"][8];
  ASSERT_EQ(body["name"], "body");
  body["kse"]["fields"][1]["items"][0]["fields"][1]["value"] = 301;
  const std::string edited = navreq::PackJson(tree.dump(), navreq::tool::Gzip);
  EXPECT_NE(edited, input);
  const auto diffs = navreq::DiffRequests(input, edited, {});
  ASSERT_EQ(diffs.size(), 1u);
  EXPECT_EQ(navreq::DifferenceLine(diffs[0]), "body.slices[0].slice_value1: 300 -> 301");
}

TEST(Pack, MalformedTreesNameTheJsonPath) {
  const nlohmann::json good = TreeOf(FromHex(Int(0, 0) + Struct(1, Int(0, 7))));
  auto error_of = [](const nlohmann::json& tree) {
    try {
      (void)navreq::PackJson(tree.dump(), navreq::tool::Gzip);
    } catch (const navreq::PackError& e) {
      return std::string(e.what());
    }
    return std::string("packed");
  };
  // nlohmann::json writes keys in alphabetical order: "fields" before the
  // record's "name" and "tag", so its level is not named yet inside it.
  nlohmann::json t = good;
  t["fields"][1]["fields"][0].erase("tag");
  EXPECT_EQ(error_of(t), "$.fields[1].fields[0] (?.api_key): missing \"tag\"");
  t = good;
  t["fields"][0]["tag"] = 300;
  EXPECT_EQ(error_of(t), "$.fields[0].tag (kind): expected an integer from 0 to 255");
  t = good;
  t["fields"][1]["fields"][0]["value"] = "seven";
  EXPECT_EQ(error_of(t), "$.fields[1].fields[0].value (?.api_key): expected an integer");
  t = good;
  t["fields"][1]["fields"] = 3;
  EXPECT_EQ(error_of(t), "$.fields[1].fields (?): expected an array");
  EXPECT_EQ(error_of(nlohmann::json::array()), "$: expected an object");
  // In dump's own order every level is named.
  std::ostringstream out;
  {
    const std::string bytes = FromHex(Int(0, 0) + Struct(1, Int(0, 7)));
    const auto view = navreq::MakeJsonView(out);
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  std::string text = out.str();
  const std::string seven = "\"value\": 7";
  const std::size_t at = text.find(seven);
  ASSERT_NE(at, std::string::npos);
  text.replace(at, seven.size(), "\"value\": \"7\"");
  try {
    (void)navreq::PackJson(text, navreq::tool::Gzip);
    ADD_FAILURE() << "packed";
  } catch (const navreq::PackError& e) {
    EXPECT_EQ(std::string(e.what()), "$.fields[1].fields[0].value (auth.api_key): expected an integer");
  }
}

// ---- diff ----

TEST(Diff, OneChangedFieldIsOneLine) {
  const auto diffs =
      navreq::DiffRequests(PackageWith(SliceBody(), 84, 0), PackageWith(SliceBody(), 84, 7), {});
  ASSERT_EQ(diffs.size(), 1u);
  EXPECT_EQ(navreq::DifferenceLine(diffs[0]), "reserved3: 0 -> 7");
}

// Command 85 is not in the table: B's body is fields of no known record, and
// is not read with the names of A's.
TEST(Diff, ABodyIsNotReadWithTheNamesOfAnotherRecord) {
  const auto diffs = navreq::DiffRequests(PackageWith(SliceBody(), 84), PackageWith(SliceBody(), 85), {});
  ASSERT_EQ(diffs.size(), 2u);
  EXPECT_EQ(navreq::DifferenceLine(diffs[0]), "cmd: 84 -> 85");
  EXPECT_EQ(navreq::DifferenceLine(diffs[1]),
            "body: record ugs_guidance_slice_req_t -> fields of no known record");
}

TEST(Diff, BodiesAreComparedInflated) {
  const std::string body = SliceBody();
  EXPECT_TRUE(navreq::DiffRequests(PackageWith(GzipAt(body, 1)), PackageWith(GzipAt(body, 9)), {}).empty());
  const auto diffs =
      navreq::DiffRequests(PackageWith(GzipAt(body, 1)), PackageWith(GzipAt(SliceBody(7), 9)), {});
  ASSERT_EQ(diffs.size(), 1u);
  EXPECT_EQ(navreq::DifferenceLine(diffs[0]), "body.slices[0].slice_value1: 300 -> 7");
}

TEST(Diff, ElementsOnlyOnOneSideAndHeadChanges) {
  const std::string one = FromHex(Str(0, "s") + List(1, 1) + Struct(0, Str(0, "a") + Int(1, 1) + Int(2, 2)));
  const std::string two = FromHex(Str(0, "s") + List(1, 2) + Struct(0, Str(0, "a") + Int(1, 1) + Int(2, 2)) +
                                  Struct(0, Str(0, "b") + Int(1, 1) + Int(2, 2)));
  const std::string a = PackageWith(one);
  const std::string b = PackageWith(two);
  auto lines = [](const std::vector<navreq::Difference>& diffs) {
    std::string out;
    for (const auto& d : diffs) out += navreq::DifferenceLine(d) + "\n";
    return out;
  };
  EXPECT_EQ(lines(navreq::DiffRequests(a, b, {})), "body.slices[1]: only in B\n");
  EXPECT_EQ(lines(navreq::DiffRequests(b, a, {})), "body.slices[1]: only in A\n");
  const std::string typed = FromHex(Int(0, 0) + Int(1, 1) + Int(2, 5));
  const std::string texted = FromHex(Int(0, 0) + Int(1, 1) + Str(2, "X"));
  EXPECT_EQ(lines(navreq::DiffRequests(texted, typed, {})), "cmd_name: string \"X\" -> int8 5\n");
  const std::string wide = FromHex(Int(0, 0) + "110001");  // cmd 1 in the 16-bit form
  EXPECT_EQ(lines(navreq::DiffRequests(FromHex(Int(0, 0) + Int(1, 1)), wide, {})),
            "cmd: int8 1 -> int16 1\n");
}

TEST(Diff, IgnoredPathsAndTheirChildrenAreLeftOut) {
  const std::string a = PackageWith(SliceBody(300), 84, 0);
  const std::string b = PackageWith(SliceBody(301), 84, 1);
  EXPECT_EQ(navreq::DiffRequests(a, b, {"reserved3", "body"}).size(), 0u);
  EXPECT_EQ(navreq::DiffRequests(a, b, {"**.slice_value*"}).size(), 1u);
  EXPECT_EQ(navreq::DiffRequests(a, b, {"body.slices[*].*", "r*"}).size(), 0u);
  EXPECT_EQ(navreq::DiffRequests(a, b, {"body.*"}).size(), 1u);
}

TEST(Diff, PathGlobs) {
  using navreq::PathMatches;
  EXPECT_TRUE(PathMatches("body.start[0].point.x", "body.start[0].point.x"));
  EXPECT_TRUE(PathMatches("body.start", "body.start[0].point.x"));  // and everything under it
  EXPECT_TRUE(PathMatches("body.*[0].point.x", "body.start[0].point.x"));
  EXPECT_TRUE(PathMatches("body.start[*].point.x", "body.start[12].point.x"));
  EXPECT_TRUE(PathMatches("**.x", "body.start[0].point.x"));
  EXPECT_TRUE(PathMatches("**.time*", "payload.report.header.time_ms"));
  EXPECT_TRUE(PathMatches("body.side_records[toGuidance]", "body.side_records[toGuidance].field1"));
  EXPECT_FALSE(PathMatches("body.*.x", "body.start[0].point.x"));
  EXPECT_FALSE(PathMatches("header", "headers"));
  EXPECT_FALSE(PathMatches("**.y", "body.start[0].point.x"));
}

}  // namespace

namespace {

// dump --json | pack over every input of the dump fuzz corpus: each one that
// decodes with status 0 or 2 comes back byte for byte.
TEST(Pack, RoundTripOfTheFuzzCorpus) {
  std::size_t packed = 0;
  std::size_t inputs = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(navreq::testing::SourcePath("fuzz/corpus/kse_reader"))) {
    const std::string bytes = navreq::testing::ReadFile(entry.path().string());
    ++inputs;
    const Dumped d = TextOf(bytes);
    if (d.summary.status() == 1) continue;
    EXPECT_TRUE(navreq::PackJson(TreeOf(bytes).dump(), navreq::tool::Gzip) == bytes) << entry.path();
    ++packed;
  }
  EXPECT_GT(inputs, 10u);
  EXPECT_GT(packed, 0u);
}

}  // namespace

namespace {

// pack chooses integer forms as the library's writer does.
TEST(Pack, IntegerFormsAreTheWritersAtEveryBoundary) {
  for (const std::int64_t v :
       {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, std::int64_t{127}, std::int64_t{128},
        std::int64_t{-128}, std::int64_t{-129}, std::int64_t{32767}, std::int64_t{32768},
        std::int64_t{-32768}, std::int64_t{-32769}, std::int64_t{INT32_MAX}, std::int64_t{INT32_MAX} + 1,
        std::int64_t{INT32_MIN}, std::int64_t{INT32_MIN} - 1, INT64_MAX, INT64_MIN}) {
    navcore::ryn::KseOutputStream<navcore::ryn::BufferWriter> os;
    os.write(v, 0);
    ASSERT_GT(os.length(), 0u);
    EXPECT_EQ(navreq::SmallestIntegerWire(v), static_cast<unsigned char>(os.data()[0]) & 0x0F) << v;
  }
}

}  // namespace
