#include "peers/plane_copies.h"

#include "peers/copies/copies.h"

namespace kyv::bench::peers {
namespace {

constexpr double kLeastStreamed = 1 << 18;  // bytes that a plane of the destination takes

const PlaneCopies& copies_here() {
  switch (level_of_processor()) {
    case Level::kAvx512:
      return copies_avx512;
    case Level::kAvx2:
      return copies_avx2;
    default:
      return copies_sse2;
  }
}

}  // namespace

bool worth_streaming(const ConversionTask& task) {
  return 2.0 * sizeof(double) * task.columns * task.rows >= kLeastStreamed;
}

void convert_planes(const ConversionTask& task, bool stream, void* plane,
                    const std::function<void*()>& execute) {
  static const PlaneCopies& copies = copies_here();
  const std::size_t values = static_cast<std::size_t>(task.columns) * static_cast<std::size_t>(task.rows);
  for (std::size_t p = 0; p < static_cast<std::size_t>(task.planes); ++p) {
    const std::size_t at = p * values;
    if (task.single) {
      copies.in_single(task.src_real + at, task.src_imag + at, static_cast<float*>(plane), values);
      copies.out_single(static_cast<const float*>(execute()), task.dst_real + at, task.dst_imag + at, values,
                        stream);
    } else {
      copies.in_double(task.src_real + at, task.src_imag + at, static_cast<double*>(plane), values);
      copies.out_double(static_cast<const double*>(execute()), task.dst_real + at, task.dst_imag + at, values,
                        stream);
    }
  }
}

}  // namespace kyv::bench::peers
