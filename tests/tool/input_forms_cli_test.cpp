// `navreq dump` and `diff` on a request written in every form people paste:
// each form of each example dumps exactly as its raw bytes do, and every
// broken form is exit status 65 with one line naming the input, the form,
// the line and column, and --raw. The text forms are made here, by small
// test-side writers of xxd, hexdump -C, C array and base64 text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/text_forms.h"
#include "tool_run.h"

namespace {

using navreq::testing::Base64Text;
using navreq::testing::FromHex;
using navreq::testing::ReadFile;
using navreq::testing::RunTool;
using navreq::testing::ScratchDir;
using navreq::testing::SourcePath;
using navreq::testing::WriteFile;

using navreq::testing::ExampleHex;
using navreq::testing::kExampleKinds;

std::string Printable(unsigned char b) {
  return std::string(1, b >= 0x20 && b < 0x7f ? static_cast<char>(b) : '.');
}

// `value` in `width` lowercase hex digits.
std::string HexDigits(std::size_t value, int width) {
  std::string text(static_cast<std::size_t>(width), '0');
  for (int i = width - 1; i >= 0 && value != 0; --i, value >>= 4) {
    text[static_cast<std::size_t>(i)] = "0123456789abcdef"[value & 15];
  }
  return text;
}

std::string ByteHex(char b) { return HexDigits(static_cast<unsigned char>(b), 2); }

// As `xxd` writes it: 16 bytes a line in groups of two.
std::string XxdOf(const std::string& bytes) {
  std::string text;
  for (std::size_t row = 0; row < bytes.size(); row += 16) {
    std::string hex;
    std::string chars;
    for (std::size_t i = row; i < row + 16 && i < bytes.size(); ++i) {
      if ((i - row) % 2 == 0 && i != row) hex += ' ';
      hex += ByteHex(bytes[i]);
      chars += Printable(static_cast<unsigned char>(bytes[i]));
    }
    hex.resize(39, ' ');
    text += HexDigits(row, 8) + ": " + hex + "  " + chars + "\n";
  }
  return text;
}

// As `hexdump -C` writes it: a row repeating the one above is left out
// for a `*` line, the final line is the length.
std::string HexdumpOf(const std::string& bytes) {
  std::string text;
  bool starred = false;
  for (std::size_t row = 0; row < bytes.size(); row += 16) {
    if (row >= 16 && row + 16 <= bytes.size() && bytes.compare(row, 16, bytes, row - 16, 16) == 0) {
      if (!starred) text += "*\n";
      starred = true;
      continue;
    }
    starred = false;
    std::string hex;
    std::string chars;
    for (std::size_t i = row; i < row + 16 && i < bytes.size(); ++i) {
      hex += ByteHex(bytes[i]) + " ";
      if (i - row == 7) hex += ' ';
      chars += Printable(static_cast<unsigned char>(bytes[i]));
    }
    hex.resize(49, ' ');
    text += HexDigits(row, 8) + "  " + hex + " |" + chars + "|\n";
  }
  return text + HexDigits(bytes.size(), 8) + "\n";
}

// "0x0c, 0x10, ...", a list pasted out of source code.
std::string PrefixedListOf(const std::string& bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    text += (i == 0 ? "0x" : i % 16 == 0 ? ",\n0X" : ", 0x") + ByteHex(bytes[i]);
  return text + "\n";
}

// As `xxd -i` writes it.
std::string CArrayOf(const std::string& bytes) {
  std::string text = "unsigned char request_bin[] = {";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text += i % 12 == 0 ? "\n  " : " ";
    text += "0x" + ByteHex(bytes[i]) + (i + 1 < bytes.size() ? "," : "");
  }
  return text + "\n};\nunsigned int request_bin_len = " + std::to_string(bytes.size()) + ";\n";
}

TEST(InputFormsCli, EveryFormOfEveryExampleDumpsAsItsBytes) {
  ScratchDir dir;
  std::vector<std::pair<std::string, std::string>> requests;
  for (const char* kind : kExampleKinds) requests.emplace_back(kind, FromHex(ExampleHex(kind)));
  // Rows of zeros for hexdump's `*`.
  requests.emplace_back("route with zeros", FromHex(ExampleHex("route")) + std::string(100, '\0'));
  for (const auto& [name, bytes] : requests) {
    WriteFile(dir.file("request.bin"), bytes);
    const auto raw = RunTool({"dump", dir.file("request.bin")});
    ASSERT_NE(raw.out, "") << name;
    const std::vector<std::pair<std::string, std::string>> forms = {
        {"hex", ExampleHex(name.substr(0, name.find(' '))) +
                    (name == "route with zeros" ? std::string(200, '0') : "")},
        {"0x list", PrefixedListOf(bytes)},
        {"xxd", XxdOf(bytes)},
        {"hexdump -C", HexdumpOf(bytes)},
        {"C array", CArrayOf(bytes)},
        {"base64", Base64Text(bytes, false, true, 19) + "\n"},
        {"unpadded URL-safe base64", Base64Text(bytes, true, false, 19) + "\n"}};
    for (const auto& [form, text] : forms) {
      const auto run = RunTool({"dump", "-"}, text);
      EXPECT_EQ(run.status, raw.status) << name << " as " << form << ": " << run.err;
      EXPECT_EQ(run.err, raw.err) << name << " as " << form;
      EXPECT_EQ(run.out, raw.out) << name << " as " << form;
    }
  }
  EXPECT_NE(HexdumpOf(requests.back().second).find("\n*\n"), std::string::npos)
      << "the zeros make a '*' line";
}

struct Broken {
  const char* name;
  std::string text;
  std::string message;  // after "navreq dump: standard input: "
};

std::vector<Broken> BrokenPastes() {
  const std::string route = FromHex(ExampleHex("route"));
  std::string xxd = XxdOf(route);
  xxd.erase(xxd.find("00000020:"), xxd.find("00000030:") - xxd.find("00000020:"));
  std::string hexdump = HexdumpOf(route + std::string(67, '\0'));  // zero rows to the end
  hexdump.erase(hexdump.rfind('\n', hexdump.size() - 2) + 1);      // the final offset, after a '*'
  std::string c_array = CArrayOf(route);
  c_array.erase(c_array.find('}'));
  std::string base64 = Base64Text(route, false, false, 19) + "\n";
  base64.insert(base64.size() - 1, "A");
  std::string stray = ExampleHex("route");
  stray[1000] = 'g';
  return {
      {"hex missing a digit", ExampleHex("route").substr(1) + "\n",
       "hex text with an odd number of digits (2969) ending at line 1, column 2970"},
      {"hex with a stray letter", stray, "hex text with a stray character 'g' at line 1, column 1001"},
      {"hex with one digit between colons", "0c:1:00",
       "hex text with an odd number of digits before a ':' at line 1, column 5"},
      {"xxd with a line lost", xxd,
       "xxd output with offset 00000030 where 00000020 is due (a line lost, doubled or cut) at line 3, "
       "column 1"},
      {"hexdump -C ending in '*'", hexdump,
       "hexdump -C output with a '*' line and no offset after it to say how many rows it stands for at line "
       "95, "
       "column 1"},
      {"C array without its closing brace", c_array,
       "C array with no closing '}' ending at line 125, column 55"},
      {"base64 of a length no bytes make", base64,
       "base64 text of 1981 characters, a length that no bytes encode to, ending at line 27, column 6"},
      {"text of no form", "this is not a request!\n",
       "text in none of the input forms (hex, xxd, hexdump -C, C array, base64): character '!' at line 1, "
       "column 22"},
  };
}

TEST(InputFormsCli, EveryBrokenPasteIsOneLineAndExit65) {
  for (const Broken& b : BrokenPastes()) {
    const auto run = RunTool({"dump"}, b.text);
    EXPECT_EQ(run.status, 65) << b.name;
    EXPECT_EQ(run.out, "") << b.name;
    EXPECT_EQ(run.err,
              "navreq dump: standard input: " + b.message + "; use --raw to read the input as raw bytes\n")
        << b.name;
  }
}

TEST(InputFormsCli, ForcedReadings) {
  // --raw reads text as its bytes: "0c" is 30 63, tag 3 and an int8 of 0x63.
  const auto raw = RunTool({"dump", "--raw"}, "0c");
  EXPECT_EQ(raw.out.rfind("Package, 2 bytes\n  @0+2 3 reserved3 int32: 99\n", 0), 0u) << raw.out;
  // --hex reads no base64.
  const auto hex = RunTool({"dump", "--hex"}, "DBBUJg4=");
  EXPECT_EQ(hex.status, 65);
  EXPECT_EQ(hex.err,
            "navreq dump: standard input: hex text with a stray character 'U' at line 1, column 4; use --raw "
            "to read "
            "the input as raw bytes\n");
  // Bytes that are not text are raw without being told.
  const auto binary = RunTool({"dump"}, FromHex(ExampleHex("navstop")));
  EXPECT_EQ(binary.status, 0) << binary.err;
  EXPECT_EQ(binary.out, ReadFile(SourcePath("tests/tool/golden/navstop.dump.txt")));
}

TEST(InputFormsCli, AFileIsNamedInTheMessage) {
  ScratchDir dir;
  WriteFile(dir.file("route.txt"), "0c10\n0c1\n");
  const auto run = RunTool({"dump", dir.file("route.txt")});
  EXPECT_EQ(run.status, 65);
  EXPECT_EQ(run.err,
            "navreq dump: " + dir.file("route.txt") +
                ": hex text with an odd number of digits (7) ending at line 2, column 4; use --raw to read "
                "the input as raw bytes\n");
}

TEST(InputFormsCli, DiffReadsItsInputsAsDumpDoes) {
  ScratchDir dir;
  const std::string route = FromHex(ExampleHex("route"));
  WriteFile(dir.file("route.bin"), route);
  WriteFile(dir.file("route.b64"), Base64Text(route, true, false, 19) + "\n");
  const auto same = RunTool({"diff", dir.file("route.bin"), dir.file("route.b64")});
  EXPECT_EQ(same.status, 0) << same.err;
  EXPECT_EQ(same.out, "");
  const auto broken = RunTool({"diff", dir.file("route.bin"), "-"}, "0c1");
  // An input that cannot be read is trouble for diff, named as A or B.
  EXPECT_EQ(broken.status, 2);
  EXPECT_EQ(
      broken.err,
      "navreq diff: B: standard input: hex text with an odd number of digits (3) ending at line 1, column 4; "
      "navreq dump --raw reads it as raw bytes\n");
}

}  // namespace
