#pragma once

#include <string>
#include <vector>

namespace kyv::host {

// The whole program: parses the arguments (UTF-8, without the program's name), does what they ask for and
// returns the exit status.
int run_command_line(std::vector<std::string> arguments);

}  // namespace kyv::host
