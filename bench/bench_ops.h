// The benchmark registry shared by the bench's translation units.
//
// Every measured operation is registered once, by name, as a callable that
// performs one call and returns the size of what it produced. It then runs
// under Google Benchmark (time, allocations per call, output bytes as
// counters) and, by name, under callgrind (`--instr-op NAME`).
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "alloc_counter.h"
#include "inputs.h"

namespace navreq_bench {

struct Op {
  std::string name;
  std::function<std::size_t()> once;
};

std::vector<Op>& Ops();

// Registers `call` (returning output bytes) under `name`. `items` > 0 adds an
// items-per-second rate (fixes, for the scaling runs).
template <class F>
void Register(const std::string& name, F call, std::int64_t items = 0) {
  Ops().push_back(Op{name, call});
  auto* bench = benchmark::RegisterBenchmark(name.c_str(), [call, items](benchmark::State& state) mutable {
    const AllocStats before = ThreadAllocs();
    std::size_t bytes = 0;
    for (auto _ : state) {
      bytes = call();
      benchmark::DoNotOptimize(bytes);
    }
    const AllocStats after = ThreadAllocs();
    state.counters["allocs"] = benchmark::Counter(static_cast<double>(after.calls - before.calls),
                                                  benchmark::Counter::kAvgIterations);
    state.counters["alloc_bytes"] = benchmark::Counter(static_cast<double>(after.bytes - before.bytes),
                                                       benchmark::Counter::kAvgIterations);
    state.counters["out_bytes"] = static_cast<double>(bytes);
    if (items > 0) state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * items);
  });
  // With repetitions, the least disturbed one: on a shared machine other
  // processes only ever add time.
  bench->ComputeStatistics("min", [](const std::vector<double>& v) {
    double m = v.empty() ? 0.0 : v.front();
    for (double x : v) m = x < m ? x : m;
    return m;
  });
}

// Registration per family. Each first makes one call on its input; a call that
// fails there stops the run rather than timing an error path.
void RegisterRequestBenchmarks(const Inputs& in);
void RegisterBodyBenchmarks(const Inputs& in);
void RegisterGzipBenchmarks(const Inputs& in);
void RegisterScalingBenchmarks(const Inputs& in);

}  // namespace navreq_bench
