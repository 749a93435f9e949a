#include <memory>
#include <optional>
#include <utility>

#include "navreq/read/windows.h"

namespace navreq {

void JsonWindows::write(std::ostream& out, JsonViewOptions options) {
  options.fragment = true;
  std::optional<ItemsMark> mark;
  for (auto it = marks_.begin(); it != marks_.end(); ++it) {
    if (it->node != options.node) continue;
    if (it->index <= options.from) mark = std::move(*it);
    marks_.erase(it);
    break;
  }
  const auto* data = reinterpret_cast<const unsigned char*>(bytes_.data());
  if (!mark) mark = FindItems(data, bytes_.size(), options.node, options.from);
  if (!mark) {
    options.resumed = false;
    const std::unique_ptr<TreeSink> view = MakeJsonView(out, options);
    (void)Walk(data, bytes_.size(), *view);
    return;
  }
  if (mark->index < options.from) {
    const std::unique_ptr<TreeSink> past = MakeNullSink();
    (void)WalkItems(*mark, *past, options.from);
  }
  options.resumed = true;
  options.first_value = mark->value;
  options.items_total = mark->total;
  {
    const std::unique_ptr<TreeSink> view = MakeJsonView(out, options);
    (void)WalkItems(*mark, *view);
  }
  if (kept_ == 0) return;
  marks_.push_front(std::move(*mark));
  if (marks_.size() > kept_) marks_.pop_back();
}

}  // namespace navreq
