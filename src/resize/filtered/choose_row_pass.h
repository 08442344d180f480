// Which row pass is the fastest: the one place that knows.
#pragma once

#include <variant>

#include "resize/filtered/permuted_rows.h"
#include "resize/filtered/running_rows.h"
#include "resize/filtered/shuffled_rows.h"
#include "resize/filtered/transposed_rows.h"

namespace kyv::resize {

using RowPass = std::variant<TransposedRows, RunningRows, PermutedRows, ShuffledRows>;

struct RowPassRoom {
  TransposedRoom transposed;
  PermutedRoom permuted;
};

// Plans the fastest of the row passes that fit, or the one that is wanted if it fits, and says why.
struct PlannedRowPass {
  RowPass pass;
  RowPassChoice choice;
};

PlannedRowPass choose_row_pass(const RowPassFacts& facts, const RowPassRoom& room,
                               std::optional<RowPassKind> wanted) noexcept;

}  // namespace kyv::resize
