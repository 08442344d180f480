#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>

namespace kyv::host {

using Json = nlohmann::ordered_json;

// Bytes that are not UTF-8, as file names may hold, are printed as U+FFFD.
inline void print_json(const Json& json) {
  std::printf("%s\n", json.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace kyv::host
