// For sets that cannot permute samples over a whole vector: blocks of rows only.
#pragma once

#include "resize/kernels/kernels.h"

namespace kyv::resize {
namespace {

constexpr LanePasses kLanePasses{};

}  // namespace
}  // namespace kyv::resize
