#include "wire_cursor.h"

#include "walk.h"

namespace navreq {
namespace tool {

void WireCursor::need(std::size_t n) const {
  if (n > size_ - pos_) {
    throw WireStop{pos_, "needs " + std::to_string(n) + " bytes, " + std::to_string(size_ - pos_) + " left"};
  }
}

Head WireCursor::head() {
  Head h;
  h.offset = pos_;
  need(1);
  const unsigned char b = data_[pos_++];
  h.type = b & 0x0F;
  h.tag = static_cast<std::uint8_t>(b >> 4);
  if (h.tag == 15) {
    if (pos_ >= size_) {
      pos_ = h.offset;
      stop("two-byte head cut short");
    }
    h.tag = data_[pos_++];
    h.long_head = h.tag < 15;
  }
  return h;
}

std::uint64_t WireCursor::fixed(std::size_t n) {
  need(n);
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < n; ++i) v = (v << 8) | data_[pos_ + i];
  pos_ += n;
  return v;
}

std::int64_t WireCursor::integer(const Head& h) {
  switch (h.type) {
    case kWireZero:
      return 0;
    case kWireInt8:
      return static_cast<std::int8_t>(fixed(1));
    case kWireInt16:
      return static_cast<std::int16_t>(fixed(2));
    case kWireInt32:
      return static_cast<std::int32_t>(fixed(4));
    case kWireInt64:
      return static_cast<std::int64_t>(fixed(8));
    default:
      throw WireStop{h.offset, std::string("expected an integer, found ") + WireName(h.type)};
  }
}

std::string_view WireCursor::string(const Head& h) {
  const std::size_t length = static_cast<std::size_t>(fixed(h.type == kWireString1 ? 1 : 4));
  need(length);
  const std::string_view out(reinterpret_cast<const char*>(data_ + pos_), length);
  pos_ += length;
  return out;
}

std::int64_t WireCursor::count(int& count_wire) {
  const Head h = head();
  if (h.tag != 0 || h.long_head) {
    pos_ = h.offset;
    stop("a count must have tag 0");
  }
  if (!(h.type <= kWireInt64 || h.type == kWireZero)) {
    pos_ = h.offset;
    stop(std::string("a count must be an integer, found ") + WireName(h.type));
  }
  const std::size_t at = h.offset;
  const std::int64_t n = integer(h);
  count_wire = SmallestIntegerWire(n) == h.type ? -1 : h.type;
  if (n < 0 || static_cast<std::uint64_t>(n) > left()) {
    pos_ = at;
    stop("count " + std::to_string(n) + " does not fit the " + std::to_string(left()) + " bytes left");
  }
  return n;
}

std::string_view WireCursor::byteArray(const Head& h, int& count_wire) {
  (void)h;
  need(1);
  if (data_[pos_] != 0x00) stop("a byte array must name its element type with the byte 00");
  ++pos_;
  const std::int64_t n = count(count_wire);
  const std::string_view out(reinterpret_cast<const char*>(data_ + pos_), static_cast<std::size_t>(n));
  pos_ += static_cast<std::size_t>(n);
  return out;
}

void WireCursor::skipPayload(const Head& h, int depth) {
  if (depth > kMaxDepth) throw WireStop{h.offset, "nested deeper than " + std::to_string(kMaxDepth)};
  int cw = -1;
  switch (h.type) {
    case kWireInt8:
    case kWireInt16:
    case kWireInt32:
    case kWireInt64:
    case kWireZero:
      (void)integer(h);
      return;
    case kWireFloat:
      need(4);
      pos_ += 4;
      return;
    case kWireDouble:
      need(8);
      pos_ += 8;
      return;
    case kWireString1:
    case kWireString4:
      (void)string(h);
      return;
    case kWireSimpleList:
      (void)byteArray(h, cw);
      return;
    case kWireList: {
      const std::int64_t n = count(cw);
      for (std::int64_t i = 0; i < n; ++i) {
        const Head e = head();
        if (e.type == kWireStructEnd)
          throw WireStop{e.offset, "end-of-record head in place of a list element"};
        skipPayload(e, depth + 1);
      }
      return;
    }
    case kWireMap: {
      const std::int64_t n = count(cw);
      for (std::int64_t i = 0; i < 2 * n; ++i) {
        const Head e = head();
        if (e.type == kWireStructEnd) throw WireStop{e.offset, "end-of-record head in place of a map entry"};
        skipPayload(e, depth + 1);
      }
      return;
    }
    case kWireStructBegin:
      while (true) {
        if (atEnd()) stop("record not closed before the end of the bytes");
        const Head f = head();
        if (f.type == kWireStructEnd) return;
        skipPayload(f, depth + 1);
      }
    default:
      throw WireStop{h.offset, "head type " + std::to_string(h.type) + " does not exist"};
  }
}

std::uint8_t SmallestIntegerWire(std::int64_t v) noexcept {
  if (v == 0) return kWireZero;
  if (v >= -128 && v <= 127) return kWireInt8;
  if (v >= -32768 && v <= 32767) return kWireInt16;
  if (v >= INT32_MIN && v <= INT32_MAX) return kWireInt32;
  return kWireInt64;
}

}  // namespace tool
}  // namespace navreq
