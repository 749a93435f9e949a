// DecodeRequest and the walk behind `navreq dump` read the same bytes: on
// every example request, every truncation of each, and every file of the
// fuzz corpora, they report the same problems (kind, path, offset), in
// tolerant mode all of them in the same order, in strict mode the first.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "navreq/read/walk_problems.h"
#include "navreq/request_reader.h"

namespace {

namespace fs = std::filesystem;
using navreq::ReadProblem;
using navreq::ReadProblemKind;

std::vector<char> FileBytes(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A golden's hex digits, whitespace ignored.
std::vector<char> HexFile(const fs::path& p) {
  std::string digits;
  for (char c : FileBytes(p)) {
    if (std::isxdigit(static_cast<unsigned char>(c))) digits.push_back(c);
  }
  std::vector<char> out;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    out.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
  return out;
}

std::string Line(const ReadProblem& p) {
  return p.path + " @ " + std::to_string(p.offset) + ": " + navcore::ryn::readProblemName(p.kind);
}

std::string Lines(const std::vector<ReadProblem>& problems) {
  std::string out;
  for (const ReadProblem& p : problems) out += Line(p) + "\n";
  return out;
}


// Inputs compared problem by problem, and inputs compared on whether they read.
struct Tally {
  std::size_t full = 0;
};

void ExpectSame(const std::vector<char>& bytes, const std::string& what, Tally& tally) {
  navreq::DecodeOptions tolerant;
  tolerant.mode = navreq::ReadMode::kTolerant;
  const navreq::DecodedRequest loose = navreq::DecodeRequest(bytes, tolerant);
  const navreq::DecodedRequest strict = navreq::DecodeRequest(bytes);
  const std::vector<ReadProblem> walked = navreq::WalkProblems(bytes.data(), bytes.size());

  EXPECT_EQ(strict.ok(), walked.empty()) << what << "\nwalk:\n"
                                         << Lines(walked) << "strict:\n"
                                         << Lines(strict.problems);
  ++tally.full;
  EXPECT_EQ(Lines(loose.problems), Lines(walked)) << what;
  if (!strict.problems.empty() && !walked.empty()) {
    EXPECT_EQ(Line(strict.problems.front()), Line(walked.front())) << what;
  }
}

const fs::path kSource = NAVREQ_SOURCE_DIR;

std::vector<fs::path> FilesIn(const fs::path& dir, const std::string& extension) {
  std::vector<fs::path> out;
  if (!fs::is_directory(dir)) return out;
  for (const auto& e : fs::recursive_directory_iterator(dir)) {
    if (e.is_regular_file() && (extension.empty() || e.path().extension() == extension))
      out.push_back(e.path());
  }
  std::sort(out.begin(), out.end());
  return out;
}

TEST(ReaderParity, ExampleRequestsAndEveryTruncation) {
  const std::vector<fs::path> goldens = FilesIn(kSource / "tests/tool/golden", ".hex");
  ASSERT_EQ(goldens.size(), 6u);
  Tally tally;
  for (const fs::path& p : goldens) {
    const std::vector<char> whole = HexFile(p);
    ASSERT_FALSE(whole.empty()) << p;
    ExpectSame(whole, p.filename().string(), tally);
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
      ExpectSame(std::vector<char>(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut)),
                 p.filename().string() + " cut at " + std::to_string(cut), tally);
    }
  }
  std::printf("examples and truncations: %zu compared in full\n", tally.full);
}

TEST(ReaderParity, FuzzCorpora) {
  std::size_t files = 0;
  Tally tally;
  for (const char* dir : {"fuzz/corpus/request_decode", "fuzz/corpus/kse_reader", "fuzz/regressions"}) {
    for (const fs::path& p : FilesIn(kSource / dir, "")) {
      ExpectSame(FileBytes(p), p.string(), tally);
      ++files;
    }
  }
  EXPECT_GT(files, 40u);
  std::printf("corpus files: %zu compared in full\n", tally.full);
}

}  // namespace
