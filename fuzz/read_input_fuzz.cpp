// Fuzz target: the input detector (ReadInput) on arbitrary bytes, in every
// mode.
//
// Nothing crashes or grows without bound; a reading is either bytes or an
// error, the error one line whose position lies in the input; raw reading
// and raw detection keep the input as it is; and bytes read from any form
// read back the same from their plain hex and from their base64.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "navreq/read/input.h"
#include "support/text_forms.h"

namespace {

using navreq::testing::Base64Text;

std::string HexText(const std::string& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned char b : bytes) {
    text += kDigits[b >> 4];
    text += kDigits[b & 15];
  }
  return text;
}

void CheckReading(const std::string& input, const navreq::InputReading& r) {
  NAVREQ_FUZZ_CHECK(r.bytes.size() <= input.size() + navreq::kInputMaxRepeatedBytes,
                    "bytes within the bound");
  if (r.ok()) return;
  const navreq::InputError& e = *r.error;
  NAVREQ_FUZZ_CHECK(r.bytes.empty(), "no bytes with an error");
  NAVREQ_FUZZ_CHECK(e.form == r.form && e.form != navreq::InputForm::kRaw, "an error names a text form");
  NAVREQ_FUZZ_CHECK(e.offset <= input.size(), "the error's offset lies in the input");
  NAVREQ_FUZZ_CHECK(e.line >= 1 && e.column >= 1 && e.column <= e.offset + 1, "line and column count from 1");
  NAVREQ_FUZZ_CHECK(!e.message.empty() && e.message.find('\n') == std::string::npos, "a message of one line");
  NAVREQ_FUZZ_CHECK(e.message.find("line " + std::to_string(e.line) + ", column " +
                                   std::to_string(e.column)) != std::string::npos,
                    "the message gives the line and column");
}

// The bytes read again from their plain hex and their base64.
void CheckReadsBack(const std::string& bytes) {
  const navreq::InputReading hex = navreq::ReadInput(HexText(bytes), navreq::InputMode::kText);
  NAVREQ_FUZZ_CHECK(hex.ok() && hex.form == navreq::InputForm::kHex && hex.bytes == bytes, "hex reads back");
  if (bytes.empty()) return;
  const navreq::InputReading b64 = navreq::ReadInput(Base64Text(bytes), navreq::InputMode::kText);
  // Base64 of nearly nothing but hex digits (mostly zero bytes, or short)
  // is read as hex, by the rule that keeps a slip in hex text an error.
  if (b64.form == navreq::InputForm::kBase64) {
    NAVREQ_FUZZ_CHECK(b64.ok() && b64.bytes == bytes, "base64 reads back");
  } else {
    NAVREQ_FUZZ_CHECK(b64.form == navreq::InputForm::kHex, "base64 that is not read as base64 is hex");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);

  const navreq::InputReading raw = navreq::ReadInput(input, navreq::InputMode::kRaw);
  NAVREQ_FUZZ_CHECK(raw.ok() && raw.form == navreq::InputForm::kRaw && raw.bytes == input,
                    "--raw keeps the input");

  const navreq::InputReading detected = navreq::ReadInput(input);
  CheckReading(input, detected);
  if (detected.form == navreq::InputForm::kRaw) {
    NAVREQ_FUZZ_CHECK(detected.ok() && detected.bytes == input, "raw bytes are the input");
  } else {
    // Text is read the same whether it was detected or declared text.
    const navreq::InputReading text = navreq::ReadInput(input, navreq::InputMode::kText);
    NAVREQ_FUZZ_CHECK(
        text.form == detected.form && text.bytes == detected.bytes && text.ok() == detected.ok(),
        "detected text reads as declared text");
  }
  if (detected.ok()) CheckReadsBack(detected.bytes);

  const navreq::InputReading hex = navreq::ReadInput(input, navreq::InputMode::kHex);
  CheckReading(input, hex);
  NAVREQ_FUZZ_CHECK(hex.form != navreq::InputForm::kRaw && hex.form != navreq::InputForm::kBase64 &&
                        hex.form != navreq::InputForm::kBase64Url,
                    "--hex reads a hex form only");
  return 0;
}
