// Fuzz target: `navreq dump` and `navreq pack` on arbitrary bytes.
//
// `dump` must never crash and never read past its input, whatever it is
// given: envelopes whose body is broken gzip, counts far beyond the bytes
// left, nesting without end, truncated heads. Its JSON view must be one JSON
// document, and whenever everything decoded (status 0 or 2), packing that
// JSON must give back the input byte for byte. The browser inspector's small
// windows of it are JSON too, a container cut short gives its next window, and
// windows resumed from where the last one stopped are those walked afresh.
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "fuzz_support.h"
#include "gzip_compress.h"
#include "navreq/read/pack.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "navreq/read/windows.h"
#include "navreq/records/all.h"

namespace {

// The first container cut short in a window, depth first; `options` becomes
// the request for its next window.
const nlohmann::json* FirstMore(const nlohmann::json& node, const std::string& path,
                                navreq::JsonViewOptions& options) {
  if (!node.is_object()) return nullptr;
  if (node.contains("more")) {
    const nlohmann::json& more = node["more"];
    options.fragment = true;
    options.node = more["node"].get<std::uint64_t>();
    options.from = more["from"].get<std::uint64_t>();
    options.node_path = path;
    return &more;
  }
  for (const char* key : {"fields", "items", "entries"}) {
    if (!node.contains(key)) continue;
    for (const nlohmann::json& child : node[key]) {
      // A map entry cut short can have its key and no value.
      if (child.contains("key") && !child.contains("value")) continue;
      const nlohmann::json& value = child.contains("key") ? child["value"] : child;
      if (!value.is_object()) continue;
      const std::string child_path = value.value("path", "");
      if (const auto* found = FirstMore(value, child_path, options)) return found;
      for (const char* carried : {"kse", "message"}) {
        if (value.contains(carried)) {
          if (const auto* found = FirstMore(value[carried], child_path, options)) return found;
        }
      }
    }
  }
  return nullptr;
}

std::string FreshWindow(const std::uint8_t* data, std::size_t size, const navreq::JsonViewOptions& options) {
  std::ostringstream out;
  {
    const auto view = navreq::MakeJsonView(out, options);
    (void)navreq::Walk(data, size, *view);
  }
  return out.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::ostringstream text;
  navreq::WalkSummary summary;
  {
    const auto view = navreq::MakeTextView(text, false);
    summary = navreq::Walk(data, size, *view);
  }
  const std::string shown = text.str();
  NAVREQ_FUZZ_CHECK(!shown.empty() && shown.back() == '\n', "the text tree ends with a newline");

  std::ostringstream json_text;
  {
    const auto view = navreq::MakeJsonView(json_text);
    const navreq::WalkSummary again = navreq::Walk(data, size, *view);
    NAVREQ_FUZZ_CHECK(again.status() == summary.status(), "both views see the same input");
  }
  const nlohmann::json tree = nlohmann::json::parse(json_text.str(), nullptr, false);
  NAVREQ_FUZZ_CHECK(!tree.is_discarded(), "--json output is valid JSON");
  if (summary.status() == 0 || summary.status() == 2) {
    const std::string packed = navreq::PackJson(tree.dump(), navreq::tool::Gzip);
    NAVREQ_FUZZ_CHECK(packed == std::string(reinterpret_cast<const char*>(data), size),
                      "dump --json | pack gives back the input");
  }

  navreq::JsonViewOptions window;
  window.paths = true;
  window.budget = 16;
  window.items_cap = 4;
  std::ostringstream windowed;
  {
    const auto view = navreq::MakeJsonView(windowed, window);
    (void)navreq::Walk(data, size, *view);
  }
  const nlohmann::json first = nlohmann::json::parse(windowed.str(), nullptr, false);
  NAVREQ_FUZZ_CHECK(!first.is_discarded() && first.is_object(), "a window is valid JSON");
  if (FirstMore(first, "", window) != nullptr) {
    // That container's windows one after the other, each going on from the
    // last one's mark, then the first of them again: every one as the walk
    // of the whole request gives it.
    navreq::JsonWindows windows(std::string(reinterpret_cast<const char*>(data), size));
    const navreq::JsonViewOptions again = window;
    for (int n = 0; n < 4; ++n) {
      const std::string fresh = FreshWindow(data, size, window);
      std::ostringstream resumed;
      windows.write(resumed, window);
      NAVREQ_FUZZ_CHECK(resumed.str() == fresh, "a window resumed from a mark is the window walked afresh");
      const nlohmann::json part = nlohmann::json::parse(fresh, nullptr, false);
      NAVREQ_FUZZ_CHECK(!part.is_discarded() && part.contains("items"), "a window is valid JSON");
      if (n == 0)
        NAVREQ_FUZZ_CHECK(!part["items"].empty(), "the next window of a container cut short has items");
      if (!part.contains("more")) break;
      const std::uint64_t next = part["more"]["from"].get<std::uint64_t>();
      NAVREQ_FUZZ_CHECK(next > window.from, "a window goes on past the last one");
      window.from = next;
    }
    std::ostringstream back;
    windows.write(back, again);
    NAVREQ_FUZZ_CHECK(back.str() == FreshWindow(data, size, again),
                      "a window before the mark is walked afresh");
  }

  // The known records directly, without an envelope around them.
  const auto sink = navreq::MakeNullSink();
  for (const navcore::ryn::RecordInfo* record :
       {&navkse::routesearch::CarRouteReq::kseInfo(), &navkse::traffic::AllOnRouteReqBatch::kseInfo(),
        &navkse::locationReportDMQ::LocationReportRequestDMQ::kseInfo(),
        &navkse::navicore::nav::ugs_guidance_slice_req_t::kseInfo()}) {
    (void)navreq::WalkRecord(data, size, *record, *sink);
  }
  return 0;
}
