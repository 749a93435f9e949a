// `navreq dump` and `diff` on HAR files: every example request carried in a
// HAR in each body form dumps as its raw bytes do; the listing of a whole
// file, its JSON, `FILE.har#N`, and the input errors with their statuses.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/text_forms.h"
#include "support/wire.h"
#include "tool_run.h"

namespace {

using navreq::testing::Base64Text;
using navreq::testing::ExampleBytes;
using navreq::testing::JsonUnitEscape;
using navreq::testing::kExampleKinds;
using navreq::testing::RunTool;
using navreq::testing::ScratchDir;
using navreq::testing::SourcePath;
using navreq::testing::WriteFile;

// Test-side writers of a body's text, each as a JSON string's contents.

// Each byte one code point: printable ASCII as itself, the rest escaped.
std::string Latin1(const std::string& bytes) {
  std::string text;
  for (unsigned char b : bytes) {
    text += b >= 0x20 && b < 0x7f && b != '"' && b != '\\' ? std::string(1, static_cast<char>(b))
                                                           : JsonUnitEscape(b);
  }
  return text;
}

// The length of a well-formed UTF-8 sequence at `i` (from 0x80 on), or 0.
std::size_t Utf8Run(const std::string& s, std::size_t i) {
  const auto b = [&](std::size_t k) { return static_cast<unsigned char>(s[k]); };
  const unsigned char c = b(i);
  const std::size_t n = c >= 0xc2 && c <= 0xdf   ? 2
                        : c >= 0xe0 && c <= 0xef ? 3
                        : c >= 0xf0 && c <= 0xf4 ? 4
                                                 : 0;
  if (n == 0 || s.size() - i < n) return 0;
  for (std::size_t k = 1; k < n; ++k) {
    if ((b(i + k) & 0xc0) != 0x80) return 0;
  }
  if ((c == 0xe0 && b(i + 1) < 0xa0) || (c == 0xed && b(i + 1) > 0x9f) || (c == 0xf0 && b(i + 1) < 0x90) ||
      (c == 0xf4 && b(i + 1) > 0x8f)) {
    return 0;
  }
  return n;
}

// UTF-8 where the bytes are UTF-8 (written as they are), \udcXX for each
// byte that is not.
std::string SurrogateEscaped(const std::string& bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto b = static_cast<unsigned char>(bytes[i]);
    if (b < 0x80) {
      text += Latin1(bytes.substr(i, 1));
      ++i;
    } else if (const std::size_t n = Utf8Run(bytes, i)) {
      text += bytes.substr(i, n);
      i += n;
    } else {
      text += JsonUnitEscape(0xdc00u + b);
      ++i;
    }
  }
  return text;
}

struct Entry {
  std::string method = "POST";
  std::string url = "https://nav.example/req";
  std::string text;  // the JSON string's contents; none when empty
  bool base64 = false;
  bool gzip_header = false;
};

std::string Har(const std::vector<Entry>& entries) {
  std::string har = "{\"log\": {\"version\": \"1.2\", \"creator\": {\"name\": \"t\"}, \"entries\": [";
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const Entry& e = entries[i];
    har += i ? ",\n" : "\n";
    har += "{\"request\": {\"method\": \"" + e.method + "\", \"url\": \"" + e.url + "\", \"headers\": [";
    if (e.gzip_header) har += "{\"name\": \"Content-Encoding\", \"value\": \"gzip\"}";
    har += "], \"bodySize\": " + std::string(e.gzip_header ? "17" : "-1");
    if (!e.text.empty()) {
      har += ", \"postData\": {\"mimeType\": \"application/octet-stream\", \"text\": \"" + e.text + "\"" +
             (e.base64 ? ", \"encoding\": \"base64\"" : "") + "}";
    }
    har += "}, \"response\": {\"status\": 200}}";
  }
  return har + "\n]}}\n";
}

struct Form {
  const char* name;   // as the entry's heading gives it
  const char* shown;  // the heading's parenthesis
  Entry (*make)(const std::string& bytes);
};

const Form kForms[] = {
    {"base64", "(base64)",
     [](const std::string& b) {
       return Entry{"POST", "https://nav.example/req", Base64Text(b), true, false};
     }},
    {"latin1", "(latin-1)",
     [](const std::string& b) {
       return Entry{"POST", "https://nav.example/req", Latin1(b), false, false};
     }},
    {"surrogates", "(surrogate escapes)",
     [](const std::string& b) {
       return Entry{"POST", "https://nav.example/req", SurrogateEscaped(b), false, false};
     }},
    {"inflated", "(latin-1, inflated by the writer)",
     [](const std::string& b) {
       return Entry{"POST", "https://nav.example/req", Latin1(b), false, true};
     }},
};

class HarRoundTrip : public ::testing::TestWithParam<const char*> {};

TEST_P(HarRoundTrip, EachBodyFormDumpsAsTheRawBytes) {
  const std::string kind = GetParam();
  const std::string hex_path = SourcePath("tests/tool/golden/" + kind + ".hex");
  const auto text = RunTool({"dump", hex_path});
  const auto json = RunTool({"dump", "--json", hex_path});
  ASSERT_EQ(text.status, 0) << text.err;
  ScratchDir dir;
  for (const Form& form : kForms) {
    const std::string path = dir.file(kind + "." + form.name + ".har");
    WriteFile(path, Har({form.make(ExampleBytes(kind))}));
    const auto entry = RunTool({"dump", path + "#0"});
    EXPECT_EQ(entry.status, 0) << form.name << entry.err;
    // Compared whole; a mismatch prints only the form (the dumps are long).
    EXPECT_TRUE(entry.out == text.out) << form.name;
    const auto entry_json = RunTool({"dump", "--json", path + "#0"});
    EXPECT_TRUE(entry_json.out == json.out) << form.name;
    const auto whole = RunTool({"dump", path});
    EXPECT_EQ(whole.status, 0) << form.name << whole.err;
    EXPECT_TRUE(whole.out ==
                std::string("entry 0: POST https://nav.example/req ") + form.shown + "\n" + text.out)
        << form.name;
    // The same from standard input ("--": CLI11 takes "-#0" for an option).
    EXPECT_TRUE(RunTool({"dump", "--", "-#0"}, navreq::testing::ReadFile(path)).out == text.out) << form.name;
    // diff takes the entry as it takes the raw bytes.
    const auto diff = RunTool({"diff", path + "#0", hex_path});
    EXPECT_EQ(diff.status, 0) << form.name << diff.err;
    EXPECT_EQ(diff.out, "");
  }
}

INSTANTIATE_TEST_SUITE_P(Examples, HarRoundTrip, ::testing::ValuesIn(kExampleKinds));

// A HAR of four entries: a request, a GET, a damaged body, another request.
std::string MixedHar() {
  Entry get;
  get.method = "GET";
  get.url = "https://nav.example/status";
  Entry damaged;
  damaged.text = "\\f\\u0010\\u0005\\ufffd";
  Entry plus{"POST", "https://nav.example/plus", Base64Text(ExampleBytes("plus")), true, false};
  return Har({Entry{"POST", "https://nav.example/stop", Base64Text(ExampleBytes("navstop")), true, false},
              get, damaged, plus});
}

TEST(HarCli, WholeFileListsRequestsThenSkipped) {
  ScratchDir dir;
  const std::string path = dir.file("mixed.har");
  WriteFile(path, MixedHar());
  const auto stop = RunTool({"dump", SourcePath("tests/tool/golden/navstop.hex")});
  const auto plus = RunTool({"dump", SourcePath("tests/tool/golden/plus.hex")});
  const auto r = RunTool({"dump", path});
  // The damaged body is bytes that did not decode: status 1.
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_EQ(r.out,
            "entry 0: POST https://nav.example/stop (base64)\n" + stop.out +
                "\nentry 3: POST https://nav.example/plus (base64)\n" + plus.out +
                "\nskipped:\n"
                "  entry 1: GET https://nav.example/status: no body\n"
                "  entry 2: POST https://nav.example/req: damaged: 1 U+FFFD replacement characters: bytes "
                "that were not UTF-8 were lost\n");
}

TEST(HarCli, WholeFileAsJson) {
  ScratchDir dir;
  const std::string path = dir.file("mixed.har");
  WriteFile(path, MixedHar());
  const auto r = RunTool({"dump", "--json", path});
  EXPECT_EQ(r.status, 1) << r.err;
  const nlohmann::json doc = nlohmann::json::parse(r.out);
  ASSERT_EQ(doc.at("entries").size(), 4u);
  const nlohmann::json& first = doc["entries"][0];
  EXPECT_EQ(first.at("index"), 0);
  EXPECT_EQ(first.at("method"), "POST");
  EXPECT_EQ(first.at("url"), "https://nav.example/stop");
  EXPECT_EQ(first.at("form"), "base64");
  EXPECT_EQ(first.at("gzip"), false);
  EXPECT_EQ(first.at("inflated_by_writer"), false);
  EXPECT_EQ(first.at("status"), 0);
  const auto stop = RunTool({"dump", "--json", SourcePath("tests/tool/golden/navstop.hex")});
  EXPECT_EQ(first.at("tree"), nlohmann::json::parse(stop.out));
  EXPECT_EQ(doc["entries"][1].at("skipped"), "no-body");
  EXPECT_EQ(doc["entries"][1].at("reason"), "no body");
  EXPECT_FALSE(doc["entries"][1].contains("tree"));
  EXPECT_EQ(doc["entries"][2].at("skipped"), "damaged");
  EXPECT_FALSE(doc["entries"][3].contains("record"));
  EXPECT_EQ(doc["entries"][3].at("tree").at("record"), "Package");
  // A tree taken out of the document packs back to the request.
  const auto packed = RunTool({"pack"}, doc["entries"][3]["tree"].dump());
  EXPECT_EQ(packed.status, 0) << packed.err;
  EXPECT_EQ(packed.out, wire::Hex(ExampleBytes("plus")) + "\n");
}

TEST(HarCli, EntryErrorsAreInputErrors) {
  ScratchDir dir;
  const std::string path = dir.file("mixed.har");
  WriteFile(path, MixedHar());
  auto r = RunTool({"dump", path + "#4"});
  EXPECT_EQ(r.status, 65);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "navreq dump: " + path + ": no entry 4 (the HAR file has 4 entries, from 0)\n");
  r = RunTool({"dump", path + "#1"});
  EXPECT_EQ(r.status, 65);
  EXPECT_EQ(r.err, "navreq dump: " + path + ": entry 1 holds no request: no body\n");
  r = RunTool({"dump", path + "#2"});
  EXPECT_EQ(r.status, 65);
  EXPECT_NE(r.err.find("entry 2 holds no request: damaged: 1 U+FFFD"), std::string::npos) << r.err;
  // #N on a file that is not a HAR.
  const std::string hex = SourcePath("tests/tool/golden/plus.hex");
  r = RunTool({"dump", hex + "#0"});
  EXPECT_EQ(r.status, 65);
  EXPECT_EQ(r.err, "navreq dump: " + hex + "#0: #0 names a HAR entry, but " + hex + " is not a HAR file\n");
  // A file whose own name ends in #N is that file.
  const std::string odd = dir.file("odd#1");
  WriteFile(odd, ExampleBytes("plus"));
  EXPECT_EQ(RunTool({"dump", odd}).status, 0);
}

TEST(HarCli, NoRequestMalformedAndNotHar) {
  Entry get;
  get.method = "GET";
  auto r = RunTool({"dump"}, Har({get}));
  EXPECT_EQ(r.status, 65);
  EXPECT_EQ(r.out, "skipped:\n  entry 0: GET https://nav.example/req: no body\n");
  EXPECT_EQ(r.err, "navreq dump: standard input: no entry of the HAR file holds a request (1 entries)\n");
  r = RunTool({"dump", "--json"}, Har({}));
  EXPECT_EQ(r.status, 65);
  EXPECT_EQ(r.out, "{\"entries\": [\n]}\n");
  r = RunTool({"dump"}, "{\"log\": {\"entries\": [\n{]}}");
  EXPECT_EQ(r.status, 65);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "navreq dump: standard input: not valid JSON at line 2, column 2: expected a string\n");
  r = RunTool({"dump"}, "{\"version\": 1}");
  EXPECT_EQ(r.status, 65);
  EXPECT_EQ(r.err, "navreq dump: standard input: not a HAR file: no \"log\" object\n");
  // --raw reads the text as bytes: no HAR.
  r = RunTool({"dump", "--raw"}, Har({}));
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.out.find("no envelope recognised"), std::string::npos);
}

TEST(HarCli, DiffTakesEntries) {
  ScratchDir dir;
  const std::string path = dir.file("mixed.har");
  WriteFile(path, MixedHar());
  auto r = RunTool({"diff", path + "#0", path + "#3"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err.substr(0, r.err.find('\n')),
            "navreq diff: A is Packet kind 2 (GetNavStopActionReqData), B is REQ_ROUTE_PLUS: requests of "
            "different commands (--force compares them all the same)")
      << r.err;
  r = RunTool({"diff", path + "#3", SourcePath("tests/tool/golden/plus.hex")});
  EXPECT_EQ(r.status, 0) << r.err;
  r = RunTool({"diff", path, path + "#3"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "navreq diff: A: " + path + ": a HAR file with 2 requests; name one entry as " + path + "#N\n");
  r = RunTool({"diff", path + "#3", path + "#1"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "navreq diff: B: " + path + ": entry 1 holds no request: no body\n");
  // A HAR holding one request is that request.
  const std::string one = dir.file("one.har");
  WriteFile(one, Har({Entry{"POST", "u", Base64Text(ExampleBytes("plus")), true, false}}));
  r = RunTool({"diff", one, SourcePath("tests/tool/golden/plus.hex")});
  EXPECT_EQ(r.status, 0) << r.err;
}

// Peak resident size in KiB of `navreq dump PATH` (output discarded), from
// wait4's rusage of that one child; -1 when it did not exit with `status`.
long PeakKib(const std::string& path, int status) {
  const pid_t pid = fork();
  if (pid == 0) {
    const int null = open("/dev/null", O_WRONLY);
    if (null < 0 || dup2(null, 1) < 0 || dup2(null, 2) < 0) _exit(126);
    execl(NAVREQ_TOOL_BINARY, NAVREQ_TOOL_BINARY, "dump", path.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int raw = 0;
  struct rusage usage {};
  if (pid <= 0 || wait4(pid, &raw, 0, &usage) != pid || !WIFEXITED(raw) || WEXITSTATUS(raw) != status)
    return -1;
  return usage.ru_maxrss;
}

// Whether the tool is built with a sanitizer (every target is, or none):
// ASan keeps freed blocks resident in its quarantine and TSan shadows every
// byte several times, so its peak is not the program's.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

TEST(HarCli, MemoryStaysWithinAFewTimesTheFile) {
  if (!std::string(NAVREQ_TOOL_LAUNCHER).empty()) {
    GTEST_SKIP() << "the emulator's own memory would be measured";
  }
  if (kSanitized) GTEST_SKIP() << "a sanitizer's own memory would be measured";
  // 8 MiB of bytes after a request, every byte one Latin-1 code point
  // (printable ASCII as itself, the rest as \u00XX): about 34 MB of HAR.
  std::string body = ExampleBytes("plus");
  unsigned state = 1;
  for (int i = 0; i < (8 << 20); ++i) {
    state = state * 1103515245u + 12345u;
    body += static_cast<char>(state >> 24);
  }
  Entry entry{"POST", "https://nav.example/big", Latin1(body), false, false};
  ScratchDir dir;
  const std::string path = dir.file("big.har");
  const std::string har = Har({entry});
  WriteFile(path, har);
  const long har_kib = static_cast<long>(har.size() / 1024);
  // The bytes after the request do not decode: status 1.
  const long peak = PeakKib(path, 1);
  ASSERT_GT(peak, 0);
  std::printf("HAR of %ld KiB, one body of 8 MiB: peak RSS %ld KiB\n", har_kib, peak);
  EXPECT_LT(peak, 2 * har_kib + 64 * 1024) << "peak " << peak << " KiB for " << har_kib << " KiB of HAR";
}

}  // namespace
