// Counting allocator hooks for the bench binary: the malloc family is replaced
// by thin wrappers around glibc's own entry points, so that every allocation
// of the process (operator new, zlib's, libdeflate's, the library's) is counted
// once, per thread, without changing which allocator serves it.
#include "alloc_counter.h"

#include <cstddef>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* p, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* p);
}

namespace {

// Trivial thread-locals of the executable need no allocation to exist.
thread_local std::uint64_t t_calls = 0;
thread_local std::uint64_t t_bytes = 0;

inline void Count(std::size_t size) noexcept {
  ++t_calls;
  t_bytes += size;
}

}  // namespace

namespace navreq_bench {

AllocStats ThreadAllocs() noexcept { return AllocStats{t_calls, t_bytes}; }

}  // namespace navreq_bench

extern "C" {

void* malloc(std::size_t size) noexcept {
  Count(size);
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  Count(count * size);
  return __libc_calloc(count, size);
}

void* realloc(void* p, std::size_t size) noexcept {
  Count(size);
  return __libc_realloc(p, size);
}

void free(void* p) noexcept { __libc_free(p); }

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  Count(size);
  return __libc_memalign(alignment, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
  Count(size);
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** out, std::size_t alignment, std::size_t size) noexcept {
  Count(size);
  void* p = __libc_memalign(alignment, size);
  if (p == nullptr) return 12;  // ENOMEM
  *out = p;
  return 0;
}

}  // extern "C"
