#include "readback.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

#include "gzip_compress.h"
#include "navreq/read/diff.h"
#include "navreq/read/pack.h"
#include "navreq/read/text.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"
#include "subcommands.h"
#include "tool_io.h"

namespace navreq {
namespace tool {

namespace {

// diff: an input that cannot be read (as for an input with a problem).
constexpr int kExitDiffTrouble = 2;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

// Converts hex text in place. False when it holds anything but hex digits
// and whitespace, or an odd number of digits.
bool HexInPlace(std::string& text, std::string& error) {
  std::size_t digits = 0;
  for (char c : text) {
    if (HexDigit(c) >= 0) {
      ++digits;
    } else if (!IsSpace(c)) {
      error = "not hex: holds a byte that is neither a hex digit nor whitespace";
      return false;
    }
  }
  if (digits % 2 != 0) {
    error = "odd number of hex digits (" + std::to_string(digits) + ")";
    return false;
  }
  std::size_t w = 0;
  int high = -1;
  for (char c : text) {
    const int d = HexDigit(c);
    if (d < 0) continue;
    if (high < 0) {
      high = d;
    } else {
      text[w++] = static_cast<char>(high * 16 + d);
      high = -1;
    }
  }
  text.resize(w);
  text.shrink_to_fit();
  return true;
}

bool LooksHex(const std::string& text) {
  std::size_t digits = 0;
  for (char c : text) {
    if (HexDigit(c) >= 0) {
      ++digits;
    } else if (!IsSpace(c)) {
      return false;
    }
  }
  return digits > 0 && digits % 2 == 0;
}

// Flushes `out` and reports whether everything written reached it.
bool Flushed(std::ostream& out) {
  out.flush();
  return static_cast<bool>(out);
}

}  // namespace

bool ReadRequestBytes(const std::string& path, InputForm form, std::string& bytes, std::string& error) {
  if (!ReadAll(path, bytes, error)) return false;
  const bool hex = form == InputForm::kHex || (form == InputForm::kDetect && LooksHex(bytes));
  if (!hex) return true;
  if (!HexInPlace(bytes, error)) {
    error = (path == "-" ? std::string("standard input") : path) + ": " + error;
    return false;
  }
  return true;
}

int RunReadbackDump(const DumpOptions& options, std::ostream& out, std::ostream& err) {
  std::string bytes;
  std::string error;
  if (!ReadRequestBytes(options.input, options.form, bytes, error)) {
    err << "navreq dump: " << error << "\n";
    return kExitBadInput;
  }
  WalkSummary summary;
  {
    const std::unique_ptr<TreeSink> view = options.json ? MakeJsonView(out) : MakeTextView(out, options.full);
    summary = Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  if (!Flushed(out)) {
    err << "navreq dump: cannot write standard output\n";
    return kExitCannotWrite;
  }
  if (summary.status() != 0) {
    err << "navreq dump: " << summary.undecoded << " undecoded, " << summary.missing << " missing, "
        << summary.mismatches << " type mismatches, " << summary.unknown << " unknown or repeated tags"
        << (summary.encoding > 0
                ? ", " + std::to_string(summary.encoding) + " bodies not encoded as their command says"
                : "")
        << (summary.unnamed ? ", no envelope recognised" : "") << "\n";
  }
  return summary.status();
}

int RunPack(const PackOptions& options, std::ostream& out, std::ostream& err) {
  const std::string source = options.input == "-" ? "standard input" : options.input;
  std::ifstream tree_file;
  if (options.input != "-") {
    tree_file.open(options.input, std::ios::binary);
    if (!tree_file) {
      err << "navreq pack: cannot read " << source << ": " << std::strerror(errno) << "\n";
      return kExitBadInput;
    }
  }
  std::istream& in = options.input == "-" ? std::cin : tree_file;
  std::string bytes;
  try {
    bytes = PackStream(in, Gzip);
  } catch (const PackError& e) {
    const std::string what = e.what();
    err << "navreq pack: " << (what.rfind("not JSON: ", 0) == 0 ? source + ": " : std::string()) << what
        << "\n";
    return kExitBadInput;
  }
  if (in.bad()) {
    err << "navreq pack: cannot read " << source << "\n";
    return kExitBadInput;
  }
  if (options.output.empty()) {
    out << HexOf(bytes) << "\n";
  } else if (options.output == "-") {
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  } else {
    std::ofstream file(options.output, std::ios::binary | std::ios::trunc);
    if (file) file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (file) file.flush();
    if (!file) {
      err << "navreq pack: cannot write " << options.output << ": " << std::strerror(errno) << "\n";
      return kExitCannotWrite;
    }
    return 0;
  }
  if (!Flushed(out)) {
    err << "navreq pack: cannot write standard output\n";
    return kExitCannotWrite;
  }
  return 0;
}

int RunDiff(const DiffOptions& options, std::ostream& out, std::ostream& err) {
  if (options.a == "-" && options.b == "-") {
    err << "navreq diff: only one of A and B can be standard input\n";
    return kExitUsage;
  }
  std::string a;
  std::string b;
  std::string error;
  if (!ReadRequestBytes(options.a, InputForm::kDetect, a, error)) {
    err << "navreq diff: A: " << error << "\n";
    return kExitDiffTrouble;
  }
  if (!ReadRequestBytes(options.b, InputForm::kDetect, b, error)) {
    err << "navreq diff: B: " << error << "\n";
    return kExitDiffTrouble;
  }
  navreq::DiffOptions compare;
  compare.ignore = options.ignore;
  compare.force = options.force;
  // Each difference is written as it is found: memory does not grow with them.
  DiffReport report;
  if (options.json) {
    DifferencesJsonWriter writer(out, false);
    report = DiffRequests(a, b, compare, [&writer](const Difference& d) { writer.add(d); });
    writer.finish();
    out << "\n";
  } else {
    report = DiffRequests(a, b, compare, [&out](const Difference& d) { out << DifferenceLine(d) << '\n'; });
  }
  if (!Flushed(out)) {
    err << "navreq diff: cannot write standard output\n";
    return kExitCannotWrite;
  }
  for (const std::string& line : DiffTroubleLines(report)) err << "navreq diff: " << line << "\n";
  for (const std::string& pattern : report.unmatched_ignores) {
    err << "navreq diff: warning: --ignore " << pattern << " matches no path of A or B\n";
  }
  return report.status();
}

}  // namespace tool
}  // namespace navreq
