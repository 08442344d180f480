// What stands between a working export and the caller: no exception and no change of the floating-point
// environment gets through, in either direction.
#pragma once

#include "KyvMath.h"
#include "runtime/floating_point_environment.h"

namespace kyv::api {

// The status of work(), or `failure` when it throws.
template <class Work>
KyvMathStatusCode behind_wall(KyvMathStatusCode failure, const Work& work) noexcept {
  const runtime::FloatingPointScope scope;
  try {
    return work();
  } catch (...) {
    return failure;
  }
}

}  // namespace kyv::api
