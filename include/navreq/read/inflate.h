// Gzip streams as requests carry them, inflated with a bound. The one
// inflater of the reading library: DecodeRequest, the walk (dump, diff, the
// inspector) and pack all inflate through Gunzip.
//
// A body is exactly one gzip member: the writer compresses every body in one
// call, which gives one member and nothing after it. A second member, or any
// byte after the first member's trailer, is therefore not part of the body
// the server reads; it is reported with its offset and nothing is inflated.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "navreq/kse/input_stream.h"

namespace navreq {

// An inflated body larger than this is not decoded (DecodeRequest takes
// another bound through DecodeOptions). The number itself is the wire layer's.
using ::navcore::ryn::kKseMaxInflatedSize;

// How one gzip stream inflated.
enum class GunzipStatus {
  kOk,
  kCutShort,     // the member ends before its trailer
  kBroken,       // the header, the deflate data or the trailer's check is wrong
  kOverLimit,    // it inflates to more than the limit
  kBytesAfter,   // bytes that are not a gzip member follow it
  kSecondMember  // another gzip member follows it
};

// What Gunzip did: its status, where a problem starts, and the error text.
struct [[nodiscard]] GunzipResult {
  GunzipStatus status = GunzipStatus::kOk;  // kOk when the stream inflated
  // Where the problem starts in the gzip bytes: the first byte after the
  // member for kBytesAfter and kSecondMember, 0 (the member) otherwise.
  std::size_t offset = 0;
  std::string error;  // empty when ok

  bool ok() const noexcept { return status == GunzipStatus::kOk; }
};

// Whether the bytes begin with the gzip magic 1f 8b.
[[nodiscard]] bool LooksGzip(std::string_view bytes) noexcept;

// Inflates one gzip member into `out` (cleared on failure). The size is
// measured first, so `out` is allocated once, at its exact size, and a stream
// past `limit` costs no memory. Throws std::bad_alloc only when that exact
// size cannot be had.
GunzipResult Gunzip(std::string_view in, std::size_t limit, std::string& out);

}  // namespace navreq
