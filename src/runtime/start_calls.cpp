#include "runtime/start_calls.h"

#include "runtime/cpu_features.h"
#include "runtime/dispatch.h"

namespace kyv::runtime {

std::int32_t ippStaticInit() noexcept {
  if (!has_baseline()) return kIppStsNotSupportedCpu;
  active_kernel_set();
  return kIppStsNoErr;
}

std::int32_t ippSetNumThreads(std::int32_t threads) noexcept {
  return threads == 1 ? kIppStsNoErr : kIppStsNoOperation;
}

constinit StartCalls start_calls = {ippStaticInit, ippSetNumThreads};

}  // namespace kyv::runtime
