#include "readback.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <utility>

#include "gzip_compress.h"
#include "har_input.h"
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

// Flushes `out` and reports whether everything written reached it.
bool Flushed(std::ostream& out) {
  out.flush();
  return static_cast<bool>(out);
}

// A request of diff: as dump reads it; a HAR file only when it holds exactly
// one request (else its entry must be named, FILE#N).
bool ReadDiffInput(const std::string& path, std::string& bytes, std::string& error) {
  RequestInput input;
  if (!ReadRequestInput(path, InputMode::kDetect, input, error,
                        "; navreq dump --raw reads it as raw bytes")) {
    return false;
  }
  if (!input.har) {
    bytes = std::move(input.bytes);
    return true;
  }
  std::vector<HarEntry*> requests;
  for (HarEntry& entry : input.har->entries) {
    if (entry.request()) requests.push_back(&entry);
  }
  if (requests.size() != 1) {
    error = InputName(path) + ": a HAR file with " + std::to_string(requests.size()) +
            " requests; name one entry as " + path + "#N";
    return false;
  }
  bytes = std::move(requests.front()->bytes);
  return true;
}

}  // namespace

int DumpWalk(const std::string& bytes, const DumpOptions& options, std::ostream& out, std::ostream& err,
             const std::string& who) {
  WalkSummary summary;
  {
    JsonViewOptions json_options;
    json_options.paths = options.paths;
    const std::unique_ptr<TreeSink> view =
        options.json ? MakeJsonView(out, json_options) : MakeTextView(out, options.full);
    summary = Walk(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), *view);
  }
  if (summary.status() != 0) {
    err << "navreq dump: " << who << summary.undecoded << " undecoded, " << summary.missing << " missing, "
        << summary.mismatches << " type mismatches, " << summary.unknown << " unknown or repeated tags"
        << (summary.encoding > 0
                ? ", " + std::to_string(summary.encoding) + " bodies not encoded as their command says"
                : "")
        << (summary.unnamed ? ", no envelope recognised" : "") << "\n";
  }
  return summary.status();
}

int RunReadbackDump(const DumpOptions& options, std::ostream& out, std::ostream& err) {
  RequestInput input;
  std::string error;
  if (!ReadRequestInput(options.input, options.mode, input, error,
                        "; use --raw to read the input as raw bytes")) {
    err << "navreq dump: " << error << "\n";
    return kExitBadInput;
  }
  const int status =
      input.har ? DumpHar(*input.har, options, out, err) : DumpWalk(input.bytes, options, out, err, "");
  if (!Flushed(out)) {
    err << "navreq dump: cannot write standard output\n";
    return kExitCannotWrite;
  }
  return status;
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
  if (!ReadDiffInput(options.a, a, error)) {
    err << "navreq diff: A: " << error << "\n";
    return kExitDiffTrouble;
  }
  if (!ReadDiffInput(options.b, b, error)) {
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
