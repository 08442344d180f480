#include "runtime/cpu_features.h"

namespace kyv::runtime {

Processor this_processor() noexcept { return {}; }

}  // namespace kyv::runtime
