// Exceptions raised by the Kse output stream.
#pragma once

#include <stdexcept>
#include <string>

namespace navcore {
namespace ryn {

class KseException : public std::runtime_error {
 public:
  explicit KseException(const std::string& message) : std::runtime_error(message) {}
};

class KseDecodeException : public KseException {
 public:
  explicit KseDecodeException(const std::string& message) : KseException(message) {}
};

// Raised by the writer for a string longer than the encoding allows. The name
// speaks of decoding for historical reasons; the wire protocol's peers know the
// failure under this name, so the writer keeps it.
class KseDecodeInvalidValue : public KseDecodeException {
 public:
  explicit KseDecodeInvalidValue(const std::string& message) : KseDecodeException(message) {}
};

}  // namespace ryn
}  // namespace navcore
