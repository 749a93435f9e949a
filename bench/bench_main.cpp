// navreq_bench: time, allocations and output size of every entry function,
// the route body beside libprotobuf and nanopb, the compressors, and scaling
// with the number of fixes. Ends with a `summary:` block of ratios computed
// from this run.
//
//   navreq_bench [--examples-dir DIR] [Google Benchmark flags]
//   navreq_bench --list-ops
//   navreq_bench --verify-writer [SEQUENCES]    (the Kse stream against a
//       literal piece-by-piece writer: bytes, length and capacity)
//   navreq_bench --instr-op NAME [--instr-calls N]   (under callgrind; see
//       scripts/bench-callgrind.py: only the N calls are collected)
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench_ops.h"
#include "inputs.h"

#ifndef NAVREQ_BENCH_EXAMPLES_DIR
#define NAVREQ_BENCH_EXAMPLES_DIR "examples"
#endif
#ifndef NAVREQ_BENCH_GZIP_BACKEND
#define NAVREQ_BENCH_GZIP_BACKEND "zlib"
#endif

namespace navreq_bench {

int VerifyWriter(int sequences);  // writer_check.cpp

std::vector<Op>& Ops() {
  static std::vector<Op> ops;
  return ops;
}

namespace {

struct Result {
  double cpu_ns = 0;  // per iteration
  std::map<std::string, double> counters;
};

// Console output as usual, and every result kept by name: with repetitions
// the "min" aggregate (the least disturbed repetition), else the single run.
class CollectingReporter : public benchmark::ConsoleReporter {
 public:
  // Colours only on a terminal: the output is often kept in a file.
  CollectingReporter() : ConsoleReporter(isatty(fileno(stdout)) != 0 ? OO_Defaults : OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const bool min = run.run_type == Run::RT_Aggregate && run.aggregate_name == "min";
      if (run.run_type == Run::RT_Aggregate && !min) continue;
      const std::string name = run.run_name.str();
      if (!min && from_min_.count(name) != 0) continue;
      Result r;
      r.cpu_ns = run.GetAdjustedCPUTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
      for (const auto& c : run.counters) r.counters[c.first] = c.second.value;
      results_[name] = r;
      if (min) from_min_[name] = true;
    }
    ConsoleReporter::ReportRuns(runs);
  }

  const Result* find(const std::string& name) const {
    auto it = results_.find(name);
    return it == results_.end() ? nullptr : &it->second;
  }

 private:
  std::map<std::string, Result> results_;
  std::map<std::string, bool> from_min_;
};

double Ns(const CollectingReporter& r, const std::string& name) {
  const Result* x = r.find(name);
  return x != nullptr ? x->cpu_ns : std::nan("");
}

double CounterOf(const CollectingReporter& r, const std::string& name, const std::string& counter) {
  const Result* x = r.find(name);
  if (x == nullptr) return std::nan("");
  auto it = x->counters.find(counter);
  return it == x->counters.end() ? std::nan("") : it->second;
}

void Line(const char* name, double value) {
  if (std::isnan(value)) {
    std::printf("%s n/a\n", name);
  } else {
    std::printf("%s %.3f\n", name, value);
  }
}

// The figures of docs/performance.md, from this run's results.
void PrintSummary(const CollectingReporter& r) {
  const double body = Ns(r, "body/kse_stream");
  const double route = Ns(r, "request/route");
  const double gzip_body = Ns(r, "gzip/default/body");
  const double envelope = Ns(r, "envelope/route_package_stream");
  const double essential = body + gzip_body + envelope;
  std::printf("default GZipCompress: %s\n", NAVREQ_BENCH_GZIP_BACKEND);
  std::printf("summary:\n");
  Line("kse_body_write_vs_protobuf", body / Ns(r, "body/protobuf"));
  Line("kse_body_write_vs_nanopb", body / Ns(r, "body/nanopb"));
  Line("kse_body_write_vs_memcpy", body / Ns(r, "body/memcpy"));
  Line("kse_body_read_vs_protobuf", Ns(r, "body/kse_read") / Ns(r, "body/protobuf_parse"));
  Line("route_request_allocs", CounterOf(r, "request/route", "allocs"));
  Line("route_request_overhead_share", (route - essential) / route);
  Line("gzip_default_vs_zlib6_oneshot", gzip_body / Ns(r, "gzip/zlib_oneshot_6/body"));
  Line("gzip_size_vs_zlib6", CounterOf(r, "gzip/default/body", "out_bytes") /
                                 CounterOf(r, "gzip/zlib_oneshot_6/body", "out_bytes"));
  Line("location_per_fix_10000_vs_1000",
       (Ns(r, "scale/location/10000") / 10000.0) / (Ns(r, "scale/location/1000") / 1000.0));
  Line("route_per_fix_10000_vs_1000",
       (Ns(r, "scale/route/10000") / 10000.0) / (Ns(r, "scale/route/1000") / 1000.0));
}

int RunInstrumented(const std::string& name, long calls) {
  for (const Op& op : Ops()) {
    if (op.name != name) continue;
    std::size_t bytes = 0;
    for (int i = 0; i < 3; ++i) bytes += op.once();  // warm caches and lazy statics
    const AllocStats before = ThreadAllocs();
    CALLGRIND_TOGGLE_COLLECT;
    for (long i = 0; i < calls; ++i) bytes += op.once();
    CALLGRIND_TOGGLE_COLLECT;
    const AllocStats after = ThreadAllocs();
    std::printf("%s calls=%ld allocs_per_call=%.2f bytes=%zu\n", name.c_str(), calls,
                static_cast<double>(after.calls - before.calls) / static_cast<double>(calls), bytes);
    return 0;
  }
  std::fprintf(stderr, "navreq_bench: no operation named '%s' (see --list-ops)\n", name.c_str());
  return 64;
}

}  // namespace
}  // namespace navreq_bench

int main(int argc, char** argv) {
  using namespace navreq_bench;
  std::string examples_dir = NAVREQ_BENCH_EXAMPLES_DIR;
  std::string instr_op;
  long instr_calls = 100;
  bool list = false;
  std::vector<char*> rest{argv[0]};
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--examples-dir" && i + 1 < argc) {
      examples_dir = argv[++i];
    } else if (a == "--instr-op" && i + 1 < argc) {
      instr_op = argv[++i];
    } else if (a == "--instr-calls" && i + 1 < argc) {
      instr_calls = std::strtol(argv[++i], nullptr, 10);
    } else if (a == "--list-ops") {
      list = true;
    } else if (a == "--verify-writer") {
      const int sequences = i + 1 < argc ? std::atoi(argv[i + 1]) : 0;
      return VerifyWriter(sequences > 0 ? sequences : 20000) == 0 ? 0 : 1;
    } else {
      rest.push_back(argv[i]);
    }
  }

  const Inputs in = LoadInputs(examples_dir);
  RegisterRequestBenchmarks(in);
  RegisterBodyBenchmarks(in);
  RegisterGzipBenchmarks(in);
  RegisterScalingBenchmarks(in);

  if (list) {
    for (const Op& op : Ops()) std::printf("%s\n", op.name.c_str());
    return 0;
  }
  if (!instr_op.empty()) return RunInstrumented(instr_op, instr_calls);

  for (const std::string& s : in.sources) std::fprintf(stderr, "input %s\n", s.c_str());
  int bench_argc = static_cast<int>(rest.size());
  benchmark::Initialize(&bench_argc, rest.data());
  if (benchmark::ReportUnrecognizedArguments(bench_argc, rest.data())) return 64;
  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  PrintSummary(reporter);
  benchmark::Shutdown();
  return 0;
}
