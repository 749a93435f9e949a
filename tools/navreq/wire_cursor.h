// A bounds-checked cursor over Kse bytes, for the walker.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace navreq {
namespace tool {

// Head type codes.
constexpr std::uint8_t kWireInt8 = 0;
constexpr std::uint8_t kWireInt16 = 1;
constexpr std::uint8_t kWireInt32 = 2;
constexpr std::uint8_t kWireInt64 = 3;
constexpr std::uint8_t kWireFloat = 4;
constexpr std::uint8_t kWireDouble = 5;
constexpr std::uint8_t kWireString1 = 6;
constexpr std::uint8_t kWireString4 = 7;
constexpr std::uint8_t kWireMap = 8;
constexpr std::uint8_t kWireList = 9;
constexpr std::uint8_t kWireStructBegin = 10;
constexpr std::uint8_t kWireStructEnd = 11;
constexpr std::uint8_t kWireZero = 12;
constexpr std::uint8_t kWireSimpleList = 13;

// Decoding stops here: the offset of the first byte that could not be read.
struct WireStop {
  std::size_t offset;
  std::string why;
};

struct Head {
  std::size_t offset = 0;
  std::uint8_t type = 0;
  std::uint8_t tag = 0;
  bool long_head = false;  // a tag below 15 in the two-byte form
};

class WireCursor {
 public:
  explicit WireCursor(std::string_view bytes)
      : data_(reinterpret_cast<const unsigned char*>(bytes.data())), size_(bytes.size()) {}

  [[nodiscard]] std::size_t pos() const noexcept { return pos_; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool atEnd() const noexcept { return pos_ >= size_; }
  [[nodiscard]] std::size_t left() const noexcept { return size_ - pos_; }

  Head head();
  // The value of an integer head (codes 0-3 and the zero head).
  std::int64_t integer(const Head& h);
  // Moves `n` bytes on.
  void skip(std::size_t n) {
    need(n);
    pos_ += n;
  }
  // `n` bytes big-endian.
  std::uint64_t fixed(std::size_t n);
  std::string_view string(const Head& h);
  // A byte array after its head: the element-type byte, the count, the bytes.
  // `count_wire`: the count's head type when it is not the smallest form, else -1.
  std::string_view byteArray(const Head& h, int& count_wire);
  // A list or map count, checked against the bytes left.
  std::int64_t count(int& count_wire);
  // Moves past the value of `h`; `depth` is the nesting of `h`.
  void skipPayload(const Head& h, int depth);

 private:
  [[noreturn]] void stop(const std::string& why) const { throw WireStop{pos_, why}; }
  void need(std::size_t n) const;

  const unsigned char* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

// The head type the writer gives `value`: the smallest integer form.
[[nodiscard]] std::uint8_t SmallestIntegerWire(std::int64_t value) noexcept;

}  // namespace tool
}  // namespace navreq
