// One resize on images between inaccessible pages, checked byte for byte against the reference.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <random>

#include "resize/filtered/row_pass.h"
#include "resize/reference.h"
#include "runtime/dispatch.h"

namespace testing {
class AssertionResult;
}

namespace kyv::test {

// Sparse: zeros, but for one sample in forty, which is a power of two.
enum class Content { kRandom, kConstant, kCheckerboard, kRamp, kExtremes, kSparse };
enum class Route { kRequest, kPrimitive };

struct Trial {
  int mode = 1;
  int bits = 8;
  int channels = 1;
  std::int32_t src_width = 1;
  std::int32_t src_height = 1;
  std::int32_t src_padding = 0;  // bytes between rows
  reference::Rect region;
  std::int32_t dst_width = 1;
  std::int32_t dst_height = 1;
  std::int32_t dst_padding = 0;
  Content content = Content::kRandom;
  bool at_end = false;  // whether the images end, rather than begin, at an inaccessible page
  Route route = Route::kRequest;
  std::uint32_t seed = 0;
  // Taken where it fits; makes the route that of the primitives. What ran is told in *chosen, if given.
  std::optional<resize::RowPassKind> row_pass = {};
  resize::RowPassChoice* chosen = nullptr;
  std::optional<bool> folding = {};  // the same: wherever it fits, or nowhere
  bool* has_folded = nullptr;
  bool* is_in_integers = nullptr;
  // On the route of the primitives: what a large picture is.
  resize::Tuning tuning = {};
};

// Everything is large: prefetched, streamed and, where rows are longer than some hundred samples, in strips.
resize::Tuning tuning_of_large_pictures();

std::ostream& operator<<(std::ostream& out, const Trial& trial);

using Random = std::mt19937;
std::int32_t between(Random& random, std::int32_t low, std::int32_t high);  // both included

// A trial of `mode` with everything else drawn: sizes from 1 to the given ones, a region in half of the
// cases, paths of large pictures in a quarter.
Trial random_trial(Random& random, int mode, std::int32_t max_width, std::int32_t max_height);

// Makes the region the whole source.
Trial whole_image(Trial trial);

// The destination holds the reference's pixels, its padding and surroundings are as they were, and nothing
// outside the images' rows was accessed.
testing::AssertionResult matches_reference(const Trial& trial, const runtime::KernelSet& kernels);

// A call of the primitive with factors, shifts and a destination rectangle of its own.
struct DirectCall {
  Trial trial;
  double x_factor = 1.0;
  double y_factor = 1.0;
  double x_shift = 0.0;
  double y_shift = 0.0;
  reference::Rect dst_roi;
};

DirectCall random_direct_call(Random& random, int mode);
testing::AssertionResult matches_reference(const DirectCall& call, const runtime::KernelSet& kernels);

}  // namespace kyv::test
