#include "runtime/dispatch.h"

#include <gtest/gtest.h>

#include "runtime/cpu_features.h"

namespace kyv::runtime {
namespace {

// What every processor of this architecture can run.
#ifdef __aarch64__
constexpr const char* kBaseline = "neon";
#else
constexpr const char* kBaseline = "scalar";
#endif

TEST(Dispatch, TheActiveVariantIsTheBestForThisMachine) {
  EXPECT_STREQ(best_kernel_set(0).name, kBaseline);
  EXPECT_EQ(&active_kernel_set(), &best_kernel_set(this_processor().features));
  RecordProperty("variant", active_kernel_set().name);
}

}  // namespace
}  // namespace kyv::runtime
