// Requests inside HTTP Archive files (HAR 1.2: a JSON object whose
// `log.entries` array holds one entry per exchange), as proxies and browsers
// export captured traffic.
//
// HAR keeps a request body as JSON text in `request.postData.text`, and the
// writers turn bytes into text in different ways. Every exact one is read
// back to the bytes that were sent:
//  - `"encoding": "base64"` beside the text (an addition of some writers);
//  - the bytes as Latin-1 code points, one code point below 256 per byte;
//  - the bytes decoded as UTF-8, each byte that is not part of valid UTF-8
//    written as a lone surrogate escape `\udc80`-`\udcff` (strict JSON
//    parsers refuse lone surrogates, so the reader here parses the JSON
//    itself and keeps them);
//  - text that is valid UTF-8 whose code points go beyond Latin-1.
// A writer may also have inflated a gzip body while the headers still say
// `Content-Encoding: gzip`; the text then is the inflated body. A body that
// is still a gzip stream is inflated (Gunzip, read/inflate.h) to be judged.
//
// A conversion that lost bytes is never read as if whole: U+FFFD (what
// browsers put for bytes that are not UTF-8), a lone surrogate that stands
// for no byte, broken base64, and fewer bytes than `request.bodySize` make
// the entry damaged. Whether a body is a request of this system is decided
// by DetectEnvelope (read/envelope.h) alone.
//
// Bounded: the JSON is read in one pass over the text without building a
// document; entries are counted against the text's size before they are
// kept; bodies take at most the size of their text, and a gzip body is
// inflated (at most kKseMaxInflatedSize) only to be judged, one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace navreq {

// How an entry's body text was turned back into bytes.
enum class HarBodyForm {
  kNone,              // no body text was read
  kBase64,            // `"encoding": "base64"`
  kLatin1,            // every code point below 256: one byte each
  kUtf8,              // UTF-8 text with code points from 256 on: its UTF-8 bytes
  kSurrogateEscapes,  // UTF-8 text with `\udcXX` for the bytes that are not UTF-8
};

// Why an entry is not shown as a request.
enum class HarSkip {
  kNone,         // the body is a request of this system
  kNoBody,       // no request, no postData or an empty body text
  kNotRequest,   // the bytes are not a request of this system
  kDamaged,      // the text lost bytes: the body cannot be recovered
  kNotInflated,  // a gzip body that does not inflate within the bound
};

// One entry of `log.entries`, with its request body recovered or the reason
// it was skipped.
struct HarEntry {
  std::size_t index = 0;                  // the entry's position in `log.entries`, from 0
  std::string method;                     // `request.method` (empty when absent)
  std::string url;                        // `request.url` (empty when absent)
  HarBodyForm form = HarBodyForm::kNone;  // how `bytes` were recovered
  HarSkip skip = HarSkip::kNone;          // kNone: `bytes` hold a request
  std::string reason;                     // one line saying why, when skipped
  // The body as the client sent it: a request, or a gzip stream holding one
  // (`gzip`), which Walk and DecodeRequest inflate themselves. Empty when
  // skipped, except for kNotRequest and kNotInflated.
  std::string bytes;
  bool gzip = false;  // `bytes` are a gzip stream
  // The headers say `Content-Encoding: gzip` but the text is not a gzip
  // stream: the writer had inflated the body.
  bool inflated_by_writer = false;

  // Whether the entry holds a request of this system.
  [[nodiscard]] bool request() const noexcept { return skip == HarSkip::kNone; }
};

// A HAR file read: its entries in order, or why it could not be read.
struct [[nodiscard]] HarReading {
  std::vector<HarEntry> entries;     // every entry of `log.entries`
  std::optional<std::string> error;  // one line (e.g. "not valid JSON at line 3, column 7: ...")

  // Whether the file was read.
  bool ok() const noexcept { return !error.has_value(); }
};

// The most levels of JSON nesting read; deeper documents are refused.
inline constexpr std::size_t kHarMaxDepth = 256;

// Whether `text` is to be read as a HAR file rather than as a request: its
// first character but whitespace (or a UTF-8 byte order mark) is `{` and the
// next one `"`, which opens a JSON object and none of the request text forms
// (read/input.h). The rest is ReadHar's to check.
[[nodiscard]] bool LooksLikeHar(std::string_view text) noexcept;

// Reads a HAR file's text. An error when it is not valid JSON, not an object
// with a `log.entries` array, when a member read has the wrong JSON type
// (named by its path, e.g. "log.entries[2].request.url: expected a string"),
// or when it has more entries than its size can hold. Throws nothing but
// std::bad_alloc.
[[nodiscard]] HarReading ReadHar(std::string_view text);

// The form's name as the tool prints it: "base64", "latin-1", "utf-8",
// "surrogate escapes" ("none" for kNone).
[[nodiscard]] std::string_view HarBodyFormName(HarBodyForm form) noexcept;

// The reason's name in JSON output: "no-body", "not-request", "damaged",
// "not-inflated" ("" for kNone).
[[nodiscard]] std::string_view HarSkipName(HarSkip skip) noexcept;

}  // namespace navreq
