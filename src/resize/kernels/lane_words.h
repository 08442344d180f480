// For sets that permute 16-bit fields.
#pragma once

#include "resize/kernels/lane_impl.h"

namespace kyv::resize {
namespace {

constexpr LanePasses kLanePasses{{{}, kLaneWords}};

}  // namespace
}  // namespace kyv::resize
