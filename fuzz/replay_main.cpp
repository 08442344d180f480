// Runs a fuzz target on every file of the folders (or on the files) that it is given.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz_target.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> files_of(const fs::path& path) {
  if (!fs::is_directory(path)) return {path};
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

bool replay(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "cannot read %s\n", path.string().c_str());
    return false;
  }
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::printf("%s\n", path.filename().string().c_str());
  std::fflush(stdout);  // the last name printed is the input that failed
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t runs = 0;
  for (int k = 1; k < argc; ++k) {
    for (const fs::path& file : files_of(argv[k])) {
      if (!replay(file)) return 1;
      ++runs;
    }
  }
  std::printf("%u inputs replayed\n", static_cast<unsigned>(runs));
  return runs == 0 ? 1 : 0;
}
