// Paths that name a value of a request, as `navreq diff` prints them and as
// `--ignore` patterns match them.
//
// Every level is named: a field by its declared name (by its tag where the
// record is not known or does not declare it), a list element by its position
// and a map value by its key in brackets, a protocol-buffers field as #NUMBER
// (#NUMBER[k] for its k-th repetition after the first), bytes that did not
// decode as <undecoded>, and a body not encoded as its command says as
// BODY.<encoding>:
//   body.start[0].point.x    header.imei    body.side_records[toGuidance].x
// The fields inside a byte array that carries a record continue the byte
// array's path. A level directly under the top has no leading dot.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace navreq {

// Appending one level to `path`; `first` for a level directly under the top.
void AppendFieldLevel(std::string& path, const char* name, std::int64_t tag, bool first);
void AppendIndexLevel(std::string& path, std::int64_t index);
// Whether a map key names its value by number: an integer key whose text
// reads back whole as an int64 (`value`). Other keys name it by their text.
[[nodiscard]] bool NumberedKey(std::string_view key, bool integer, std::int64_t& value) noexcept;
// A map value's key: the key's text (string bytes, or the decimal of an
// integer key when `integer`), quoted where it is not a plain word.
void AppendKeyLevel(std::string& path, std::string_view key, bool integer);
// A field of the stop event's message: its name (#number for a number the
// message does not declare), and [repetition] from its second occurrence on.
void AppendProtobufLevel(std::string& path, std::uint64_t number, std::uint64_t repetition, bool first);
// The bytes where decoding stopped: <undecoded>.
void AppendUndecodedLevel(std::string& path, bool first);
void AppendEncodingLevel(std::string& path, bool first);

// A path split into its levels: "a.b[0][x]" gives a, b, [0], [x].
[[nodiscard]] std::vector<std::string> PathLevels(const std::string& path);

// Whether the pattern levels match a prefix of the path levels: `*` matches
// one level (or, inside a level, any run of characters), `**` any number of levels.
[[nodiscard]] bool LevelsMatch(const std::vector<std::string>& pattern, const std::vector<std::string>& path);

}  // namespace navreq
