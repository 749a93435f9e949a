#include "wire_cursor.h"

#include "navreq/read/walk.h"

namespace navreq {

namespace {

using ::navcore::ryn::KseHead;
using ::navcore::ryn::KseInputStream;
using ::navcore::ryn::KseReadError;

[[noreturn]] void Stop(const KseReadError& e, std::size_t base) {
  throw WireStop{base + e.offset(),
                 std::string(::navcore::ryn::readProblemName(e.kind())) + ": " + e.detail(), e.kind()};
}

KseHead Raw(const Head& h, std::size_t base) {
  KseHead k;
  k.type = h.type;
  k.tag = h.tag;
  k.size = h.size;
  k.offset = h.offset - base;
  return k;
}

}  // namespace

Head WireCursor::head() {
  try {
    const KseHead k = in_.readHead();
    Head h;
    h.offset = base_ + k.offset;
    h.type = k.type;
    h.tag = k.tag;
    h.size = k.size;
    h.long_head = k.size == 2 && k.tag < ::navcore::ryn::kKseFirstLongHeadTag;
    return h;
  } catch (const KseReadError& e) {
    Stop(e, base_);
  }
}

std::int64_t WireCursor::integer(const Head& h) {
  try {
    return in_.readInteger(h.type);
  } catch (const KseReadError& e) {
    Stop(e, base_);
  }
}

std::uint64_t WireCursor::realBits(const Head& h) {
  try {
    if (h.type == kKseFloat) {
      const float f = in_.readFloat();
      std::uint32_t bits = 0;
      std::memcpy(&bits, &f, sizeof bits);
      return bits;
    }
    const double d = in_.readDouble();
    std::uint64_t bits = 0;
    std::memcpy(&bits, &d, sizeof bits);
    return bits;
  } catch (const KseReadError& e) {
    Stop(e, base_);
  }
}

std::string_view WireCursor::string(const Head& h) {
  try {
    const ::navcore::ryn::KseSpan s = in_.readString(h.type);
    return {s.data, s.size};
  } catch (const KseReadError& e) {
    Stop(e, base_);
  }
}

int WireCursor::countForm() const {
  // Read ahead on a second stream: the library's reads give the count, not
  // the form it was written in, which a byte-exact copy must keep. A count
  // is written with tag 0 in a one-byte head; any other head is refused here,
  // as it could not be written back the same.
  KseInputStream ahead(bytes_.data() + pos(), bytes_.size() - pos());
  KseHead h;
  std::int64_t n = 0;
  try {
    h = ahead.readHead();
    if (!::navcore::ryn::isIntegerWire(h.type)) return -1;
    n = ahead.readInteger(h.type);
  } catch (const KseReadError&) {
    return -1;  // the real read reports it
  }
  if (h.tag != 0 || h.size != 1) {
    try {
      ::navcore::ryn::throwCountHead(h.offset, h.tag, h.size);  // the reader's own text
    } catch (const KseReadError& e) {
      Stop(e, pos());
    }
  }
  return SmallestIntegerWire(n) == h.type ? -1 : h.type;
}

std::string_view WireCursor::byteArray(int& count_wire) {
  try {
    // Read first, so that damage is found in the reader's order.
    const std::size_t at = pos();
    const ::navcore::ryn::KseSpan s = in_.readSimpleList();
    KseInputStream ahead(bytes_.data() + at, bytes_.size() - at);
    (void)ahead.readHead();  // the element-type byte
    WireCursor rest(bytes_, at + ahead.position());
    count_wire = rest.countForm();
    return {s.data, s.size};
  } catch (const KseReadError& e) {
    Stop(e, base_);
  }
}

std::int64_t WireCursor::count(std::size_t min_element, int& count_wire) {
  count_wire = countForm();
  try {
    return static_cast<std::int64_t>(in_.readCount(min_element));
  } catch (const KseReadError& e) {
    Stop(e, base_);
  }
}

void WireCursor::skip(const Head& h) {
  try {
    in_.skipValue(Raw(h, base_));
  } catch (const KseReadError& e) {
    Stop(e, base_);
  }
}

std::size_t WireCursor::measure(const Head& h) const {
  const std::size_t payload = h.offset + h.size;
  KseInputStream ahead(bytes_.data() + payload, bytes_.size() - payload);
  try {
    ahead.skipValue(Raw(h, payload));
  } catch (const KseReadError& e) {
    Stop(e, payload);
  }
  return payload + ahead.position();
}

std::string WireCursor::peekText(const Head& h) const {
  const std::size_t at = pos();
  KseInputStream ahead(bytes_.data() + at, bytes_.size() - at);
  try {
    if (h.type == kKseString1 || h.type == kKseString4) {
      const ::navcore::ryn::KseSpan s = ahead.readString(h.type);
      return std::string(s.data, s.size);
    }
    if (::navcore::ryn::isIntegerWire(h.type)) return std::to_string(ahead.readInteger(h.type));
  } catch (const KseReadError&) {
  }
  return "#" + std::to_string(h.offset);
}

std::uint8_t SmallestIntegerWire(std::int64_t v) noexcept { return ::navcore::ryn::kseIntegerType<64>(v); }

}  // namespace navreq
