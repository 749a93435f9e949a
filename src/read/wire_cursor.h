// The walker's view of the library's Kse input stream: offsets counted in the
// whole buffer, the head forms that a byte-exact copy must keep, and every
// read error turned into a WireStop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "navreq/kse/input_stream.h"
#include "navreq/kse/wire_types.h"

namespace navreq {

// Head type codes, as the wire layer names them.
using ::navcore::ryn::kKseDouble;
using ::navcore::ryn::kKseFloat;
using ::navcore::ryn::kKseInt16;
using ::navcore::ryn::kKseInt32;
using ::navcore::ryn::kKseInt64;
using ::navcore::ryn::kKseInt8;
using ::navcore::ryn::kKseList;
using ::navcore::ryn::kKseMap;
using ::navcore::ryn::kKseSimpleList;
using ::navcore::ryn::kKseString1;
using ::navcore::ryn::kKseString4;
using ::navcore::ryn::kKseStructBegin;
using ::navcore::ryn::kKseStructEnd;
using ::navcore::ryn::kKseZero;

// Decoding stops here: the offset of the first byte that could not be read.
struct WireStop {
  std::size_t offset;
  std::string why;
  ::navcore::ryn::ReadProblemKind kind = ::navcore::ryn::ReadProblemKind::kTruncated;
  std::size_t at = static_cast<std::size_t>(-1);  // the failing byte, when `offset` is moved back to a head
};

struct Head {
  std::size_t offset = 0;  // in the whole buffer
  std::uint8_t type = 0;
  std::uint8_t tag = 0;
  bool long_head = false;  // a tag below 15 in the two-byte form
  std::uint8_t size = 1;
};

class WireCursor {
 public:
  // Reads `bytes` from `from` on.
  explicit WireCursor(std::string_view bytes, std::size_t from = 0)
      : bytes_(bytes), base_(from), in_(bytes.data() + from, bytes.size() - from) {}
  WireCursor(const WireCursor&) = delete;
  WireCursor& operator=(const WireCursor&) = delete;

  [[nodiscard]] std::size_t pos() const noexcept { return base_ + in_.position(); }
  [[nodiscard]] std::size_t size() const noexcept { return bytes_.size(); }
  [[nodiscard]] bool atEnd() const noexcept { return in_.atEnd(); }
  [[nodiscard]] std::size_t left() const noexcept { return in_.remaining(); }
  [[nodiscard]] std::string_view bytes() const noexcept { return bytes_; }

  Head head();
  // The value of an integer head (codes 0-3 and the zero head).
  std::int64_t integer(const Head& h);
  // The bit pattern of a float (4) or double (8).
  std::uint64_t realBits(const Head& h);
  std::string_view string(const Head& h);
  // A byte array after its head. `count_wire`: the count's head type when it
  // is not the smallest form, else -1.
  std::string_view byteArray(int& count_wire);
  // A list (min_element 1) or map (2) count, checked against the bytes left.
  std::int64_t count(std::size_t min_element, int& count_wire);
  // Moves past the value of `h`, nested values included.
  void skip(const Head& h);
  // The end of the value of `h`, found by skipping it (the cursor stays).
  std::size_t measure(const Head& h) const;
  // The text of a string or integer value of `h`, read ahead (the cursor stays).
  std::string peekText(const Head& h) const;

 private:
  // Where the count that starts here is, and its head type.
  int countForm() const;

  std::string_view bytes_;
  std::size_t base_;
  ::navcore::ryn::KseInputStream in_;
};

// The head type the writer gives `value`: the smallest integer form.
[[nodiscard]] std::uint8_t SmallestIntegerWire(std::int64_t value) noexcept;

}  // namespace navreq
