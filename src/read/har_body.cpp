#include "har_body.h"

#include <cstdio>

#include "har_json.h"
#include "navreq/read/envelope.h"
#include "navreq/read/inflate.h"

namespace navreq {
namespace har {

namespace {

bool IsSurrogate(std::uint32_t cp) noexcept { return cp >= 0xd800 && cp <= 0xdfff; }

// A lone surrogate that stands for a byte (Python's surrogateescape writes
// byte B, from 0x80 on, as U+DC00 + B).
bool IsEscapedByte(std::uint32_t cp) noexcept { return cp >= 0xdc80 && cp <= 0xdcff; }

std::string CodePointName(std::uint32_t cp) {
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(cp));
  return text;
}

void Damaged(HarEntry& entry, std::string why) {
  entry.skip = HarSkip::kDamaged;
  entry.reason = "damaged: " + std::move(why);
  entry.form = HarBodyForm::kNone;
  entry.bytes.clear();
}

int Base64Value(std::uint32_t c) noexcept {
  if (c >= 'A' && c <= 'Z') return static_cast<int>(c - 'A');
  if (c >= 'a' && c <= 'z') return static_cast<int>(c - 'a' + 26);
  if (c >= '0' && c <= '9') return static_cast<int>(c - '0' + 52);
  if (c == '+' || c == '-') return 62;
  if (c == '/' || c == '_') return 63;
  return -1;
}

// Standard or URL-safe base64, whitespace ignored, padding optional. False
// with `why` on a character that is not base64 or a length that cannot be.
bool DecodeBase64(std::string_view raw, std::string& out, std::string& why) {
  out.reserve(raw.size() / 4 * 3 + 3);
  CodePoints points(raw);
  std::uint32_t cp = 0;
  std::uint32_t acc = 0;
  std::size_t held = 0;  // characters since the last whole group
  std::size_t pads = 0;
  for (std::size_t i = 0; points.next(cp); ++i) {
    if (cp == ' ' || cp == '\n' || cp == '\r' || cp == '\t') continue;
    if (cp == '=') {
      ++pads;
      continue;
    }
    const int v = Base64Value(cp);
    if (v < 0 || pads > 0) {
      why = "base64 text with " + (pads > 0 ? std::string("characters after its '=' padding")
                                            : CodePointName(cp) + " at character " + std::to_string(i));
      return false;
    }
    acc = (acc << 6) | static_cast<std::uint32_t>(v);
    if (++held == 4) {
      out += static_cast<char>(acc >> 16);
      out += static_cast<char>((acc >> 8) & 0xff);
      out += static_cast<char>(acc & 0xff);
      acc = 0;
      held = 0;
    }
  }
  if (held == 1 || (pads > 0 && held + pads != 4)) {
    why = "base64 text whose length cannot be";
    return false;
  }
  if (held == 2) out += static_cast<char>(acc >> 4);
  if (held == 3) {
    out += static_cast<char>(acc >> 10);
    out += static_cast<char>((acc >> 2) & 0xff);
  }
  return true;
}

// What one pass over the text's code points finds.
struct Scan {
  std::size_t replacements = 0;  // U+FFFD
  std::uint32_t stray = 0;       // the first lone surrogate that stands for no byte
  bool escapes = false;          // lone surrogates that stand for bytes
  std::uint32_t max = 0;         // the largest code point but those
  std::size_t latin1_size = 0;   // bytes as Latin-1 (one per code point)
  std::size_t utf8_size = 0;     // bytes as UTF-8 (an escaped byte one)
};

Scan ScanText(std::string_view raw) noexcept {
  Scan scan;
  CodePoints points(raw);
  std::uint32_t cp = 0;
  while (points.next(cp)) {
    ++scan.latin1_size;
    if (IsEscapedByte(cp)) {
      scan.escapes = true;
      ++scan.utf8_size;
      continue;
    }
    if (IsSurrogate(cp)) {
      if (scan.stray == 0) scan.stray = cp;
      continue;
    }
    if (cp == 0xfffd) ++scan.replacements;
    if (cp > scan.max) scan.max = cp;
    scan.utf8_size += cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
  }
  return scan;
}

// The bytes of a text read as `form` (kLatin1, kUtf8 or kSurrogateEscapes).
std::string TextBytes(std::string_view raw, HarBodyForm form, std::size_t size) {
  std::string out;
  out.reserve(size);
  CodePoints points(raw);
  std::uint32_t cp = 0;
  while (points.next(cp)) {
    if (form == HarBodyForm::kLatin1 || IsEscapedByte(cp)) {
      out += static_cast<char>(cp & 0xff);
    } else {
      AppendUtf8(out, cp);
    }
  }
  return out;
}

// Reads the text into entry.bytes; false when the entry is damaged.
bool Recover(const BodyText& body, HarEntry& entry) {
  if (body.base64) {
    std::string why;
    if (!DecodeBase64(body.text, entry.bytes, why)) {
      Damaged(entry, why);
      return false;
    }
    entry.form = HarBodyForm::kBase64;
    return true;
  }
  const Scan scan = ScanText(body.text);
  if (scan.replacements > 0) {
    Damaged(entry, std::to_string(scan.replacements) +
                       " U+FFFD replacement characters: bytes that were not UTF-8 were lost");
    return false;
  }
  if (scan.stray != 0) {
    char escape[16];
    std::snprintf(escape, sizeof escape, "%04x", static_cast<unsigned>(scan.stray));
    Damaged(entry, std::string("a lone surrogate \\u") + escape + " that stands for no byte");
    return false;
  }
  std::size_t size = scan.utf8_size;
  if (scan.escapes) {
    entry.form = HarBodyForm::kSurrogateEscapes;
  } else if (scan.max >= 0x100) {
    entry.form = HarBodyForm::kUtf8;
  } else if (body.body_size >= 0 && static_cast<std::uint64_t>(body.body_size) == scan.utf8_size &&
             scan.utf8_size != scan.latin1_size) {
    // Code points below 256 read as UTF-8 by a writer that decoded valid
    // UTF-8: only bodySize tells; Latin-1 otherwise.
    entry.form = HarBodyForm::kUtf8;
  } else {
    entry.form = HarBodyForm::kLatin1;
    size = scan.latin1_size;
  }
  entry.bytes = TextBytes(body.text, entry.form, size);
  return true;
}

}  // namespace

void RecoverBody(const BodyText& body, HarEntry& entry) {
  if (!body.present) {
    entry.skip = HarSkip::kNoBody;
    entry.reason = "no body";
    return;
  }
  if (!body.has_text || body.text.empty()) {
    entry.skip = HarSkip::kNoBody;
    entry.reason = "empty body";
    return;
  }
  if (!Recover(body, entry)) return;
  // A writer that cut the body short (some keep only its first part) still
  // gives its full size; with a Content-Encoding, bodySize may count the
  // compressed bytes, so it is not compared then.
  if (!body.content_encoded && body.body_size > 0 &&
      entry.bytes.size() < static_cast<std::uint64_t>(body.body_size)) {
    const std::size_t got = entry.bytes.size();
    Damaged(entry, "cut short: " + std::to_string(got) + " bytes where bodySize says " +
                       std::to_string(body.body_size));
    return;
  }
  const std::string what = body.mime.empty() ? std::string() : ", " + body.mime;
  if (LooksGzip(entry.bytes)) {
    entry.gzip = true;
    std::string inflated;
    const GunzipResult g = Gunzip(entry.bytes, kKseMaxInflatedSize, inflated);
    if (!g.ok()) {
      entry.skip = HarSkip::kNotInflated;
      entry.reason = "a gzip body that does not inflate: " + g.error;
      return;
    }
    if (!DetectEnvelope(inflated)) {
      entry.skip = HarSkip::kNotRequest;
      entry.reason = "not a request of this system (gzip, " + std::to_string(inflated.size()) +
                     " bytes inflated" + what + ")";
    }
    return;
  }
  entry.inflated_by_writer = body.content_gzip;
  if (!DetectEnvelope(entry.bytes)) {
    entry.skip = HarSkip::kNotRequest;
    entry.reason =
        "not a request of this system (" + std::to_string(entry.bytes.size()) + " bytes" + what + ")";
  }
}

}  // namespace har
}  // namespace navreq
