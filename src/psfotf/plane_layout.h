// Makes the plan of a plane: how its axes are transformed, the tables, the places in the workspace.
#pragma once

#include <cstdint>

#include "psfotf/factorisation.h"
#include "psfotf/kernels/kernels.h"
#include "psfotf/plan.h"

namespace kyv::psfotf {

inline constexpr std::uint64_t kImpossible = UINT64_MAX;  // the byte count of what cannot be planned

// How both axes of a plane are transformed.
struct PlaneMethod {
  LineShape column;
  LineShape row;  // of the elements of a row, where rows are transformed within their lanes
  bool rows_within_lanes;
};

// For all of these: a kernel set serves planes of at least as many columns as it has lanes.
template <class T>
PlaneMethod choose_plane(const PlaneShape& shape, const PrecisionKernels<T>& kernels) noexcept;

// Bytes that make_plane_plan takes for the plan and its tables.
template <class T>
std::uint64_t plan_bytes(const PlaneShape& shape, const PlaneMethod& method, const Kernels& kernels) noexcept;

// Bytes that a transform of the plane works in, and its planning.
template <class T>
std::uint64_t workspace_bytes(const PlaneShape& shape, const PlaneMethod& method,
                              const Kernels& kernels) noexcept;

// The plan of a plane, laid out in plan_bytes() bytes of `memory`; workspace_bytes() bytes of `workspace`
// hold what planning needs for a while. Both are aligned to a cache line.
template <class T>
const PlanePlan<T>* make_plane_plan(const PlaneShape& shape, const PlaneMethod& method,
                                    const Kernels& kernels, void* memory, void* workspace) noexcept;

// False only where choose_plane() cannot choose rows within their lanes.
bool may_fit_within_lanes(const PlaneShape& shape, std::int32_t lanes) noexcept;

}  // namespace kyv::psfotf
