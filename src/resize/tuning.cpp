#include "resize/tuning.h"

#include "runtime/cpu_features.h"

namespace kyv::resize {

Tuning this_tuning() noexcept {
  Tuning tuning;
  tuning.has_cheap_wide_permutations = runtime::this_processor().vendor == runtime::Vendor::kAmd;
  return tuning;
}

}  // namespace kyv::resize
