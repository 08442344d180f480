// The row passes that a kernel set has.
#pragma once

#include <vector>

#include "resize/filtered/row_pass.h"
#include "resize/kernels/kernels.h"
#include "runtime/dispatch.h"

namespace kyv::test {

inline constexpr resize::RowPassKind kRowPassKinds[] = {
    resize::RowPassKind::kTransposed, resize::RowPassKind::kRunning, resize::RowPassKind::kPermuted,
    resize::RowPassKind::kShuffled};

inline const char* name_of(resize::RowPassKind kind) {
  constexpr const char* names[] = {"transposed", "running", "permuted", "shuffled"};
  return names[static_cast<int>(kind)];
}

inline bool has_row_pass(const runtime::KernelSet& set, resize::RowPassKind kind, resize::Depth depth) {
  const resize::Kernels& kernels = *set.resize;
  switch (kind) {
    case resize::RowPassKind::kRunning:
      return kernels.running.add[0][0] != nullptr;
    case resize::RowPassKind::kPermuted:
      return kernels.permuted.depth[depth].pass[resize::kNarrowWindow][0] != nullptr;
    case resize::RowPassKind::kShuffled:
      return kernels.shuffled.rows > 0;
    default:
      return true;
  }
}

// Those of a set that has more than one.
inline std::vector<resize::RowPassKind> row_passes_of(const runtime::KernelSet& set) {
  using resize::RowPassKind;
  std::vector<RowPassKind> kinds;
  for (const RowPassKind kind : kRowPassKinds) {
    if (has_row_pass(set, kind, resize::kDepth16)) kinds.push_back(kind);
  }
  if (kinds.size() == 1) kinds.clear();
  return kinds;
}

}  // namespace kyv::test
