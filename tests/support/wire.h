// Test-side spelling of expected Kse bytes, as lowercase hex.
//
// Written from the wire format's rules, independently of the library's writer,
// so that a test compares the writer against a second implementation:
//
//   EXPECT_EQ(Hex(bytes), Int(1, 0) + Str(2, "") + Begin(3) + Int(0, 7) + End());
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace wire {

inline std::string Hex(const void* data, std::size_t n) {
  static const char* digits = "0123456789abcdef";
  const unsigned char* p = static_cast<const unsigned char*>(data);
  std::string out;
  out.reserve(2 * n);
  for (std::size_t i = 0; i < n; ++i) {
    out.push_back(digits[p[i] >> 4]);
    out.push_back(digits[p[i] & 15]);
  }
  return out;
}
inline std::string Hex(const std::vector<char>& v) { return Hex(v.data(), v.size()); }
inline std::string Hex(const std::vector<unsigned char>& v) { return Hex(v.data(), v.size()); }
inline std::string Hex(const std::string& s) { return Hex(s.data(), s.size()); }

// The bytes a hex string spells; blanks between digits are ignored.
inline std::vector<char> Unhex(const std::string& spelled) {
  std::string hex;
  for (char c : spelled) {
    if (c != ' ') hex.push_back(c);
  }
  auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c - 'A' + 10;
  };
  std::vector<char> out;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    out.push_back(static_cast<char>((nibble(hex[i]) << 4) | nibble(hex[i + 1])));
  }
  return out;
}

// Big-endian hex of the low `bytes` bytes of v.
inline std::string Be(std::uint64_t v, int bytes) {
  std::string out;
  for (int i = bytes - 1; i >= 0; --i) {
    unsigned char b = static_cast<unsigned char>((v >> (8 * i)) & 0xFF);
    out += Hex(&b, 1);
  }
  return out;
}

// Type codes.
enum : int { kI8 = 0, kI16, kI32, kI64, kF32, kF64, kStr1, kStr4, kMap, kList, kBegin, kEnd, kZero, kBytes };

inline std::string Head(int tag, int type) {
  if (tag < 15) return Be(static_cast<std::uint64_t>((tag << 4) | type), 1);
  return Be(static_cast<std::uint64_t>(0xF0 | type), 1) + Be(static_cast<std::uint64_t>(tag), 1);
}

// Integer of any declared width, smallest fitting form.
inline std::string Int(int tag, std::int64_t v) {
  if (v == 0) return Head(tag, kZero);
  if (v >= -128 && v <= 127) return Head(tag, kI8) + Be(static_cast<std::uint64_t>(v), 1);
  if (v >= -32768 && v <= 32767) return Head(tag, kI16) + Be(static_cast<std::uint64_t>(v), 2);
  if (v >= INT32_MIN && v <= INT32_MAX) return Head(tag, kI32) + Be(static_cast<std::uint64_t>(v), 4);
  return Head(tag, kI64) + Be(static_cast<std::uint64_t>(v), 8);
}
inline std::string Bool(int tag, bool v) { return Int(tag, v ? 1 : 0); }

inline std::string Float(int tag, float v) {
  std::uint32_t bits;
  std::memcpy(&bits, &v, 4);
  return Head(tag, kF32) + Be(bits, 4);
}
inline std::string Double(int tag, double v) {
  std::uint64_t bits;
  std::memcpy(&bits, &v, 8);
  return Head(tag, kF64) + Be(bits, 8);
}

inline std::string Str(int tag, const std::string& s) {
  if (s.size() < 256) return Head(tag, kStr1) + Be(s.size(), 1) + Hex(s);
  return Head(tag, kStr4) + Be(s.size(), 4) + Hex(s);
}

// Byte array (simple list).
inline std::string Bytes(int tag, const std::string& raw) {
  return Head(tag, kBytes) + "00" + Int(0, static_cast<std::int64_t>(raw.size())) + Hex(raw);
}
inline std::string Bytes(int tag, const std::vector<char>& raw) {
  return Bytes(tag, std::string(raw.begin(), raw.end()));
}

// Unsigned bytes: a list of 16-bit-path elements.
inline std::string UBytes(int tag, const std::string& raw) {
  std::string out = Head(tag, kList) + Int(0, static_cast<std::int64_t>(raw.size()));
  for (unsigned char b : raw) out += Int(0, b);
  return out;
}

// List head and count; the caller appends the elements (each at tag 0).
inline std::string List(int tag, std::int64_t count) { return Head(tag, kList) + Int(0, count); }
inline std::string Map(int tag, std::int64_t count) { return Head(tag, kMap) + Int(0, count); }
inline std::string Begin(int tag) { return Head(tag, kBegin); }
inline std::string End() { return "0b"; }
inline std::string Struct(int tag, const std::string& fields) { return Begin(tag) + fields + End(); }

}  // namespace wire
