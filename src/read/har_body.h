// Turning a HAR entry's body text back into the bytes that were sent, and
// judging them (navreq/read/har.h says which forms and why).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "navreq/read/har.h"

namespace navreq {
namespace har {

// What the JSON walk gathered about one request's body.
struct BodyText {
  bool present = false;          // request.postData is there
  bool has_text = false;         // ... with a `text`
  std::string_view text;         // its raw JSON text between the quotes, checked
  bool base64 = false;           // `"encoding": "base64"`
  std::string mime;              // postData.mimeType
  bool content_encoded = false;  // a Content-Encoding header other than identity
  bool content_gzip = false;     // ... that names gzip
  std::int64_t body_size = -1;   // request.bodySize, -1 when unknown
};

// Sets the entry's form, bytes, gzip flags, or its skip and reason.
void RecoverBody(const BodyText& body, HarEntry& entry);

}  // namespace har
}  // namespace navreq
