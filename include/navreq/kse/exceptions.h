// Exceptions raised by the Kse output stream.
#pragma once

#include <stdexcept>
#include <string>

namespace navcore {
namespace ryn {

// Base of every failure of the Kse streams.
class KseException : public std::runtime_error {
 public:
  // Carries `message` as what().
  explicit KseException(const std::string& message) : std::runtime_error(message) {}
};

// A value or input the streams cannot encode or decode.
class KseDecodeException : public KseException {
 public:
  // Carries `message` as what().
  explicit KseDecodeException(const std::string& message) : KseException(message) {}
};

// Raised by the writer for a string longer than the encoding allows. The name
// speaks of decoding for historical reasons; the wire protocol's peers know the
// failure under this name, so the writer keeps it.
class KseDecodeInvalidValue : public KseDecodeException {
 public:
  // Carries `message` as what().
  explicit KseDecodeInvalidValue(const std::string& message) : KseDecodeException(message) {}
};

}  // namespace ryn
}  // namespace navcore
