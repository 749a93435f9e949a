// `navreq pack`: the bytes that a dump's JSON tree describes.
#pragma once

#include <istream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace navreq {
namespace tool {

// A tree that does not describe bytes; what() names the JSON path first.
class PackError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The bytes of a tree as `navreq dump --json` prints it (format in
// docs/tree-format.md), read as it streams in: memory holds the bytes being
// made, not the tree. Throws PackError for a malformed tree or text that is
// not JSON ("not JSON: ...").
[[nodiscard]] std::string PackStream(std::istream& in);

// The same from a parsed document.
[[nodiscard]] std::string PackTree(const nlohmann::json& tree);

}  // namespace tool
}  // namespace navreq
