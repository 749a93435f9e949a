// Comparing whole requests whatever compressor wrote their gzip bodies.
//
// zlib and libdeflate write different, equally valid gzip streams of the same
// bytes. InflatedView() spells the top-level fields of an envelope (Package or
// Packet) as hex, except that a carried body that is a gzip member (a byte
// array, or a list of unsigned bytes) is spelled as the bytes it inflates to.
// Two requests that differ only in how their bodies were deflated give the
// same view; every other byte still counts. Gunzip() fails the test on broken
// gzip framing.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "support/gunzip.h"
#include "support/record_tables.h"
#include "support/wire.h"

namespace navreq {
namespace testing {
namespace gzip_fields_detail {

inline unsigned Byte(const std::string& raw, std::size_t& p) {
  if (p >= raw.size()) throw std::runtime_error("field cut short");
  return static_cast<unsigned char>(raw[p++]);
}

// A head (one byte, or two for tags of 15 and above); returns the type code.
inline int Head(const std::string& raw, std::size_t& p) {
  const unsigned first = Byte(raw, p);
  if ((first >> 4) == 15) Byte(raw, p);
  return static_cast<int>(first & 0x0F);
}

// An integer field: head and value in the form its type code names.
inline std::int64_t Integer(const std::string& raw, std::size_t& p) {
  const int type = Head(raw, p);
  if (type == wire::kZero) return 0;
  const int width = type == wire::kI8    ? 1
                    : type == wire::kI16 ? 2
                    : type == wire::kI32 ? 4
                    : type == wire::kI64 ? 8
                                         : 0;
  if (width == 0) throw std::runtime_error("integer expected");
  std::uint64_t v = Byte(raw, p);
  const bool negative = (v & 0x80) != 0;
  for (int i = 1; i < width; ++i) v = (v << 8) | Byte(raw, p);
  if (negative && width < 8) v |= ~std::uint64_t{0} << (8 * width);
  return static_cast<std::int64_t>(v);
}

// The bytes a byte-array or unsigned-byte-list field carries; false for any
// other field.
inline bool Carried(const std::string& field, std::string& bytes) {
  std::size_t p = 0;
  const int type = Head(field, p);
  if (type == wire::kBytes) {
    Byte(field, p);  // element type of the simple list
    const std::int64_t n = Integer(field, p);
    if (n < 0 || static_cast<std::size_t>(n) != field.size() - p) return false;
    bytes = field.substr(p);
    return true;
  }
  if (type != wire::kList) return false;
  std::string out;
  for (std::int64_t n = Integer(field, p); n > 0; --n) {
    if (p >= field.size()) return false;
    const unsigned element_type = static_cast<unsigned char>(field[p]) & 0x0F;
    if (element_type != wire::kZero && element_type != wire::kI8 && element_type != wire::kI16) return false;
    const std::int64_t b = Integer(field, p);
    if (b < 0 || b > 255) return false;
    out.push_back(static_cast<char>(b));
  }
  if (p != field.size()) return false;
  bytes = out;
  return true;
}

}  // namespace gzip_fields_detail

inline std::string InflatedView(const std::string& envelope) {
  std::string view;
  for (const auto& field : tables::HeadReader(envelope).fields()) {
    const std::string raw = wire::Unhex(field.second);
    std::string carried;
    if (gzip_fields_detail::Carried(raw, carried) && carried.compare(0, 2, "\x1f\x8b") == 0) {
      view += "tag " + std::to_string(field.first.tag) + " gzip of " + wire::Hex(Gunzip(carried)) + "\n";
    } else {
      view += field.second + "\n";
    }
  }
  return view;
}

}  // namespace testing
}  // namespace navreq
