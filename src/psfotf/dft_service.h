// The transform service: descriptors of two-dimensional complex transforms, in place.
//
// The operations keep their established names. A descriptor is created, configured, committed, computed with
// and freed. Lengths {N1, N2}: element (j1, j2) of a plane lies at complex index j1 * N2 + j2.
//
//   forward:   Z[k1][k2] = sum X[j1][j2] exp(-2 pi i (j1 k1 / N1 + j2 k2 / N2))
//   backward:  the same sum with exp(+2 pi i ...), times DFTI_BACKWARD_SCALE
//
// All memory is taken at creation and commit, so computing cannot fail half-way. No thread is started.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/kernels.h"
#include "psfotf/plan.h"
#include "psfotf/precision.h"

namespace kyv::psfotf {

class Descriptor;
using DFTI_DESCRIPTOR_HANDLE = Descriptor*;

enum DFTI_CONFIG_PARAM : std::int32_t {
  DFTI_FORWARD_SCALE = 4,
  DFTI_BACKWARD_SCALE = 5,
  DFTI_PLACEMENT = 11
};
enum DFTI_CONFIG_VALUE : std::int32_t {
  DFTI_COMPLEX = 32,
  DFTI_SINGLE = 35,
  DFTI_DOUBLE = 36,
  DFTI_INPLACE = 43
};

// Statuses.
inline constexpr std::int32_t DFTI_NO_ERROR = 0;
inline constexpr std::int32_t DFTI_MEMORY_ERROR = 1;
inline constexpr std::int32_t DFTI_INVALID_CONFIGURATION = 2;
inline constexpr std::int32_t DFTI_INCONSISTENT_CONFIGURATION = 3;
inline constexpr std::int32_t DFTI_BAD_DESCRIPTOR = 5;

// The number of threads that transforms may use; values below 1 are ignored. One, and no more, are used.
void mkl_set_num_threads(std::int32_t count) noexcept;
std::int32_t mkl_get_max_threads() noexcept;

// Writes null first, and on success a descriptor to be freed, which computes with the set's kernels. The
// precision is DFTI_SINGLE or DFTI_DOUBLE, the domain DFTI_COMPLEX, the dimension 2, the lengths are at least
// 1 and their product fits 31 bits; everything else is an invalid configuration. The second and third are the
// first with a precision of their own.
std::int32_t DftiCreateDescriptor(DFTI_DESCRIPTOR_HANDLE* handle, DFTI_CONFIG_VALUE precision,
                                  DFTI_CONFIG_VALUE domain, std::int32_t dimension,
                                  const std::int32_t* lengths, const Kernels& kernels) noexcept;
std::int32_t DftiCreateDescriptor_s_md(DFTI_DESCRIPTOR_HANDLE* handle, DFTI_CONFIG_VALUE domain,
                                       std::int32_t dimension, const std::int32_t* lengths,
                                       const Kernels& kernels) noexcept;
std::int32_t DftiCreateDescriptor_d_md(DFTI_DESCRIPTOR_HANDLE* handle, DFTI_CONFIG_VALUE domain,
                                       std::int32_t dimension, const std::int32_t* lengths,
                                       const Kernels& kernels) noexcept;

// DFTI_FORWARD_SCALE or DFTI_BACKWARD_SCALE and a double (1 at first), or DFTI_PLACEMENT and DFTI_INPLACE,
// the only placement. Undoes a commit.
std::int32_t DftiSetValue(DFTI_DESCRIPTOR_HANDLE handle, std::int32_t parameter, ...) noexcept;

std::int32_t DftiCommitDescriptor(DFTI_DESCRIPTOR_HANDLE handle) noexcept;

// In place on N1 * N2 pairs (real, imaginary) of the descriptor's precision. A null, freed or uncommitted
// descriptor is a bad one, and the buffer stays as it is.
std::int32_t DftiComputeForward(DFTI_DESCRIPTOR_HANDLE handle, void* buffer) noexcept;
std::int32_t DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE handle, void* buffer) noexcept;

// Frees and sets the handle to null; a handle that is null already is a bad descriptor.
std::int32_t DftiFreeDescriptor(DFTI_DESCRIPTOR_HANDLE* handle) noexcept;

// The entry for planes in separate arrays: the same steps, with a workspace of the caller's and a chosen
// kernel set. Descriptors made here compute on arrays alone.

// A place for a descriptor that its user provides.
struct DescriptorRoom {
  alignas(64) std::byte bytes[4864];
};

// Null when there is no memory or the configuration is invalid. The descriptor lies in `room` where that is
// not null, else on the heap.
Descriptor* create_descriptor(Precision precision, const std::int32_t (&lengths)[2], const Kernels& kernels,
                              DescriptorRoom* room = nullptr) noexcept;

// Bytes of workspace, aligned to a cache line, for arrays: 0 for small planes that need none, kImpossible
// when there is no such transform, or no descriptor.
std::uint64_t array_workspace_bytes(const Descriptor* descriptor) noexcept;

// A descriptor that is committed keeps its plan. The workspace is that of compute_arrays().
std::int32_t commit_for_arrays(Descriptor* descriptor, void* workspace) noexcept;

std::int32_t compute_arrays(Descriptor* descriptor, Direction direction, const PlaneArrays& arrays,
                            void* workspace) noexcept;

}  // namespace kyv::psfotf
