// The growable byte buffer behind a Kse output stream.
#pragma once

#include <cstddef>
#include <cstring>

namespace navcore {
namespace ryn {

// One contiguous array of bytes, grown by a fixed rule that other
// implementations of the protocol share (and tests pin down):
//
//   before appending n bytes, if capacity < length + n, allocate a new array of
//   exactly 2 x (length + n) bytes, copy the written bytes over and release the
//   old one.
//
// There is no minimum capacity (a first one-byte append allocates 2 bytes) and
// the buffer never shrinks. The writer appends a field head and its payload as
// separate pieces, each with its own check; the fused fast paths of the stream
// only skip checks that would pass anyway.
class BufferWriter {
 public:
  BufferWriter() noexcept = default;
  ~BufferWriter() { delete[] data_; }
  BufferWriter(const BufferWriter&) = delete;
  BufferWriter& operator=(const BufferWriter&) = delete;

  // The bytes written so far.
  const char* data() const noexcept { return data_; }
  std::size_t length() const noexcept { return length_; }      // bytes written
  std::size_t capacity() const noexcept { return capacity_; }  // bytes allocated

  // Appends one piece of n bytes.
  void append(const void* bytes, std::size_t n) {
    if (capacity_ - length_ < n) grow(n);
    if (n != 0) std::memcpy(data_ + length_, bytes, n);
    length_ += n;
  }

  // Fast-path interface of the stream: room() bytes can be written at
  // data() + length() without growing; setLength() then takes them in.
  //
  // The stream reads length() once, writes its bytes and sets the new length
  // last, from a value it already holds: byte stores may alias any object, so
  // a length read back after them would have to come from memory again.
  bool hasRoom(std::size_t n) const noexcept { return capacity_ - length_ >= n; }
  std::size_t room() const noexcept { return capacity_ - length_; }  // bytes writable without growing
  char* at(std::size_t offset) noexcept { return data_ + offset; }   // where byte `offset` goes
  void setLength(std::size_t n) noexcept { length_ = n; }            // takes in bytes written through at()

 private:
  void grow(std::size_t n);

  char* data_ = nullptr;
  std::size_t length_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace ryn
}  // namespace navcore
