// Which row pass is the fastest: the one place that knows.
#pragma once

#include <variant>

#include "resize/filtered/permuted_rows.h"
#include "resize/filtered/running_rows.h"
#include "resize/filtered/shuffled_rows.h"
#include "resize/filtered/transposed_rows.h"

namespace kyv::resize {

using RowPass = std::variant<TransposedRows, RunningRows, PermutedRows, ShuffledRows>;

// call(the pass that is planned): std::visit without its exception, as a planned pass is never without a
// value.
template <class Call>
auto with_row_pass(RowPass& pass, const Call& call) noexcept {
  switch (pass.index()) {
    case 0:
      return call(*std::get_if<0>(&pass));
    case 1:
      return call(*std::get_if<1>(&pass));
    case 2:
      return call(*std::get_if<2>(&pass));
    default:
      return call(*std::get_if<3>(&pass));
  }
}

// All in the same place: one pass is used, and a plan that did not fit is given up before the next is made.
struct RowPassRoom {
  TransposedRoom transposed;
  RunningRoom running;
  PermutedRoom permuted;
};

// Plans the fastest of the row passes that fit, or the one that is wanted if it fits, and says why.
struct PlannedRowPass {
  RowPass pass;
  RowPassChoice choice;
};

PlannedRowPass choose_row_pass(const RowPassFacts& facts, const RowPassRoom& room,
                               std::optional<RowPassKind> wanted) noexcept;

// Whether super-sampling of 8 bits is faster when its source rows are folded first.
bool folding_is_fastest(const RowPassFacts& facts) noexcept;

}  // namespace kyv::resize
