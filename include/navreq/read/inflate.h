// Gzip streams as requests carry them, inflated with a bound.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace navreq {

// Whether the bytes begin with the gzip magic 1f 8b.
[[nodiscard]] bool LooksGzip(std::string_view bytes) noexcept;

// Inflates a gzip stream (one member or several, one after the other) into
// `out`. False with `error` set when the stream is broken, truncated, followed
// by bytes that are not another member, or inflates past `limit` bytes; the
// size is measured first, so `out` is allocated once, at its exact size, and
// a stream past the limit costs no memory.
[[nodiscard]] bool Gunzip(std::string_view in, std::size_t limit, std::string& out, std::string& error);

}  // namespace navreq
