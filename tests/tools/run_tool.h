#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kyv::host::test {

struct ToolRun {
  int status = -1;
  std::string out;
  std::string err;
  std::int64_t peak_bytes = 0;  // largest resident memory; 0 where it is not measured
};

// Runs the built program with these arguments and waits for its end. A file may serve as standard input (not
// on Windows).
ToolRun run_tool(const std::vector<std::string>& arguments, const std::filesystem::path& input = {});

}  // namespace kyv::host::test
