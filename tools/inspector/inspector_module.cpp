// The entry points of the browser inspector: the tool's own walker, JSON
// view, inflater and diff, compiled to WebAssembly and called by the page.
//
// Every answer is kept in one buffer until the next call; the page copies it
// out (UTF8ToString, or HEAPU8 with navreq_result_data / navreq_result_size).
#include <emscripten/emscripten.h>

#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "diff.h"
#include "dump_views.h"
#include "gzip_util.h"
#include "walk.h"

namespace {

std::string g_result;

std::string ErrorJson(const char* what) {
  std::string text = "{\"error\": ";
  navreq::tool::AppendJsonString(text, what);
  return text + "}";
}

}  // namespace

extern "C" {

// The tree of `navreq dump --json`, each value with its diff path, and dump's
// exit status: {"status": 0|1|2, "tree": {...}}.
EMSCRIPTEN_KEEPALIVE const char* navreq_inspect(const unsigned char* data, std::size_t size) {
  try {
    std::ostringstream tree;
    navreq::tool::WalkSummary summary;
    {
      const std::unique_ptr<navreq::tool::TreeSink> view = navreq::tool::MakeJsonView(tree, true);
      summary = navreq::tool::Walk(data, size, *view);
    }
    g_result = "{\"status\": " + std::to_string(summary.status()) + ", \"tree\": " + tree.str() + "}";
  } catch (const std::exception& e) {
    g_result = ErrorJson(e.what());
  }
  return g_result.c_str();
}

// The differences of `navreq diff` as a JSON array of {"path", "a", "b", "line"}.
EMSCRIPTEN_KEEPALIVE const char* navreq_diff(const char* a, std::size_t a_size, const char* b,
                                             std::size_t b_size) {
  try {
    const std::vector<navreq::tool::Difference> diffs =
        navreq::tool::DiffRequests(std::string(a, a_size), std::string(b, b_size), {});
    g_result = navreq::tool::DifferencesJson(diffs, true);
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
    if (navreq::tool::Gunzip(std::string_view(data, size), navreq::tool::kMaxInflatedSize, g_result, error)) {
      return 1;
    }
  } catch (const std::exception& e) {
    error = e.what();
  }
  g_result = error;
  return 0;
}

EMSCRIPTEN_KEEPALIVE const char* navreq_result_data() { return g_result.data(); }
EMSCRIPTEN_KEEPALIVE std::size_t navreq_result_size() { return g_result.size(); }

}  // extern "C"
