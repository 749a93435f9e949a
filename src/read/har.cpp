// The HAR structure: log.entries[i].request with its method, URL, headers,
// bodySize and postData. Everything else is skipped unread.
#include "navreq/read/har.h"

#include <utility>

#include "har_body.h"
#include "har_json.h"

namespace navreq {

namespace {

using har::JsonCursor;
using har::JsonError;
using har::JsonType;

// An entry costs sizeof(HarEntry) before any of its strings; a real HAR entry
// takes hundreds of bytes of text (startedDateTime, timings, the response),
// so no honest file comes near this many per byte.
constexpr std::size_t kEntryBudgetPerByte = 2;
constexpr std::size_t kEntryBudgetFloor = std::size_t{1} << 20;

[[noreturn]] void WrongType(const std::string& path, const char* expected) {
  throw JsonError(path + ": expected " + expected);
}

void Expect(JsonCursor& in, JsonType type, const std::string& path) {
  const JsonType got = in.next();
  if (got == type) return;
  if (got == JsonType::kEnd) in.fail("the text ends where a value was expected");
  switch (type) {
    case JsonType::kObject:
      WrongType(path, "an object");
    case JsonType::kArray:
      WrongType(path, "an array");
    case JsonType::kString:
      WrongType(path, "a string");
    default:
      WrongType(path, "a number");
  }
}

std::string ReadText(JsonCursor& in, const std::string& path) {
  Expect(in, JsonType::kString, path);
  return har::DecodeText(in.string());
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

// request.headers: only Content-Encoding matters.
void ReadHeaders(JsonCursor& in, const std::string& path, har::BodyText& body) {
  Expect(in, JsonType::kArray, path);
  in.open('[');
  for (std::size_t i = 0; in.more(']'); ++i) {
    const std::string at = path + "[" + std::to_string(i) + "]";
    Expect(in, JsonType::kObject, at);
    in.open('{');
    std::string name;
    std::string value;
    while (in.more('}')) {
      const std::string key = in.key();
      if (key == "name") {
        name = ReadText(in, at + ".name");
      } else if (key == "value") {
        value = ReadText(in, at + ".value");
      } else {
        in.skip(7);
      }
    }
    if (EqualsIgnoringCase(name, "content-encoding") && !value.empty() &&
        !EqualsIgnoringCase(value, "identity")) {
      body.content_encoded = true;
      if (value.find("gzip") != std::string::npos) body.content_gzip = true;
    }
  }
}

void ReadPostData(JsonCursor& in, const std::string& path, har::BodyText& body) {
  Expect(in, JsonType::kObject, path);
  in.open('{');
  body.present = true;
  while (in.more('}')) {
    const std::string key = in.key();
    if (key == "text") {
      Expect(in, JsonType::kString, path + ".text");
      body.text = in.string();
      body.has_text = true;
    } else if (key == "encoding") {
      body.base64 = ReadText(in, path + ".encoding") == "base64";
    } else if (key == "mimeType") {
      body.mime = ReadText(in, path + ".mimeType");
    } else {
      in.skip(6);
    }
  }
}

// bodySize as a count of bytes, or -1 when it is not a whole number that fits.
std::int64_t ReadBodySize(JsonCursor& in, const std::string& path) {
  Expect(in, JsonType::kNumber, path);
  const std::string_view n = in.number();
  if (n.empty() || n.size() > 15 || n.front() == '-') return -1;
  std::int64_t v = 0;
  for (const char c : n) {
    if (c < '0' || c > '9') return -1;
    v = v * 10 + (c - '0');
  }
  return v;
}

void ReadRequest(JsonCursor& in, const std::string& path, HarEntry& entry, har::BodyText& body) {
  Expect(in, JsonType::kObject, path);
  in.open('{');
  while (in.more('}')) {
    const std::string key = in.key();
    if (key == "method") {
      entry.method = ReadText(in, path + ".method");
    } else if (key == "url") {
      entry.url = ReadText(in, path + ".url");
    } else if (key == "headers") {
      ReadHeaders(in, path + ".headers", body);
    } else if (key == "bodySize") {
      body.body_size = ReadBodySize(in, path + ".bodySize");
    } else if (key == "postData") {
      ReadPostData(in, path + ".postData", body);
    } else {
      in.skip(5);
    }
  }
}

HarEntry ReadEntry(JsonCursor& in, std::size_t index) {
  const std::string path = "log.entries[" + std::to_string(index) + "]";
  HarEntry entry;
  entry.index = index;
  har::BodyText body;
  bool has_request = false;
  Expect(in, JsonType::kObject, path);
  in.open('{');
  while (in.more('}')) {
    if (in.key() == "request") {
      ReadRequest(in, path + ".request", entry, body);
      has_request = true;
    } else {
      in.skip(4);
    }
  }
  if (!has_request) {
    entry.skip = HarSkip::kNoBody;
    entry.reason = "no request";
  } else {
    har::RecoverBody(body, entry);
  }
  return entry;
}

void ReadEntries(JsonCursor& in, std::size_t text_size, std::vector<HarEntry>& entries) {
  Expect(in, JsonType::kArray, "log.entries");
  in.open('[');
  const std::size_t budget = kEntryBudgetPerByte * text_size + kEntryBudgetFloor;
  while (in.more(']')) {
    if ((entries.size() + 1) * sizeof(HarEntry) > budget) {
      throw JsonError("log.entries: more entries than a file of " + std::to_string(text_size) +
                      " bytes can describe");
    }
    entries.push_back(ReadEntry(in, entries.size()));
  }
}

}  // namespace

bool LooksLikeHar(std::string_view text) noexcept {
  std::size_t i = 0;
  if (text.substr(0, 3) == "\xef\xbb\xbf") i = 3;
  const auto skip_space = [&] {
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r')) ++i;
  };
  skip_space();
  if (i >= text.size() || text[i] != '{') return false;
  ++i;
  skip_space();
  return i < text.size() && text[i] == '"';
}

HarReading ReadHar(std::string_view text) {
  HarReading reading;
  if (text.substr(0, 3) == "\xef\xbb\xbf") text.remove_prefix(3);
  try {
    JsonCursor in(text);
    if (in.next() != JsonType::kObject) throw JsonError("not a HAR file: not a JSON object");
    in.open('{');
    bool has_log = false;
    bool has_entries = false;
    while (in.more('}')) {
      if (in.key() != "log") {
        in.skip(1);
        continue;
      }
      has_log = true;
      Expect(in, JsonType::kObject, "log");
      in.open('{');
      while (in.more('}')) {
        if (in.key() == "entries") {
          reading.entries.clear();
          ReadEntries(in, text.size(), reading.entries);
          has_entries = true;
        } else {
          in.skip(2);
        }
      }
    }
    in.finish();
    if (!has_log) throw JsonError("not a HAR file: no \"log\" object");
    if (!has_entries) throw JsonError("not a HAR file: no \"log.entries\" array");
  } catch (const JsonError& e) {
    reading.entries.clear();
    reading.error = e.what();
  }
  return reading;
}

std::string_view HarBodyFormName(HarBodyForm form) noexcept {
  switch (form) {
    case HarBodyForm::kNone:
      return "none";
    case HarBodyForm::kBase64:
      return "base64";
    case HarBodyForm::kLatin1:
      return "latin-1";
    case HarBodyForm::kUtf8:
      return "utf-8";
    case HarBodyForm::kSurrogateEscapes:
      return "surrogate escapes";
  }
  return "none";
}

std::string_view HarSkipName(HarSkip skip) noexcept {
  switch (skip) {
    case HarSkip::kNone:
      return "";
    case HarSkip::kNoBody:
      return "no-body";
    case HarSkip::kNotRequest:
      return "not-request";
    case HarSkip::kDamaged:
      return "damaged";
    case HarSkip::kNotInflated:
      return "not-inflated";
  }
  return "";
}

}  // namespace navreq
