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
  explicit Scratch(std::uint64_t bytes)
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

// The transform of the planes of a stack. The descriptor and its plan are made with the first plane; where
// there is no memory for them, with the next one again.
class PlaneTransform {
 public:
  // The descriptor lies in `room`, or on the heap where that is null.
  PlaneTransform(const std::int32_t (&lengths)[2], Direction direction, Precision precision,
                 const Kernels& kernels, DescriptorRoom* room) noexcept
      : lengths_{lengths[0], lengths[1]},
        direction_(direction),
        precision_(precision),
        kernels_(kernels),
        room_(room) {}
  ~PlaneTransform() { DftiFreeDescriptor(&descriptor_); }
  PlaneTransform(const PlaneTransform&) = delete;
  PlaneTransform& operator=(const PlaneTransform&) = delete;

  // False when it could not be set up, with nothing written.
  bool run(const PlaneArrays& plane, void* workspace) noexcept {
    if (descriptor_ == nullptr) create();
    commit_for_arrays(descriptor_, workspace);
    return compute_arrays(descriptor_, direction_, plane, workspace) == DFTI_NO_ERROR;
  }

 private:
  void create() noexcept {
    descriptor_ = create_descriptor(precision_, lengths_, kernels_, room_);
    if (direction_ == Direction::kForward) return;
    const float scale = 1.0f / static_cast<float>(lengths_[0] * lengths_[1]);
    DftiSetValue(descriptor_, DFTI_BACKWARD_SCALE, static_cast<double>(scale));
  }

  std::int32_t lengths_[2];
  Direction direction_;
  Precision precision_;
  const Kernels& kernels_;
  DescriptorRoom* room_;
  Descriptor* descriptor_ = nullptr;
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
  const std::uint64_t bytes = array_workspace_bytes(precision, lengths, *kernels.psfotf);
  const bool takes_memory = bytes != 0;
  const Scratch scratch(bytes);
  if (takes_memory && scratch.get() == nullptr) return kFailed;
  DescriptorRoom room;
  PlaneTransform transform(lengths, direction, precision, *kernels.psfotf, takes_memory ? nullptr : &room);

  const auto values = static_cast<std::size_t>(stack.width) * static_cast<std::size_t>(stack.height);
  for (std::int32_t p = 0; p < stack.planes; ++p) {
    const std::size_t offset = static_cast<std::size_t>(p) * values;
    const PlaneArrays plane{stack.src_real + offset, stack.src_imag + offset, stack.dst_real + offset,
                            stack.dst_imag + offset};
    if (!transform.run(plane, scratch.get())) copy(plane, values, precision);
  }
  return kDone;
}

}  // namespace kyv::psfotf
