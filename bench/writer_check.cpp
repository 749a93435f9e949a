// `navreq_bench --verify-writer`: the optimised Kse stream against a literal
// writer that appends every head and payload as its own piece, on random field
// sequences. After every write the bytes, the length and the capacity must be
// identical: the fused fast paths may only skip growth checks that would pass.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "navreq/kse/exceptions.h"
#include "navreq/kse/output_stream.h"

namespace navreq_bench {
namespace {

using navcore::ryn::BufferWriter;
using navcore::ryn::KseOutputStream;
using Stream = KseOutputStream<BufferWriter>;

// The literal writer: each piece checked and appended by the growth rule.
class Literal {
 public:
  std::vector<char> bytes;
  std::size_t capacity = 0;

  void piece(const char* p, std::size_t n) {
    if (capacity < bytes.size() + n) capacity = 2 * (bytes.size() + n);
    bytes.insert(bytes.end(), p, p + n);
  }
  void head(int type, int tag) {
    char h[2];
    if (tag < 15) {
      h[0] = static_cast<char>((tag << 4) | type);
      piece(h, 1);
    } else {
      h[0] = static_cast<char>(0xF0 | type);
      h[1] = static_cast<char>(tag);
      piece(h, 2);
    }
  }
  void big(std::uint64_t v, int n) {
    char b[8];
    for (int i = 0; i < n; ++i) b[i] = static_cast<char>(v >> (8 * (n - 1 - i)));
    piece(b, static_cast<std::size_t>(n));
  }
  // The smallest-form chain from the declared width down.
  void integer(std::int64_t v, int width, int tag) {
    if (width >= 64 && (v < INT32_MIN || v > INT32_MAX)) {
      head(3, tag);
      big(static_cast<std::uint64_t>(v), 8);
    } else if (width >= 32 && (v < -32768 || v > 32767)) {
      head(2, tag);
      big(static_cast<std::uint64_t>(v), 4);
    } else if (width >= 16 && (v < -128 || v > 127)) {
      head(1, tag);
      big(static_cast<std::uint64_t>(v), 2);
    } else if (v == 0) {
      head(12, tag);
    } else {
      head(0, tag);
      big(static_cast<std::uint64_t>(v), 1);
    }
  }
  void str(const std::string& s, int tag) {
    if (s.size() < 256) {
      head(6, tag);
      big(s.size(), 1);
    } else {
      head(7, tag);
      big(s.size(), 4);
    }
    piece(s.data(), s.size());
  }
};

struct Inner : navcore::ryn::KseStructBase {
  std::int32_t a = 0;
  std::string b;
  double c = 0;
  void writeTo(Stream& os) const {
    os.write(a, 0);
    os.write(b, 1);
    os.write(c, 15);
  }
};

const std::int64_t kValues[] = {
    0,      1,      -1,    127,   128,   -128,      -129,      255,        256,         32767,     32768,
    -32768, -32769, 65535, 65536, 40000, INT32_MAX, INT32_MIN, 2147483648, -2147483649, INT64_MAX, INT64_MIN};
const std::size_t kLengths[] = {0, 1, 2, 14, 15, 16, 31, 200, 254, 255, 256, 300, 1000};

class Checker {
 public:
  explicit Checker(std::uint32_t seed) : rng_(seed) {}

  int tag() {
    const int t = pick(8);
    return t < 6 ? pick(15) : (t == 6 ? 15 + pick(10) : 240 + pick(16));
  }
  int pick(int n) { return static_cast<int>(rng_() % static_cast<std::uint32_t>(n)); }
  std::int64_t value() { return kValues[pick(sizeof kValues / sizeof kValues[0])]; }
  std::size_t length() { return kLengths[pick(sizeof kLengths / sizeof kLengths[0])]; }

  // One random field into both writers.
  void step(Stream& os, Literal& ref) {
    const int t = tag();
    const std::int64_t v = value();
    switch (pick(14)) {
      case 0:
        os.write(static_cast<std::int32_t>(v), static_cast<std::uint8_t>(t));
        ref.integer(static_cast<std::int32_t>(v), 32, t);
        break;
      case 1:
        os.write(v, static_cast<std::uint8_t>(t));
        ref.integer(v, 64, t);
        break;
      case 2:
        os.write(static_cast<std::int16_t>(v), static_cast<std::uint8_t>(t));
        ref.integer(static_cast<std::int16_t>(v), 16, t);
        break;
      case 3:
        os.write(static_cast<std::int8_t>(v), static_cast<std::uint8_t>(t));
        ref.integer(static_cast<std::int8_t>(v), 8, t);
        break;
      case 4:
        os.write(static_cast<std::uint32_t>(v), static_cast<std::uint8_t>(t));
        ref.integer(static_cast<std::uint32_t>(v), 64, t);
        break;
      case 5:
        os.write(v != 0, static_cast<std::uint8_t>(t));
        ref.integer(v != 0 ? 1 : 0, 8, t);
        break;
      case 6: {
        const float f = static_cast<float>(v) * 0.25f;
        std::uint32_t bits;
        std::memcpy(&bits, &f, 4);
        os.write(f, static_cast<std::uint8_t>(t));
        ref.head(4, t);
        ref.big(bits, 4);
        break;
      }
      case 7: {
        const double d = static_cast<double>(v) * 0.5;
        std::uint64_t bits;
        std::memcpy(&bits, &d, 8);
        os.write(d, static_cast<std::uint8_t>(t));
        ref.head(5, t);
        ref.big(bits, 8);
        break;
      }
      case 8: {
        const std::string s(length(), 'x');
        os.write(s, static_cast<std::uint8_t>(t));
        ref.str(s, t);
        break;
      }
      case 9: {
        const std::vector<char> b(length(), '\x7f');
        os.write(b, static_cast<std::uint8_t>(t));
        ref.head(13, t);
        ref.head(0, 0);
        ref.integer(static_cast<std::int32_t>(b.size()), 32, 0);
        ref.piece(b.data(), b.size());
        break;
      }
      case 10: {
        std::vector<unsigned char> u(static_cast<std::size_t>(pick(40)));
        for (auto& b : u) b = static_cast<unsigned char>(kValues[pick(8)]);
        os.write(u, static_cast<std::uint8_t>(t));
        ref.head(9, t);
        ref.integer(static_cast<std::int32_t>(u.size()), 32, 0);
        for (unsigned char b : u) ref.integer(b, 16, 0);
        break;
      }
      case 11: {
        std::vector<std::int32_t> list(static_cast<std::size_t>(pick(6)));
        for (auto& x : list) x = static_cast<std::int32_t>(value());
        os.write(list, static_cast<std::uint8_t>(t));
        ref.head(9, t);
        ref.integer(static_cast<std::int32_t>(list.size()), 32, 0);
        for (std::int32_t x : list) ref.integer(x, 32, 0);
        break;
      }
      case 12: {
        std::map<std::string, std::int64_t> map;
        for (int i = pick(4); i > 0; --i)
          map[std::string(length() % 20, static_cast<char>('a' + i))] = value();
        os.write(map, static_cast<std::uint8_t>(t));
        ref.head(8, t);
        ref.integer(static_cast<std::int32_t>(map.size()), 32, 0);
        for (const auto& e : map) {
          ref.str(e.first, 0);
          ref.integer(e.second, 64, 1);
        }
        break;
      }
      default: {
        Inner r;
        r.a = static_cast<std::int32_t>(v);
        r.b = std::string(length(), 'r');
        r.c = static_cast<double>(v);
        std::uint64_t bits;
        std::memcpy(&bits, &r.c, 8);
        os.write(r, static_cast<std::uint8_t>(t));
        ref.head(10, t);
        ref.integer(r.a, 32, 0);
        ref.str(r.b, 1);
        ref.head(5, 15);
        ref.big(bits, 8);
        ref.head(11, 0);
        break;
      }
    }
  }

 private:
  std::mt19937 rng_;
};

}  // namespace

// Returns the number of mismatching sequences (0 when the writers agree).
int VerifyWriter(int sequences) {
  int failures = 0;
  for (int s = 0; s < sequences; ++s) {
    Checker c(static_cast<std::uint32_t>(s));
    Stream os;
    Literal ref;
    const int steps = 1 + c.pick(60);
    for (int i = 0; i < steps; ++i) {
      c.step(os, ref);
      const bool same =
          os.length() == ref.bytes.size() && os.buffer().capacity() == ref.capacity &&
          (ref.bytes.empty() || std::memcmp(os.data(), ref.bytes.data(), ref.bytes.size()) == 0);
      if (!same) {
        std::fprintf(stderr, "writer mismatch: seed %d step %d: length %zu/%zu capacity %zu/%zu\n", s, i,
                     os.length(), ref.bytes.size(), os.buffer().capacity(), ref.capacity);
        ++failures;
        break;
      }
    }
  }
  std::printf("writer check: %d sequences, %d mismatches\n", sequences, failures);
  return failures;
}

}  // namespace navreq_bench
