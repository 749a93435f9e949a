// navreq_bench_windows: what one window of the inspector's JSON view costs,
// by how far into a long container it is. A request of two million values
// (a list of 2,000,000 integers; or of 400,000 records, 2.4 million values) is
// shown as the page asks for it: windows of 500 items and 50,000 values, with
// paths. "Resumed" is JsonWindows, which goes on from the last window's
// mark; "Rewalk" walks the whole request for every window.
//
//   navreq_bench_windows [Google Benchmark flags]
#include <benchmark/benchmark.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "navreq/read/windows.h"

namespace {

constexpr std::uint64_t kItems = 500;
constexpr std::size_t kValues = 50000;

// Bytes spelled by the format's rules: one-byte heads (tag << 4 | type),
// integers in their smallest form, big-endian.
void Head(std::string& out, int tag, int type) { out.push_back(static_cast<char>((tag << 4) | type)); }
void Integer(std::string& out, int tag, std::int64_t v) {
  if (v == 0) return Head(out, tag, 12);
  int size = 8;
  int type = 3;
  if (v >= -128 && v <= 127) {
    size = 1;
    type = 0;
  } else if (v >= -32768 && v <= 32767) {
    size = 2;
    type = 1;
  } else if (v >= INT32_MIN && v <= INT32_MAX) {
    size = 4;
    type = 2;
  }
  Head(out, tag, type);
  for (int i = size - 1; i >= 0; --i)
    out.push_back(static_cast<char>(static_cast<std::uint64_t>(v) >> (8 * i)));
}

// Field 0: int8 5; field 1: the long list (node 2 in the walk).
std::string Request(bool records) {
  std::string out;
  Integer(out, 0, 5);
  const std::int64_t n = records ? 400000 : 2000000;
  Head(out, 1, 9);
  Integer(out, 0, n);
  for (std::int64_t i = 0; i < n; ++i) {
    if (!records) {
      Integer(out, 0, i);
      continue;
    }
    Head(out, 0, 10);
    Integer(out, 0, i);
    Integer(out, 1, i * 7);
    Head(out, 2, 9);
    Integer(out, 0, 2);
    Integer(out, 0, 1);
    Integer(out, 0, -1);
    out.push_back(0x0b);
  }
  return out;
}

const std::string& Input(bool records) {
  static const std::string list = Request(false);
  static const std::string record_list = Request(true);
  return records ? record_list : list;
}

navreq::JsonViewOptions WindowAt(std::uint64_t window) {
  navreq::JsonViewOptions options;
  options.paths = true;
  options.items_cap = kItems;
  options.budget = kValues;
  options.fragment = true;
  options.node = 2;
  options.node_path = "1";
  options.from = (window - 1) * kItems;
  return options;
}

// Window `window` (1: items 0-499) after windows 1 .. window-1 were shown.
void Resumed(benchmark::State& state) {
  const bool records = state.range(1) != 0;
  const auto window = static_cast<std::uint64_t>(state.range(0));
  std::size_t bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    navreq::JsonWindows windows(Input(records));
    for (std::uint64_t w = 1; w < window; ++w) {
      std::ostringstream earlier;
      windows.write(earlier, WindowAt(w));
    }
    std::ostringstream out;
    state.ResumeTiming();
    windows.write(out, WindowAt(window));
    bytes = out.str().size();
    benchmark::DoNotOptimize(bytes);
  }
  state.counters["json_bytes"] = static_cast<double>(bytes);
}

// The same window from a walk of the whole request.
void Rewalk(benchmark::State& state) {
  const bool records = state.range(1) != 0;
  const std::string& input = Input(records);
  for (auto _ : state) {
    std::ostringstream out;
    {
      const auto view = navreq::MakeJsonView(out, WindowAt(static_cast<std::uint64_t>(state.range(0))));
      (void)navreq::Walk(reinterpret_cast<const unsigned char*>(input.data()), input.size(), *view);
    }
    benchmark::DoNotOptimize(out.str().size());
  }
}

BENCHMARK(Resumed)
    ->ArgsProduct({{1, 2, 40, 400}, {0, 1}})
    ->ArgNames({"window", "records"})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(Rewalk)
    ->ArgsProduct({{1, 40}, {0, 1}})
    ->ArgNames({"window", "records"})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
