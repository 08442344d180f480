#include "psfotf/conversion.h"

#include <cstddef>
#include <cstring>

#include "psfotf/dft_service.h"
#include "runtime/aligned_memory.h"

namespace kyv::psfotf {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = -1;

class Scratch {
 public:
  explicit Scratch(std::uint64_t bytes) noexcept
      : memory_(bytes != 0 && bytes <= SIZE_MAX
                    ? runtime::aligned_allocate_large(static_cast<std::size_t>(bytes))
                    : nullptr) {}
  ~Scratch() { runtime::aligned_free(memory_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  void* get() const noexcept { return memory_; }

 private:
  void* memory_;
};

bool sizes_fit(std::int32_t width, std::int32_t height, std::int32_t planes) noexcept {
  const std::int64_t values = static_cast<std::int64_t>(width) * height;
  return values <= INT32_MAX &&
         static_cast<std::uint64_t>(values) <= SIZE_MAX / sizeof(double) / static_cast<std::uint64_t>(planes);
}

// One transform of one plane; false when it could not be set up, with nothing written.
bool transform(const PlaneArrays& plane, const std::int32_t (&lengths)[2], Direction direction,
               Precision precision, double backward_scale, const Kernels& kernels, void* workspace,
               DescriptorRoom* room) noexcept {
  Descriptor* descriptor = create_descriptor(precision, lengths, kernels, room);
  if (direction == Direction::kBackward) DftiSetValue(descriptor, DFTI_BACKWARD_SCALE, backward_scale);
  commit_for_arrays(descriptor);
  const std::int32_t status = compute_arrays(descriptor, direction, plane, workspace);
  DftiFreeDescriptor(&descriptor);
  return status == DFTI_NO_ERROR;
}

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
                   const runtime::KernelSet& kernels) noexcept {
  if (stack.planes < 1 || stack.width < 1 || stack.height < 1) return kDone;
  if (!sizes_fit(stack.width, stack.height, stack.planes)) return kFailed;

  mkl_set_num_threads(1);
  const std::int32_t lengths[2] = {stack.width, stack.height};
  const std::uint64_t bytes = array_workspace_bytes(precision, lengths, *kernels.psfotf);
  const bool takes_memory = bytes != 0;
  const Scratch scratch(bytes);
  if (takes_memory && scratch.get() == nullptr) return kFailed;
  DescriptorRoom room;

  const std::int32_t count = stack.width * stack.height;
  const auto values = static_cast<std::size_t>(count);
  const float scale = 1.0f / static_cast<float>(count);
  for (std::int32_t p = 0; p < stack.planes; ++p) {
    const std::size_t offset = static_cast<std::size_t>(p) * values;
    const PlaneArrays plane{stack.src_real + offset, stack.src_imag + offset, stack.dst_real + offset,
                            stack.dst_imag + offset};
    if (!transform(plane, lengths, direction, precision, static_cast<double>(scale), *kernels.psfotf,
                   scratch.get(), takes_memory ? nullptr : &room)) {
      copy(plane, values, precision);
    }
  }
  return kDone;
}

}  // namespace kyv::psfotf
