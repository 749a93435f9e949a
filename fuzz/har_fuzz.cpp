// Fuzz target: the HAR reader (ReadHar) on arbitrary text, and on HAR files
// that carry the fuzzer's bytes as a body in each form writers use.
//
// Nothing crashes or grows without bound; a reading is either entries or an
// error of one line; every entry is numbered by its position, a request
// holds bytes and a skipped entry one line of reason; and bytes written into
// a body as base64, as Latin-1 code points or with surrogate escapes come
// back exactly (or the entry is judged, never damaged).
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "navreq/read/har.h"
#include "support/text_forms.h"

namespace {

using navreq::testing::Base64Text;
using navreq::testing::JsonUnitEscape;

void CheckReading(const std::string& input, const navreq::HarReading& r) {
  if (!r.ok()) {
    NAVREQ_FUZZ_CHECK(r.entries.empty(), "no entries with an error");
    NAVREQ_FUZZ_CHECK(!r.error->empty() && r.error->find('\n') == std::string::npos, "an error of one line");
    return;
  }
  std::size_t held = 0;
  for (std::size_t i = 0; i < r.entries.size(); ++i) {
    const navreq::HarEntry& e = r.entries[i];
    NAVREQ_FUZZ_CHECK(e.index == i, "entries numbered by position");
    held += e.bytes.size() + e.method.size() + e.url.size();
    if (e.request()) {
      NAVREQ_FUZZ_CHECK(!e.bytes.empty() && e.reason.empty(), "a request holds bytes");
    } else {
      NAVREQ_FUZZ_CHECK(!e.reason.empty() && e.reason.find('\n') == std::string::npos,
                        "a reason of one line");
    }
  }
  // Method and URL may grow by U+FFFD for a lone surrogate escape (3 bytes for 6).
  NAVREQ_FUZZ_CHECK(held <= input.size() * 2, "the entries hold no more than their text");
}

std::string Har(const std::string& text, bool base64) {
  return std::string(
             "{\"log\": {\"entries\": [{\"request\": {\"method\": \"POST\", \"url\": \"u\", "
             "\"postData\": {\"mimeType\": \"application/octet-stream\", \"text\": \"") +
         text + "\"" + (base64 ? ", \"encoding\": \"base64\"" : "") + "}}}]}}";
}

// Every byte escaped as its Latin-1 code point, or (from 0x80 on) as a
// surrogate escape.
std::string Escaped(const std::string& bytes, bool surrogates) {
  std::string text;
  for (unsigned char b : bytes) text += JsonUnitEscape(surrogates && b >= 0x80 ? 0xdc00u + b : b);
  return text;
}

void CheckCarried(const std::string& bytes, const std::string& har, navreq::HarBodyForm form) {
  const navreq::HarReading r = navreq::ReadHar(har);
  NAVREQ_FUZZ_CHECK(r.ok() && r.entries.size() == 1, "a HAR made here reads");
  const navreq::HarEntry& e = r.entries[0];
  if (bytes.empty()) {
    NAVREQ_FUZZ_CHECK(e.skip == navreq::HarSkip::kNoBody, "an empty body is no body");
    return;
  }
  NAVREQ_FUZZ_CHECK(e.skip != navreq::HarSkip::kDamaged && e.skip != navreq::HarSkip::kNoBody,
                    "an exact body is never damaged");
  NAVREQ_FUZZ_CHECK(e.form == form, "the body's form is named");
  if (e.skip != navreq::HarSkip::kNotInflated)
    NAVREQ_FUZZ_CHECK(e.bytes == bytes, "the body comes back exactly");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  CheckReading(input, navreq::ReadHar(input));

  CheckCarried(input, Har(Base64Text(input), true), navreq::HarBodyForm::kBase64);
  CheckCarried(input, Har(Escaped(input, false), false), navreq::HarBodyForm::kLatin1);
  bool high = false;
  for (unsigned char b : input) high = high || b >= 0x80;
  CheckCarried(input, Har(Escaped(input, true), false),
               high ? navreq::HarBodyForm::kSurrogateEscapes : navreq::HarBodyForm::kLatin1);
  return 0;
}
