// Marks among a container's items and walks resumed from them (items_walk.h).
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "navreq/read/items_walk.h"
#include "walker.h"

namespace navreq {
namespace walk_detail {

namespace {

constexpr std::size_t kNoOffset = static_cast<std::size_t>(-1);

// Passes the walk on and counts the values begun, the numbers the JSON view
// gives them. A seek's walk ends at its container's number when that is not
// a list or map (the walker takes over when it is).
class Counted final : public TreeSink {
 public:
  Counted(TreeSink& inner, const Seek* seek) : inner_(inner), seek_(seek) {}

  [[nodiscard]] const std::uint64_t& values() const { return values_; }

  bool wantsLengths() const override { return inner_.wantsLengths(); }
  bool full() const override { return inner_.full(); }
  void begin(std::string_view record, std::size_t size, bool gzip, std::size_t inflated,
             std::string_view compressed) override {
    inner_.begin(record, size, gzip, inflated, compressed);
  }
  void end() override { inner_.end(); }
  void scalar(const Item& item, const Scalar& value) override {
    count(false);
    inner_.scalar(item, value);
  }
  void bytes(const Item& item, std::string_view data) override {
    count(false);
    inner_.bytes(item, data);
  }
  void open(const Item& item, std::int64_t count_of) override {
    count(item.wire == kKseList || item.wire == kKseMap);
    inner_.open(item, count_of);
  }
  void close(const Item& item) override { inner_.close(item); }
  void openEmbedded(const Item& item, std::string_view data, const Embedding& embedding) override {
    count(false);
    inner_.openEmbedded(item, data, embedding);
  }
  void closeEmbedded(const Item& item) override { inner_.closeEmbedded(item); }
  void protobufField(std::size_t offset, std::size_t length, std::uint64_t number, int wire,
                     std::uint64_t value, std::string_view data) override {
    count(false);
    inner_.protobufField(offset, length, number, wire, value, data);
  }
  void missing(const FieldInfo& field) override { inner_.missing(field); }
  void undecoded(std::size_t offset, std::string_view rest, const std::string& why) override {
    inner_.undecoded(offset, rest, why);
  }
  void stopCause(::navcore::ryn::ReadProblemKind kind, std::size_t offset, bool in_value) override {
    inner_.stopCause(kind, offset, in_value);
  }

 private:
  void count(bool items) {
    ++values_;
    if (seek_ != nullptr && values_ == seek_->node && !items) throw SeekDone{};
  }

  TreeSink& inner_;
  const Seek* seek_;
  std::uint64_t values_ = 0;
};

}  // namespace

void Walker::seekItems(WireCursor& c, ItemsMark::Frame& frame) {
  Seek& seek = *seek_;
  const auto mark = [&](std::uint64_t index, bool stopped) {
    ItemsMark m;
    m.node = seek.node;
    m.index = index;
    m.value = *seek.values + 1;
    m.offset = c.pos();
    m.stopped = stopped;
    m.frame = frame;  // the keys so far, for a map
    m.frame.container_key = std::string(frame.container.key);
    m.frame.container.key = {};
    m.frame.follow = follow_;
    const std::string_view bytes = c.bytes();
    const std::less_equal<const char*> before_or_at;  // a total order, whatever the pointers
    const bool in_input = !seek.input.empty() && before_or_at(seek.input.data(), bytes.data()) &&
                          before_or_at(bytes.data() + bytes.size(), seek.input.data() + seek.input.size());
    if (in_input) {
      m.frame.bytes = bytes;
    } else {
      m.frame.owned = std::make_shared<const std::string>(bytes);
      m.frame.bytes = *m.frame.owned;
    }
    seek.mark = std::move(m);
  };
  const std::int64_t count = frame.container.count;
  std::int64_t i = 0;
  std::uint64_t before = 0;
  try {
    for (; i < count; ++i) {
      if (static_cast<std::uint64_t>(i) == seek.from) mark(seek.from, false);
      before = *seek.values;
      item(c, frame, i);
    }
  } catch (const WireStop&) {
    if (!seek.mark) mark(seek.from, true);
    seek.mark->total = static_cast<std::uint64_t>(i) + (*seek.values > before ? 1 : 0);
    throw SeekDone{};
  }
  if (!seek.mark) mark(static_cast<std::uint64_t>(count), false);  // asked past the end
  seek.mark->total = static_cast<std::uint64_t>(count);
  throw SeekDone{};
}

void Walker::resume(ItemsMark& mark, std::uint64_t until, const std::uint64_t& values) {
  ItemsMark::Frame& frame = mark.frame;
  frame.container.key = frame.container_key;
  const auto count = static_cast<std::uint64_t>(frame.container.count);
  if (mark.stopped) {
    Item container = frame.container;
    container.stopped = true;
    sink_.close(container);
    return;
  }
  WireCursor c(frame.bytes, mark.offset);
  open_.push_back(frame.container);
  inner_stop_ = false;
  std::uint64_t before = values;
  try {
    while (mark.index < count && mark.index < until && !sink_.full()) {
      before = values;
      item(c, frame, static_cast<std::int64_t>(mark.index));
      ++mark.index;
      mark.offset = c.pos();
    }
  } catch (const WireStop& stop) {
    // As the buffer's walk does: what is open closes, then the bytes left.
    inner_stop_ = false;
    while (!open_.empty()) {
      Item open = open_.back();
      open_.pop_back();
      open.stopped = true;
      sink_.close(open);
    }
    // The item was shown (in part) or never was: either way none follows.
    if (values > before) ++mark.index;
    mark.stopped = true;
    ++summary_.undecoded;
    sink_.stopCause(stop.kind, stop.at != kNoOffset ? stop.at : stop.offset, stop.at != kNoOffset);
    sink_.undecoded(stop.offset, frame.bytes.substr(stop.offset), stop.why);
    return;
  }
  open_.pop_back();
  if (mark.index == count) sink_.close(frame.container);
}

}  // namespace walk_detail

std::optional<ItemsMark> FindItems(const unsigned char* data, std::size_t size, std::uint64_t node,
                                   std::uint64_t from) {
  if (node == 0) return std::nullopt;  // the top: the fields of a request
  const std::unique_ptr<TreeSink> null = MakeNullSink();
  walk_detail::Seek seek;
  seek.node = node;
  seek.from = from;
  seek.input = std::string_view(reinterpret_cast<const char*>(data), size);
  walk_detail::Counted counted(*null, &seek);
  seek.values = &counted.values();
  WalkSummary summary;
  walk_detail::Walker walker(counted, summary);
  walker.setSeek(&seek);
  try {
    walker.top(seek.input);
  } catch (const walk_detail::SeekDone&) {
  }
  return std::move(seek.mark);
}

WalkSummary WalkItems(ItemsMark& mark, TreeSink& sink, std::uint64_t until) {
  WalkSummary summary;
  walk_detail::Counted counted(sink, nullptr);
  walk_detail::Walker walker(counted, summary);
  walker.setFollow(mark.frame.follow);
  counted.begin("", mark.frame.bytes.size(), false, 0, {});
  walker.resume(mark, until, counted.values());
  counted.end();
  mark.value += counted.values();
  return summary;
}

}  // namespace navreq
