#include "kernels/trial.h"

#include <algorithm>
#include <cmath>

#include "resize/kernels/taps.h"
#include "resize/reference.h"

namespace kyv::kernels {

Trials trials_of(const runtime::KernelSet& set, Inputs inputs, std::uint32_t seed) {
  Random random(seed);
  Trials trials;
  add_column_trials(set, inputs, random, trials);
  add_transposed_trials(set, inputs, random, trials);
  add_permuted_trials(set, inputs, random, trials);
  add_running_trials(set, inputs, random, trials);
  add_shuffled_trials(set, inputs, random, trials);
  add_byte_trials(set, inputs, random, trials);
  add_weight_trials(set, inputs, random, trials);
  add_transform_trials(set, inputs, random, trials);
  return trials;
}

namespace {

float some_sign(Random& random) { return random.below(2) == 0 ? 1.0F : -1.0F; }

// The product of two of these is half-way between two floats: what is to be added to it, far below the last
// place of a double, says to which side the sum goes.
float some_half_way_factor(Random& random) {
  return some_sign(random) * (1.0F + static_cast<float>(2 * random.below(1024) + 1) * 0x1p-12F);
}

float some_tiny_value(Random& random) {
  return some_sign(random) * std::ldexp(1.0F, -55 - static_cast<int>(random.below(94)));
}

}  // namespace

float some_weight(Inputs inputs, Random& random) {
  if (inputs == Inputs::kPicture) return static_cast<float>(random.unit() * 0.4 - 0.1);
  constexpr float kHard[] = {0.0F,     1.0F,       -1.0F, 0.5F, 1.0F + 0x1p-23F, -1.0F - 0x1p-12F,
                             0x1p-60F, -0x1.8p-80F};
  return random.below(3) == 0 ? some_half_way_factor(random) : kHard[random.below(std::size(kHard))];
}

float some_sample(Inputs inputs, Random& random) {
  if (inputs == Inputs::kPicture) return static_cast<float>(random.below(65536));
  constexpr float kHard[] = {0.0F,     -0.0F,    0.5F,  1.5F, 2.5F,  254.5F,   255.5F,
                             65534.5F, 65535.5F, -0.5F, 1e6F, -1e6F, 0x1p-100F};
  switch (random.below(4)) {
    case 0:
      return kHard[random.below(std::size(kHard))];
    case 1:
      return static_cast<float>(random.below(65536)) * (1.0F + 0x1p-20F);
    case 2:
      return some_half_way_factor(random);
    default:
      return some_tiny_value(random);
  }
}

float reference_sum(const std::vector<float>& weights, const std::vector<float>& samples) {
  constexpr auto kBlock = static_cast<std::size_t>(resize::kTapBlock);
  float total = 0.0F;
  for (std::size_t begin = 0; begin < weights.size(); begin += kBlock) {
    float sum = 0.0F;
    for (std::size_t k = begin; k < std::min(begin + kBlock, weights.size()); ++k) {
      sum = reference::fused_multiply_add(weights[k], samples[k], sum);
    }
    total = total + sum;
  }
  return total;
}

}  // namespace kyv::kernels
