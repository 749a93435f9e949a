// pack writes or refuses every key of a tree: the stop event's message
// written from its named fields, byte text beside hex, and the keys it does
// not write (offsets, counts, names, compressed bytes) checked. In process,
// on bytes spelled from the wire rules.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "gzip_compress.h"
#include "navreq/read/diff.h"
#include "navreq/read/pack.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "support/wire.h"

namespace {

// Trees keep dump's order of keys (nlohmann::json would sort them), as a
// person editing dump's output does.
using json = nlohmann::ordered_json;
using namespace wire;

json TreeOf(const std::string& bytes) {
  std::ostringstream out;
  {
    const auto view = navreq::MakeJsonView(out);
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  return json::parse(out.str());
}

std::string TextOf(const std::string& bytes) {
  std::ostringstream out;
  {
    const auto view = navreq::MakeTextView(out, false);
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  return out.str();
}

std::string Pack(const json& tree) { return navreq::PackJson(tree.dump(), navreq::tool::Gzip); }

std::string ErrorOf(const json& tree) {
  try {
    (void)Pack(tree);
  } catch (const navreq::PackError& e) {
    return e.what();
  }
  return "packed";
}

// A stop event Packet around `message` (kind 2, credentials, the message's
// bytes as the payload list, payload encoding 0).
std::string StopPacket(const std::string& message_hex) {
  return Unhex(Int(0, 2) + Struct(1, Str(0, "k") + Str(1, "i")) + UBytes(2, Unhex(message_hex)) + Int(3, 0));
}

// nav_stopped 1; attributes {"a": "b"} in the writer's layout; value "hi"; timestamp 300.
const char* const kMessage =
    "0801"
    "1201"
    "120161"
    "120162"
    "1a026869"
    "20ac02";

TEST(PackMessage, FieldsAreNamedAndWritten) {
  const std::string bytes = StopPacket(kMessage);
  const json tree = TreeOf(bytes);
  const json& message = tree["fields"][2]["message"];
  EXPECT_EQ(message["size"], 17);
  EXPECT_FALSE(message.contains("hex"));
  EXPECT_EQ(message["fields"][0],
            json::parse(R"({"at": 0, "len": 2, "number": 1, "name": "nav_stopped", "wire": 0, "value": 1})"));
  EXPECT_EQ(message["fields"][1],
            json::parse(R"({"at": 2, "len": 2, "number": 2, "name": "attributes", "wire": 2, "count": 1})"));
  EXPECT_EQ(
      message["fields"][4],
      json::parse(
          R"({"at": 10, "len": 4, "number": 3, "name": "value", "wire": 2, "value": "hi", "hex": "6869"})"));
  EXPECT_NE(
      TextOf(bytes).find("    @2+2 #2 attributes entries: 1\n    @4+3 #2 attributes bytes[1]: 61 \"a\"\n"),
      std::string::npos)
      << TextOf(bytes);
  EXPECT_EQ(Pack(tree), bytes);

  json t = tree;
  t["fields"][2]["message"]["fields"][5]["value"] = 301;  // 301: varint ad 02
  EXPECT_EQ(Hex(Pack(t)), Hex(StopPacket("0801"
                                         "1201"
                                         "120161"
                                         "120162"
                                         "1a026869"
                                         "20ad02")));
  t = tree;
  t["fields"][2]["message"]["fields"][4]["value"] = "hey";
  t["fields"][2]["message"]["fields"][4].erase("hex");
  EXPECT_EQ(Hex(Pack(t)), Hex(StopPacket("0801"
                                         "1201"
                                         "120161"
                                         "120162"
                                         "1a03686579"
                                         "20ac02")));
  t = tree;
  t["fields"][2]["message"]["fields"][1]["count"] = 2;  // two entries announced, one there
  EXPECT_EQ(ErrorOf(t),
            "$.fields[2].message.fields[2] (payload.attributes[1]): dump reads the packed bytes differently "
            "from here "
            "(field 12, type 1)");
  t = tree;
  t["fields"][2]["message"]["fields"][0]["value"] = -1;  // as an int64: ten bytes
  EXPECT_EQ(Hex(Pack(t)), Hex(StopPacket("08ffffffffffffffffff01"
                                         "1201"
                                         "120161"
                                         "120162"
                                         "1a026869"
                                         "20ac02")));
}

TEST(PackMessage, EditsItCannotWriteAreRefused) {
  const json tree = TreeOf(StopPacket(kMessage));
  json t = tree;
  t["fields"][2]["message"]["fields"][4]["value"] = "hey";  // "hex" still says "hi"
  EXPECT_EQ(
      ErrorOf(t),
      "$.fields[2].message.fields[4].hex (payload.value): does not hold the bytes of \"value\": edit one of "
      "them and remove the other");
  t = tree;
  t["fields"][2]["message"]["fields"][5]["name"] = "duration";
  EXPECT_EQ(ErrorOf(t),
            "$.fields[2].message.fields[5].name (payload.timestamp): \"duration\", but dump shows "
            "\"timestamp\" for the "
            "packed bytes (pack does not write it: leave it as it was)");
  t = tree;
  t["fields"][2]["message"]["fields"][3]["at"] = 8;
  EXPECT_EQ(ErrorOf(t),
            "$.fields[2].message.fields[3].at (payload.attributes[2]): is 8, but the value before it ends at "
            "7 (dump's "
            "offsets are computed again by pack: leave them as they were)");
  t = tree;
  t["fields"][2]["message"]["size"] = 18;
  EXPECT_EQ(
      ErrorOf(t),
      "$.fields[2].message.size (payload): does not end where its last value ends (at 17; dump's offsets "
      "are computed again by pack: leave them as they were)");
  t = tree;
  t["fields"][2]["message"]["fields"][0]["wire"] = 3;
  EXPECT_EQ(
      ErrorOf(t),
      "$.fields[2].message.fields[0].wire (payload.nav_stopped): expected 0, 1, 2 or 5 (varint, fixed64, "
      "length-delimited, fixed32)");
  t = tree;
  t["fields"][2]["message"]["hex"] = "00";  // the inspector's key, given and not the fields' bytes
  EXPECT_EQ(
      ErrorOf(t),
      "$.fields[2].message.hex (payload): does not hold the bytes of \"fields\": edit the fields and remove "
      "\"hex\"");
}

TEST(PackMessage, AFieldInALongerFormKeepsItsBytes) {
  // nav_stopped 1 as a two-byte varint: 81 00.
  const std::string bytes = StopPacket("088100");
  const json tree = TreeOf(bytes);
  const json& field = tree["fields"][2]["message"]["fields"][0];
  EXPECT_EQ(field["raw"], "088100");
  EXPECT_EQ(Pack(tree), bytes);
  json t = tree;
  t["fields"][2]["message"]["fields"][0]["value"] = 0;
  EXPECT_EQ(ErrorOf(t),
            "$.fields[2].message.fields[0].raw (payload.nav_stopped): does not hold this field's number, "
            "wire and value: "
            "remove it to write them in the shortest form");
  t["fields"][2]["message"]["fields"][0].erase("raw");
  EXPECT_EQ(Hex(Pack(t)), Hex(StopPacket("0800")));
}

// A Package-like run of fields: cmd_name "CMD", then field 9 (extras) holding the
// "apikey" entry whose value is bytes.
std::string WithApiKey(const std::string& key) {
  return Unhex(Int(0, 0) + Int(1, 1) + Str(2, "CMD") + List(9, 1) +
               Struct(0, Str(0, "apikey") + Bytes(1, key)));
}

TEST(PackBytes, TextBesideHexAndEitherIsWritten) {
  const json tree = TreeOf(WithApiKey("key1"));
  const json& value = tree["fields"][3]["items"][0]["fields"][1];
  EXPECT_EQ(value["value"], "key1");
  EXPECT_EQ(value["hex"], "6b657931");
  // Not text: empty, a control character, not UTF-8.
  for (const std::string& raw : {std::string(), std::string("a\x01", 2), std::string("\xff")}) {
    const json other = TreeOf(WithApiKey(raw))["fields"][3]["items"][0]["fields"][1];
    EXPECT_FALSE(other.contains("value")) << other.dump();
    EXPECT_EQ(other["hex"], Hex(raw));
  }
  json t = tree;
  json& v = t["fields"][3]["items"][0]["fields"][1];
  v["value"] = "key2";
  v.erase("hex");
  EXPECT_EQ(Pack(t), WithApiKey("key2"));
  v.erase("value");
  v["hex"] = "ff00";
  EXPECT_EQ(Pack(t), WithApiKey(std::string("\xff\x00", 2)));
  v["value"] = "key2";
  EXPECT_EQ(
      ErrorOf(t),
      "$.fields[3].items[0].fields[1].hex (extras[0].value): does not hold the bytes of \"value\": edit one "
      "of them and remove the other");
  v["hex"] = "6b657932";
  EXPECT_EQ(Pack(t), WithApiKey("key2"));
}

TEST(PackChecks, OffsetsCountsAndNamesThatWereEdited) {
  const json tree = TreeOf(WithApiKey("key1"));
  json t = tree;
  t["fields"][1]["len"] = 3;
  EXPECT_EQ(ErrorOf(t),
            "$.fields[2].at (cmd_name): is 3, but the value before it ends at 4 (dump's offsets are computed "
            "again by pack: leave them as they were)");
  t = tree;
  t["fields"][3]["count"] = 2;
  EXPECT_EQ(ErrorOf(t),
            "$.fields[3].count (extras): is 2, but there are 1 (pack counts them: leave it as it was)");
  t = tree;
  t["fields"][3]["items"][0]["fields"][0]["name"] = "k";
  EXPECT_EQ(
      ErrorOf(t),
      "$.fields[3].items[0].fields[0].name (extras[0].key): \"k\", but dump shows \"key\" for the packed "
      "bytes (pack does not write it: leave it as it was)");
  t = tree;
  t["record"] = "Packet";
  EXPECT_EQ(
      ErrorOf(t),
      "$.record: \"Packet\", but dump shows \"Package\" for the packed bytes (pack does not write it: leave "
      "it as it was)");
  t = tree;
  ASSERT_EQ(t["missing"][0]["tag"], 3);
  t["missing"][0]["tag"] = 4;
  EXPECT_EQ(ErrorOf(t).rfind("$.missing[0]: \"4 ", 0), 0u) << ErrorOf(t);
  t = tree;
  t["size"] = 100;
  EXPECT_NE(ErrorOf(t).find("$.size: does not end where its last value ends"), std::string::npos);
  t = tree;
  t["fields"][0]["tag"] = 4;  // the name of tag 0 stays: refused there, named as dump names tag 4
  EXPECT_EQ(
      ErrorOf(t),
      "$.fields[0].name (body_encoding): \"version\", but dump shows \"body_encoding\" for the packed bytes "
      "(pack does not write it: leave it as it was)");
  t["fields"][0].erase("name");
  t["fields"][0].erase("declared");
  // Without them the bytes are written, but dump no longer reads them as
  // the tree shows (tag 4 before tag 1 reads as two requests): refused.
  EXPECT_EQ(ErrorOf(t), "$.fields[1] (cmd): dump does not read this value from the packed bytes");
}

TEST(PackChecks, ItemsAddedRemovedOrMovedAreWritten) {
  const std::string bytes =
      Unhex(Int(0, 0) + Int(1, 1) + Str(2, "CMD") + List(9, 2) + Struct(0, Str(0, "a") + Bytes(1, "1")) +
            Struct(0, Str(0, "bb") + Bytes(1, "22")));
  const json tree = TreeOf(bytes);
  json t = tree;
  auto& items = t["fields"][3]["items"];
  std::swap(items[0], items[1]);
  EXPECT_EQ(Pack(t),
            Unhex(Int(0, 0) + Int(1, 1) + Str(2, "CMD") + List(9, 2) +
                  Struct(0, Str(0, "bb") + Bytes(1, "22")) + Struct(0, Str(0, "a") + Bytes(1, "1"))));
  items.push_back(items[0]);
  EXPECT_EQ(Pack(t), Unhex(Int(0, 0) + Int(1, 1) + Str(2, "CMD") + List(9, 3) +
                           Struct(0, Str(0, "bb") + Bytes(1, "22")) + Struct(0, Str(0, "a") + Bytes(1, "1")) +
                           Struct(0, Str(0, "bb") + Bytes(1, "22"))));
  t = tree;
  t["fields"][3]["items"].erase(1);
  EXPECT_EQ(Pack(t), Unhex(Int(0, 0) + Int(1, 1) + Str(2, "CMD") + List(9, 1) +
                           Struct(0, Str(0, "a") + Bytes(1, "1"))));
}

TEST(PackChecks, CompressedBytesThatWereEdited) {
  // A guidance slice request whose body (session "s1", no slices) is gzip-compressed.
  std::string gz;
  ASSERT_TRUE(navreq::tool::Gzip(Unhex(Str(0, "s1") + List(1, 0)), gz));
  const std::string bytes =
      Unhex(Int(0, 0) + Int(1, 84) + Str(2, "REQ_GUIDANCE_SLICE") + Int(3, 0) + Int(4, 3) + Str(5, "") +
            Str(6, "0") + Bytes(7, Unhex(Int(0, 5))) + Bytes(8, gz) + List(9, 0));
  const json tree = TreeOf(bytes);
  ASSERT_EQ(tree["fields"][8]["name"], "body");
  EXPECT_EQ(Pack(tree), bytes);
  json t = tree;
  std::string stream = t["fields"][8]["gzip"];
  stream.back() = stream.back() == '0' ? '1' : '0';  // the size in its trailer
  t["fields"][8]["gzip"] = stream;
  EXPECT_EQ(ErrorOf(t).rfind("$.fields[8].gzip (body): does not inflate (", 0), 0u) << ErrorOf(t);
  t = tree;
  t["fields"][8]["kse"]["size"] = 9;
  EXPECT_EQ(ErrorOf(t),
            "$.fields[8].kse.size (body): does not end where its last value ends (at 6; dump's offsets are "
            "computed again by pack: leave them as they were)");
  t = tree;
  t["fields"][8]["kse"]["record"] = "CarRouteReq";
  EXPECT_EQ(ErrorOf(t).rfind("$.fields[8].kse.record (body): \"CarRouteReq\", but dump shows ", 0), 0u)
      << ErrorOf(t);
  t = tree;
  t["fields"][8]["kse"]["fields"][0]["value"] = "s2";
  const auto diffs = navreq::DiffRequests(bytes, Pack(t), {});
  ASSERT_EQ(diffs.size(), 1u);
  EXPECT_EQ(navreq::DifferenceLine(diffs[0]), "body.slice_session_id: \"s1\" -> \"s2\"");
}

}  // namespace
