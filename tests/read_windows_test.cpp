// Windows of the JSON view that go on from a mark give what a walk of the
// whole request gives for the same window, and together the whole container.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>

#include "navreq/read/items_walk.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "navreq/read/windows.h"
#include "support/gunzip.h"
#include "support/wire.h"

namespace {

using wire::Begin;
using wire::End;
using wire::Int;
using wire::List;
using wire::Map;
using wire::Str;
using wire::Unhex;

const unsigned char* Data(const std::string& bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

// The view over a walk of the whole request.
std::string Fresh(const std::string& bytes, const navreq::JsonViewOptions& options) {
  std::ostringstream out;
  {
    const auto view = navreq::MakeJsonView(out, options);
    (void)navreq::Walk(Data(bytes), bytes.size(), *view);
  }
  return out.str();
}

struct Container {
  std::uint64_t node = 0;
  std::string path;
};

// The container whose "count" is `count` (each test gives its own a count
// no other has), with its number and path, in the tree with paths.
std::optional<Container> FindByCount(const nlohmann::json& node, std::int64_t count) {
  if (node.is_array()) {
    for (const auto& n : node) {
      if (auto found = FindByCount(n, count)) return found;
    }
    return std::nullopt;
  }
  if (!node.is_object()) return std::nullopt;
  if (node.contains("count") && node["count"] == count && node.contains("node"))
    return Container{node["node"].get<std::uint64_t>(), node.value("path", "")};
  for (const char* key : {"fields", "items", "entries", "kse", "message", "key", "value"}) {
    if (!node.contains(key)) continue;
    if (auto found = FindByCount(node[key], count)) return found;
  }
  return std::nullopt;
}

Container Locate(const std::string& bytes, std::int64_t count) {
  navreq::JsonViewOptions options;
  options.paths = true;
  const std::optional<Container> found = FindByCount(nlohmann::json::parse(Fresh(bytes, options)), count);
  EXPECT_TRUE(found.has_value()) << "no container of " << count << " items";
  return found.value_or(Container{});
}

navreq::JsonViewOptions Window(const Container& c, std::uint64_t from, std::size_t budget,
                               std::uint64_t cap) {
  navreq::JsonViewOptions options;
  options.paths = true;
  options.fragment = true;
  options.node = c.node;
  options.node_path = c.path;
  options.from = from;
  options.budget = budget;
  options.items_cap = cap;
  return options;
}

// Every window of the container from item 0, as "more" leads from one to
// the next: each resumed window is checked against the same window of a
// walk of the whole request. Returns their items, concatenated.
nlohmann::json Windows(navreq::JsonWindows& windows, const Container& c, std::size_t budget,
                       std::uint64_t cap, int* count = nullptr) {
  nlohmann::json items = nlohmann::json::array();
  std::uint64_t from = 0;
  int n = 0;
  for (;; ++n) {
    const navreq::JsonViewOptions options = Window(c, from, budget, cap);
    std::ostringstream out;
    windows.write(out, options);
    const std::string fresh = Fresh(windows.bytes(), options);
    EXPECT_EQ(out.str(), fresh) << "window from " << from;
    if (out.str() != fresh) break;
    const nlohmann::json part = nlohmann::json::parse(out.str());
    for (const auto& item : part["items"]) items.push_back(item);
    if (!part.contains("more")) break;
    const std::uint64_t next = part["more"]["from"];
    EXPECT_GT(next, from);
    if (next <= from) break;
    from = next;
  }
  if (count != nullptr) *count = n + 1;
  return items;
}

// The container's items in one window.
nlohmann::json Whole(const std::string& bytes, const Container& c) {
  return nlohmann::json::parse(Fresh(bytes, Window(c, 0, 0, 0)))["items"];
}

// Field 0 int8 5, then field 1: a list of `n` integers 0, 1, 2, ... (int16
// from 128 on); with `cut`, the bytes end after that many elements.
std::string IntegerList(int n, int cut = -1) {
  std::string hex = Int(0, 5) + List(1, n);
  for (int i = 0; i < (cut >= 0 ? cut : n); ++i) hex += Int(0, i);
  return Unhex(hex);
}

TEST(ReadWindows, ListInWindowsEqualsTheWholeList) {
  const std::string bytes = IntegerList(1999);
  const Container c = Locate(bytes, 1999);
  navreq::JsonWindows windows(bytes);
  int count = 0;
  const nlohmann::json items = Windows(windows, c, 0, 97, &count);
  EXPECT_EQ(count, 21);  // 20 of 97 and one of 59
  EXPECT_EQ(items, Whole(bytes, c));
  ASSERT_EQ(items.size(), 1999u);
  EXPECT_EQ(items[1234]["value"], 1234);
  EXPECT_EQ(items[1234]["path"], c.path + "[1234]");
}

TEST(ReadWindows, BudgetWindowsOfAList) {
  const std::string bytes = IntegerList(1001);
  const Container c = Locate(bytes, 1001);
  navreq::JsonWindows windows(bytes);
  EXPECT_EQ(Windows(windows, c, 50, 0), Whole(bytes, c));
}

TEST(ReadWindows, MapKeysSeenBeforeTheMarkAreStillRepeated) {
  // Field 2: a map of 1500 entries "k0" .. "k699", then the same keys again.
  std::string hex = Int(0, 5) + Map(2, 1500);
  for (int i = 0; i < 1500; ++i) hex += Str(0, "k" + std::to_string(i % 700)) + Int(1, i);
  const std::string bytes = Unhex(hex);
  const Container c = Locate(bytes, 1500);
  navreq::JsonWindows windows(bytes);
  const nlohmann::json entries = Windows(windows, c, 0, 64);
  EXPECT_EQ(entries, Whole(bytes, c));
  ASSERT_EQ(entries.size(), 1500u);
  EXPECT_FALSE(entries[699]["key"].contains("problem"));
  EXPECT_EQ(entries[700]["key"]["problem"], "repeated key");  // first seen in the first window
  EXPECT_EQ(entries[1499]["key"]["problem"], "repeated key");
}

// Field 3: a list of `n` records, each its number (tag 0) and a list (tag 1)
// of three integers; with `cut`, the bytes end that many bytes early.
std::string RecordList(int n, std::size_t cut = 0) {
  std::string hex = Int(0, 5) + List(3, n);
  for (int i = 0; i < n; ++i)
    hex += Begin(0) + Int(0, i) + List(1, 3) + Int(0, 1) + Int(0, 2) + Int(0, 3) + End();
  std::string bytes = Unhex(hex);
  bytes.resize(bytes.size() - cut);
  return bytes;
}

TEST(ReadWindows, NestedContainersNumberedAsInTheWholeWalk) {
  const std::string bytes = RecordList(777);
  const Container c = Locate(bytes, 777);
  navreq::JsonWindows windows(bytes);
  const nlohmann::json items = Windows(windows, c, 0, 50);
  EXPECT_EQ(items, Whole(bytes, c));
  ASSERT_EQ(items.size(), 777u);
  // Values number 1 (field 0), 2 (the list), then six per record.
  EXPECT_EQ(items[500]["node"], c.node + 1 + 6 * 500);
  EXPECT_EQ(items[500]["fields"][1]["node"], c.node + 3 + 6 * 500);
  // A budget cuts the records' own lists too: the same cuts either way.
  navreq::JsonWindows budgeted(bytes);
  (void)Windows(budgeted, c, 13, 0);
}

TEST(ReadWindows, ContainerInsideAnItem) {
  // Field 4: a list of three lists, the middle one of 1234 integers.
  std::string hex = Int(0, 5) + List(4, 3) + List(0, 1) + Int(0, 9) + List(0, 1234);
  for (int i = 0; i < 1234; ++i) hex += Int(0, i);
  hex += List(0, 0);
  const std::string bytes = Unhex(hex);
  const Container c = Locate(bytes, 1234);
  navreq::JsonWindows windows(bytes);
  EXPECT_EQ(Windows(windows, c, 0, 100), Whole(bytes, c));
}

TEST(ReadWindows, ListCutShortBetweenItems) {
  const std::string bytes = IntegerList(1000, 537);
  const Container c = Locate(bytes, 1000);
  navreq::JsonWindows windows(bytes);
  const nlohmann::json items = Windows(windows, c, 0, 100);
  EXPECT_EQ(items, Whole(bytes, c));
  EXPECT_EQ(items.size(), 537u);
  const std::optional<navreq::ItemsMark> mark = navreq::FindItems(Data(bytes), bytes.size(), c.node, 100);
  ASSERT_TRUE(mark.has_value());
  EXPECT_EQ(mark->total, 537u);  // what the whole walk begins, not the count
  EXPECT_EQ(mark->index, 100u);
  EXPECT_FALSE(mark->stopped);
}

TEST(ReadWindows, ListCutShortInsideAnItem) {
  // The last record loses its end head and its list's last integer: it is
  // begun, and closed as cut short.
  const std::string bytes = RecordList(300, 3);
  const Container c = Locate(bytes, 300);
  navreq::JsonWindows windows(bytes);
  const nlohmann::json items = Windows(windows, c, 0, 64);
  EXPECT_EQ(items, Whole(bytes, c));
  ASSERT_EQ(items.size(), 300u);
  EXPECT_EQ(items[299]["incomplete"], true);
  // The last window again: its mark is past the item decoding stopped in.
  const navreq::JsonViewOptions last = Window(c, 256, 0, 64);
  std::ostringstream again;
  windows.write(again, last);
  EXPECT_EQ(again.str(), Fresh(bytes, last));
  EXPECT_EQ(nlohmann::json::parse(again.str())["items"].size(), 44u);
  const std::optional<navreq::ItemsMark> past = navreq::FindItems(Data(bytes), bytes.size(), c.node, 400);
  ASSERT_TRUE(past.has_value());
  EXPECT_TRUE(past->stopped);  // nothing follows: decoding stopped before item 400
  EXPECT_EQ(past->total, 300u);
}

TEST(ReadWindows, GzipInputMarksKeepTheInflatedBytes) {
  const std::string bytes = navreq::testing::GzipMember(IntegerList(1500));
  const Container c = Locate(bytes, 1500);
  navreq::JsonWindows windows(bytes);
  EXPECT_EQ(Windows(windows, c, 0, 200), Whole(bytes, c));
  const std::optional<navreq::ItemsMark> mark = navreq::FindItems(Data(bytes), bytes.size(), c.node, 10);
  ASSERT_TRUE(mark.has_value());
  ASSERT_NE(mark->frame.owned, nullptr);
  EXPECT_EQ(mark->frame.owned->size(), IntegerList(1500).size());
}

TEST(ReadWindows, GoingBackAndOtherContainers) {
  // Two lists; one mark kept, so every switch walks from the start again.
  std::string hex = Int(0, 5) + List(1, 600);
  for (int i = 0; i < 600; ++i) hex += Int(0, i);
  hex += List(2, 700);
  for (int i = 0; i < 700; ++i) hex += Int(0, -i);
  const std::string bytes = Unhex(hex);
  const Container a = Locate(bytes, 600);
  const Container b = Locate(bytes, 700);
  navreq::JsonWindows windows(bytes, 1);
  for (const auto& [c, from] :
       {std::pair{a, 100}, {b, 300}, {a, 200}, {a, 100}, {b, 0}, {b, 650}, {a, 599}}) {
    const navreq::JsonViewOptions options = Window(c, static_cast<std::uint64_t>(from), 0, 100);
    std::ostringstream out;
    windows.write(out, options);
    EXPECT_EQ(out.str(), Fresh(bytes, options)) << c.node << " from " << from;
    EXPECT_EQ(windows.marks(), 1u);
  }
}

TEST(ReadWindows, ItemsWalkFromAMarkAndPastTheEnd) {
  const std::string bytes = IntegerList(10);
  const Container c = Locate(bytes, 10);
  std::optional<navreq::ItemsMark> mark = navreq::FindItems(Data(bytes), bytes.size(), c.node, 4);
  ASSERT_TRUE(mark.has_value());
  EXPECT_EQ(mark->node, c.node);
  EXPECT_EQ(mark->total, 10u);
  EXPECT_EQ(mark->value, c.node + 5);               // the elements before it are numbered from c.node + 1
  EXPECT_EQ(mark->offset, 2u + 3u + 1u + 3u * 2u);  // 0005, 19 000a, 0c (zero), 0001 0002 0003
  const auto sink = navreq::MakeNullSink();
  (void)navreq::WalkItems(*mark, *sink, 7);
  EXPECT_EQ(mark->index, 7u);
  EXPECT_EQ(mark->value, c.node + 8);
  (void)navreq::WalkItems(*mark, *sink);
  EXPECT_EQ(mark->index, 10u);
  EXPECT_EQ(mark->offset, bytes.size());
  const std::optional<navreq::ItemsMark> beyond = navreq::FindItems(Data(bytes), bytes.size(), c.node, 50);
  ASSERT_TRUE(beyond.has_value());
  EXPECT_EQ(beyond->index, 10u);
}

TEST(ReadWindows, OnlyListsAndMapsAreMarked) {
  const std::string bytes = RecordList(3);
  EXPECT_FALSE(navreq::FindItems(Data(bytes), bytes.size(), 0, 0).has_value());    // the top
  EXPECT_FALSE(navreq::FindItems(Data(bytes), bytes.size(), 1, 0).has_value());    // a scalar
  EXPECT_FALSE(navreq::FindItems(Data(bytes), bytes.size(), 3, 0).has_value());    // a record
  EXPECT_FALSE(navreq::FindItems(Data(bytes), bytes.size(), 999, 0).has_value());  // none
  EXPECT_TRUE(navreq::FindItems(Data(bytes), bytes.size(), 2, 0).has_value());
  EXPECT_TRUE(navreq::FindItems(Data(bytes), bytes.size(), 5, 0).has_value());  // a record's list
  // A record's fields are a window all the same, from a walk of the whole.
  const Container record{3, ""};
  navreq::JsonWindows windows(bytes);
  const navreq::JsonViewOptions options = Window(record, 1, 0, 0);
  std::ostringstream out;
  windows.write(out, options);
  EXPECT_EQ(out.str(), Fresh(bytes, options));
  EXPECT_EQ(windows.marks(), 0u);
}

}  // namespace
