// Hosts change the floating-point environment. Every working export gives the same bytes in all of them, and
// leaves the environment as it found it.
#include <gtest/gtest.h>

#include "support/floating_point_state.h"
#include "trust/export_calls.h"

namespace kyv::trust {
namespace {

using testing_support::FloatingPointState;
using testing_support::read_floating_point;
using testing_support::write_floating_point;

// Runs the call in the environment. True when it left the environment as it was.
bool run_in(const FloatingPointState& environment, ExportCall& call, KyvMathStatusCode& status) {
  const FloatingPointState original = read_floating_point();
  write_floating_point(environment);
  const FloatingPointState before = read_floating_point();
  status = call.run();
  const FloatingPointState after = read_floating_point();
  write_floating_point(original);
  return after == before;
}

TEST(HostEnvironment, NeitherChangesAResultNorIsChanged) {
  ASSERT_EQ(KyvMathInitialize(), KYVMATH_OK);
  const auto environments = testing_support::host_environments();

  for (ExportCall& call : all_export_calls()) {
    ASSERT_EQ(call.run(), KYVMATH_OK) << call.name();
    const Bytes expected = call.output();
    for (const auto& [name, environment] : environments) {
      call.clear_output();
      KyvMathStatusCode status = KYVMATH_FAILED;
      EXPECT_TRUE(run_in(environment, call, status)) << call.name() << ", " << name;
      EXPECT_EQ(status, KYVMATH_OK) << call.name() << ", " << name;
      EXPECT_TRUE(call.output() == expected) << call.name() << ", " << name;
    }
  }
  EXPECT_EQ(KyvMathTerminate(), KYVMATH_OK);
}

}  // namespace
}  // namespace kyv::trust
