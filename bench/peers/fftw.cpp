#include <fftw3.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <stdexcept>

#include "peers/peers.h"

namespace kyv::bench::peers {
namespace {

constexpr double kPlanningSeconds = 10.0;

struct Double {
  using Plan = fftw_plan;
  using Value = fftw_complex;
  static Value* allocate(std::size_t n) { return fftw_alloc_complex(n); }
  static void release(Value* p) { fftw_free(p); }
  static void limit(double seconds) { fftw_set_timelimit(seconds); }
  static Plan plan(int rows, int columns, Value* p) {
    return fftw_plan_dft_2d(rows, columns, p, p, FFTW_FORWARD, FFTW_MEASURE);
  }
  static void execute(Plan plan) { fftw_execute(plan); }
  static void destroy(Plan plan) { fftw_destroy_plan(plan); }
};

struct Single {
  using Plan = fftwf_plan;
  using Value = fftwf_complex;
  static Value* allocate(std::size_t n) { return fftwf_alloc_complex(n); }
  static void release(Value* p) { fftwf_free(p); }
  static void limit(double seconds) { fftwf_set_timelimit(seconds); }
  static Plan plan(int rows, int columns, Value* p) {
    return fftwf_plan_dft_2d(rows, columns, p, p, FFTW_FORWARD, FFTW_MEASURE);
  }
  static void execute(Plan plan) { fftwf_execute(plan); }
  static void destroy(Plan plan) { fftwf_destroy_plan(plan); }
};

template <class Api>
class Transform {
 public:
  Transform(int columns, int rows) {
    const std::size_t values = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    plane_ = Api::allocate(values);
    if (plane_ == nullptr) throw std::bad_alloc();
    Api::limit(kPlanningSeconds);
    plan_ = Api::plan(rows, columns, plane_);
    if (plan_ == nullptr) throw std::runtime_error("FFTW refused a plan");
    // Zeros stay zeros however often they are transformed in place; FFTW's time does not depend on them.
    for (std::size_t i = 0; i < values; ++i) plane_[i][0] = plane_[i][1] = 0;
  }
  Transform(const Transform&) = delete;
  Transform& operator=(const Transform&) = delete;
  ~Transform() {
    Api::destroy(plan_);
    Api::release(plane_);
  }

  void run() const { Api::execute(plan_); }

 private:
  typename Api::Value* plane_;
  typename Api::Plan plan_;
};

template <class Api>
Work execute(int columns, int rows) {
  return [transform = std::make_shared<const Transform<Api>>(columns, rows)] { transform->run(); };
}

}  // namespace

Work fftw_execute(int columns, int rows, bool single) {
  return single ? execute<Single>(columns, rows) : execute<Double>(columns, rows);
}

}  // namespace kyv::bench::peers
