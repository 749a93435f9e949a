// Texts that hold no number, in every string member of every parameter
// record, through the built binary: no request may fail with the library's
// exception text. A text that its entry function converts is refused before
// the call (65, its path named); any other text is just a text (0, 1 or 2).
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "kinds.h"
#include "navreq/engine/params.h"
#include "navreq/params_json.h"
#include "tool_run.h"

namespace {

using navreq::testing::RunTool;
using json = nlohmann::json;

template <class T>
struct IsVector : std::false_type {};
template <class T>
struct IsVector<std::vector<T>> : std::true_type {};
template <class T>
struct IsTextMap : std::false_type {};
template <class V>
struct IsTextMap<std::map<std::string, V>> : std::true_type {};

// Calls on(text, path) for every string member of `value`, giving every list
// one element and every map one entry so that the members inside them are
// reached too. Paths are named as the tool names them.
template <class T, class On>
void EachString(T& value, const std::string& path, On& on) {
  if constexpr (std::is_same_v<T, std::string>) {
    on(value, path);
  } else if constexpr (IsVector<T>::value) {
    value.resize(1);
    EachString(value[0], path + "[0]", on);
  } else if constexpr (IsTextMap<T>::value) {
    EachString(value["key"], path + "[\"key\"]", on);
  } else if constexpr (navreq::params_json_detail::IsEngineRecord<T>::value) {
    value.forEachField([&](const char* name, auto& member) { EachString(member, path + "." + name, on); });
  }
}

// One request: the kind, its input document, and the path of the one text
// that holds no number.
struct Case {
  std::string kind;
  std::string document;
  std::string path;
};

// A case per string member of the kind's "param" and "extra": that member
// "abc", every other "7".
template <class Param>
void AddCases(const std::string& kind, std::vector<Case>& cases) {
  for (const std::string root : {"param", "extra"}) {
    for (std::size_t target = 0;; ++target) {
      Param param{};
      zv_navi_core::ReqExtraParam extra{};
      std::size_t seen = 0;
      std::string path;
      auto on = [&](std::string& text, const std::string& at) {
        text = "7";  // a number, so that only the target can be refused
        if (seen++ == target) {
          text = "abc";
          path = at;
        }
      };
      if (root == "param") {
        EachString(param, root, on);
      } else {
        EachString(extra, root, on);
      }
      if (path.empty()) break;  // every member had its turn
      const json doc = {{"extra", json::parse(navreq::ToJson(extra))},
                        {"param", json::parse(navreq::ToJson(param))}};
      cases.push_back({kind, doc.dump(), path});
    }
  }
}

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  AddCases<zv_navi_core::DriveRouteReqParam>("route", cases);
  AddCases<zv_navi_core::RouteRefreshReqParam>("refresh", cases);
  AddCases<zv_navi_core::LocationUploadParam>("location", cases);
  AddCases<zv_navi_core::PlusReq>("plus", cases);
  AddCases<zv_navi_core::SliceReq>("slice", cases);
  for (const char* name : {"text", "device_id", "client_key"}) {
    cases.push_back({"navstop", json{{"param", {{name, "abc"}}}}.dump(), std::string("param.") + name});
  }
  return cases;
}

// The texts the refresh converts to numbers.
bool Converted(const std::string& path) {
  return path == "param.routes[0].id_text" || path == "param.bucket_number_text";
}

// Words of the library's exceptions that must never reach the user.
void ExpectNoLibraryException(const std::string& text, const std::string& path) {
  for (const char* word : {"threw", "stoll", "stoi", "invalid_argument", "out_of_range"}) {
    EXPECT_EQ(text.find(word), std::string::npos) << path << ": " << text;
  }
}

TEST(NumberTexts, EveryStringMemberThroughEncode) {
  const std::vector<Case> cases = AllCases();
  ASSERT_GT(cases.size(), 60u);  // the walk reached the members of every record
  int refused = 0;
  for (const Case& c : cases) {
    const auto run = RunTool({"encode", c.kind, "--now-ms", "1700000000000", "--seed", "1"}, c.document);
    ExpectNoLibraryException(run.err, c.path);
    if (Converted(c.path)) {
      ++refused;
      EXPECT_EQ(run.status, 65) << c.path;
      EXPECT_EQ(run.err, "navreq encode: standard input: " + c.path +
                             ": expected decimal integer text, got \"abc\"\n");
      EXPECT_EQ(run.out, "");
    } else {
      EXPECT_TRUE(run.status == 0 || run.status == 1 || run.status == 2) << c.path << ": " << run.err;
    }
  }
  EXPECT_EQ(refused, 2);
}

TEST(NumberTexts, EveryStringMemberThroughBatch) {
  const std::vector<Case> cases = AllCases();
  std::string input;
  for (const Case& c : cases) {
    json line = json::parse(c.document);
    line["kind"] = c.kind;
    line["now_ms"] = 1700000000000;
    input += line.dump() + "\n";
  }
  const auto run = RunTool({"batch", "-", "--seed", "1"}, input);
  EXPECT_EQ(run.status, 65);  // the two refused lines
  EXPECT_EQ(run.err, "navreq batch: " + std::to_string(cases.size()) + " lines, " +
                         std::to_string(cases.size() - 2) + " rc 0, 0 rc 1, 0 rc 2, 0 threw, 2 invalid\n");
  std::vector<json> answers;
  for (std::size_t start = 0; start < run.out.size();) {
    const std::size_t end = run.out.find('\n', start);
    answers.push_back(json::parse(run.out.substr(start, end - start)));
    start = end + 1;
  }
  ASSERT_EQ(answers.size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const json& a = answers[i];
    if (Converted(cases[i].path)) {
      EXPECT_TRUE(a["rc"].is_null()) << cases[i].path;
      EXPECT_EQ(a["hex"], "");
      EXPECT_EQ(a["log"], json::array());
      EXPECT_EQ(a["error"], cases[i].path + ": expected decimal integer text, got \"abc\"");
    } else {
      ASSERT_TRUE(a["rc"].is_number_integer()) << cases[i].path << ": " << a.dump();
      EXPECT_GE(a["rc"].get<int>(), 0);
      EXPECT_LE(a["rc"].get<int>(), 2);
      EXPECT_FALSE(a.contains("error")) << cases[i].path;
    }
    ExpectNoLibraryException(a.dump(), cases[i].path);
  }
}

// With input checked first, an entry function that throws all the same is
// still caught and named: encode exits 3 with this text, batch answers it.
TEST(EntryCall, AThrowIsAnOutcomeNamingTheFunction) {
  const navreq::tool::PreparedRequest throwing{
      "GetRouteRefreshReqData", [](std::vector<char>&) -> int { throw std::out_of_range("boom"); }};
  std::vector<char> out;
  const navreq::tool::CallOutcome outcome = navreq::tool::Call(throwing, out);
  EXPECT_TRUE(outcome.threw);
  EXPECT_EQ(outcome.what, "GetRouteRefreshReqData threw: boom");

  const navreq::tool::PreparedRequest odd{"F", [](std::vector<char>&) -> int { throw 5; }};
  EXPECT_EQ(navreq::tool::Call(odd, out).what, "F threw a non-standard exception");
}

}  // namespace
