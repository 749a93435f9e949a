// Runs a fuzz target over saved inputs, without libFuzzer: every file named on
// the command line, and every file below every folder named there (in name
// order), goes once through LLVMFuzzerTestOneInput. A broken invariant
// aborts, so a corpus or crash reproducer that fails makes the test fail.
//
//   navreq_replay_<target> DIR_OR_FILE...
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool Collect(const fs::path& path, std::vector<fs::path>& files) {
  std::error_code ec;
  if (fs::is_regular_file(path, ec)) {
    files.push_back(path);
    return true;
  }
  if (!fs::is_directory(path, ec)) {
    std::fprintf(stderr, "replay: %s is neither a file nor a folder\n", path.string().c_str());
    return false;
  }
  for (const auto& entry : fs::recursive_directory_iterator(path, ec)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  return !ec;
}

bool ReadAll(const fs::path& path, std::string& bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    if (!Collect(argv[i], files)) return 2;
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    std::fprintf(stderr, "replay: no inputs\n");
    return 2;
  }
  std::string bytes;
  for (const fs::path& file : files) {
    if (!ReadAll(file, bytes)) {
      std::fprintf(stderr, "replay: cannot read %s\n", file.string().c_str());
      return 2;
    }
    std::fprintf(stderr, "replay: %s (%zu bytes)\n", file.string().c_str(), bytes.size());
    std::fflush(stderr);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("replayed %zu inputs\n", files.size());
  return 0;
}
