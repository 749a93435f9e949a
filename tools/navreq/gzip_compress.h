// Compressing an edited body again (`navreq pack`), with the engine's default
// GZipCompress: the reading library itself has no compressor.
#pragma once

#include <string>
#include <string_view>

namespace navreq {
namespace tool {

// False when the compressor fails.
[[nodiscard]] bool Gzip(std::string_view in, std::string& out);

}  // namespace tool
}  // namespace navreq
