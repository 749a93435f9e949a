// `navreq pack`: the bytes that a dump's JSON tree describes.
#pragma once

#include <functional>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace navreq {

// A tree that does not describe bytes; what() names the JSON path first.
class PackError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The bytes of a tree as `navreq dump --json` prints it (format in
// docs/tree-format.md), read as it streams in: memory holds the bytes being
// made and, per value, its paths and the keys that pack does not write (to
// check them against the bytes read back), not the tree. Throws PackError for
// a malformed tree, a key edited that pack cannot write ("PATH (FIELD PATH):
// what"), or text that is not JSON ("not JSON: ...").
//
// A gzip body whose tree was edited is compressed again with `gzip` (the
// reading library has no compressor of its own; the tool passes the engine's
// GZipCompress). Without one, such an edit is a PackError; an unchanged gzip
// body keeps its original bytes and needs none.
using Compressor = std::function<bool(std::string_view plain, std::string& packed)>;
[[nodiscard]] std::string PackStream(std::istream& in, Compressor gzip = nullptr);

// The same from the tree's JSON text.
[[nodiscard]] std::string PackJson(std::string_view tree, Compressor gzip = nullptr);

}  // namespace navreq
