// nanopb side of the body comparison, in a translation unit of its own: its
// generated header shares its file name with libprotobuf's.
#pragma once

#include <cstddef>
#include <string>

namespace navreq_bench {

// Decodes protobuf bytes of the route body mirror into the nanopb struct that
// NanopbEncode writes. False when they do not fit its static sizes.
bool NanopbLoad(const std::string& bytes);

// pb_encode of the loaded body into `buffer`; the bytes written, or 0.
std::size_t NanopbEncode(unsigned char* buffer, std::size_t capacity);

}  // namespace navreq_bench
