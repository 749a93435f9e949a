// Walking one list's or map's items from where an earlier walk left them.
//
// A big request is read a window at a time (the browser inspector shows a
// few hundred items of a container at once). Walking everything before a
// window again for each one makes the later windows of a long list cost as
// much as the whole request; an ItemsMark instead keeps where the next item's
// head is and what the walk knew there, and WalkItems goes on from it.
//
// The events a resumed walk gives are those Walk gives for the same items:
// the same values with the same offsets, the same problems (a map key seen
// before the mark is still a repeated key after it), and where decoding
// stops, the same closes and undecoded bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "navreq/read/walk.h"

namespace navreq {

// A place among the items of one list or map of a walk. Values are numbered
// in the order the walk begins them (1, 2, ...; the top is 0), which is how
// the JSON view numbers its containers ("node").
struct ItemsMark {
  std::uint64_t node = 0;   // the container's number
  std::uint64_t index = 0;  // the item the walk goes on with
  std::uint64_t value = 0;  // the number the walk's next value gets
  std::size_t offset = 0;   // where that item's head is, in `bytes`
  // Items the whole walk begins in the container: its count, or fewer when
  // decoding stops inside it (an item is begun once any of its values is).
  std::uint64_t total = 0;
  // Decoding stopped inside the container before `index` (in an item before
  // it, or in the one before the mark when that was shown in part): no item
  // follows, and a walk from the mark gives the container's close() alone.
  bool stopped = false;

  // What the walk knew at the mark: the walk's own, kept as it found them.
  struct Frame {
    std::string_view bytes;                       // the buffer the items are in
    std::shared_ptr<const std::string> owned;     // ... when it is not the input (inflated, gathered)
    Item container;                               // the list or map (its `key` is `container_key`)
    std::string container_key;                    // a map value's key text
    const TypeInfo* key = nullptr;                // a map: the declared key type
    const TypeInfo* element = nullptr;            // the declared element or value type
    int depth = 0;                                // the items' nesting depth
    bool side_records = false;                    // the route search's map of side records
    bool follow = true;                           // carried bytes are walked
    std::set<std::pair<std::string, bool>> keys;  // a map: the keys of the items before the mark
  };
  Frame frame;  // what the walk knew at the mark
};

// Walks the request at `data` (as Walk does) up to item `from` of container
// number `node` and marks it, then goes on to the container's end to count
// its items. Empty when there is no such container or it is not a list or a
// map (a record, the top, carried bytes: walk those with Walk). The mark
// refers to `data` itself, which must outlive it, and holds a copy of the
// bytes it is in when those are not `data` (an inflated body: up to the
// inflate bound), and for a map the keys before it.
[[nodiscard]] std::optional<ItemsMark> FindItems(const unsigned char* data, std::size_t size,
                                                 std::uint64_t node, std::uint64_t from);

// Walks the items of `mark`'s container from the mark on, until item `until`
// or until the sink is full (TreeSink::full), and moves the mark past what it
// walked. The sink gets begin() (no record; the size of the items' buffer),
// the items' events, the container's close() once its last item is walked
// or decoding stops inside it (then also stopCause() and undecoded()), and
// end(). The summary counts only what this walk saw.
[[nodiscard]] WalkSummary WalkItems(ItemsMark& mark, TreeSink& sink,
                                    std::uint64_t until = std::numeric_limits<std::uint64_t>::max());

}  // namespace navreq
