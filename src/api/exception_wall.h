// What stands between an export and the caller: no exception gets through.
#pragma once

#include "KyvMath.h"

namespace kyv::api {

// The status of work(), or `failure` when it throws.
template <class Work>
KyvMathStatusCode behind_wall(KyvMathStatusCode failure, const Work& work) noexcept {
  try {
    return work();
  } catch (...) {
    return failure;
  }
}

}  // namespace kyv::api
