#include <fftw3.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <stdexcept>

#include "peers/peers.h"
#include "peers/plane_copies.h"

namespace kyv::bench::peers {
namespace {

constexpr double kPlanningSeconds = 10.0;

struct Double {
  using Plan = fftw_plan;
  using Real = double;
  using Value = fftw_complex;
  static constexpr auto allocate = fftw_alloc_complex;
  static constexpr auto release = fftw_free;
  static constexpr auto limit = fftw_set_timelimit;
  static constexpr auto plan_complex = fftw_plan_dft_2d;
  static constexpr auto plan_real = fftw_plan_dft_r2c_2d;
  static constexpr auto execute = ::fftw_execute;
  static constexpr auto destroy = fftw_destroy_plan;
};

struct Single {
  using Plan = fftwf_plan;
  using Real = float;
  using Value = fftwf_complex;
  static constexpr auto allocate = fftwf_alloc_complex;
  static constexpr auto release = fftwf_free;
  static constexpr auto limit = fftwf_set_timelimit;
  static constexpr auto plan_complex = fftwf_plan_dft_2d;
  static constexpr auto plan_real = fftwf_plan_dft_r2c_2d;
  static constexpr auto execute = ::fftwf_execute;
  static constexpr auto destroy = fftwf_destroy_plan;
};

// A plan in place, of complex values or (`real`) from rows of real values to half rows of complex
// ones.
template <class Api>
class Transform {
 public:
  Transform(int columns, int rows, bool real, unsigned effort) : columns_(columns), rows_(rows) {
    const std::size_t values = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    const std::size_t room = values + 2 * static_cast<std::size_t>(rows);
    plane_ = Api::allocate(room);
    if (plane_ == nullptr) throw std::bad_alloc();
    Api::limit(kPlanningSeconds);
    plan_ = real ? Api::plan_real(rows, columns, &plane_[0][0], plane_, effort)
                 : Api::plan_complex(rows, columns, plane_, plane_, FFTW_FORWARD, effort);
    if (plan_ == nullptr) throw std::runtime_error("FFTW refused a plan");
    // Zeros stay zeros however often they are transformed in place; FFTW's time does not depend on them.
    if (effort == FFTW_ESTIMATE) return;  // planning left the plane alone, and it is filled before use
    for (std::size_t i = 0; i < room; ++i) plane_[i][0] = plane_[i][1] = 0;
  }
  Transform(const Transform&) = delete;
  Transform& operator=(const Transform&) = delete;
  ~Transform() {
    Api::destroy(plan_);
    Api::release(plane_);
  }

  void run() const { Api::execute(plan_); }
  typename Api::Value* plane() const { return plane_; }

  // The rows of a plan from real values: two values longer than the picture's, or one if that is odd.
  std::size_t half_row() const { return static_cast<std::size_t>(columns_ / 2 + 1); }
  std::size_t columns() const { return static_cast<std::size_t>(columns_); }
  std::size_t rows() const { return static_cast<std::size_t>(rows_); }

 private:
  int columns_;
  int rows_;
  typename Api::Value* plane_;
  typename Api::Plan plan_;
};

template <class Api>
Work execute(int columns, int rows) {
  return [transform = std::make_shared<const Transform<Api>>(columns, rows, false, FFTW_MEASURE)] {
    transform->run();
  };
}

template <class Api>
void convert_complex(const Transform<Api>& transform, const ConversionTask& task, bool stream) {
  convert_planes(task, stream, transform.plane(), [&] {
    transform.run();
    return static_cast<void*>(transform.plane());
  });
}

// Half of a plane's spectrum out to the separate arrays, the other half from its mirrored values.
template <class Api>
void copy_spectrum(const Transform<Api>& transform, double* real, double* imag) {
  const std::size_t columns = transform.columns();
  const std::size_t half = transform.half_row();
  for (std::size_t v = 0; v < transform.rows(); ++v) {
    const typename Api::Value* row = transform.plane() + v * half;
    const typename Api::Value* mirrored = transform.plane() + (v == 0 ? 0 : transform.rows() - v) * half;
    for (std::size_t u = 0; u < half; ++u) {
      real[v * columns + u] = static_cast<double>(row[u][0]);
      imag[v * columns + u] = static_cast<double>(row[u][1]);
    }
    for (std::size_t u = half; u < columns; ++u) {
      real[v * columns + u] = static_cast<double>(mirrored[columns - u][0]);
      imag[v * columns + u] = -static_cast<double>(mirrored[columns - u][1]);
    }
  }
}

template <class Api>
void convert_real(const Transform<Api>& transform, const ConversionTask& task) {
  const std::size_t columns = transform.columns();
  for (int p = 0; p < task.planes; ++p) {
    const std::size_t at = static_cast<std::size_t>(p) * columns * transform.rows();
    for (std::size_t y = 0; y < transform.rows(); ++y) {
      auto* row = &transform.plane()[y * transform.half_row()][0];
      const double* src = task.src_real + at + y * columns;
      for (std::size_t x = 0; x < columns; ++x) row[x] = static_cast<typename Api::Real>(src[x]);
    }
    transform.run();
    copy_spectrum(transform, task.dst_real + at, task.dst_imag + at);
  }
}

// A peer whose whole call makes a plan by estimate and whose execution has a measured one at hand.
template <class Api, class Convert>
ConversionPeer make_peer(const char* name, const ConversionTask& task, bool real, const Convert& convert) {
  const auto plan = std::make_shared<const Transform<Api>>(task.columns, task.rows, real, FFTW_MEASURE);
  return {
      name, Level::kAvx2,
      [task, real, convert] { convert(Transform<Api>(task.columns, task.rows, real, FFTW_ESTIMATE), task); },
      [task, plan, convert] { convert(*plan, task); }};
}

template <class Api>
std::vector<ConversionPeer> conversions(const ConversionTask& task) {
  const auto complex = [](bool stream) {
    return
        [stream](const Transform<Api>& plan, const ConversionTask& t) { convert_complex(plan, t, stream); };
  };
  std::vector<ConversionPeer> peers;
  peers.push_back(make_peer<Api>("FFTW", task, false, complex(false)));
  if (worth_streaming(task)) peers.push_back(make_peer<Api>("FFTW streaming", task, false, complex(true)));
  if (task.real) peers.push_back(make_peer<Api>("FFTW real", task, true, convert_real<Api>));
  return peers;
}

}  // namespace

Work fftw_execute(int columns, int rows, bool single) {
  return single ? execute<Single>(columns, rows) : execute<Double>(columns, rows);
}

std::vector<ConversionPeer> fftw_conversions(const ConversionTask& task) {
  return task.single ? conversions<Single>(task) : conversions<Double>(task);
}

}  // namespace kyv::bench::peers
