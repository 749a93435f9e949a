// No edit of a dump's JSON tree is lost: for every example request, every
// leaf of its tree is changed in turn (a number, a string, a bool, hex
// digits) and packed. pack either writes a request whose tree shows the new
// value at the same place, or refuses with the path of what it cannot write.
// In process through the library for every leaf (see EveryLeaf); through the
// real binary for the first leaf of each key name.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "gzip_compress.h"
#include "navreq/read/pack.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "tool_run.h"

namespace {

using json = nlohmann::json;
using navreq::testing::RunTool;

std::string TreeText(const std::string& bytes) {
  std::ostringstream out;
  {
    const auto view = navreq::MakeJsonView(out);
    (void)navreq::Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  return out.str();
}

// The tree as compact text, and where each leaf's value is in it, so that
// an edited tree is the text with one value replaced.
struct Leaf {
  json::json_pointer at;
  std::size_t begin = 0;
  std::size_t end = 0;
};

void Write(const json& j, const json::json_pointer& at, std::string& out, std::vector<Leaf>& leaves) {
  if (j.is_object()) {
    out += '{';
    bool first = true;
    for (auto it = j.begin(); it != j.end(); ++it) {
      if (!first) out += ',';
      first = false;
      out += json(it.key()).dump() + ':';
      Write(it.value(), at / it.key(), out, leaves);
    }
    out += '}';
  } else if (j.is_array()) {
    out += '[';
    for (std::size_t i = 0; i < j.size(); ++i) {
      if (i > 0) out += ',';
      Write(j[i], at / i, out, leaves);
    }
    out += ']';
  } else {
    const std::size_t begin = out.size();
    out += j.dump();
    leaves.push_back({at, begin, out.size()});
  }
}

bool IsHexKey(const json::json_pointer& p) {
  const std::string k = p.back();
  return k == "hex" || k == "gzip" || k == "bits" || k == "raw";
}

// The edit of one leaf: a different value of the same kind.
json Edited(const json& v, const json::json_pointer& p) {
  if (v.is_boolean()) return !v.get<bool>();
  if (v.is_number_integer() || v.is_number_unsigned()) {
    const std::int64_t i = v.get<std::int64_t>();
    return i == INT64_MAX ? i - 1 : i + 1;
  }
  if (v.is_number_float()) {
    const double d = v.get<double>();
    return std::fabs(d) < 1e6 ? d + 1.5 : d / 2;
  }
  if (v.is_string()) {
    std::string s = v.get<std::string>();
    if (IsHexKey(p)) {
      if (s.empty()) return "00";
      s.back() = s.back() == '0' ? '1' : '0';
      return s;
    }
    if (s == "NaN" || s == "Infinity" || s == "-Infinity") return s == "NaN" ? "Infinity" : "NaN";
    return s + "x";
  }
  return nullptr;
}

// What dump shows at `p`: absent keys read as false or 0 (dump leaves them out then).
bool Shows(const json& tree, const json::json_pointer& p, const json& v) {
  if (!tree.contains(p)) return v == false || v == 0;
  const json& shown = tree.at(p);
  if (shown == v) return true;
  if (shown.is_number() && v.is_number()) {
    const double a = shown.get<double>(), b = v.get<double>();
    return a == b || std::fabs(a - b) <= 1e-6 * std::fabs(b);  // a float holds fewer digits
  }
  return false;
}

struct Outcome {
  bool refused = false;
  std::string error;
  std::string bytes;
};

Outcome PackInProcess(const std::string& tree) {
  Outcome o;
  try {
    o.bytes = navreq::PackJson(tree, navreq::tool::Gzip);
  } catch (const navreq::PackError& e) {
    o.refused = true;
    o.error = e.what();
  }
  return o;
}

std::vector<std::string> Examples() {
  return {std::begin(navreq::testing::kExampleKinds), std::end(navreq::testing::kExampleKinds)};
}

// Every leaf when NAVREQ_TEST_EVERY_LEAF is set (the dev test preset sets
// it: about twenty thousand packs, minutes on a debug build). Elsewhere
// (sanitizers, emulated hosts) the small examples whole and, of the large
// ones, the first leaf of each key name and every 32nd.
bool EveryLeaf() {
  const char* every = std::getenv("NAVREQ_TEST_EVERY_LEAF");
  return every != nullptr && std::string(every) == "1";
}

class PackEdits : public ::testing::TestWithParam<std::string> {};

TEST_P(PackEdits, NoEditOfAnyLeafIsLost) {
  const std::string& name = GetParam();
  std::size_t written = 0, refused = 0;
  const std::string bytes = navreq::testing::ExampleBytes(name);
  const json tree = json::parse(TreeText(bytes));
  std::string text;
  std::vector<Leaf> leaves;
  Write(tree, json::json_pointer(), text, leaves);
  ASSERT_EQ(navreq::PackJson(text, navreq::tool::Gzip), bytes) << name;
  ASSERT_GT(leaves.size(), 20u);
  const bool every = EveryLeaf() || leaves.size() < 1000;
  std::map<std::string, bool> seen;
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    const Leaf& leaf = leaves[i];
    const bool first_of_key = seen.emplace(leaf.at.back(), true).second;
    if (!every && !first_of_key && i % 32 != 0) continue;
    const json v = Edited(tree.at(leaf.at), leaf.at);
    const Outcome o = PackInProcess(text.substr(0, leaf.begin) + v.dump() + text.substr(leaf.end));
    const std::string what = name + " " + leaf.at.to_string() + " -> " + v.dump();
    if (o.refused) {
      ++refused;
      EXPECT_EQ(o.error.rfind("$", 0), 0u) << what << ": " << o.error;
      continue;
    }
    ++written;
    ASSERT_NE(o.bytes, bytes) << what << ": lost";
    const json after = json::parse(TreeText(o.bytes));
    EXPECT_TRUE(Shows(after, leaf.at, v))
        << what << ": dump shows " << (after.contains(leaf.at) ? after.at(leaf.at).dump() : "nothing");
  }
  std::printf("%s: %zu of %zu leaves edited: %zu written, %zu refused\n", name.c_str(), written + refused,
              leaves.size(), written, refused);
  // Every example has both: values pack writes, and offsets and names it refuses.
  EXPECT_GT(written, 5u);
  EXPECT_GT(refused, 5u);
  if (every) {
    EXPECT_EQ(written + refused, leaves.size());
  }
}

INSTANTIATE_TEST_SUITE_P(Examples, PackEdits, ::testing::ValuesIn(Examples()),
                         [](const ::testing::TestParamInfo<std::string>& example) { return example.param; });

// The real binary agrees: for the first leaf of each key name in each
// example, pack exits 0 with bytes that dump shows edited, or 65 with the
// library's message.
TEST(PackEditsBinary, TheBinaryWritesOrRefusesEachKindOfKey) {
  navreq::testing::ScratchDir dir;
  ASSERT_EQ(Examples().size(), 6u);
  for (const std::string& name : Examples()) {
    const std::string bytes = navreq::testing::ExampleBytes(name);
    const json tree = json::parse(TreeText(bytes));
    std::string text;
    std::vector<Leaf> leaves;
    Write(tree, json::json_pointer(), text, leaves);
    std::map<std::string, bool> seen;
    for (const Leaf& leaf : leaves) {
      if (!seen.emplace(leaf.at.back(), true).second) continue;
      const json v = Edited(tree.at(leaf.at), leaf.at);
      const std::string edited = text.substr(0, leaf.begin) + v.dump() + text.substr(leaf.end);
      navreq::testing::WriteFile(dir.file("tree.json"), edited);
      const auto packed = RunTool({"pack", dir.file("tree.json")});
      const Outcome in_process = PackInProcess(edited);
      const std::string what = name + " " + leaf.at.to_string();
      if (in_process.refused) {
        EXPECT_EQ(packed.status, 65) << what;
        EXPECT_EQ(packed.err, "navreq pack: " + in_process.error + "\n") << what;
        continue;
      }
      ASSERT_EQ(packed.status, 0) << what << ": " << packed.err;
      const auto dumped = RunTool({"dump", "--json"}, packed.out);
      EXPECT_TRUE(Shows(json::parse(dumped.out), leaf.at, v)) << what;
    }
  }
}

}  // namespace
