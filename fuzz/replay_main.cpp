// Runs a fuzz target on every file of the folders (or on the files) that it is given, or, with --random COUNT
// [SEED], on as many inputs drawn at random.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
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

const std::vector<std::uint8_t>* g_input = nullptr;
char g_name[64] = "failing_input";

void write_input(int signal) {
  if (std::FILE* const file = std::fopen(g_name, "wb"); file != nullptr && g_input != nullptr) {
    std::fwrite(g_input->data(), 1, g_input->size(), file);
    std::fclose(file);
  }
  std::fprintf(stderr, "signal %d; the input is in the file %s\n", signal, g_name);
  std::_Exit(1);
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

int run_random(long count, unsigned long seed) {
  std::snprintf(g_name, sizeof g_name, "failing_input_%lu", seed);
  std::mt19937_64 random(seed);
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::uint8_t> input;
  for (long k = 0; k < count; ++k) {
    const std::uint64_t state = random();
    input.resize(static_cast<std::size_t>(40 + state % 200));
    for (std::uint8_t& byte : input) byte = static_cast<std::uint8_t>(random() >> 32);
    g_input = &input;
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  std::printf("%ld random inputs in %.0f s\n", count, seconds.count());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 3 && std::strcmp(argv[1], "--random") == 0) {
    std::signal(SIGABRT, write_input);
    std::signal(SIGSEGV, write_input);
    return run_random(std::atol(argv[2]), argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 1);
  }
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
