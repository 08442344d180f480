#pragma once

#include "../library.h"
#include "commands.h"

namespace kyv::host {

// Throws NoLibrary.
inline Library load_library(const CommonOptions& common) {
  try {
    if (common.library.empty()) return Library(std::nullopt);
    return Library(to_path(common.library));
  } catch (const std::runtime_error& error) {
    throw NoLibrary(std::string("cannot load the library: ") + error.what() +
                    "; give its place with --library PATH");
  }
}

}  // namespace kyv::host
