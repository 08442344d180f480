#include "psfotf/line_tables.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <numeric>
#include <type_traits>

#include "psfotf/kernel_sets.h"
#include "psfotf/roots.h"

namespace kyv::psfotf {
namespace {

// Where result k of the stages is left: its mixed-radix digits in reverse order.
void fill_positions(const LineShape& shape, PartGap gap, std::int32_t* positions) noexcept {
  positions[0] = 0;
  std::int32_t known = 1;
  std::int32_t length = shape.length;
  for (int s = 0; s < shape.stages; ++s) {
    const std::int32_t radix = shape.radices[s];
    length /= radix;
    const std::int32_t step = s == 0 ? part_pitch(shape, gap) : length;
    for (std::int32_t digit = 1; digit < radix; ++digit) {
      for (std::int32_t k = 0; k < known; ++k) positions[digit * known + k] = positions[k] + digit * step;
    }
    known *= radix;
  }
}

// Of stages `first` to `end` - 1.
template <class T>
void fill_stage_roots(const LineShape& shape, const RootTable<T>& roots, T* stage_roots, int first,
                      int end) noexcept {
  std::int32_t step = roots.order / shape.length;
  std::int32_t length = shape.length;
  for (int s = 0; s < end; ++s, step *= shape.radices[s - 1]) {
    const std::int32_t radix = shape.radices[s];
    length /= radix;
    if (s < first) continue;
    for (std::int32_t j = 0; j < length; ++j) {
      for (std::int32_t q = 1; q < radix; ++q) {
        // Wherever there is a plan to fill, its roots were laid before.
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
        *stage_roots++ = roots.re[j * q * step];
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
        *stage_roots++ = roots.im[j * q * step];
      }
    }
  }
}

// The roots of `count` butterflies of the first stage, every `butterflies`-th one.
void fill_first_roots(const LineShape& shape, const RootTable<double>& roots, std::int32_t butterflies,
                      std::int32_t count, double* first_roots) noexcept {
  const std::int32_t step = roots.order / shape.length * butterflies;
  for (std::int32_t j = 0; j < count; ++j) {
    for (std::int32_t q = 1; q < shape.radices[0]; ++q) {
      *first_roots++ = roots.re[j * q * step];
      *first_roots++ = roots.im[j * q * step];
    }
  }
}

// What needs no table.
template <class T>
void start_mixed_radix(const LineShape& shape, PartGap gap, LinePlan<T>& plan) noexcept {
  plan = {};
  plan.length = shape.length;
  plan.method = LineMethod::kMixedRadix;
  plan.stages = shape.stages;
  std::copy(shape.radices, shape.radices + kMaxStages, plan.radices);
  plan.part_length = part_length(shape);
  plan.part_pitch = part_pitch(shape, gap);
}

template <class T>
RootTable<T> lay_roots(std::int32_t order, runtime::Arena& arena) noexcept {
  auto* re = arena.take<T>(static_cast<std::uint64_t>(order));
  auto* im = arena.take<T>(static_cast<std::uint64_t>(order));
  if (!arena.is_counting()) fill_roots(order, order, re, im);
  return {order, re, im};
}

std::uint64_t sum_root_values(const LineShape& shape) noexcept {
  return static_cast<std::uint64_t>(sum_roots_before(shape.radices, shape.direct_stages()));
}

// LinePlan::sum_roots, of roots whose order is a multiple of the length; null where there are none.
template <class T>
const T* fill_sum_roots(const LineShape& shape, const RootTable<T>& roots, T* sum_roots) noexcept {
  T* next = sum_roots;
  for (int s = 0; s < shape.direct_stages() && shape.radices[s] > kMaxFixedRadix; ++s) {
    const std::int32_t radix = shape.radices[s];
    if (radix == shape.radices[s + 1]) continue;
    const std::int32_t half = radix / 2;
    const std::int32_t step = roots.order / radix;
    for (std::int32_t n = 1; n <= half; ++n) {
      std::int32_t root = n * step;
      for (std::int32_t k = 1; k <= half; ++k, ++next) {
        // An arena with a buffer gives arrays. NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
        next[0] = roots.re[root];
        next[half * half] = roots.im[root];
        root += n * step;
        root -= root >= roots.order ? roots.order : 0;
      }
    }
    next += half * half;
  }
  return next != sum_roots ? sum_roots : nullptr;
}

}  // namespace

template <class T>
LinePlan<T>* lay_mixed_radix(const LineShape& shape, PartGap gap, const RootTable<T>& roots,
                             runtime::Arena& arena) noexcept {
  auto* plan = arena.take<LinePlan<T>>(1);
  auto* positions = arena.take<std::int32_t>(static_cast<std::uint64_t>(shape.length));
  // A last stage of convolutions has none.
  const std::int32_t rootless = shape.convolved_stages > 0 ? shape.radices[shape.stages - 1] : 0;
  auto* stage_roots = arena.take<T>(2 * static_cast<std::uint64_t>(shape.length - rootless));
  auto* sum_roots = arena.take<T>(sum_root_values(shape));
  if (arena.is_counting()) return nullptr;
  start_mixed_radix(shape, gap, *plan);
  fill_positions(shape, gap, positions);
  fill_stage_roots(shape, roots, stage_roots, 0, rootless > 0 ? shape.stages - 1 : shape.stages);
  plan->stage_roots = stage_roots;
  plan->sum_roots = fill_sum_roots(shape, roots, sum_roots);
  plan->positions = positions;
  return plan;
}

namespace {

std::int32_t power_mod(std::int64_t base, std::int32_t exponent, std::int32_t modulus) noexcept {
  std::int64_t result = 1;
  for (; exponent > 0; exponent /= 2) {
    if (exponent % 2 != 0) result = result * base % modulus;
    base = base * base % modulus;
  }
  return static_cast<std::int32_t>(result);
}

// The smallest generator of the multiplicative group modulo the prime `cyclic.length` + 1.
std::int32_t generator(const LineShape& cyclic) noexcept {
  const std::int32_t order = cyclic.length;
  const auto generates = [&](std::int32_t g) {
    for (int s = 0; s < cyclic.stages; ++s) {
      for (int rest = cyclic.radices[s], prime = 2; rest > 1; rest % prime == 0 ? rest /= prime : ++prime) {
        if (rest % prime == 0 && power_mod(g, order / prime, order + 1) == 1) return false;
      }
    }
    return true;
  };
  std::int32_t g = 2;
  while (!generates(g)) ++g;
  return g;
}

// Where the elements of a line lie that may have gaps between its parts.
class Places {
 public:
  template <class T>
  explicit Places(const LinePlan<T>& plan) noexcept
      : gap_(plan.part_pitch - plan.part_length), parts_per_element_(1.0 / plan.part_length) {}
  // k / part_length by a product, which takes less time than a division: k + 1/2 keeps it so far from whole
  // numbers that its roundings do not matter.
  std::int32_t operator()(std::int32_t k) const noexcept {
    return gap_ != 0 ? k + static_cast<std::int32_t>((k + 0.5) * parts_per_element_) * gap_ : k;
  }

 private:
  std::int32_t gap_;
  double parts_per_element_;
};

// The values of one line of a convolution, within lanes or with the gaps between its parts.
class InnerLine {
 public:
  InnerLine(double* values, const LinePlan<double>& plan, std::int32_t lanes) noexcept
      : values_(values), places_(plan), lanes_(lanes) {}
  double* values() const noexcept { return values_; }
  // The real part of value k; the imaginary one lies `lanes` values behind it.
  double* value(std::int32_t k) const noexcept {
    return values_ + 2 * static_cast<std::ptrdiff_t>(places_(k)) - (k & (lanes_ - 1));
  }
  std::int32_t lanes() const noexcept { return lanes_; }
  void set(std::int32_t k, double re, double im) const noexcept {
    value(k)[0] = re;
    value(k)[lanes_] = im;
  }

 private:
  double* values_;
  Places places_;
  std::int32_t lanes_;  // a power of two
};

// exp(-2 pi i k / order) of half of the circle; the others are their conjugates.
class HalfCircle {
 public:
  // Lies in the first bytes of `idle`, which nothing reads before its last use, as far as there is room, and
  // in `scratch`.
  HalfCircle(std::int32_t order, void* idle, std::uint64_t idle_bytes, runtime::Arena& scratch) noexcept
      : order_(order) {
    const std::uint64_t values = static_cast<std::uint64_t>(order) / 2 + 1;
    const std::uint64_t room = idle_bytes / (values * sizeof(double));
    re_ = room >= 1 ? static_cast<double*>(idle) : scratch.take<double>(values);
    if (room < 2) im_ = scratch.take<double>(values);
    if (scratch.is_counting()) return;
    if (room >= 2) im_ = re_ + values;
    fill_roots(order, order / 2 + 1, re_, im_);
  }
  double re(std::int64_t k) const noexcept { return re_[2 * k > order_ ? order_ - k : k]; }
  double im(std::int64_t k) const noexcept { return 2 * k > order_ ? -im_[order_ - k] : im_[k]; }

 private:
  std::int64_t order_;
  double* re_;
  double* im_ = nullptr;
};

// b[q] = w^(g^-q), w the first root of unity of the prime length.
void fill_rader_kernel(const HalfCircle& roots, const std::int32_t* powers, std::int32_t count,
                       const InnerLine& b) noexcept {
  for (std::int32_t q = 0; q < count; ++q) {
    const std::int32_t k = powers[count - q];
    b.set(q, roots.re(k), roots.im(k));
  }
}

// The first `count` values of the chirp exp(-pi i m^2 / n), half of it at least, from roots of order 2n; and
// b[m], its conjugate for |m| < n, cyclic.
template <class T>
void fill_chirp(const HalfCircle& roots, std::int32_t n, std::int32_t inner_length, std::int32_t count, T* re,
                T* im, const InnerLine& b) noexcept {
  for (std::int32_t m = n; m <= inner_length - n; ++m) b.set(m, 0.0, 0.0);
  const auto set_both = [&](std::int32_t m, double b_re, double b_im) {
    b.set(m, b_re, b_im);
    if (m != 0) b.set(inner_length - m, b_re, b_im);
  };
  const int sign = chirp_sign(n);
  std::int64_t square = 0;  // of m, modulo 2 n
  for (std::int32_t m = 0; m < count; ++m) {
    const double c = roots.re(square);
    const double s = roots.im(square);
    re[m] = static_cast<T>(c);
    im[m] = static_cast<T>(s);
    if (m <= n / 2) {
      set_both(m, c, -s);
      if (m != 0) set_both(n - m, sign * c, -sign * s);
    }
    square += 2 * std::int64_t{m} + 1;
    if (square >= 2 * std::int64_t{n}) square -= 2 * std::int64_t{n};
  }
}

// The transform of `b` in double precision, divided by its length, in the order of the elements.
template <class T>
void fill_spectrum(const PrecisionKernels<double>& one_line, const LinePlan<double>& plan, const InnerLine& b,
                   std::int32_t count, T* re, T* im) noexcept {
  one_line.transform_lines(plan, b.values(), nullptr);
  const double scale = 1.0 / plan.length;
  for (std::int32_t k = 0; k < count; ++k) {
    const double* value = b.value(k);
    re[k] = static_cast<T>(value[0] * scale);
    im[k] = static_cast<T>(value[1] * scale);
  }
}

// The same of a line that lies within `lanes` lanes, or half of these where there are no more in double
// precision: the vectors of results part after part, of the middle part the first half.
template <class T>
void fill_spectrum_within(const PrecisionKernels<double>& kernels, const LinePlan<double>& plan,
                          const InnerLine& b, std::int32_t lanes, T* re, T* im) noexcept {
  kernels.transform_within(plan, b.values());
  const std::int32_t ratio = lanes / b.lanes();
  const double scale = 1.0 / plan.length / b.lanes();
  const std::int32_t radix = plan.radices[0];
  const std::int32_t part = plan.length / ratio / radix;
  for (std::int32_t i = 0; 2 * i <= radix; ++i) {
    for (std::int32_t q = 0; q < (2 * i == radix ? lanes / 2 : lanes); ++q) {
      for (std::int32_t at = 0; at < part; ++at) {
        // Where there are fewer lanes, the last stage of the elements takes the rest of them.
        const std::int32_t place = (i * part + at) * ratio + q % ratio;
        const std::int32_t lane = place & (b.lanes() - 1);
        const double* value = b.values() + (place - lane + q / ratio) * 2 * std::ptrdiff_t{b.lanes()} + lane;
        *re++ = static_cast<T>(value[0] * scale);
        *im++ = static_cast<T>(value[b.lanes()] * scale);
      }
    }
  }
}

// A convolution's inner length and its tables.
struct InnerShape {
  LineShape line;
  PartGap gap;
  bool has_products;  // the first stage's roots are products of coarse and fine ones

  std::int32_t lanes;  // that the line lies within

  InnerShape(std::int32_t length, RadixSet radices, const LineUse& use, LineMethod method) noexcept;

  // The same line within fewer lanes.
  InnerShape within(std::int32_t fewer) const noexcept {
    InnerShape shape = *this;
    if (fewer == lanes) return shape;
    shape.line.radices[shape.line.stages++] = lanes / fewer;
    shape.line.length *= lanes / fewer;
    shape.lanes = fewer;
    return shape;
  }
  std::int32_t order() const noexcept { return line.length * lanes; }

  std::int32_t left_out() const noexcept { return has_products ? line.length - part_length(line) : 0; }
  std::uint64_t stage_root_values() const noexcept {
    return 2 * static_cast<std::uint64_t>(line.length - left_out() - 1);
  }
  // Of one set of fine roots; there is a turned one, too.
  std::int32_t fine_values() const noexcept {
    return has_products ? 2 * (line.radices[0] - 1) * kFineRoots : 0;
  }
  std::int32_t coarse_count() const noexcept {
    return has_products ? (part_length(line) + kFineRoots - 1) / kFineRoots : 0;
  }
  std::uint64_t coarse_values() const noexcept {
    return 2 * static_cast<std::uint64_t>(line.radices[0] - 1) * static_cast<std::uint64_t>(coarse_count());
  }
  // The last stages, whose elements have fine roots of their own between them and the lanes: so many that the
  // fewest roots are needed.
  int fine_stages() const noexcept {
    std::int32_t fine = 1;
    std::int32_t least = line.length + 1;
    int stages = 0;
    for (; stages + 1 < line.stages; ++stages, least = fine + line.length / fine) {
      const std::int32_t more = fine * line.radices[line.stages - 1 - stages];
      if (more + line.length / more >= least) break;
      fine = more;
    }
    return stages;
  }
  std::int32_t fine_lane_roots() const noexcept {
    if (lanes == 1) return 0;
    return std::accumulate(line.radices + line.stages - fine_stages(), line.radices + line.stages, 1,
                           std::multiplies<>{});
  }
  std::uint64_t lane_values(std::int32_t elements) const noexcept {
    return 2 * static_cast<std::uint64_t>(elements) * static_cast<std::uint64_t>(lanes);
  }
  std::int32_t coarse_lane_roots() const noexcept { return lanes == 1 ? 0 : line.length / fine_lane_roots(); }
};

// The shortest parts for the fewest tables: a first radix as large as any other, and one that lets an even
// stage be the last.
void begin_with_largest(LineShape& line) noexcept {
  std::int32_t* const end = line.radices + line.stages - 1;
  std::rotate(line.radices, std::max_element(line.radices, end), end);
}

// From this length on tables may outgrow a few lines, and from this length of parts on products are fewer.
constexpr std::int32_t kLeastForProducts = 2048;
constexpr std::int32_t kLeastPart = 2 * kFineRoots;

InnerShape::InnerShape(std::int32_t length, RadixSet radices, const LineUse& use, LineMethod method) noexcept
    : lanes(use.lanes) {
  const bool is_few = use.tables == Tables::kForFew && length * lanes >= kLeastForProducts;
  const bool has_gap = use.results == Results::kInPlace && use.gap != PartGap::kNone;
  if (lanes > 1) {
    factorize_within(line, length, lanes, radices);
  } else {
    factorize(line, length, radices);
    if (is_few && !has_gap) begin_with_largest(line);
  }
  const bool has_none = use.results == Results::kInOrder || (use.results == Results::kInPlace && !has_gap);
  const bool is_without = is_few ? !has_gap : method == LineMethod::kBluestein && has_none;
  gap = lanes > 1 || is_without ? PartGap::kNone : gap_of(line);
  has_products = is_few && part_length(line) >= kLeastPart;
}

// The number that the digits of `place`, of stages `first` to `end` - 1, are in reverse order.
std::int32_t reversed_digits(const LineShape& shape, std::int32_t place, int first, int end) noexcept {
  std::int32_t result = 0;
  for (int s = end - 1; s >= first; --s, place /= shape.radices[s + 1]) {
    result = result * shape.radices[s] + place % shape.radices[s];
  }
  return result;
}

// The roots between elements and lanes, from those of the whole circle.
void fill_lane_roots(const InnerShape& shape, const RootTable<double>& roots, double* coarse,
                     double* fine) noexcept {
  const int first_fine = shape.line.stages - shape.fine_stages();
  const auto fill = [&](double* element, std::int32_t k) {
    for (std::int32_t lane = 0; lane < shape.lanes; ++lane) {
      element[lane] = roots.re[k * lane];
      element[shape.lanes + lane] = roots.im[k * lane];
    }
  };
  for (std::int32_t i = 0; i < shape.coarse_lane_roots(); ++i) {
    fill(coarse + 2 * i * shape.lanes, reversed_digits(shape.line, i, 0, first_fine));
  }
  for (std::int32_t i = 0; i < shape.fine_lane_roots(); ++i) {
    fill(fine + 2 * i * shape.lanes,
         shape.coarse_lane_roots() * reversed_digits(shape.line, i, first_fine, shape.line.stages));
  }
}

// The transform over a convolution's inner length; nothing asks where its results are left. The roots of the
// whole circle lie in `scratch` for a while, or behind what is kept in the arena where that is null.
const LinePlan<double>* lay_inner(const InnerShape& shape, runtime::Arena& arena,
                                  const runtime::Arena* scratch, PlanningMemory& memory) noexcept {
  auto* plan = arena.take<LinePlan<double>>(1);
  auto* stage_roots = arena.take<double>(shape.stage_root_values());
  auto* fine_roots = arena.take<double>(2 * static_cast<std::uint64_t>(shape.fine_values()));
  auto* coarse_roots = arena.take<double>(shape.coarse_values());
  auto* sum_roots = arena.take<double>(sum_root_values(shape.line));
  auto* coarse_lanes = arena.take<double>(shape.lane_values(shape.coarse_lane_roots()));
  auto* fine_lanes = arena.take<double>(shape.lane_values(shape.fine_lane_roots()));
  runtime::Arena beyond = scratch != nullptr ? *scratch : arena;
  const RootTable<double> roots = lay_roots<double>(shape.order(), beyond);
  memory.count(beyond);
  if (arena.is_counting()) return nullptr;
  start_mixed_radix(shape.line, shape.gap, *plan);
  fill_stage_roots(shape.line, roots, stage_roots, shape.has_products ? 1 : 0, shape.line.stages);
  plan->stage_roots = stage_roots;
  plan->sum_roots = fill_sum_roots(shape.line, roots, sum_roots);
  plan->left_out = shape.left_out();
  if (shape.lanes > 1) {
    fill_lane_roots(shape, roots, coarse_lanes, fine_lanes);
    plan->coarse_lanes = coarse_lanes;
    plan->fine_lanes = fine_lanes;
    plan->fine_lane_roots = shape.fine_lane_roots();
  }
  if (!shape.has_products) return plan;
  fill_first_roots(shape.line, roots, 1, kFineRoots, fine_roots);
  double* turned = fine_roots + shape.fine_values();
  for (std::int32_t i = 0; i < shape.fine_values(); i += 2) {
    turned[i] = -fine_roots[i + 1];
    turned[i + 1] = fine_roots[i];
  }
  fill_first_roots(shape.line, roots, kFineRoots, shape.coarse_count(), coarse_roots);
  plan->fine_roots = fine_roots;
  plan->coarse_roots = coarse_roots;
  return plan;
}

// The same in single precision.
const LinePlan<float>* lay_rounded(const InnerShape& shape, const LinePlan<double>* exact,
                                   runtime::Arena& arena) noexcept {
  auto* plan = arena.take<LinePlan<float>>(1);
  if (!arena.is_counting()) {
    start_mixed_radix(shape.line, shape.gap, *plan);
    plan->left_out = shape.left_out();
    plan->fine_lane_roots = shape.fine_lane_roots();
  }
  // Null where there are none.
  const auto round = [&](auto roots, std::uint64_t count) -> const float* {
    auto* to = arena.take<float>(count);
    if (arena.is_counting() || exact->*roots == nullptr) return nullptr;
    std::transform(exact->*roots, exact->*roots + count, to,
                   [](double root) { return static_cast<float>(root); });
    return to;
  };
  const float* stage_roots = round(&LinePlan<double>::stage_roots, shape.stage_root_values());
  const float* fine_roots =
      round(&LinePlan<double>::fine_roots, 2 * static_cast<std::uint64_t>(shape.fine_values()));
  const float* coarse_roots = round(&LinePlan<double>::coarse_roots, shape.coarse_values());
  const float* sum_roots = round(&LinePlan<double>::sum_roots, sum_root_values(shape.line));
  const float* coarse_lanes =
      round(&LinePlan<double>::coarse_lanes, shape.lane_values(shape.coarse_lane_roots()));
  const float* fine_lanes = round(&LinePlan<double>::fine_lanes, shape.lane_values(shape.fine_lane_roots()));
  if (arena.is_counting()) return nullptr;
  plan->stage_roots = stage_roots;
  plan->fine_roots = fine_roots;
  plan->coarse_roots = coarse_roots;
  plan->sum_roots = sum_roots;
  plan->coarse_lanes = coarse_lanes;
  plan->fine_lanes = fine_lanes;
  return plan;
}

// Values of the spectrum that are kept.
std::int32_t spectrum_values(const InnerShape& inner, LineMethod method) noexcept {
  const LineShape& line = inner.line;
  const std::int32_t radix = line.radices[0];
  const std::int32_t part = part_length(line);
  if (inner.lanes > 1) return part * inner.lanes / 2 * (radix + 1);
  const bool halved =
      has_half_spectrum(method, line.length, radix, line.radices[line.stages - 1], inner.left_out());
  return part * spectrum_parts(method, radix) - (halved ? part / 2 : 0);
}

template <class T>
LinePlan<T>* lay_convolution(const ConvolutionShape& shape, const LineUse& use, const Kernels& kernels,
                             runtime::Arena& arena, PlanningMemory& memory) noexcept {
  const InnerShape inner_shape(shape.inner_length, precision_of<T>(kernels).radices, use, shape.method);
  const InnerShape exact_shape =
      inner_shape.within(use.lanes > 1 ? precision_of<double>(kernels).lanes : use.lanes);
  const bool rader = shape.method == LineMethod::kRader;
  const auto n = static_cast<std::uint64_t>(shape.length);
  const std::int32_t spectrum = spectrum_values(inner_shape, shape.method);
  const std::int32_t chirp = rader ? 0 : shape.length / 2 + use.lanes;

  auto* plan = arena.take<LinePlan<T>>(1);
  const std::uint64_t spectra = 2 * static_cast<std::uint64_t>(spectrum);
  auto* spectrum_re = arena.take<T>(spectra);
  auto* chirp_re = arena.take<T>(static_cast<std::uint64_t>(chirp));
  auto* chirp_im = arena.take<T>(static_cast<std::uint64_t>(chirp));
  auto* powers = arena.take<std::int32_t>(rader ? n : 0);
  runtime::Arena scratch = memory.arena();
  const LinePlan<T>* inner = nullptr;
  const LinePlan<double>* exact_inner = nullptr;
  if constexpr (std::is_same_v<T, double>) {
    inner = exact_inner = lay_inner(inner_shape, arena, &scratch, memory);
  } else if (use.lanes > 1) {
    runtime::Arena for_rounding = scratch;
    inner = lay_rounded(inner_shape, lay_inner(inner_shape, for_rounding, nullptr, memory), arena);
    exact_inner = lay_inner(exact_shape, scratch, nullptr, memory);
  } else {
    exact_inner = lay_inner(inner_shape, scratch, nullptr, memory);
    inner = lay_rounded(inner_shape, exact_inner, arena);
  }
  auto* line = scratch.take<double>(2 * static_cast<std::uint64_t>(shape.work_elements) *
                                    static_cast<std::uint64_t>(use.lanes));
  // The spectrum is filled last.
  const HalfCircle roots(rader ? shape.length : 2 * shape.length, spectrum_re, spectra * sizeof(T), scratch);
  memory.count(scratch);
  if (arena.is_counting()) return nullptr;

  T* spectrum_im = spectrum_re + spectrum;
  *plan = {};
  plan->length = shape.length;
  plan->method = shape.method;
  plan->inner = inner;
  plan->spectrum_re = spectrum_re;
  plan->spectrum_im = spectrum_im;
  const InnerLine b(line, *exact_inner, exact_shape.lanes);
  if (rader) {
    const std::int64_t g = generator(inner_shape.line);
    powers[0] = 1;
    for (std::int32_t q = 1; q <= shape.inner_length; ++q) {
      powers[q] = static_cast<std::int32_t>(powers[q - 1] * g % shape.length);
    }
    plan->powers = powers;
    fill_rader_kernel(roots, powers, shape.inner_length, b);
  } else {
    fill_chirp(roots, shape.length, inner_shape.order(), chirp, chirp_re, chirp_im, b);
    plan->chirp_re = chirp_re;
    plan->chirp_im = chirp_im;
  }
  if (use.lanes > 1) {
    fill_spectrum_within(precision_of<double>(kernels), *exact_inner, b, use.lanes, spectrum_re, spectrum_im);
  } else {
    fill_spectrum(narrowest(kernels).double_precision, *exact_inner, b, spectrum, spectrum_re, spectrum_im);
  }
  return plan;
}

// Where the elements of a line in place are expected, and where its results are left.
template <class T>
void fill_places(const LinePlan<T>& plan, std::int32_t* inputs, std::int32_t* positions) noexcept {
  const LinePlan<T>& inner = *plan.inner;
  const Places place(inner);
  if (plan.method == LineMethod::kBluestein) {
    for (std::int32_t k = 0; k < plan.length; ++k) inputs[k] = positions[k] = place(k);
    return;
  }
  for (std::int32_t q = 0; q < inner.length; ++q) {
    inputs[plan.powers[q]] = positions[plan.powers[inner.length - q]] = place(q);
  }
  inputs[0] = positions[0] = inner.radices[0] * inner.part_pitch;
}

// The lines that a mixed radix has for butterflies; equal primes follow one another and share theirs.
template <class T>
const LinePlan<T>* const* lay_primes(const LineShape& shape, Tables tables, const Kernels& kernels,
                                     runtime::Arena& arena, PlanningMemory& memory) noexcept {
  auto** primes = arena.take<const LinePlan<T>*>(shape.stages);
  const int direct = shape.direct_stages();
  if (!arena.is_counting()) std::fill(primes, primes + direct, nullptr);
  const LinePlan<T>* line = nullptr;
  for (int i = 0; i < shape.convolved_stages; ++i) {
    const ConvolutionShape& prime = shape.convolutions[i];
    const bool repeated = i > 0 && prime.length == shape.convolutions[i - 1].length;
    if (!repeated) line = lay_convolution<T>(prime, {.tables = tables}, kernels, arena, memory);
    if (!arena.is_counting()) primes[direct + i] = line;
  }
  return primes;
}

}  // namespace

template <class T>
RootTable<T> lay_roots(std::int32_t order, PlanningMemory& memory) noexcept {
  runtime::Arena scratch = memory.arena();
  const RootTable<T> roots = lay_roots<T>(order, scratch);
  memory.count(scratch);
  return roots;
}

template <class T>
const LinePlan<T>* lay_line(const LineShape& shape, const RootTable<T>& roots, const LineUse& use,
                            const Kernels& kernels, runtime::Arena& arena, PlanningMemory& memory) noexcept {
  if (shape.method != LineMethod::kMixedRadix) {
    const bool in_order = use.results == Results::kInOrder;
    const auto length = static_cast<std::uint64_t>(shape.length);
    const bool by_powers = shape.method == LineMethod::kRader && use.results == Results::kInPlace;
    auto* positions = arena.take<std::int32_t>(in_order ? 0 : length);
    auto* inputs = by_powers ? arena.take<std::int32_t>(length) : positions;
    LinePlan<T>* plan = lay_convolution<T>(shape.convolution(), use, kernels, arena, memory);
    if (plan == nullptr || in_order) return plan;
    plan->positions = positions;
    if (use.results == Results::kInPlace) {
      fill_places(*plan, inputs, positions);
      plan->inputs = inputs;
    } else {
      std::iota(positions, positions + shape.length, 0);
    }
    return plan;
  }
  auto* plan = lay_mixed_radix<T>(shape, use.gap, roots, arena);
  if (shape.convolved_stages == 0) return plan;
  const LinePlan<T>* const* primes = lay_primes<T>(shape, use.tables, kernels, arena, memory);
  if (plan != nullptr) plan->primes = primes;
  return plan;
}

template RootTable<float> lay_roots(std::int32_t, PlanningMemory&) noexcept;
template const LinePlan<float>* lay_line(const LineShape&, const RootTable<float>&, const LineUse&,
                                         const Kernels&, runtime::Arena&, PlanningMemory&) noexcept;
template LinePlan<float>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<float>&,
                                          runtime::Arena&) noexcept;
template RootTable<double> lay_roots(std::int32_t, PlanningMemory&) noexcept;
template const LinePlan<double>* lay_line(const LineShape&, const RootTable<double>&, const LineUse&,
                                          const Kernels&, runtime::Arena&, PlanningMemory&) noexcept;
template LinePlan<double>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<double>&,
                                           runtime::Arena&) noexcept;

}  // namespace kyv::psfotf
