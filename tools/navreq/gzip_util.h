// Gzip streams as the tool meets them: inflated with a bound, and made again
// for an edited body.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace navreq {
namespace tool {

// Whether the bytes begin with the gzip magic 1f 8b.
[[nodiscard]] bool LooksGzip(std::string_view bytes) noexcept;

// Inflates a gzip stream (one member or several, one after the other) into
// `out`. False with `error` set when the stream is broken, truncated, followed
// by bytes that are not another member, or inflates past `limit` bytes; the
// size is measured first, so `out` is allocated once, at its exact size, and
// a stream past the limit costs no memory.
[[nodiscard]] bool Gunzip(std::string_view in, std::size_t limit, std::string& out, std::string& error);

// Compresses with the engine's default GZipCompress. False when it fails.
[[nodiscard]] bool Gzip(std::string_view in, std::string& out);

}  // namespace tool
}  // namespace navreq
