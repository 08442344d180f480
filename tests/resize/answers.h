// What the reference makes of a trial's picture. Kernel sets and row passes are asked the same: the last
// answers are kept, so that each is computed once for all that a process asks.
#pragma once

#include <cstdint>
#include <vector>

#include "resize/reference.h"
#include "resize/trial.h"

namespace kyv::test {

struct Answer {
  std::vector<std::uint8_t> source;  // the trial's picture, rows without padding
  reference::Result result;
};

// Good until the next question. What does not change pixels is not looked at: padding, route, row pass,
// tuning.
const Answer& answer_to(const Trial& request);
const Answer& answer_to(const DirectCall& call);

}  // namespace kyv::test
