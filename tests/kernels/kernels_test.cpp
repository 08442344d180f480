// Every pointer of both kernel tables, of every set that the machine runs, against plain references.
#include <gtest/gtest.h>

#include "kernels/trial.h"
#include "support/variants.h"

namespace kyv::test {
namespace {

class KernelTrials : public PerVariant {
 protected:
  static void run_all(kernels::Inputs inputs, std::uint32_t seed) {
    for (const kernels::Trial& trial : kernels::trials_of(GetParam(), inputs, seed)) {
      trial.run();
      EXPECT_EQ(trial.verdict(), "") << trial.name << ", seed " << seed;
    }
  }
};

TEST_P(KernelTrials, PicturesGiveTheReferencesBits) {
  for (const std::uint32_t seed : {1U, 2U}) run_all(kernels::Inputs::kPicture, seed);
}

TEST_P(KernelTrials, HardValuesGiveTheReferencesBits) {
  for (const std::uint32_t seed : {3U, 4U, 5U}) run_all(kernels::Inputs::kHard, seed);
}

INSTANTIATE_TEST_SUITE_P(Variants, KernelTrials,
                         testing::ValuesIn(runtime::all_kernel_sets().begin(),
                                           runtime::all_kernel_sets().end()),
                         variant_name);

// The harness must see a wrong value and a write beyond what is allowed.
TEST(KernelTrialsSelf, SeeWrongValuesAndWritesOutside) {
  kernels::Canaried<float> memory(3, 1);
  for (int i = 0; i < 4; ++i) memory.data()[i] = static_cast<float>(i);
  EXPECT_EQ(kernels::verdict_on(memory, {0.0F, 1.0F, 2.0F}), "");
  EXPECT_NE(kernels::verdict_on(memory, {0.0F, 1.0F, 3.0F}), "");
  EXPECT_NE(kernels::verdict_on(memory, {-0.0F, 1.0F, 2.0F}), "");
  memory.data()[4] = 4.0F;
  EXPECT_NE(kernels::verdict_on(memory, {0.0F, 1.0F, 2.0F}), "");
}

}  // namespace
}  // namespace kyv::test
