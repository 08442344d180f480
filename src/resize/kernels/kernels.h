// The function table that one instruction set gives to the resize service.
#pragma once

#include <cstdint>

namespace kyv::resize {

struct Kernels {
  std::int32_t float_lanes;  // floats in one vector of this variant
};

}  // namespace kyv::resize
