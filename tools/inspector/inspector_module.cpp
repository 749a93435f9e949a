// The entry points of the browser inspector: the reader of inputs, the walker, JSON
// view, inflater and diff, compiled to WebAssembly and called by the page.
//
// Every answer is kept in one buffer until the next call; the page copies it
// out (UTF8ToString, or HEAPU8 with navreq_result_data / navreq_result_size).
#include <emscripten/emscripten.h>

#include <exception>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "navreq/kse/input_stream.h"
#include "navreq/read/diff.h"
#include "navreq/read/har.h"
#include "navreq/read/inflate.h"
#include "navreq/read/input.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "navreq/read/windows.h"

namespace {

std::string g_result;
std::string g_form_name;
// The HAR file last read, whose entries the page picks from.
navreq::HarReading g_har;
// The requests shown, by number, with where their windows stopped.
std::map<int, navreq::JsonWindows> g_inputs;
int g_next_input = 1;

// The first window of a request: at most kWindowItems items of each
// container and kWindowValues values in all. The whole tree of every request
// the engine writes; a part of one with hundreds of thousands of values.
constexpr std::uint64_t kWindowItems = 500;
constexpr std::size_t kWindowValues = 50000;

std::string ErrorJson(const char* what) {
  std::string text = "{\"error\": ";
  navreq::AppendJsonString(text, what);
  return text + "}";
}

// A window as the page shows it: paths, container numbers, kWindowItems items
// of each container.
navreq::JsonViewOptions Window() {
  navreq::JsonViewOptions options;
  options.paths = true;
  options.items_cap = kWindowItems;
  return options;
}

navreq::WalkSummary WalkInto(const std::string& input, const navreq::JsonViewOptions& options,
                             std::ostringstream& out) {
  const std::unique_ptr<navreq::TreeSink> view = navreq::MakeJsonView(out, options);
  return navreq::Walk(reinterpret_cast<const unsigned char*>(input.data()), input.size(), *view);
}

}  // namespace

extern "C" {

// Keeps the request as input number N and gives its first window: the tree
// of `navreq dump --json`, each value with its diff path and each container
// with its number, cut as kWindowItems and kWindowValues say ("more" says
// where), and
// dump's exit status: {"status": 0|1|2, "input": N, "tree": {...}}.
EMSCRIPTEN_KEEPALIVE const char* navreq_inspect(const unsigned char* data, std::size_t size) {
  try {
    const int input = g_next_input++;
    const std::string& bytes =
        g_inputs.try_emplace(input, std::string(reinterpret_cast<const char*>(data), size))
            .first->second.bytes();
    navreq::JsonViewOptions options = Window();
    options.budget = kWindowValues;
    std::ostringstream tree;
    const navreq::WalkSummary summary = WalkInto(bytes, options, tree);
    g_result = "{\"status\": " + std::to_string(summary.status()) + ", \"input\": " + std::to_string(input) +
               ", \"tree\": " + tree.str() + "}";
  } catch (const std::exception& e) {
    g_result = ErrorJson(e.what());
  }
  return g_result.c_str();
}

// The next window of one container of input N: its items from item `from`
// on, at most `budget` values, and kWindowItems items of each container
// within: {"items": [...], "more": {...}}; `path` is the container's path
// ("" for the top, node 0). A window that follows the last one of its
// container walks only its own items (read/windows.h).
EMSCRIPTEN_KEEPALIVE const char* navreq_items(int input, double node, double from, double budget,
                                              const char* path) {
  try {
    const auto found = g_inputs.find(input);
    if (found == g_inputs.end()) {
      g_result = ErrorJson("no such input");
      return g_result.c_str();
    }
    navreq::JsonViewOptions options = Window();
    options.fragment = true;
    options.node = static_cast<std::uint64_t>(node);
    options.from = static_cast<std::uint64_t>(from);
    options.budget = static_cast<std::size_t>(budget);
    options.node_path = path;
    std::ostringstream part;
    found->second.write(part, options);
    g_result = part.str();
    if (g_result.empty()) g_result = ErrorJson("no such container");
  } catch (const std::exception& e) {
    g_result = ErrorJson(e.what());
  }
  return g_result.c_str();
}

// Forgets input N.
EMSCRIPTEN_KEEPALIVE void navreq_release(int input) { g_inputs.erase(input); }

// The differences of `navreq diff` as a JSON array of {"path", "a", "b", "line"}.
EMSCRIPTEN_KEEPALIVE const char* navreq_diff(const char* a, std::size_t a_size, const char* b,
                                             std::size_t b_size) {
  try {
    const std::vector<navreq::Difference> diffs =
        navreq::DiffRequests(std::string(a, a_size), std::string(b, b_size), {});
    g_result = navreq::DifferencesJson(diffs, true);
  } catch (const std::exception& e) {
    g_result = ErrorJson(e.what());
  }
  return g_result.c_str();
}

// Inflates a gzip stream with the walker's bound: 1 with the bytes as the
// result, 0 with the reason as the result.
EMSCRIPTEN_KEEPALIVE int navreq_inflate(const char* data, std::size_t size) {
  std::string error;
  try {
    const navreq::GunzipResult r =
        navreq::Gunzip(std::string_view(data, size), ::navcore::ryn::kKseMaxInflatedSize, g_result);
    if (r.ok()) return 1;
    error = r.error;
  } catch (const std::exception& e) {
    error = e.what();
  }
  g_result = error;
  return 0;
}

// Reads the request in an input as `navreq dump` does (navreq/read/input.h),
// `mode` being an InputMode's number: the form read (an InputForm's number,
// named by navreq_input_form_name) with the bytes as the result, or -1 with
// {"message", "form", "offset", "line", "column"} as the result.
EMSCRIPTEN_KEEPALIVE int navreq_read_input(const char* data, std::size_t size, int mode) {
  try {
    if (mode < static_cast<int>(navreq::InputMode::kDetect) ||
        mode > static_cast<int>(navreq::InputMode::kRaw)) {
      g_result =
          "{\"message\": \"no such input mode\", \"form\": \"text\", \"offset\": 0, \"line\": 1, "
          "\"column\": 1}";
      return -1;
    }
    navreq::InputReading r = navreq::ReadInput(std::string(data, size), static_cast<navreq::InputMode>(mode));
    if (r.ok()) {
      g_result = std::move(r.bytes);
      return static_cast<int>(r.form);
    }
    const navreq::InputError& e = *r.error;
    g_result = "{\"message\": ";
    navreq::AppendJsonString(g_result, e.message);
    g_result += ", \"form\": ";
    navreq::AppendJsonString(g_result, navreq::InputFormName(e.form));
    g_result += ", \"offset\": " + std::to_string(e.offset) + ", \"line\": " + std::to_string(e.line) +
                ", \"column\": " + std::to_string(e.column) + "}";
  } catch (const std::exception& e) {
    g_result = "{\"message\": ";
    navreq::AppendJsonString(g_result, e.what());
    g_result += ", \"form\": \"text\", \"offset\": 0, \"line\": 1, \"column\": 1}";
  }
  return -1;
}

// Reads a HAR file with the library's reader (navreq/read/har.h) and keeps
// it: 0 when the input is not HAR text (the page reads it as a request), else
// 1 with {"entries": [{"index", "method", "url", "request": true|false,
// "form", "gzip", "inflated_by_writer"} or {..., "skipped", "reason"}]} or
// {"error": "..."} as the result.
EMSCRIPTEN_KEEPALIVE int navreq_har(const char* data, std::size_t size) {
  const std::string_view text(data, size);
  if (!navreq::LooksLikeHar(text)) return 0;
  try {
    g_har = navreq::ReadHar(text);
    if (!g_har.ok()) {
      g_result = ErrorJson(g_har.error->c_str());
      return 1;
    }
    g_result = "{\"entries\": [";
    for (const navreq::HarEntry& e : g_har.entries) {
      g_result += e.index == 0 ? "\n{\"index\": " : ",\n{\"index\": ";
      g_result += std::to_string(e.index) + ", \"method\": ";
      navreq::AppendJsonString(g_result, e.method);
      g_result += ", \"url\": ";
      navreq::AppendJsonString(g_result, e.url);
      if (e.request()) {
        g_result += ", \"request\": true, \"form\": ";
        navreq::AppendJsonString(g_result, navreq::HarBodyFormName(e.form));
        g_result += std::string(", \"gzip\": ") + (e.gzip ? "true" : "false") +
                    ", \"inflated_by_writer\": " + (e.inflated_by_writer ? "true" : "false") + "}";
      } else {
        g_result += ", \"request\": false, \"skipped\": ";
        navreq::AppendJsonString(g_result, navreq::HarSkipName(e.skip));
        g_result += ", \"reason\": ";
        navreq::AppendJsonString(g_result, e.reason);
        g_result += "}";
      }
    }
    g_result += "\n]}";
  } catch (const std::exception& e) {
    g_har = navreq::HarReading{};
    g_result = ErrorJson(e.what());
  }
  return 1;
}

// The request of entry `index` of the HAR file last read: 1 with its bytes
// as the result, 0 when there is no such entry or it holds no request.
EMSCRIPTEN_KEEPALIVE int navreq_har_entry(double index) {
  if (!(index >= 0) || index >= static_cast<double>(g_har.entries.size())) return 0;
  const navreq::HarEntry& e = g_har.entries[static_cast<std::size_t>(index)];
  if (!e.request()) return 0;
  g_result = e.bytes;
  return 1;
}

// The name of form number `form` ("hex", "xxd output", "base64", ...).
EMSCRIPTEN_KEEPALIVE const char* navreq_input_form_name(int form) {
  g_form_name = navreq::InputFormName(static_cast<navreq::InputForm>(form));
  return g_form_name.c_str();
}

EMSCRIPTEN_KEEPALIVE const char* navreq_result_data() { return g_result.data(); }
EMSCRIPTEN_KEEPALIVE std::size_t navreq_result_size() { return g_result.size(); }

}  // extern "C"
