#include "psfotf/roots.h"

#include <algorithm>
#include <utility>

namespace kyv::psfotf {
namespace {

// An unevaluated sum: `low` holds what rounding took from `high`.
struct Extended {
  double high;
  double low;
};

struct ExtendedRoot {
  Extended re;
  Extended im;
};

// The exact product of two doubles (Dekker 1971, with Veltkamp's splitting).
Extended exact_product(double a, double b) noexcept {
  constexpr double splitter = 134217729.0;  // 2^27 + 1
  const double ta = splitter * a;
  const double a_high = ta - (ta - a);
  const double a_low = a - a_high;
  const double tb = splitter * b;
  const double b_high = tb - (tb - b);
  const double b_low = b - b_high;
  const double p = a * b;
  return {p, ((a_high * b_high - p) + a_high * b_low + a_low * b_high) + a_low * b_low};
}

// sum + term, for |sum| >= |term|.
Extended exact_sum(double sum, double term) noexcept {
  const double s = sum + term;
  return {s, (sum - s) + term};
}

// Sine and cosine of pi/4 * (p / n), 0 <= p <= n, by their Taylor series.
struct SineCosine {
  Extended sine;
  Extended cosine;
};

SineCosine sine_cosine(double p, double n) noexcept {
  constexpr double quarter_pi_high = 0x1.921fb54442d18p-1;
  constexpr double quarter_pi_low = 0x1.1a62633145c07p-55;
  const double f = p / n;
  const Extended back = exact_product(f, n);
  const double f_low = ((p - back.high) - back.low) / n;
  const Extended x = exact_product(f, quarter_pi_high);
  const double x_low = x.low + (f * quarter_pi_low + f_low * quarter_pi_high);

  const Extended z = exact_product(x.high, x.high);
  const double t = z.high;
  const double sine_tail =
      t * (-1.0 / 6 +
           t * (1.0 / 120 +
                t * (-1.0 / 5040 +
                     t * (1.0 / 362880 +
                          t * (-1.0 / 39916800 + t * (1.0 / 6227020800.0 + t * (-1.0 / 1307674368000.0 +
                                                                                t / 355687428096000.0)))))));
  const double cosine_tail =
      t * t *
      (1.0 / 24 +
       t * (-1.0 / 720 +
            t * (1.0 / 40320 + t * (-1.0 / 3628800 + t * (1.0 / 479001600 + t * (-1.0 / 87178291200.0 +
                                                                                 t / 20922789888000.0))))));
  const Extended one_minus = exact_sum(1.0, -0.5 * t);
  const double cosine_rest = one_minus.low + (cosine_tail - 0.5 * z.low - x.high * x_low);
  return {exact_sum(x.high, x.high * sine_tail + x_low * (1.0 - 0.5 * t)),
          exact_sum(one_minus.high, cosine_rest)};
}

Extended negated(Extended a) noexcept { return {-a.high, -a.low}; }

// exp(-2 pi i k / n), 0 <= k < n, reduced to the first octant in integers.
ExtendedRoot root(std::int32_t k, std::int32_t n) noexcept {
  // 8 k = octant * n + rest, bit by bit: 32-bit processors have no quotient of that size.
  auto rest = static_cast<std::uint32_t>(k);
  const auto order = static_cast<std::uint32_t>(n);
  int octant = 0;
  for (int bit = 0; bit < 3; ++bit) {
    rest *= 2;
    const bool beyond = rest >= order;
    rest -= beyond ? order : 0;
    octant = 2 * octant + (beyond ? 1 : 0);
  }
  const bool odd = (octant & 1) != 0;
  const auto eighths = static_cast<std::int32_t>(odd ? order - rest : rest);
  SineCosine v = sine_cosine(eighths, n);
  if (((octant + 1) & 2) != 0) std::swap(v.sine, v.cosine);
  const bool left = ((octant + 2) & 4) != 0;
  const bool lower = octant >= 4;
  return {left ? negated(v.cosine) : v.cosine, lower ? v.sine : negated(v.sine)};
}

constexpr std::int32_t kMaxFine = 256;

// The roots of order kSmallOrder, ready: small powers of two cost no sine.
constexpr std::int32_t kSmallOrder = 64;

struct SmallRoots {
  double re[kSmallOrder];
  double im[kSmallOrder];
};

constexpr SmallRoots small_roots() noexcept {
  SmallRoots roots{};
  for (int k = 0; k < kSmallOrder; ++k) {
    const int octant = 8 * k / kSmallOrder;
    const int rest = 8 * k - octant * kSmallOrder;
    const long double x = 0.785398163397448309615660845819875721L *
                          static_cast<long double>(octant % 2 != 0 ? kSmallOrder - rest : rest) / kSmallOrder;
    long double sine = 0;
    long double cosine = 0;
    long double term = 1;
    for (int i = 0; i < 24; ++i) {
      (i % 2 == 0 ? cosine : sine) += (i / 2 % 2 == 0 ? term : -term);
      term *= x / (i + 1);
    }
    const bool swapped = ((octant + 1) & 2) != 0;
    const long double c = swapped ? sine : cosine;
    const long double s = swapped ? cosine : sine;
    roots.re[k] = static_cast<double>(((octant + 2) & 4) != 0 ? -c : c);
    roots.im[k] = static_cast<double>(octant >= 4 ? s : -s);
  }
  return roots;
}

constexpr SmallRoots kSmallRoots = small_roots();

// About the square root of `count`, and at most a thirty-second of the circle of n.
std::int32_t fine_count(std::int32_t n, std::int32_t count) noexcept {
  std::int32_t size = 1;
  while (size < kMaxFine && size * size < count && 32 * size <= n) size *= 2;
  return size;
}

// The first `count` roots of order n.
template <class T>
void fill_arc(std::int32_t n, std::int32_t count, T* re, T* im) noexcept {
  double fine_re[kMaxFine];  // exp(-2 pi i k / n) - 1: small, so that its product rounds harmlessly
  double fine_im[kMaxFine];
  const std::int32_t fine = std::min(fine_count(n, count), count);
  for (std::int32_t k = 0; k < fine; ++k) {
    const ExtendedRoot w = root(k, n);
    fine_re[k] = (w.re.high - 1.0) + w.re.low;
    fine_im[k] = w.im.high;
  }
  for (std::int32_t first = 0; first < count; first += fine) {
    const ExtendedRoot w = root(first, n);
    const std::int32_t m = std::min(fine, count - first);
    for (std::int32_t k = 0; k < m; ++k) {
      // cppcheck-suppress uninitvar ; filled above for every k below fine, and fine is at least 1
      const double product_re = w.re.high * fine_re[k] - w.im.high * fine_im[k];
      const double product_im = w.re.high * fine_im[k] + w.im.high * fine_re[k];
      re[first + k] = static_cast<T>(w.re.high + (w.re.low + product_re));
      im[first + k] = static_cast<T>(w.im.high + (w.im.low + product_im));
    }
  }
}

}  // namespace

template <class T>
void fill_roots(std::int32_t n, std::int32_t count, T* re, T* im) noexcept {
  if (kSmallOrder % n == 0) {
    for (std::int32_t k = 0; k < count; ++k) {
      re[k] = static_cast<T>(kSmallRoots.re[k * (kSmallOrder / n)]);
      im[k] = static_cast<T>(kSmallRoots.im[k * (kSmallOrder / n)]);
    }
    return;
  }
  // Half of a quarter of the circle, or of the half or whole circle where n has no quarters or halves. The
  // other half is its mirror image, and each root behind it one that is known, turned.
  const std::int32_t quarter = n % 4 == 0 ? n / 4 : 0;
  const std::int32_t half = n % 2 == 0 ? n / 2 : n;
  const std::int32_t part = quarter != 0 ? quarter : half;
  const std::int32_t arc = std::min(count, part / 2 + 1);
  fill_arc(n, arc, re, im);
  for (std::int32_t k = arc; k < std::min(count, part); ++k) {
    const T mirror_re = re[part - k];
    const T mirror_im = im[part - k];
    re[k] = quarter != 0 ? -mirror_im : half < n ? -mirror_re : mirror_re;
    im[k] = quarter != 0 ? -mirror_re : half < n ? mirror_im : -mirror_im;
  }
  for (std::int32_t k = quarter; quarter != 0 && k < std::min(count, half); ++k) {
    re[k] = im[k - quarter];
    im[k] = -re[k - quarter];
  }
  for (std::int32_t k = half; k < count; ++k) {
    re[k] = -re[k - half];
    im[k] = -im[k - half];
  }
}

template void fill_roots<float>(std::int32_t, std::int32_t, float*, float*) noexcept;
template void fill_roots<double>(std::int32_t, std::int32_t, double*, double*) noexcept;

}  // namespace kyv::psfotf
