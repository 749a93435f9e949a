// The JSON reader under ReadHar (navreq/read/har.h): one pass over the text,
// no document built. Strings are handed out as their raw text between the
// quotes, already checked (escapes well formed, UTF-8 valid, no control
// characters), and decoded code point by code point on demand, lone
// surrogates included: the one thing a HAR's body text needs that strict
// JSON parsers refuse.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace navreq {
namespace har {

// A JSON text that does not parse, or a member of the wrong type; the message
// is the whole line.
class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The JSON value types, as the cursor sees them from their first character.
enum class JsonType { kObject, kArray, kString, kNumber, kLiteral, kEnd };

// Reads values in order. Every function throws JsonError with the line and
// column of the offending character.
class JsonCursor {
 public:
  explicit JsonCursor(std::string_view text) noexcept : text_(text) {}

  // The type of the next value (whitespace skipped).
  [[nodiscard]] JsonType next();
  // A string's raw text between its quotes, checked.
  [[nodiscard]] std::string_view string();
  // A number's text, checked.
  [[nodiscard]] std::string_view number();
  // Any value, at most kHarMaxDepth levels deep counting from `depth`.
  void skip(std::size_t depth);
  // Opens an object or array; more() then tells whether an item follows
  // (consuming the ',' before it) and key() reads an object member's key and
  // its ':'. The closing bracket is consumed by the more() that says false.
  void open(char bracket);
  [[nodiscard]] bool more(char close);
  [[nodiscard]] std::string key();
  // After the top value: nothing but whitespace may follow.
  void finish();
  // An error at the current position.
  [[noreturn]] void fail(const std::string& what) const;

 private:
  void space() noexcept;
  void literal(std::string_view word);

  std::string_view text_;
  std::size_t pos_ = 0;
  bool first_ = false;  // no item read yet in the container just opened
};

// The code points of a checked string's raw text, in order: escapes decoded,
// a surrogate pair joined, a lone surrogate given as itself (0xd800-0xdfff).
class CodePoints {
 public:
  explicit CodePoints(std::string_view raw) noexcept : raw_(raw) {}
  // The next code point, false at the end.
  [[nodiscard]] bool next(std::uint32_t& cp) noexcept;

 private:
  std::string_view raw_;
  std::size_t pos_ = 0;
};

// Appends a code point's UTF-8 bytes (a lone surrogate as its three-byte form).
void AppendUtf8(std::string& out, std::uint32_t cp);

// A checked string's text as UTF-8, each lone surrogate as U+FFFD: for keys
// and for the method and URL shown.
[[nodiscard]] std::string DecodeText(std::string_view raw);

}  // namespace har
}  // namespace navreq
