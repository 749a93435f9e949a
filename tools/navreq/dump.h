// `navreq dump`: any bytes in, a tree of what they hold out.
//
// The input is recognised as a Package (command envelope) or a Packet
// (gateway wrapper) when its fields match the declaration, and otherwise
// decoded without names. Bytes carried inside are followed where their
// meaning is fixed: the Package's Header and its body (by command name), the
// Packet's payload (by packet kind), the location header's extra data and the
// route search's side records. Gzip streams are inflated wherever they appear
// in those places, whatever the compression flag says.
#pragma once

#include <cstddef>
#include <string>

#include "kse_reader.h"

namespace navreq {
namespace tool {

// The whole input, described like the bytes of a field: `kse` holds the
// top-level record (or `gzip_error` why it did not inflate).
using DumpResult = Embedded;

// Decodes any input; never fails, never reads outside [data, data + size).
[[nodiscard]] DumpResult Dump(const unsigned char* data, std::size_t size);

// True when every Kse decoding in the tree reached the end of its bytes and
// every gzip stream inflated. (A protocol-buffers payload read without its
// schema is shown as far as it parses and does not count.)
[[nodiscard]] bool DumpComplete(const DumpResult& result) noexcept;

// The indented text tree, one line per value, ending with a newline.
[[nodiscard]] std::string RenderText(const DumpResult& result);

// The same tree as one JSON document (pretty-printed, ending with a newline).
[[nodiscard]] std::string RenderJson(const DumpResult& result);

}  // namespace tool
}  // namespace navreq
