// The JSON tree with paths (what the browser inspector shows) names every
// value exactly as `navreq diff` does, and the differences come out as JSON
// with their printed lines.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "navreq/read/diff.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "support/wire.h"
#include "tool_run.h"

namespace {

using navreq::testing::FromHex;

nlohmann::json TreeWithPaths(const std::string& bytes, navreq::JsonViewOptions options = {}) {
  options.paths = true;
  std::ostringstream out;
  {
    const auto view = navreq::MakeJsonView(out, options);
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  return nlohmann::json::parse(out.str());
}

// Every "path" of the tree in document order (map keys have none).
void Paths(const nlohmann::json& node, std::vector<std::string>& out) {
  if (node.is_array()) {
    for (const auto& n : node) Paths(n, out);
    return;
  }
  if (!node.is_object()) return;
  if (node.contains("path")) out.push_back(node["path"]);
  for (const char* key : {"fields", "items", "kse", "message", "value", "undecoded"}) {
    if (node.contains(key) && (node[key].is_object() || node[key].is_array())) Paths(node[key], out);
  }
  if (node.contains("entries")) {
    for (const auto& e : node["entries"]) {
      EXPECT_FALSE(e["key"].contains("path"));
      Paths(e["value"], out);
    }
  }
}

std::string GoldenRequest(const std::string& kind) {
  std::ifstream in(std::string(NAVREQ_SOURCE_DIR) + "/tests/tool/golden/" + kind + ".hex");
  std::string hex((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  while (!hex.empty() && (hex.back() == '\n' || hex.back() == '\r')) hex.pop_back();
  return FromHex(hex);
}

TEST(JsonPaths, SmallRecordNamesEveryLevel) {
  // Read as a Package (its first heads fit one), so the declared tags are
  // named, whatever they hold: field 0 (version) int8 5; field 1 (cmd) a list
  // of two int8; field 2 (cmd_name) a map of string keys (tag 0) to int8
  // values (tag 1), {"a": 1, "b c": 2}; field 200, not declared (two-byte
  // head), int8 7.
  const std::string bytes = FromHex(
      "0005"  // 0: int8 5
      "19"
      "0002"
      "0001"
      "0002"  // 1: list, count 2: 1, 2
      "28"
      "0002"  // 2: map, count 2
      "060161"
      "1001"  //   "a" -> 1
      "0603622063"
      "1002"  //   "b c" -> 2
      "f0c8"
      "07");  // 200: int8 7
  const nlohmann::json tree = TreeWithPaths(bytes);
  std::vector<std::string> paths;
  Paths(tree["fields"], paths);
  const std::vector<std::string> expected = {
      "version", "cmd", "cmd[0]", "cmd[1]", "cmd_name", "cmd_name[a]", "cmd_name[\"b c\"]", "200"};
  EXPECT_EQ(paths, expected);
}

// Version 5, then `cmd` holding a list of five int8 (1 to 5): values
// numbered 1 (version), 2 (the list), 3 to 7 (its elements).
const char kFiveElements[] =
    "0005"
    "19"
    "0005"
    "0001"
    "0002"
    "0003"
    "0004"
    "0005";

TEST(JsonWindows, BudgetCutsAListAndSaysWhere) {
  navreq::JsonViewOptions options;
  options.budget = 3;
  const nlohmann::json tree = TreeWithPaths(FromHex(kFiveElements), options);
  const nlohmann::json& list = tree["fields"][1];
  EXPECT_EQ(list["node"], 2);
  EXPECT_EQ(list["count"], 5);
  ASSERT_EQ(list["items"].size(), 1u);
  EXPECT_EQ(list["items"][0]["value"], 1);
  EXPECT_EQ(list["more"], nlohmann::json::parse(R"({"node": 2, "from": 1, "items": 5})"));
  EXPECT_FALSE(tree.contains("more"));  // the top's two fields were both written
  EXPECT_TRUE(tree.contains("missing"));
}

TEST(JsonWindows, ItemsCapCutsEachContainer) {
  navreq::JsonViewOptions options;
  options.items_cap = 2;
  const nlohmann::json tree = TreeWithPaths(FromHex(kFiveElements), options);
  const nlohmann::json& list = tree["fields"][1];
  ASSERT_EQ(list["items"].size(), 2u);
  EXPECT_EQ(list["more"], nlohmann::json::parse(R"({"node": 2, "from": 2, "items": 5})"));
  EXPECT_FALSE(tree.contains("more"));  // the top holds two fields: not over the cap

  options.fragment = true;
  options.node = 2;
  options.from = 2;
  options.node_path = "cmd";
  const nlohmann::json part = TreeWithPaths(FromHex(kFiveElements), options);
  ASSERT_EQ(part["items"].size(), 2u);  // items 2 and 3; the cap counts from `from`
  EXPECT_EQ(part["items"][1]["path"], "cmd[3]");
  EXPECT_EQ(part["more"], nlohmann::json::parse(R"({"node": 2, "from": 4, "items": 5})"));
}

TEST(JsonWindows, FragmentGivesTheNextItems) {
  navreq::JsonViewOptions options;
  options.fragment = true;
  options.node = 2;
  options.from = 1;
  options.node_path = "cmd";
  options.budget = 2;
  const nlohmann::json part = TreeWithPaths(FromHex(kFiveElements), options);
  ASSERT_EQ(part["items"].size(), 2u);
  EXPECT_EQ(part["items"][0]["value"], 2);
  EXPECT_EQ(part["items"][0]["path"], "cmd[1]");
  EXPECT_EQ(part["items"][1]["value"], 3);
  EXPECT_EQ(part["items"][1]["path"], "cmd[2]");
  EXPECT_EQ(part["more"], nlohmann::json::parse(R"({"node": 2, "from": 3, "items": 5})"));

  options.from = 3;
  options.budget = 0;
  const nlohmann::json rest = TreeWithPaths(FromHex(kFiveElements), options);
  ASSERT_EQ(rest["items"].size(), 2u);
  EXPECT_EQ(rest["items"][1]["path"], "cmd[4]");
  EXPECT_FALSE(rest.contains("more"));
  EXPECT_FALSE(rest.contains("missing"));
}

TEST(JsonWindows, FragmentOfTheTop) {
  navreq::JsonViewOptions options;
  options.fragment = true;
  options.node = 0;
  options.from = 1;
  const nlohmann::json part = TreeWithPaths(FromHex(kFiveElements), options);
  ASSERT_EQ(part["items"].size(), 1u);
  EXPECT_EQ(part["items"][0]["path"], "cmd");
  EXPECT_EQ(part["items"][0]["items"].size(), 5u);
  EXPECT_FALSE(part.contains("missing"));  // shown with the top
}

TEST(JsonWindows, EveryWindowOfARequestAddsUpToTheWholeTree) {
  // The route request in windows of 7 values: loading "more" wherever it is
  // offered gives back every path of the whole tree, in order.
  const std::string bytes = GoldenRequest("route");
  std::vector<std::string> whole;
  Paths(TreeWithPaths(bytes)["fields"], whole);
  navreq::JsonViewOptions options;
  options.budget = 7;
  nlohmann::json tree = TreeWithPaths(bytes, options);
  // Fills every "more" in place, depth first, until none is left.
  std::function<void(nlohmann::json&, const std::string&, bool)> fill =
      [&](nlohmann::json& node, const std::string& path, bool top) {
        for (const char* key : {"fields", "items", "entries"}) {
          nlohmann::json* container = &node;
          if (node.contains("kse")) container = &node["kse"];
          if (node.contains("message")) container = &node["message"];
          if (!container->contains(key)) continue;
          while (container->contains("more")) {
            navreq::JsonViewOptions next;
            next.fragment = true;
            next.node = (*container)["more"]["node"];
            next.from = (*container)["more"]["from"];
            next.node_path = top ? "" : path;
            next.budget = 7;
            const nlohmann::json part = TreeWithPaths(bytes, next);
            ASSERT_EQ((*container)[key].size(), next.from);
            for (const auto& item : part["items"]) (*container)[key].push_back(item);
            container->erase("more");
            if (part.contains("more")) (*container)["more"] = part["more"];
          }
          for (auto& child : (*container)[key]) {
            if (child.contains("key")) {
              fill(child["value"], child["value"].value("path", ""), false);
            } else {
              fill(child, child.value("path", ""), false);
            }
          }
        }
      };
  fill(tree, "", true);
  std::vector<std::string> windowed;
  Paths(tree["fields"], windowed);
  EXPECT_EQ(windowed, whole);
}

TEST(JsonPaths, UnsignedByteListCarriesItsBytes) {
  // A Packet whose payload, an unsigned-byte list of three bytes (each under
  // its own int8 head), holds a location report: its imei, "a".
  const std::string bytes = FromHex(
      "0001"  // kind 1: the location report
      "1a"
      "06016b"
      "160169"
      "0b"  // auth: api_key "k", imei "i"
      "29"
      "0003"
      "0006"
      "0001"
      "0061"  // payload: 06 01 61
      "3c");  // payload_encoding 0 (zero head)
  const nlohmann::json tree = TreeWithPaths(bytes);
  const nlohmann::json& payload = tree["fields"][2];
  EXPECT_EQ(payload["at"], 10);
  EXPECT_EQ(payload["len"], 9);
  EXPECT_EQ(payload["kse"]["hex"], "060161");  // what the offsets below count in
  const nlohmann::json& imei = payload["kse"]["fields"][0];
  EXPECT_EQ(imei["path"], "payload.imei");
  EXPECT_EQ(imei["at"], 0);
  EXPECT_EQ(imei["len"], 3);
  EXPECT_EQ(imei["value"], "a");

  std::ostringstream plain;  // dump --json itself does not repeat them
  {
    const auto view = navreq::MakeJsonView(plain);
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  EXPECT_FALSE(nlohmann::json::parse(plain.str())["fields"][2]["kse"].contains("hex"));
}

class GoldenPaths : public ::testing::TestWithParam<const char*> {};

TEST_P(GoldenPaths, SameAsDiffPathsInOrder) {
  const std::string bytes = GoldenRequest(GetParam());
  std::vector<std::string> from_tree;
  Paths(TreeWithPaths(bytes)["fields"], from_tree);
  std::vector<std::string> from_diff;
  for (const auto& [path, value] : navreq::FlattenRequest(bytes)) from_diff.push_back(path);
  ASSERT_FALSE(from_diff.empty());
  EXPECT_EQ(from_tree, from_diff);
}

INSTANTIATE_TEST_SUITE_P(Examples, GoldenPaths,
                         ::testing::Values("route", "refresh", "location", "plus", "slice", "navstop"));

TEST(JsonPaths, PlainTreeHasNoPaths) {
  std::ostringstream out;
  {
    const auto view = navreq::MakeJsonView(out);
    const std::string bytes = GoldenRequest("route");
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  EXPECT_EQ(out.str().find("\"path\""), std::string::npos);
}

TEST(DifferencesJson, OneLineWithPrintedLines) {
  std::vector<navreq::Difference> diffs(3);
  diffs[0].path = "body.start.point.longitude";
  diffs[0].a = "116378624";
  diffs[0].b = "116398624";
  diffs[0].a_number = diffs[0].b_number = true;
  diffs[1].path = "header.imei";
  diffs[1].only_a = true;
  diffs[1].a = "\"x\"";
  diffs[2].path = "body.via[3]";
  diffs[2].only_b = true;
  diffs[2].b = "struct";
  EXPECT_EQ(navreq::DifferencesJson(diffs, true),
            "[{\"path\":\"body.start.point.longitude\",\"a\":116378624,\"b\":116398624,"
            "\"line\":\"body.start.point.longitude: 116378624 -> 116398624\"},"
            "{\"path\":\"header.imei\",\"a\":\"\\\"x\\\"\",\"b\":null,\"line\":\"header.imei: only in A\"},"
            "{\"path\":\"body.via[3]\",\"a\":null,\"b\":\"struct\",\"line\":\"body.via[3]: only in B\"}]");
}

}  // namespace
