// The reading library's one protocol-buffers reader: the stop event's
// message is the only one a request carries, and reading it back must not
// need the serializer's protocol-buffers runtime. DecodeStopEvent reads it
// with its schema, the walk field by field without; both through this.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "wire_cursor.h"

namespace navreq {

// Protocol-buffers wire types.
constexpr int kProtoVarint = 0;
constexpr int kProtoFixed64 = 1;
constexpr int kProtoLengthDelimited = 2;
constexpr int kProtoFixed32 = 5;

// The bytes of a varint as the writer gives it (its shortest form).
inline std::size_t VarintSize(std::uint64_t v) noexcept {
  std::size_t n = 1;
  for (; v >= 0x80; v >>= 7) ++n;
  return n;
}
inline void AppendVarint(std::string& out, std::uint64_t v) {
  for (; v >= 0x80; v >>= 7) out.push_back(static_cast<char>((v & 0x7F) | 0x80));
  out.push_back(static_cast<char>(v));
}

// Reads a message's bytes; every read past their end, or of a malformed
// varint, throws WireStop: at the byte that is missing, past a varint's
// tenth byte, or at the field's key for a length past the end.
class ProtobufReader {
 public:
  struct Key {
    std::size_t offset = 0;  // of the key
    std::uint64_t raw = 0;   // number << 3 | wire type, as written
    std::uint64_t number = 0;
    int wire = 0;
  };

  explicit ProtobufReader(std::string_view bytes) : bytes_(bytes) {}

  [[nodiscard]] std::size_t pos() const noexcept { return pos_; }
  [[nodiscard]] bool atEnd() const noexcept { return pos_ >= bytes_.size(); }
  [[nodiscard]] std::size_t left() const noexcept { return bytes_.size() - pos_; }

  Key key() {
    Key k;
    k.offset = pos_;
    k.raw = varint();
    k.number = k.raw >> 3;
    k.wire = static_cast<int>(k.raw & 7);
    return k;
  }

  std::uint64_t varint() {
    std::uint64_t v = 0;
    for (int shift = 0; shift < 64; shift += 7) {
      if (atEnd())
        throw WireStop{pos_, "message cut short inside a varint", ::navcore::ryn::ReadProblemKind::kBadEvent};
      const auto b = static_cast<unsigned char>(bytes_[pos_++]);
      v |= std::uint64_t{b & 0x7Fu} << shift;
      if ((b & 0x80) == 0) return v;
    }
    throw WireStop{pos_, "varint longer than 10 bytes", ::navcore::ryn::ReadProblemKind::kBadEvent};
  }

  // A fixed32 or fixed64 value, little-endian as protocol buffers write it.
  std::uint64_t fixed(std::size_t n) {
    if (n > left()) {
      throw WireStop{
          pos_,
          "message cut short: " + std::to_string(n) + " bytes needed, " + std::to_string(left()) + " left",
          ::navcore::ryn::ReadProblemKind::kBadEvent};
    }
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i)
      v |= std::uint64_t{static_cast<unsigned char>(bytes_[pos_ + i])} << (8 * i);
    pos_ += n;
    return v;
  }

  // The bytes of a length-delimited value: its length, then that many
  // bytes. `at`: the offset of its field's key.
  std::string_view lengthDelimited(std::size_t at) {
    const std::uint64_t n = varint();
    if (n > left()) {
      throw WireStop{at,
                     "length " + std::to_string(n) + " exceeds the " + std::to_string(left()) + " bytes left",
                     ::navcore::ryn::ReadProblemKind::kBadEvent};
    }
    const std::string_view data = bytes_.substr(pos_, static_cast<std::size_t>(n));
    pos_ += static_cast<std::size_t>(n);
    return data;
  }

  // Moves past the value of a field of wire type `wire`.
  void skip(int wire) {
    switch (wire) {
      case kProtoVarint:
        (void)varint();
        return;
      case kProtoFixed64:
      case kProtoFixed32:
        (void)fixed(wire == kProtoFixed64 ? 8 : 4);
        return;
      case kProtoLengthDelimited:
        (void)lengthDelimited(pos_);
        return;
      default:
        throw WireStop{pos_, "protocol-buffers wire type " + std::to_string(wire) + " is not read",
                       ::navcore::ryn::ReadProblemKind::kBadEvent};
    }
  }

  // The map layout the stop event's writer uses for its attributes: after
  // the field's key, a bare varint count n, then key and value of each entry
  // as 2n more occurrences of the same field (length-delimited). Whether that
  // layout follows a length-delimited key `raw` just read (nothing consumed).
  [[nodiscard]] bool mapCountFollows(std::uint64_t raw) const {
    ProtobufReader probe = *this;
    try {
      const std::uint64_t n = probe.varint();
      if (n == 0 || n > probe.left()) return false;
      for (std::uint64_t i = 0; i < 2 * n; ++i) {
        if (probe.atEnd() || probe.varint() != raw) return false;
        (void)probe.lengthDelimited(probe.pos());
      }
      return true;
    } catch (const WireStop&) {
    }
    return false;
  }

 private:
  std::string_view bytes_;
  std::size_t pos_ = 0;
};

}  // namespace navreq
