// Where the time of a conversion goes, per size and precision, and the same call done through FFTW with a
// measured plan that is made once and reused.
//
//   kyvmath_conversion_bench [--variant NAME] [--precision float|double] [--no-fftw] [WxH ...]
#include <fftw3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "common/host.h"
#include "common/timing.h"
#include "psfotf/conversion.h"
#include "psfotf/dft_service.h"
#include "runtime/aligned_memory.h"
#include "runtime/dispatch.h"

namespace kyv::bench {
namespace {

constexpr int kPlanes = 3;

struct Size {
  int width;
  int height;
};

constexpr Size kSizes[] = {{8, 8},       {16, 16},    {32, 32},     {64, 64},    {100, 100}, {128, 128},
                           {243, 243},   {256, 256},  {480, 480},   {500, 500},  {512, 512}, {640, 480},
                           {1000, 1000}, {1009, 997}, {1021, 1021}, {1024, 1024}};

struct Options {
  const runtime::KernelSet* kernels = &runtime::active_kernel_set();
  bool with_fftw = true;
  bool with_float = true;
  bool with_double = true;
  std::vector<Size> sizes;
};

// Four arrays where malloc puts them.
class Arrays {
 public:
  explicit Arrays(Size size)
      : size_(size), values_(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height)) {
    for (Array& a : arrays_) {
      a.reset(static_cast<double*>(std::malloc(kPlanes * values_ * sizeof(double))));
      if (!a) std::abort();
      for (std::size_t i = 0; i < kPlanes * values_; ++i)
        a[i] = static_cast<double>(i * 7 % 1021) * 1e-3 - 0.5;
    }
  }
  psfotf::PlaneStack stack() const {
    return {arrays_[0].get(), arrays_[1].get(), arrays_[2].get(), arrays_[3].get(),
            size_.width,      size_.height,     kPlanes};
  }
  std::size_t values() const { return values_; }

 private:
  struct Free {
    void operator()(double* p) const noexcept { std::free(p); }
  };
  using Array = std::unique_ptr<double[], Free>;
  Size size_;
  std::size_t values_;
  Array arrays_[4];
};

template <class T>
struct Fftw;
template <>
struct Fftw<float> {
  using Complex = fftwf_complex;
  using Plan = fftwf_plan;
  static constexpr auto plan = fftwf_plan_dft_2d;
  static constexpr auto execute = fftwf_execute;
  static constexpr auto destroy = fftwf_destroy_plan;
};
template <>
struct Fftw<double> {
  using Complex = fftw_complex;
  using Plan = fftw_plan;
  static constexpr auto plan = fftw_plan_dft_2d;
  static constexpr auto execute = fftw_execute;
  static constexpr auto destroy = fftw_destroy_plan;
};

// The conversion's copies around an interleaved plane, with any work between them.
template <class T>
class Interleaved {
 public:
  explicit Interleaved(std::size_t values)
      : pairs_(static_cast<T*>(fftw_malloc(2 * values * sizeof(T)))), values_(values) {}

  template <class Between>
  void run(const psfotf::PlaneStack& stack, Between between) {
    for (std::size_t p = 0; p < kPlanes; ++p) {
      const std::size_t offset = p * values_;
      for (std::size_t i = 0; i < values_; ++i) {
        pairs_[2 * i] = static_cast<T>(stack.src_real[offset + i]);
        pairs_[2 * i + 1] = static_cast<T>(stack.src_imag[offset + i]);
      }
      between();
      for (std::size_t i = 0; i < values_; ++i) {
        stack.dst_real[offset + i] = static_cast<double>(pairs_[2 * i]);
        stack.dst_imag[offset + i] = static_cast<double>(pairs_[2 * i + 1]);
      }
    }
  }
  typename Fftw<T>::Complex* pairs() const {
    return reinterpret_cast<typename Fftw<T>::Complex*>(pairs_.get());
  }

 private:
  struct Free {
    void operator()(T* p) const noexcept { fftw_free(p); }
  };
  std::unique_ptr<T[], Free> pairs_;
  std::size_t values_;
};

void plan_only(psfotf::Precision precision, Size size, const psfotf::Kernels& kernels) {
  psfotf::DescriptorRoom room;
  psfotf::Descriptor* descriptor =
      psfotf::create_descriptor(precision, {size.width, size.height}, kernels, &room);
  void* workspace =
      runtime::aligned_allocate(static_cast<std::size_t>(psfotf::array_workspace_bytes(descriptor)));
  psfotf::commit_for_arrays(descriptor, workspace);
  keep(descriptor);
  psfotf::DftiFreeDescriptor(&descriptor);
  runtime::aligned_free(workspace);
}

template <class T>
void measure(Size size, const Options& options) {
  const bool single = sizeof(T) == sizeof(float);
  const auto precision = single ? psfotf::Precision::kSingle : psfotf::Precision::kDouble;
  const Arrays arrays(size);
  const psfotf::PlaneStack stack = arrays.stack();
  Interleaved<T> interleaved(arrays.values());
  std::vector<Work> works = {
      [&] { psfotf::convert_planes(stack, psfotf::Direction::kForward, precision, *options.kernels); },
      [&] { plan_only(precision, size, *options.kernels->psfotf); }, [&] { interleaved.run(stack, [] {}); }};
  typename Fftw<T>::Plan plan = nullptr;
  if (options.with_fftw) {
    plan = Fftw<T>::plan(size.width, size.height, interleaved.pairs(), interleaved.pairs(), FFTW_FORWARD,
                         FFTW_MEASURE);
    works.push_back([&] { interleaved.run(stack, [&] { Fftw<T>::execute(plan); }); });
    works.push_back([&] { Fftw<T>::execute(plan); });
    std::memset(interleaved.pairs(), 0, 2 * arrays.values() * sizeof(T));
  }
  const std::vector<Timing> times = time_interleaved(works, Effort{});
  const auto us = [&](std::size_t i) { return i < times.size() ? 1e6 * times[i].minimum() : 0.0; };
  const double whole = us(0);
  std::printf("%4dx%-5d%-7s%11.2f%8.1f%%%8.1f%%%8.1f%%", size.width, size.height, single ? "float" : "double",
              whole, 100 * us(2) / whole, 100 * us(1) / whole, 100 * (whole - us(1) - us(2)) / whole);
  if (plan != nullptr) {
    std::printf("%11.2f%7.2f%11.2f%7.2f", us(3), us(3) / whole, kPlanes * us(4), kPlanes * us(4) / whole);
    Fftw<T>::destroy(plan);
  }
  std::printf("\n");
  std::fflush(stdout);
}

Options parse(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string a = arguments[i];
    Size size{};
    if (a == "--no-fftw") {
      options.with_fftw = false;
    } else if (a == "--variant" && i + 1 < count) {
      const std::string name = arguments[++i];
      for (const runtime::KernelSet& set : runtime::all_kernel_sets()) {
        if (name == set.name) options.kernels = &set;
      }
    } else if (a == "--precision" && i + 1 < count) {
      const std::string name = arguments[++i];
      options.with_float = name == "float";
      options.with_double = name == "double";
    } else if (std::sscanf(a.c_str(), "%dx%d", &size.width, &size.height) == 2) {
      options.sizes.push_back(size);
    }
  }
  if (options.sizes.empty()) options.sizes.assign(std::begin(kSizes), std::end(kSizes));
  return options;
}

}  // namespace
}  // namespace kyv::bench

int main(int count, char** arguments) {
  using namespace kyv::bench;
  const Options options = parse(count, arguments);
  pin_to_core();
  std::printf("%s, %s kernels, calls of %d planes, microseconds (minimum)\n", processor_name().c_str(),
              options.kernels->name, kPlanes);
  std::printf("the copies' share is that of the plain copies through an interleaved plane\n");
  std::printf("%-10s%-7s%11s%9s%9s%9s%11s%7s%11s%7s\n", "size", "type", "call", "copies", "plans", "rest",
              "FFTW call", "ratio", "3 executes", "ratio");
  for (const Size size : options.sizes) {
    if (options.with_float) measure<float>(size, options);
    if (options.with_double) measure<double>(size, options);
  }
}
