// HAR files: every form a writer gives a body, every damaged form, every
// reason an entry is skipped, and malformed HAR JSON. Fixtures are literal
// HAR text; expected bytes are hex.
#include <gtest/gtest.h>

#include <string>

#include "navreq/read/har.h"
#include "support/wire.h"

namespace {

using navreq::HarBodyForm;
using navreq::HarEntry;
using navreq::HarReading;
using navreq::HarSkip;
using navreq::ReadHar;

// A Package's first fields (version 0 with the zero head, cmd 5 as int8) and
// bytes from 0x80 on that are not UTF-8 (ff 80) and a NUL.
const std::string kRequest = wire::Unhex("0c 1005 20 ff 80 e9 00");

// One entry whose request has `request_members` (JSON members, no braces).
std::string HarOf(const std::string& request_members) {
  return "{\"log\": {\"version\": \"1.2\", \"entries\": [{\"startedDateTime\": \"x\", \"request\": {" +
         request_members + "}, \"response\": {\"status\": 200}}]}}";
}

std::string Post(const std::string& post_data_members, const std::string& more = "") {
  return HarOf("\"method\": \"POST\", \"url\": \"https://h/r\", \"headers\": []" + more +
               ", \"postData\": {\"mimeType\": \"application/octet-stream\", " + post_data_members + "}");
}

HarEntry Only(const std::string& har) {
  const HarReading r = ReadHar(har);
  EXPECT_TRUE(r.ok()) << r.error.value_or("");
  EXPECT_EQ(r.entries.size(), 1u);
  return r.entries.empty() ? HarEntry{} : r.entries[0];
}

TEST(Har, Base64Body) {
  const HarEntry e = Only(Post(R"("text": "DBAFIP+A6QA=", "encoding": "base64")"));
  EXPECT_TRUE(e.request()) << e.reason;
  EXPECT_EQ(e.form, HarBodyForm::kBase64);
  EXPECT_EQ(wire::Hex(e.bytes), "0c100520ff80e900");
  EXPECT_EQ(e.method, "POST");
  EXPECT_EQ(e.url, "https://h/r");
  EXPECT_FALSE(e.gzip);
  // Unpadded, URL-safe and wrapped base64 are the same bytes.
  EXPECT_EQ(Only(Post(R"("text": "DBAF\r\nIP-A6QA", "encoding": "base64")")).bytes, kRequest);
}

TEST(Har, Latin1Body) {
  // ff as U+00FF (c3 bf in the JSON text), 80 as an escape, e9 as U+00E9.
  const HarEntry e = Only(Post("\"text\": \"\\f\\u0010\\u0005 \xc3\xbf\\u0080\xc3\xa9\\u0000\""));
  EXPECT_TRUE(e.request()) << e.reason;
  EXPECT_EQ(e.form, HarBodyForm::kLatin1);
  EXPECT_EQ(wire::Hex(e.bytes), "0c100520ff80e900");
}

TEST(Har, SurrogateEscapedBody) {
  // Bytes ff 80 are not UTF-8: \udcff \udc80; c3 a9 is, and stays U+00E9.
  const HarEntry e = Only(Post("\"text\": \"\\f\\u0010\\u0005 \\udcff\\udc80\xc3\xa9\\u0000\""));
  EXPECT_TRUE(e.request()) << e.reason;
  EXPECT_EQ(e.form, HarBodyForm::kSurrogateEscapes);
  EXPECT_EQ(wire::Hex(e.bytes), "0c100520ff80c3a900");
  // Upper-case escapes and a supplementary character as a pair beside them.
  const HarEntry pair = Only(Post(R"("text": "\f\u0010\u0005\uDCFF\ud83d\ude00")"));
  EXPECT_EQ(pair.form, HarBodyForm::kSurrogateEscapes);
  EXPECT_EQ(wire::Hex(pair.bytes), "0c1005fff09f9880");
}

TEST(Har, Utf8Body) {
  // U+20AC goes beyond Latin-1: the text is UTF-8, e2 82 ac.
  const HarEntry e = Only(Post("\"text\": \"\\f\\u0010\\u0005\xe2\x82\xac\""));
  EXPECT_TRUE(e.request()) << e.reason;
  EXPECT_EQ(e.form, HarBodyForm::kUtf8);
  EXPECT_EQ(wire::Hex(e.bytes), "0c1005e282ac");
  // U+00E9 is e9 in Latin-1, c3 a9 in UTF-8: bodySize 5 says UTF-8.
  const std::string text = "\"text\": \"\\f\\u0010\\u0005\xc3\xa9\"";
  const HarEntry sized = Only(Post(text, ", \"bodySize\": 5"));
  EXPECT_EQ(sized.form, HarBodyForm::kUtf8);
  EXPECT_EQ(wire::Hex(sized.bytes), "0c1005c3a9");
  const HarEntry latin = Only(Post(text, ", \"bodySize\": 4"));
  EXPECT_EQ(latin.form, HarBodyForm::kLatin1);
  EXPECT_EQ(wire::Hex(latin.bytes), "0c1005e9");
}

TEST(Har, BodyInflatedByTheWriter) {
  const std::string headers = R"(, "headers": [{"name": "Content-Type", "value": "x"},)"
                              R"( {"name": "content-ENCODING", "value": "gzip"}])";
  const HarEntry e =
      Only(HarOf(R"("method": "POST", "url": "u")" + headers +
                 R"(, "bodySize": 28, "postData": {"text": "DBAFIP+A6QA=", "encoding": "base64"})"));
  EXPECT_TRUE(e.request()) << e.reason;
  EXPECT_TRUE(e.inflated_by_writer);
  EXPECT_FALSE(e.gzip);
  EXPECT_EQ(e.bytes, kRequest);
}

TEST(Har, GzipBodyIsJudgedInflated) {
  // gzip of 0c 10 05 20 ff 80 e9 00: the bytes stay as sent.
  const std::string gzip = "1f8b0800000000000203e3116055f8dff09201008bbdd37408000000";
  const HarEntry e =
      Only(Post(R"("text": "H4sIAAAAAAACA+MRYFX43/CSAQCLvdN0CAAAAA==", "encoding": "base64")"));
  EXPECT_TRUE(e.request()) << e.reason;
  EXPECT_TRUE(e.gzip);
  EXPECT_FALSE(e.inflated_by_writer);
  EXPECT_EQ(wire::Hex(e.bytes), gzip);
  // Cut inside the deflate data: not inflated, said why.
  const HarEntry cut = Only(Post(R"("text": "H4sIAAAAAAACA+MRYFX4", "encoding": "base64")"));
  EXPECT_EQ(cut.skip, HarSkip::kNotInflated);
  EXPECT_NE(cut.reason.find("does not inflate"), std::string::npos) << cut.reason;
  // gzip of "hello": inflates, and is not a request.
  const HarEntry hello =
      Only(Post(R"("text": "H4sIAAAAAAACA8tIzcnJBwCGphA2BQAAAA==", "encoding": "base64")"));
  EXPECT_EQ(hello.skip, HarSkip::kNotRequest);
  EXPECT_NE(hello.reason.find("gzip, 5 bytes inflated"), std::string::npos) << hello.reason;
}

TEST(Har, ReplacementCharactersAreDamage) {
  for (const std::string text : {"\\f\\u0010\\u0005\\ufffd", "\\f\\u0010\\u0005\xef\xbf\xbd\xef\xbf\xbd"}) {
    const HarEntry e = Only(Post("\"text\": \"" + text + "\""));
    EXPECT_EQ(e.skip, HarSkip::kDamaged) << text;
    EXPECT_TRUE(e.bytes.empty());
    EXPECT_EQ(e.form, HarBodyForm::kNone);
    EXPECT_NE(e.reason.find("U+FFFD"), std::string::npos) << e.reason;
  }
}

TEST(Har, SurrogatesThatStandForNoByteAreDamage) {
  // A high surrogate alone, and low ones below dc80 (bytes below 0x80 are
  // never escaped).
  for (const char* text : {R"(\f\ud800)", R"(\f\udc41)", R"(\f\udbff\u0041)", R"(\f\ude00)"}) {
    const HarEntry e = Only(Post(std::string("\"text\": \"") + text + "\""));
    EXPECT_EQ(e.skip, HarSkip::kDamaged) << text;
    EXPECT_NE(e.reason.find("stands for no byte"), std::string::npos) << e.reason;
  }
}

TEST(Har, BrokenBase64IsDamage) {
  const HarEntry bad_char = Only(Post(R"("text": "DBAF*P+A", "encoding": "base64")"));
  EXPECT_EQ(bad_char.skip, HarSkip::kDamaged);
  EXPECT_NE(bad_char.reason.find("U+002A at character 4"), std::string::npos) << bad_char.reason;
  const HarEntry bad_length = Only(Post(R"("text": "DBAFI", "encoding": "base64")"));
  EXPECT_EQ(bad_length.skip, HarSkip::kDamaged);
  EXPECT_NE(bad_length.reason.find("length"), std::string::npos) << bad_length.reason;
  const HarEntry after_pad = Only(Post(R"("text": "DBA=F", "encoding": "base64")"));
  EXPECT_EQ(after_pad.skip, HarSkip::kDamaged);
  const HarEntry non_ascii = Only(Post("\"text\": \"DBA\xc3\xa9\", \"encoding\": \"base64\""));
  EXPECT_EQ(non_ascii.skip, HarSkip::kDamaged);
}

TEST(Har, BodyShorterThanBodySizeIsDamage) {
  const HarEntry e = Only(Post(R"("text": "DBAFIP+A6QA=", "encoding": "base64")", ", \"bodySize\": 9"));
  EXPECT_EQ(e.skip, HarSkip::kDamaged);
  EXPECT_EQ(e.reason, "damaged: cut short: 8 bytes where bodySize says 9");
  // Exactly bodySize, or bodySize unknown (-1) or 0 as browsers write it: whole.
  for (const char* size : {"8", "-1", "0"}) {
    EXPECT_TRUE(
        Only(Post(R"("text": "DBAFIP+A6QA=", "encoding": "base64")", std::string(", \"bodySize\": ") + size))
            .request())
        << size;
  }
}

TEST(Har, SkipReasons) {
  const HarReading r = ReadHar(
      R"({"log": {"entries": [
           {"request": {"method": "GET", "url": "https://h/a"}},
           {"request": {"method": "POST", "url": "https://h/b", "postData": {"mimeType": "x", "text": ""}}},
           {"request": {"method": "POST", "url": "https://h/c", "postData": {"mimeType": "x"}}},
           {"response": {}},
           {"request": {"method": "POST", "url": "https://h/d", "postData": {"mimeType": "text/plain", "text": "hello"}}},
           {"request": {"method": "POST", "url": "https://h/\u00e9", "postData": {"text": "DBAFIP+A6QA=", "encoding": "base64"}}}
         ]}})");
  ASSERT_TRUE(r.ok()) << *r.error;
  ASSERT_EQ(r.entries.size(), 6u);
  EXPECT_EQ(r.entries[0].skip, HarSkip::kNoBody);
  EXPECT_EQ(r.entries[0].reason, "no body");
  EXPECT_EQ(r.entries[1].reason, "empty body");
  EXPECT_EQ(r.entries[2].reason, "empty body");
  EXPECT_EQ(r.entries[3].reason, "no request");
  EXPECT_EQ(r.entries[3].method, "");
  EXPECT_EQ(r.entries[4].skip, HarSkip::kNotRequest);
  EXPECT_EQ(r.entries[4].reason, "not a request of this system (5 bytes, text/plain)");
  EXPECT_EQ(r.entries[4].bytes, "hello");
  EXPECT_TRUE(r.entries[5].request());
  EXPECT_EQ(r.entries[5].url, "https://h/\xc3\xa9");
  for (std::size_t i = 0; i < r.entries.size(); ++i) EXPECT_EQ(r.entries[i].index, i);
}

TEST(Har, KeysWrittenWithEscapesAndOtherMembersSkipped) {
  const HarReading r =
      ReadHar(R"({"x": [1, -2.5e3, true, false, null, {"a": [[]]}], "\u006cog": {"creator": {}, "entries": [)"
              R"({"request": {"method": "PUT", "url": "u", "cookies": [{}], "postData": {"params": [],)"
              R"( "text": "DBAFIP+A6QA=", "encoding": "base64"}}}]}})");
  ASSERT_TRUE(r.ok()) << *r.error;
  ASSERT_EQ(r.entries.size(), 1u);
  EXPECT_EQ(r.entries[0].bytes, kRequest);
  EXPECT_EQ(r.entries[0].method, "PUT");
}

void ExpectError(const std::string& har, const std::string& expected) {
  const HarReading r = ReadHar(har);
  ASSERT_FALSE(r.ok()) << har;
  EXPECT_TRUE(r.entries.empty());
  EXPECT_EQ(*r.error, expected) << har;
}

TEST(Har, MalformedJson) {
  ExpectError(R"({"log": {"entries": [],}})", "not valid JSON at line 1, column 24: expected a string");
  ExpectError("{\"log\": {\"entries\": [\n  {\"request\": {\"url\": \"a}]}}",
              "not valid JSON at line 2, column 29: a string that does not end");
  ExpectError("{\"x\": \"\xff\"}", "not valid JSON at line 1, column 8: a string that is not valid UTF-8");
  // A surrogate written in UTF-8 (ed a0 80) is not UTF-8; only an escape may hold one.
  ExpectError("{\"x\": \"a\xed\xa0\x80\"}",
              "not valid JSON at line 1, column 9: a string that is not valid UTF-8");
  ExpectError("{\"x\": \"\xc0\x80\"}",
              "not valid JSON at line 1, column 8: a string that is not valid UTF-8");
  ExpectError("{\"x\": \"a\tb\"}", "not valid JSON at line 1, column 9: a control character in a string");
  ExpectError(R"({"x": "\x"})", "not valid JSON at line 1, column 9: an unknown escape in a string");
  ExpectError(R"({"x": "\u12g4"})",
              "not valid JSON at line 1, column 9: a \\u escape without four hex digits");
  ExpectError(R"({"log": {"entries": [01]}})", "log.entries[0]: expected an object");
  ExpectError(R"({"log": {"entries": [tru]}})", "log.entries[0]: expected an object");
  ExpectError(R"({"log": {"entries": []}} x)",
              "not valid JSON at line 1, column 26: text after the end of the JSON value");
  ExpectError(R"({"log": {"entries": [])", "not valid JSON at line 1, column 23: the text ends before '}'");
  ExpectError(R"({"log" {"entries": []}})", "not valid JSON at line 1, column 8: expected ':'");
  ExpectError(R"({"a": 1.})", "not valid JSON at line 1, column 9: a number with no digit after '.'");
  ExpectError(R"({"a": 1e})", "not valid JSON at line 1, column 9: a number with no digit in its exponent");
  ExpectError(R"({"a": -})", "not valid JSON at line 1, column 8: expected a number");
  ExpectError(R"({"a": nul})", "not valid JSON at line 1, column 7: expected true, false or null");
  ExpectError(R"({"a": @})", "not valid JSON at line 1, column 7: unexpected character '@'");
  ExpectError(R"({"a": )", "not valid JSON at line 1, column 7: the text ends where a value was expected");
  ExpectError(std::string(300, '[') + std::string(300, ']'), "not a HAR file: not a JSON object");
  ExpectError(R"({"a": )" + std::string(300, '[') + std::string(300, ']') + "}",
              "not valid JSON at line 1, column 262: nested more than 256 levels deep");
}

TEST(Har, NotAHarOrWrongTypes) {
  ExpectError("[]", "not a HAR file: not a JSON object");
  ExpectError("", "not a HAR file: not a JSON object");
  ExpectError(R"({"version": 1})", "not a HAR file: no \"log\" object");
  ExpectError(R"({"log": {}})", "not a HAR file: no \"log.entries\" array");
  ExpectError(R"({"log": []})", "log: expected an object");
  ExpectError(R"({"log": {"entries": {}}})", "log.entries: expected an array");
  ExpectError(R"({"log": {"entries": [{"request": []}]}})", "log.entries[0].request: expected an object");
  ExpectError(R"({"log": {"entries": [{"request": {"url": 5}}]}})",
              "log.entries[0].request.url: expected a string");
  ExpectError(R"({"log": {"entries": [{"request": {"method": null}}]}})",
              "log.entries[0].request.method: expected a string");
  ExpectError(R"({"log": {"entries": [{"request": {"headers": [5]}}]}})",
              "log.entries[0].request.headers[0]: expected an object");
  ExpectError(R"({"log": {"entries": [{"request": {"bodySize": "5"}}]}})",
              "log.entries[0].request.bodySize: expected a number");
  ExpectError(R"({"log": {"entries": [{"request": {"postData": {"text": 5}}}]}})",
              "log.entries[0].request.postData.text: expected a string");
}

TEST(Har, EntriesBoundedByTheTextSize) {
  std::string many = R"({"log": {"entries": [{})";
  for (int i = 0; i < 20000; ++i) many += ",{}";
  many += "]}}";
  const HarReading r = ReadHar(many);
  ASSERT_FALSE(r.ok());
  EXPECT_EQ(*r.error, "log.entries: more entries than a file of " + std::to_string(many.size()) +
                          " bytes can describe");
  // A thousand empty entries fit.
  std::string some = R"({"log": {"entries": [{})";
  for (int i = 0; i < 999; ++i) some += ",{}";
  some += "]}}";
  EXPECT_EQ(ReadHar(some).entries.size(), 1000u);
}

TEST(Har, LooksLikeHar) {
  EXPECT_TRUE(navreq::LooksLikeHar(R"({"log": 1})"));
  EXPECT_TRUE(navreq::LooksLikeHar("\xef\xbb\xbf \n{\r\n\t\"x"));
  EXPECT_FALSE(navreq::LooksLikeHar("{ 0x12, 0x34 }"));
  EXPECT_FALSE(navreq::LooksLikeHar("{}"));
  EXPECT_FALSE(navreq::LooksLikeHar("["));
  EXPECT_FALSE(navreq::LooksLikeHar(""));
  EXPECT_FALSE(navreq::LooksLikeHar("0c1005"));
  // A byte-order mark is skipped by the reader too.
  EXPECT_TRUE(ReadHar("\xef\xbb\xbf{\"log\": {\"entries\": []}}").ok());
}

TEST(Har, Names) {
  EXPECT_EQ(navreq::HarBodyFormName(HarBodyForm::kSurrogateEscapes), "surrogate escapes");
  EXPECT_EQ(navreq::HarBodyFormName(HarBodyForm::kLatin1), "latin-1");
  EXPECT_EQ(navreq::HarSkipName(HarSkip::kNotRequest), "not-request");
  EXPECT_EQ(navreq::HarSkipName(HarSkip::kNone), "");
}

}  // namespace
