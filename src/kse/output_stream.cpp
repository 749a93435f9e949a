#include "navreq/kse/output_stream.h"

#include <cstdio>
#include <limits>
#include <new>

#include "navreq/kse/exceptions.h"

namespace navcore {
namespace ryn {

void throwStringTooLong(std::uint8_t tag, std::size_t size) {
  char message[128];
  std::snprintf(message, sizeof message, "invalid string size, tag: %d, size: %u", static_cast<int>(tag),
                static_cast<unsigned>(static_cast<std::uint32_t>(size)));
  throw KseDecodeInvalidValue(message);
}

void BufferWriter::grow(std::size_t n) {
  const std::size_t max = std::numeric_limits<std::size_t>::max();
  if (n > (max - length_) / 2) throw std::bad_alloc();
  const std::size_t capacity = 2 * (length_ + n);
  char* grown = new char[capacity];
  if (length_ != 0) std::memcpy(grown, data_, length_);
  delete[] data_;
  data_ = grown;
  capacity_ = capacity;
}

}  // namespace ryn
}  // namespace navcore
