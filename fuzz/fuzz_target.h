// One fuzzed entry: `data` describes a call, which is made and checked. A fault ends the process.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
