// Heap allocations made by the calling thread, counted by the bench binary's
// own malloc family (alloc_counter.cpp), which every operator new reaches too.
#pragma once

#include <cstdint>

namespace navreq_bench {

struct AllocStats {
  std::uint64_t calls = 0;  // malloc, calloc, realloc, aligned allocations
  std::uint64_t bytes = 0;  // bytes asked for
};

// Totals of the calling thread since it started.
AllocStats ThreadAllocs() noexcept;

}  // namespace navreq_bench
