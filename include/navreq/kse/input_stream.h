// The Kse input stream: a bounds-checked cursor over bytes in the encoding of
// wire_types.h, the output stream read the other way.
//
// It never reads past its input: every read checks the bytes left first. Every
// count and length is checked against the bytes left before anything is
// allocated for it, and containers nest at most kKseMaxDepth deep, so a
// handful of bytes can never ask for gigabytes or a deep recursion. Errors are
// thrown as KseReadError, carrying what went wrong and the byte offset; the
// public entries catch them once (see record_reader.h and request_reader.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "navreq/kse/exceptions.h"
#include "navreq/kse/wire_types.h"

namespace navcore {
namespace ryn {

// Deepest nesting of records, lists and maps a reader follows.
constexpr int kKseMaxDepth = 64;

// Largest gzip body a reader inflates (a body carrying Kse bytes); a larger
// one is over the limit, not read. A settable default where callers choose.
constexpr std::size_t kKseMaxInflatedSize = std::size_t{256} << 20;

// The fast paths of the reader (takeInteger, takeFixed) work up to this many
// bytes before the end of the input, so that one compare bounds a two-byte
// head and an eight-byte payload; the last bytes take the general path.
constexpr std::size_t kKseFastTail = 16;

// What can be wrong with bytes being read.
enum class ReadProblemKind : std::uint8_t {
  kTruncated,        // the input ends inside a value
  kBadType,          // a head with type code 14 or 15, or a malformed simple list
  kTooDeep,          // nesting deeper than kKseMaxDepth
  kBadCount,         // a negative count, or more elements than bytes left
  kBadLength,        // a string or byte length beyond the bytes left or the limit
  kUnexpectedEnd,    // an end-of-record head where no record is open
  kMissingField,     // a declared field absent
  kUnknownField,     // a tag the record does not declare
  kDuplicateField,   // the same tag twice
  kOutOfOrder,       // a tag below one already read
  kTypeMismatch,     // a wire type that does not fit the declared type
  kOutOfRange,       // an integer outside the declared width
  kUnexpectedTag,    // a list element, map key or value with a tag other than 0 / 0 / 1
  kDuplicateKey,     // the same map key twice
  kTrailingBytes,    // bytes after the end of what was read
  kLimitExceeded,    // over the memory or inflate limit
  kBadGzip,          // a gzip stream that does not inflate
  kUnknownEnvelope,  // neither a Package nor a Packet
  kUnknownCommand,   // a command or packet kind not in the command table
  kBadEvent,         // a stop-event message that does not decode
  kOutOfMemory,      // an allocation failed
  kInternal,         // anything else thrown while reading
};

// Short name of a problem kind: "truncated", "missing field", ...
const char* readProblemName(ReadProblemKind kind) noexcept;

// A read that failed: what went wrong, where, and what was found.
class KseReadError : public KseDecodeException {
 public:
  // The failure `kind` at byte `offset` of the input, `detail` saying what was found.
  KseReadError(ReadProblemKind kind, std::size_t offset, const std::string& detail);
  ReadProblemKind kind() const noexcept { return kind_; }         // what went wrong
  std::size_t offset() const noexcept { return offset_; }         // where, in the input
  const std::string& detail() const noexcept { return detail_; }  // what was found

 private:
  ReadProblemKind kind_;
  std::size_t offset_;
  std::string detail_;
};

// [[noreturn]] thrower, out of line to keep the read paths small.
[[noreturn]] void throwReadError(ReadProblemKind kind, std::size_t offset, const char* detail);

// Throwers whose details name what was read and what was expected, out of
// line like throwReadError.
// kTruncated: "<what>: 8 bytes needed, 3 left".
[[noreturn]] void throwCutShort(std::size_t offset, const char* what, std::size_t needed, std::size_t left);
// kBadType: "type code 14, expected 0-13".
[[noreturn]] void throwBadTypeCode(std::size_t offset, std::uint8_t code);
// kTypeMismatch (a value) or kBadCount (a count): "<what>: type code 6 (string) read".
[[noreturn]] void throwNotAnInteger(ReadProblemKind kind, std::size_t offset, const char* what,
                                    std::uint8_t code);
// kBadCount: "count 5000 exceeds the 12 bytes left", or for elements of
// `min_element` bytes each, "count 7 needs at least 14 bytes, 12 left".
[[noreturn]] void throwCountOverBytes(std::size_t offset, std::int64_t count, std::size_t left,
                                      std::size_t min_element);
// kBadLength: "<what> 300 exceeds the 12 bytes left".
[[noreturn]] void throwLengthOverBytes(std::size_t offset, const char* what, std::uint64_t length,
                                       std::size_t left);
// kBadLength: "string length 104857601 over the limit of 104857600".
[[noreturn]] void throwStringOverLimit(std::size_t offset, std::uint64_t length);
// kBadType: "simple list element type 5, expected 0 (bytes)".
[[noreturn]] void throwSimpleListElement(std::size_t offset, std::uint8_t element_type);
// kBadCount: "count head with tag 3 in 2 bytes, expected tag 0 in 1 byte".
[[noreturn]] void throwCountHead(std::size_t offset, std::uint8_t tag, std::uint8_t size);
// kBadCount: "count -1, expected 0 to 2147483647".
[[noreturn]] void throwCountOutOfRange(std::size_t offset, std::int64_t count);
// kBadType: "end of record with tag 3 in the two-byte form" (a tag below 15
// has the one-byte head).
[[noreturn]] void throwLongEndHead(std::size_t offset, std::uint8_t tag);
// kTooDeep: "nesting deeper than 64 levels".
[[noreturn]] void throwTooDeep(std::size_t offset);

// One head as read: type code, tag, its offset in the input and its size (1/2).
struct KseHead {
  std::uint8_t type = 0;   // type code
  std::uint8_t tag = 0;    // field tag
  std::uint8_t size = 0;   // bytes of the head, 1 or 2
  std::size_t offset = 0;  // offset of the head in the input
};

// Bytes inside the input (a string's or byte array's payload).
struct KseSpan {
  const char* data = nullptr;  // first byte
  std::size_t size = 0;        // byte count
  std::size_t offset = 0;      // offset of the first byte in the input
};

namespace kse_detail {

template <class U>
NAVKSE_INLINE U loadBigEndian(const unsigned char* in) noexcept {
  U value;
  std::memcpy(&value, in, sizeof value);
#if defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  if constexpr (sizeof(U) == 2) value = __builtin_bswap16(value);
  if constexpr (sizeof(U) == 4) value = __builtin_bswap32(value);
  if constexpr (sizeof(U) == 8) value = __builtin_bswap64(value);
#elif defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
#else
  value = 0;
  for (std::size_t i = 0; i < sizeof(U); ++i) value = static_cast<U>((value << 8) | in[i]);
#endif
  return value;
}

}  // namespace kse_detail

// Reads heads and values from bytes in memory, bounds-checked; failures throw KseReadError.
class KseInputStream {
 public:
  // Reads the `size` bytes at `data`, which must outlive the stream.
  KseInputStream(const void* data, std::size_t size) noexcept
      : begin_(static_cast<const unsigned char*>(data)),
        p_(begin_),
        end_(begin_ + size),
        fast_end_(size > kKseFastTail ? end_ - kKseFastTail : begin_) {}
  KseInputStream(const KseInputStream&) = delete;
  KseInputStream& operator=(const KseInputStream&) = delete;

  // The whole input.
  const unsigned char* data() const noexcept { return begin_; }
  std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - begin_); }    // input bytes
  std::size_t position() const noexcept { return static_cast<std::size_t>(p_ - begin_); }  // bytes consumed
  std::size_t remaining() const noexcept { return static_cast<std::size_t>(end_ - p_); }   // bytes left
  bool atEnd() const noexcept { return p_ == end_; }                                       // nothing left
  int depth() const noexcept { return depth_; }  // records, lists and maps open

  // Reads the head at the position. Throws kTruncated when the input ends
  // inside it and kBadType for type code 14 or 15.
  NAVKSE_INLINE KseHead readHead() {
    KseHead h;
    h.offset = position();
    if (NAVKSE_UNLIKELY(p_ == end_)) throwCutShort(h.offset, "head expected", 1, 0);
    const unsigned b = *p_;
    h.type = static_cast<std::uint8_t>(b & 0x0F);
    if (NAVKSE_LIKELY((b >> 4) != 0x0F)) {
      h.tag = static_cast<std::uint8_t>(b >> 4);
      h.size = 1;
      ++p_;
    } else {
      if (NAVKSE_UNLIKELY(end_ - p_ < 2)) throwCutShort(h.offset, "two-byte head cut", 2, remaining());
      h.tag = p_[1];
      h.size = 2;
      p_ += 2;
    }
    if (NAVKSE_UNLIKELY(h.type > kKseLastType)) throwBadTypeCode(h.offset, h.type);
    return h;
  }

  // The fast path of record reading: consumes the head at the position when
  // it has this tag and a type code that `fits`, else leaves the position
  // alone (and the general path reads it).
  template <class Fits>
  NAVKSE_INLINE bool takeHeadIf(std::uint8_t tag, KseHead& h, Fits fits) noexcept {
    if (NAVKSE_UNLIKELY(p_ == end_)) return false;
    const unsigned b = *p_;
    std::uint8_t size = 1;
    if (tag < kKseFirstLongHeadTag) {
      if ((b >> 4) != tag) return false;
    } else {
      if ((b >> 4) != 0x0F || end_ - p_ < 2 || p_[1] != tag) return false;
      size = 2;
    }
    const std::uint8_t type = static_cast<std::uint8_t>(b & 0x0F);
    if (!fits(type)) return false;
    h.type = type;
    h.tag = tag;
    h.size = size;
    h.offset = position();
    p_ += size;
    return true;
  }

  // The fast path of an integer field at `tag` (and of a list element, tag 0)
  // whose declared range is [Lo, Hi]. Before the last kKseFastTail bytes of
  // the input, one compare bounds the head and any payload. Consumes the
  // field and sets `v` when the head is the one the writer gives this tag,
  // its type an integer form and the value in range; otherwise (a different
  // head, a value out of range, the last bytes of the input) consumes
  // nothing, and the general path reads the field and reports what is wrong.
  template <std::int64_t Lo, std::int64_t Hi>
  NAVKSE_INLINE bool takeInteger(std::uint8_t tag, std::int64_t& v) noexcept {
    if (NAVKSE_UNLIKELY(p_ >= fast_end_)) return false;
    const std::size_t head = kseHeadSize(tag);
    // The head's byte less the tag's high nibble: the type code when the
    // tag matches, 16 or more (unsigned) when it does not.
    unsigned type;
    if (head == 1) {
      type = p_[0] - (static_cast<unsigned>(tag) << 4);
    } else {
      if (p_[1] != tag) return false;
      type = p_[0] - 0xF0u;
    }
    const unsigned char* payload = p_ + head;
    std::int64_t x;
    if (NAVKSE_LIKELY(type == kKseInt8)) {
      x = static_cast<std::int8_t>(payload[0]);
      if constexpr (Lo > INT8_MIN || Hi < INT8_MAX) {
        if (NAVKSE_UNLIKELY(x < Lo || x > Hi)) return false;
      }
      v = x;
      p_ = payload + 1;
      return true;
    }
    if (type == kKseZero) {  // every declared range holds 0
      v = 0;
      p_ = payload;
      return true;
    }
    if (NAVKSE_UNLIKELY(type > kKseInt64)) return false;
    // Forms 1-3 carry 2, 4 or 8 bytes: one big-endian load of 8 and an
    // arithmetic shift give any of them (two's complement on every host).
    const std::size_t n = std::size_t{1} << type;
    x = static_cast<std::int64_t>(kse_detail::loadBigEndian<std::uint64_t>(payload)) >> (64 - 8 * n);
    if (NAVKSE_UNLIKELY(x < Lo || x > Hi)) return false;
    v = x;
    p_ = payload + n;
    return true;
  }

  // The fast path of a float (U = uint32_t, type kKseFloat) or double (U =
  // uint64_t, kKseDouble) field at `tag`: consumes it and sets `bits` when
  // the head is exactly the one the writer gives, before the input's last
  // kKseFastTail bytes; otherwise consumes nothing.
  template <class U>
  NAVKSE_INLINE bool takeFixed(std::uint8_t tag, std::uint8_t type, U& bits) noexcept {
    if (NAVKSE_UNLIKELY(p_ >= fast_end_)) return false;
    const std::size_t head = kseHeadSize(tag);
    if (head == 1) {
      if (p_[0] != ((tag << 4) | type)) return false;
    } else if (p_[0] != (0xF0 | type) || p_[1] != tag) {
      return false;
    }
    bits = kse_detail::loadBigEndian<U>(p_ + head);
    p_ += head + sizeof(U);
    return true;
  }

  // The fast path of a string field at `tag` in the short form (at most 255
  // bytes, as the writer gives them): consumes it and points `data` and
  // `size` at its bytes when the head is exactly that one and the bytes are
  // in the input; otherwise consumes nothing.
  NAVKSE_INLINE bool takeShortString(std::uint8_t tag, const char*& data, std::size_t& size) noexcept {
    if (NAVKSE_UNLIKELY(p_ >= fast_end_)) return false;
    const std::size_t head = kseHeadSize(tag);
    if (head == 1) {
      if (p_[0] != ((tag << 4) | kKseString1)) return false;
    } else if (p_[0] != (0xF0 | kKseString1) || p_[1] != tag) {
      return false;
    }
    const std::size_t n = p_[head];
    // Before fast_end_, the head and the length byte are in the input.
    if (NAVKSE_UNLIKELY(n > static_cast<std::size_t>(end_ - p_) - head - 1)) return false;
    data = reinterpret_cast<const char*>(p_ + head + 1);
    size = n;
    p_ += head + 1 + n;
    return true;
  }

  // Consumes the byte 0x0B (the end head as written) if it is next.
  NAVKSE_INLINE bool takeEndHead() noexcept {
    if (p_ == end_ || *p_ != kKseStructEnd) return false;
    ++p_;
    return true;
  }

  // The payload of an integer whose head (of an integer type) was just read,
  // sign-extended. Any form is accepted, not only the smallest.
  NAVKSE_INLINE std::int64_t readInteger(std::uint8_t type) {
    if (type == kKseZero) return 0;
    if (type == kKseInt8) {
      need(1);
      return static_cast<std::int8_t>(*p_++);
    }
    if (NAVKSE_UNLIKELY(type > kKseInt64)) {
      throwNotAnInteger(ReadProblemKind::kTypeMismatch, position(), "integer expected", type);
    }
    // Forms 1-3 carry 2, 4 or 8 bytes. With 8 bytes left, one big-endian
    // load and an arithmetic shift give any of them, without a branch per
    // form (the shift sign-extends: two's complement on every supported host).
    const unsigned n = 1u << type;
    const unsigned shift = 64 - 8 * n;
    if (NAVKSE_LIKELY(end_ - p_ >= 8)) {
      const std::uint64_t raw = kse_detail::loadBigEndian<std::uint64_t>(p_);
      p_ += n;
      return static_cast<std::int64_t>(raw) >> shift;
    }
    need(n);
    std::uint64_t raw = 0;
    for (unsigned i = 0; i < n; ++i) raw = (raw << 8) | p_[i];
    p_ += n;
    return static_cast<std::int64_t>(raw << shift) >> shift;
  }

  // The 4 big-endian IEEE bytes of a float value.
  NAVKSE_INLINE float readFloat() {
    const std::uint32_t bits = take<std::uint32_t>();
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
  }

  // The 8 big-endian IEEE bytes of a double value.
  NAVKSE_INLINE double readDouble() {
    const std::uint64_t bits = take<std::uint64_t>();
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
  }

  // The bytes of a string whose head (type 6 or 7) was just read. A long form
  // longer than the encoding's limit is kBadLength.
  NAVKSE_INLINE KseSpan readString(std::uint8_t type) {
    std::size_t n;
    if (NAVKSE_LIKELY(type == kKseString1)) {
      need(1);
      n = *p_++;
    } else {
      const std::size_t at = position();
      n = take<std::uint32_t>();
      if (NAVKSE_UNLIKELY(n > kKseMaxStringLength)) {
        throwStringOverLimit(at, n);
      }
    }
    return takeSpan(n);
  }

  // The bytes of a simple list whose head (type 13) was just read: the element
  // type byte (0x00: bytes), the count, the bytes.
  KseSpan readSimpleList() {
    need(1);
    if (NAVKSE_UNLIKELY(*p_ != 0x00)) throwSimpleListElement(position(), *p_);
    ++p_;
    const std::size_t n = readCount(1);
    return takeSpan(n);
  }

  // The element count of a list or map whose head was just read: an integer
  // field, not negative, and at most (bytes left / min_element_size).
  NAVKSE_INLINE std::size_t readCount(std::size_t min_element_size) {
    const KseHead h = readHead();
    if (NAVKSE_UNLIKELY(!isIntegerWire(h.type)))
      throwNotAnInteger(ReadProblemKind::kBadCount, h.offset, "count not an integer", h.type);
    // The writer gives a count tag 0 in the one-byte head; no other form is
    // a count (nor could it be written back the same).
    if (NAVKSE_UNLIKELY(h.tag != 0 || h.size != 1)) throwCountHead(h.offset, h.tag, h.size);
    const std::int64_t count = readInteger(h.type);
    if (NAVKSE_UNLIKELY(count < 0 || count > INT32_MAX)) throwCountOutOfRange(h.offset, count);
    if (NAVKSE_UNLIKELY(static_cast<std::size_t>(count) > remaining() / min_element_size)) {
      throwCountOverBytes(h.offset, count, remaining(), min_element_size);
    }
    return static_cast<std::size_t>(count);
  }

  // Opens one level of nesting (a record, list or map); kTooDeep past the cap.
  NAVKSE_INLINE void enter(std::size_t offset) {
    if (NAVKSE_UNLIKELY(++depth_ > kKseMaxDepth)) throwTooDeep(offset);
  }
  // Closes the level opened by enter().
  NAVKSE_INLINE void leave() noexcept { --depth_; }

  // Skips the value whose head was just read, nested values included, without
  // allocating. An end-of-record head has no value and skips nothing.
  void skipValue(const KseHead& head);

  // Skips fields up to and including the end head of the record whose begin
  // head was just read (depth already entered by the caller).
  void skipRecordBody();

 private:
  NAVKSE_INLINE void need(std::size_t n) const {
    if (NAVKSE_UNLIKELY(static_cast<std::size_t>(end_ - p_) < n)) {
      throwCutShort(position(), "input ends inside a value", n, remaining());
    }
  }

  template <class U>
  NAVKSE_INLINE U take() {
    need(sizeof(U));
    const U v = kse_detail::loadBigEndian<U>(p_);
    p_ += sizeof(U);
    return v;
  }

  NAVKSE_INLINE KseSpan takeSpan(std::size_t n) {
    KseSpan s;
    s.offset = position();
    if (NAVKSE_UNLIKELY(remaining() < n)) throwLengthOverBytes(s.offset, "length", n, remaining());
    s.data = reinterpret_cast<const char*>(p_);
    s.size = n;
    p_ += n;
    return s;
  }

  const unsigned char* begin_;
  const unsigned char* p_;
  const unsigned char* end_;
  const unsigned char* fast_end_;  // the fast paths stop here, kKseFastTail before the end
  int depth_ = 0;
};

}  // namespace ryn
}  // namespace navcore
