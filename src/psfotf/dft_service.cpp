#include "psfotf/dft_service.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <new>
#include <optional>

#include "psfotf/factorisation.h"
#include "psfotf/kernel_sets.h"
#include "psfotf/plane_layout.h"
#include "runtime/aligned_memory.h"

namespace kyv::psfotf {

namespace {

// Rows of one value are one row: the same values, the same transform.
PlaneShape shape_of(const std::int32_t (&lengths)[2]) noexcept {
  return lengths[1] == 1 ? PlaneShape{1, lengths[0]} : PlaneShape{lengths[0], lengths[1]};
}

// The fixed code for planes of these lengths, or null.
template <class T>
const SquareCode<T>* square_code(const PlaneShape& shape, const PrecisionKernels<T>& kernels) noexcept {
  std::int32_t side = 8;
  for (const SquareCode<T>& code : kernels.squares) {
    if (shape.rows == side && shape.row_length == side) return code.transform != nullptr ? &code : nullptr;
    side *= 2;
  }
  return nullptr;
}

// The backward transform is the forward one with real and imaginary parts exchanged on both sides.
PlaneArrays exchanged(const PlaneArrays& arrays) noexcept {
  return {.src_re = arrays.src_im, .src_im = arrays.src_re, .dst_re = arrays.dst_im, .dst_im = arrays.dst_re};
}

// Whether the next narrower kernels have half of the lanes and want for nothing else: they are as fast or
// faster where half of a vector would be empty, and work in half of the memory.
template <class T>
bool has_half_as_good(const Kernels& kernels) noexcept {
  const PrecisionKernels<T>& whole = precision_of<T>(kernels);
  const PrecisionKernels<T>& half = precision_of<T>(*kernels.narrower);
  return 2 * half.lanes == whole.lanes && half.has_fused_multiply_add == whole.has_fused_multiply_add;
}

// Two rows of Rader's gather their values one by one: up to this length that costs more in pairs than two
// empty lanes do, and these take little memory.
constexpr std::int32_t kLongestBesideEmptyLanes = 1400;

// Whether two rows may be such lines: most lengths need not be planned to know that they are not.
bool may_be_short_raders(const PlaneShape& shape) noexcept {
  return shape.rows == 2 && shape.row_length % 2 != 0 && shape.row_length >= kLeastConvolution &&
         shape.row_length <= kLongestBesideEmptyLanes;
}

// The kernels that serve a plane and how they transform it: without a method they have fixed code for it.
struct Service {
  const Kernels* kernels;
  std::optional<PlaneMethod> method;
};

// The widest kernels of the chain that have fixed code for the plane, or else whose lanes the plane fills:
// its columns, and its rows too, by half at least, where a row is not whole vectors or is a convolution: one
// row beside empty lanes would pay for them in memory. Methods are chosen for as few kernels as can tell:
// planning is much of a small plane's time.
template <class T>
Service service_of(const Kernels& widest, const PlaneShape& shape) noexcept {
  for (const Kernels* kernels = &widest; kernels != nullptr; kernels = kernels->narrower) {
    if (square_code(shape, precision_of<T>(*kernels)) != nullptr) return {kernels, std::nullopt};
  }
  const Kernels* kernels = &widest;
  for (; kernels->narrower != nullptr; kernels = kernels->narrower) {
    const PrecisionKernels<T>& of_precision = precision_of<T>(*kernels);
    if (shape.row_length < of_precision.lanes) continue;
    const std::int32_t half = of_precision.lanes / 2;
    const bool is_half = shape.rows > 1 && shape.rows == half;
    if (shape.rows > std::max(half, 1) || (is_half && !has_half_as_good<T>(*kernels))) break;
    const bool may_be_raders = is_half && may_be_short_raders(shape);
    if (!may_be_raders && !may_fit_within_lanes(shape, of_precision.lanes)) continue;
    const PlaneMethod method = choose_plane(shape, of_precision);
    const bool are_raders = may_be_raders && method.row.method == LineMethod::kRader;
    if (method.rows_within_lanes || are_raders) return {kernels, method};
  }
  return {kernels, choose_plane(shape, precision_of<T>(*kernels))};
}

Service service_of(const Kernels& widest, Precision precision, const PlaneShape& shape) noexcept {
  return precision == Precision::kSingle ? service_of<float>(widest, shape)
                                         : service_of<double>(widest, shape);
}

}  // namespace

// The head of one block of memory; plans of small planes lie in its tail, so that they cost no allocation.
class Descriptor {
 public:
  Descriptor(Precision precision, const PlaneShape& shape, const Kernels& kernels, bool on_heap) noexcept
      : precision_(precision),
        on_heap_(on_heap),
        shape_(shape),
        service_(service_of(kernels, precision, shape)) {}
  ~Descriptor() {
    release();
    magic_ = 0;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool is_sound() const noexcept { return magic_ == kMagic; }
  bool is_committed() const noexcept { return committed_; }
  bool is_on_heap() const noexcept { return on_heap_; }

  void set_scale(Direction direction, double scale) noexcept {
    (direction == Direction::kForward ? forward_scale_ : backward_scale_) = scale;
    release();
  }

  // For computing on arrays.
  std::uint64_t workspace_bytes() const noexcept {
    return precision_ == Precision::kSingle ? workspace_bytes_of<float>() : workspace_bytes_of<double>();
  }

  // Plans; false when there is no memory.
  bool commit(void* workspace) noexcept {
    release();
    return make_plan(workspace);
  }

  // Plans and takes the memory for interleaved transforms: a workspace and the plane's separate parts.
  bool commit_interleaved() noexcept {
    release();
    const std::uint64_t workspace = workspace_bytes();
    const std::uint64_t parts = 2 * sizeof(double) * elements();
    if (parts <= SIZE_MAX && workspace <= SIZE_MAX - parts) {
      interleaved_memory_ = runtime::aligned_allocate(static_cast<std::size_t>(workspace + parts));
    }
    if (interleaved_memory_ == nullptr || !make_plan(interleaved_memory_)) {
      release();
      return false;
    }
    parts_ = reinterpret_cast<double*>(static_cast<std::byte*>(interleaved_memory_) + workspace);
    return true;
  }

  void compute(Direction direction, const PlaneArrays& arrays, void* workspace) const noexcept {
    if (precision_ == Precision::kSingle) {
      compute(direction, arrays, workspace, single_square_, single_);
    } else {
      compute(direction, arrays, workspace, double_square_, double_);
    }
  }

  bool compute_interleaved(Direction direction, void* buffer) const noexcept {
    if (interleaved_memory_ == nullptr) return false;
    if (precision_ == Precision::kSingle) {
      compute_pairs(direction, static_cast<float*>(buffer));
    } else {
      compute_pairs(direction, static_cast<double*>(buffer));
    }
    return true;
  }

 private:
  static constexpr std::uint32_t kMagic = 0x44465449;
  static constexpr std::size_t kInlineBytes = 4096;

  std::uint64_t elements() const noexcept {
    return static_cast<std::uint64_t>(shape_.rows) * static_cast<std::uint64_t>(shape_.row_length);
  }

  template <class T>
  std::uint64_t workspace_bytes_of() const noexcept {
    return service_.method ? psfotf::workspace_bytes<T>(shape_, *service_.method, *service_.kernels) : 0;
  }

  bool make_plan(void* workspace) noexcept {
    committed_ = precision_ == Precision::kSingle ? plan(workspace, single_square_, single_)
                                                  : plan(workspace, double_square_, double_);
    return committed_;
  }

  template <class T>
  bool plan(void* workspace, const SquareCode<T>*& square, const PlanePlan<T>*& result) noexcept {
    if (!service_.method) {
      square = square_code(shape_, precision_of<T>(*service_.kernels));
      return true;
    }
    const std::uint64_t bytes = plan_bytes<T>(shape_, *service_.method, *service_.kernels);
    void* memory = inline_memory_;
    if (bytes > kInlineBytes) {
      if (bytes > SIZE_MAX) return false;
      plan_memory_ = runtime::aligned_allocate(static_cast<std::size_t>(bytes));
      memory = plan_memory_;
    }
    if (memory != nullptr) {
      result = make_plane_plan<T>(shape_, *service_.method, *service_.kernels, memory, workspace);
    }
    return memory != nullptr;
  }

  template <class T>
  void compute(Direction direction, const PlaneArrays& arrays, void* workspace, const SquareCode<T>* square,
               const PlanePlan<T>* plan) const noexcept {
    const bool forward = direction == Direction::kForward;
    const auto scale = static_cast<T>(forward ? forward_scale_ : backward_scale_);
    if (square == nullptr) return compute(forward, scale, arrays, workspace, *plan);
    const auto transform_half = forward ? square->transform_real : square->transform_hermitian;
    if (transform_half != nullptr && transform_half(scale, arrays)) return;
    square->transform(scale, forward ? arrays : exchanged(arrays));
  }

  template <class T>
  void compute(bool forward, T scale, const PlaneArrays& arrays, void* workspace,
               const PlanePlan<T>& plan) const noexcept {
    const PrecisionKernels<T>& kernels = precision_of<T>(*service_.kernels);
    bool is_half = false;
    if (plan.has_halves) {
      const auto transform = forward ? kernels.transform_real_plane : kernels.transform_hermitian_plane;
      if (transform(plan, scale, arrays, workspace)) return;
    } else {
      is_half = forward ? kernels.are_zeros(arrays.src_im, static_cast<std::size_t>(elements()))
                        : kernels.is_hermitian(shape_, arrays.src_re, arrays.src_im);
    }
    kernels.transform_plane(plan, scale, forward ? arrays : exchanged(arrays), workspace);
    if (!is_half) return;
    if (forward) {
      kernels.make_hermitian(shape_, arrays.dst_re, arrays.dst_im);
    } else {
      std::memset(arrays.dst_im, 0, static_cast<std::size_t>(elements()) * sizeof(double));
    }
  }

  template <class T>
  void compute_pairs(Direction direction, T* pairs) const noexcept {
    const auto count = static_cast<std::size_t>(elements());
    double* re = parts_;
    double* im = re + count;
    for (std::size_t i = 0; i < count; ++i) {
      re[i] = static_cast<double>(pairs[2 * i]);
      im[i] = static_cast<double>(pairs[2 * i + 1]);
    }
    compute(direction, {re, im, re, im}, interleaved_memory_);
    for (std::size_t i = 0; i < count; ++i) {
      pairs[2 * i] = static_cast<T>(re[i]);
      pairs[2 * i + 1] = static_cast<T>(im[i]);
    }
  }

  void release() noexcept {
    runtime::aligned_free(plan_memory_);
    runtime::aligned_free(interleaved_memory_);
    plan_memory_ = interleaved_memory_ = nullptr;
    committed_ = false;
    single_square_ = nullptr;
    double_square_ = nullptr;
    single_ = nullptr;
    double_ = nullptr;
  }

  std::uint32_t magic_ = kMagic;
  Precision precision_;
  bool on_heap_;
  bool committed_ = false;
  PlaneShape shape_;
  Service service_;
  double forward_scale_ = 1.0;
  double backward_scale_ = 1.0;
  const SquareCode<float>* single_square_ = nullptr;
  const SquareCode<double>* double_square_ = nullptr;
  const PlanePlan<float>* single_ = nullptr;
  const PlanePlan<double>* double_ = nullptr;
  void* plan_memory_ = nullptr;
  void* interleaved_memory_ = nullptr;  // the workspace and, behind it, the parts
  double* parts_ = nullptr;
  alignas(64) std::byte inline_memory_[kInlineBytes];
};

namespace {

std::atomic<std::int32_t> g_thread_count{1};

bool are_valid(const std::int32_t* lengths) noexcept {
  return lengths[0] >= 1 && lengths[1] >= 1 &&
         static_cast<std::int64_t>(lengths[0]) * lengths[1] <= INT32_MAX;
}

bool is_sound(const Descriptor* descriptor) noexcept {
  return descriptor != nullptr && descriptor->is_sound();
}

std::int32_t compute(const Descriptor* descriptor, Direction direction, void* buffer) noexcept {
  if (!is_sound(descriptor) || buffer == nullptr) return DFTI_BAD_DESCRIPTOR;
  return descriptor->compute_interleaved(direction, buffer) ? DFTI_NO_ERROR : DFTI_BAD_DESCRIPTOR;
}

}  // namespace

void mkl_set_num_threads(std::int32_t count) noexcept {
  if (count >= 1) g_thread_count.store(count, std::memory_order_relaxed);
}

std::int32_t mkl_get_max_threads() noexcept { return g_thread_count.load(std::memory_order_relaxed); }

std::int32_t DftiCreateDescriptor(DFTI_DESCRIPTOR_HANDLE* handle, DFTI_CONFIG_VALUE precision,
                                  DFTI_CONFIG_VALUE domain, std::int32_t dimension,
                                  const std::int32_t* lengths, const Kernels& kernels) noexcept {
  if (handle == nullptr) return DFTI_INVALID_CONFIGURATION;
  *handle = nullptr;
  const bool known = precision == DFTI_SINGLE || precision == DFTI_DOUBLE;
  if (!known || domain != DFTI_COMPLEX || dimension != 2 || lengths == nullptr || !are_valid(lengths)) {
    return DFTI_INVALID_CONFIGURATION;
  }
  *handle = create_descriptor(precision == DFTI_SINGLE ? Precision::kSingle : Precision::kDouble,
                              {lengths[0], lengths[1]}, kernels);
  return *handle == nullptr ? DFTI_MEMORY_ERROR : DFTI_NO_ERROR;
}

std::int32_t DftiCreateDescriptor_s_md(DFTI_DESCRIPTOR_HANDLE* handle, DFTI_CONFIG_VALUE domain,
                                       std::int32_t dimension, const std::int32_t* lengths,
                                       const Kernels& kernels) noexcept {
  return DftiCreateDescriptor(handle, DFTI_SINGLE, domain, dimension, lengths, kernels);
}

std::int32_t DftiCreateDescriptor_d_md(DFTI_DESCRIPTOR_HANDLE* handle, DFTI_CONFIG_VALUE domain,
                                       std::int32_t dimension, const std::int32_t* lengths,
                                       const Kernels& kernels) noexcept {
  return DftiCreateDescriptor(handle, DFTI_DOUBLE, domain, dimension, lengths, kernels);
}

std::int32_t DftiSetValue(DFTI_DESCRIPTOR_HANDLE handle, std::int32_t parameter, ...) noexcept {
  if (!is_sound(handle)) return DFTI_BAD_DESCRIPTOR;
  std::int32_t status = DFTI_NO_ERROR;
  va_list values;
  va_start(values, parameter);
  if (parameter == DFTI_FORWARD_SCALE) {
    handle->set_scale(Direction::kForward, va_arg(values, double));
  } else if (parameter == DFTI_BACKWARD_SCALE) {
    handle->set_scale(Direction::kBackward, va_arg(values, double));
  } else if (parameter != DFTI_PLACEMENT || va_arg(values, std::int32_t) != DFTI_INPLACE) {
    status = DFTI_INVALID_CONFIGURATION;
  }
  va_end(values);
  return status;
}

std::int32_t DftiCommitDescriptor(DFTI_DESCRIPTOR_HANDLE handle) noexcept {
  if (!is_sound(handle)) return DFTI_BAD_DESCRIPTOR;
  return handle->commit_interleaved() ? DFTI_NO_ERROR : DFTI_MEMORY_ERROR;
}

std::int32_t DftiComputeForward(DFTI_DESCRIPTOR_HANDLE handle, void* buffer) noexcept {
  return compute(handle, Direction::kForward, buffer);
}

std::int32_t DftiComputeBackward(DFTI_DESCRIPTOR_HANDLE handle, void* buffer) noexcept {
  return compute(handle, Direction::kBackward, buffer);
}

std::int32_t DftiFreeDescriptor(DFTI_DESCRIPTOR_HANDLE* handle) noexcept {
  if (handle == nullptr || !is_sound(*handle)) return DFTI_BAD_DESCRIPTOR;
  const bool on_heap = (*handle)->is_on_heap();
  (*handle)->~Descriptor();
  if (on_heap) runtime::aligned_free(*handle);
  *handle = nullptr;
  return DFTI_NO_ERROR;
}

Descriptor* create_descriptor(Precision precision, const std::int32_t (&lengths)[2], const Kernels& kernels,
                              DescriptorRoom* room) noexcept {
  static_assert(sizeof(Descriptor) <= sizeof(DescriptorRoom) &&
                alignof(DescriptorRoom) % alignof(Descriptor) == 0);
  if (!are_valid(lengths)) return nullptr;
  void* memory = room != nullptr ? room->bytes : runtime::aligned_allocate(sizeof(Descriptor));
  if (memory == nullptr) return nullptr;
  const PlaneShape shape = shape_of(lengths);
  return new (memory) Descriptor(precision, shape, kernels, room == nullptr);
}

std::uint64_t array_workspace_bytes(const Descriptor* descriptor) noexcept {
  return is_sound(descriptor) ? descriptor->workspace_bytes() : kImpossible;
}

std::int32_t commit_for_arrays(Descriptor* descriptor, void* workspace) noexcept {
  if (!is_sound(descriptor)) return DFTI_BAD_DESCRIPTOR;
  return descriptor->is_committed() || descriptor->commit(workspace) ? DFTI_NO_ERROR : DFTI_MEMORY_ERROR;
}

std::int32_t compute_arrays(Descriptor* descriptor, Direction direction, const PlaneArrays& arrays,
                            void* workspace) noexcept {
  if (!is_sound(descriptor) || !descriptor->is_committed()) return DFTI_BAD_DESCRIPTOR;
  descriptor->compute(direction, arrays, workspace);
  return DFTI_NO_ERROR;
}

}  // namespace kyv::psfotf
