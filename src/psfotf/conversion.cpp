#include "psfotf/conversion.h"

#include <cstddef>
#include <cstring>

#include "psfotf/dft_service.h"
#include "runtime/aligned_memory.h"

namespace kyv::psfotf {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = -1;

bool sizes_fit(std::int32_t width, std::int32_t height, std::int32_t planes) noexcept {
  const std::int64_t values = static_cast<std::int64_t>(width) * height;
  return values <= INT32_MAX &&
         static_cast<std::uint64_t>(values) <= SIZE_MAX / sizeof(double) / static_cast<std::uint64_t>(planes);
}

// The transform of the planes of a stack: one descriptor, on the stack of the call, and one workspace.
class StackTransform {
 public:
  StackTransform(const std::int32_t (&lengths)[2], Direction direction, Precision precision,
                 const Kernels& kernels) noexcept
      : direction_(direction), descriptor_(create_descriptor(precision, lengths, kernels, &room_)) {
    if (direction == Direction::kForward) return;
    const float scale = 1.0f / static_cast<float>(lengths[0] * lengths[1]);
    DftiSetValue(descriptor_, DFTI_BACKWARD_SCALE, static_cast<double>(scale));
  }
  ~StackTransform() {
    DftiFreeDescriptor(&descriptor_);
    runtime::aligned_free(workspace_);
  }
  StackTransform(const StackTransform&) = delete;
  StackTransform& operator=(const StackTransform&) = delete;

  // False when there is no memory.
  bool take_workspace() {
    const std::uint64_t bytes = array_workspace_bytes(descriptor_);
    if (bytes > 0 && bytes <= SIZE_MAX) {
      workspace_ = runtime::aligned_allocate_large(static_cast<std::size_t>(bytes));
    }
    return bytes == 0 || workspace_ != nullptr;
  }

  // False when there was no memory for the plan, with nothing written; the next plane tries again.
  bool run(const PlaneArrays& plane) noexcept {
    if (!is_ready_) is_ready_ = commit_for_arrays(descriptor_, workspace_) == DFTI_NO_ERROR;
    return is_ready_ && compute_arrays(descriptor_, direction_, plane, workspace_) == DFTI_NO_ERROR;
  }

 private:
  Direction direction_;
  bool is_ready_ = false;
  void* workspace_ = nullptr;
  DescriptorRoom room_;
  Descriptor* descriptor_;
};

void copy(const PlaneArrays& plane, std::size_t values, Precision precision) noexcept {
  const bool single = precision == Precision::kSingle;
  const auto copy_value = [&](const double* from, double* to) {
    double value = 0;  // not aligned, perhaps
    std::memcpy(&value, from, sizeof value);
    if (single) value = static_cast<double>(static_cast<float>(value));
    std::memcpy(to, &value, sizeof value);
  };
  for (std::size_t i = 0; i < values; ++i) {
    copy_value(plane.src_re + i, plane.dst_re + i);
    copy_value(plane.src_im + i, plane.dst_im + i);
  }
}

}  // namespace

int convert_planes(const PlaneStack& stack, Direction direction, Precision precision,
                   const runtime::KernelSet& kernels) {
  mkl_set_num_threads(1);
  if (stack.planes < 1 || stack.width < 1 || stack.height < 1) return kDone;
  if (!sizes_fit(stack.width, stack.height, stack.planes)) return kFailed;

  const std::int32_t lengths[2] = {stack.width, stack.height};
  StackTransform transform(lengths, direction, precision, *kernels.psfotf);
  if (!transform.take_workspace()) return kFailed;

  const auto values = static_cast<std::size_t>(stack.width) * static_cast<std::size_t>(stack.height);
  for (std::int32_t p = 0; p < stack.planes; ++p) {
    const std::size_t offset = static_cast<std::size_t>(p) * values;
    const PlaneArrays plane{stack.src_real + offset, stack.src_imag + offset, stack.dst_real + offset,
                            stack.dst_imag + offset};
    if (!transform.run(plane)) copy(plane, values, precision);
  }
  return kDone;
}

}  // namespace kyv::psfotf
