// What every fuzz target shares: a reader over the fuzzer's bytes and the
// check that stops a run when an invariant breaks.
//
// The targets are plain functions (LLVMFuzzerTestOneInput); built with
// -fsanitize=fuzzer they run under libFuzzer, built without it they are
// driven by replay_main.cpp over the committed corpora.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

// Aborts with a message naming the broken invariant. libFuzzer reports an
// abort as a crash and saves the input; the replay driver makes the test fail.
#define NAVREQ_FUZZ_CHECK(condition, what)                                                              \
  do {                                                                                                  \
    if (!(condition)) {                                                                                 \
      std::fprintf(stderr, "%s:%d: invariant broken: %s (%s)\n", __FILE__, __LINE__, what, #condition); \
      std::abort();                                                                                     \
    }                                                                                                   \
  } while (false)

namespace navreq {
namespace fuzz {

// Consumes the fuzzer's bytes front to back. Once they are used up every read
// gives zeros, so a short input still describes a complete value.
class ByteSource {
 public:
  ByteSource(const std::uint8_t* data, std::size_t size) noexcept : data_(data), size_(size) {}

  bool empty() const noexcept { return pos_ >= size_; }
  std::size_t left() const noexcept { return empty() ? 0 : size_ - pos_; }

  std::uint8_t u8() noexcept { return empty() ? 0 : data_[pos_++]; }
  std::uint16_t u16() noexcept {
    const unsigned high = u8();  // operands of | are unsequenced: read in two steps
    return static_cast<std::uint16_t>((high << 8) | u8());
  }
  std::uint32_t u32() noexcept {
    const std::uint32_t high = u16();
    return (high << 16) | u16();
  }
  std::uint64_t u64() noexcept {
    const std::uint64_t high = u32();
    return (high << 32) | u32();
  }

  // Up to n bytes as they come (fewer when the input runs out).
  std::string bytes(std::size_t n) {
    const std::size_t take = n < left() ? n : left();
    std::string out(reinterpret_cast<const char*>(data_ + pos_), take);
    pos_ += take;
    return out;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

}  // namespace fuzz
}  // namespace navreq
