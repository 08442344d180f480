#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <utility>

#include "kernels/trial.h"
#include "psfotf/kernel_sets.h"
#include "psfotf/plane_layout.h"
#include "psfotf/reference.h"

namespace kyv::kernels {
namespace {

using psfotf::test::Stack;

// Memory of which nothing may be taken for granted: every number in it is none, whatever its precision.
using Painted = Canaried<unsigned char>;
void paint(Painted& memory, std::size_t bytes) { std::memset(memory.data(), 0xFF, bytes); }

// One plane of doubles in separate arrays.
struct PlaneCase {
  PlaneCase(std::size_t plane_rows, std::size_t plane_columns, Inputs inputs, Random& random)
      : rows(plane_rows), columns(plane_columns), out_re(rows * columns), out_im(rows * columns) {
    for (std::size_t i = 0; i < rows * columns; ++i) {
      const bool hard = inputs == Inputs::kHard;
      re.push_back(hard && i % 5 != 0 ? -0.0 : random.unit() - 0.3);
      im.push_back(hard ? 0.0 : random.unit() - 0.5);
    }
  }
  psfotf::PlaneArrays arrays() { return {re.data(), im.data(), out_re.data(), out_im.data()}; }

  std::string verdict(double bound) const {
    if (!out_re.intact() || !out_im.intact()) return "wrote outside its memory";
    const psfotf::test::Spectrum expected = reference_plane(stack_of(re, im), 0);
    const double relative = relative_error(stack_of(out_re.values(), out_im.values()), 0, expected);
    return relative <= bound ? std::string()
                             : "relative error " + std::to_string(relative / bound) + " times the bound";
  }
  Stack stack_of(const std::vector<double>& real, const std::vector<double>& imaginary) const {
    Stack stack(static_cast<std::int32_t>(rows), static_cast<std::int32_t>(columns), 1);
    stack.re = real;
    stack.im = imaginary;
    return stack;
  }
  double operations() const {
    const auto n = static_cast<double>(rows * columns);
    return 5 * n * std::log2(n);
  }

  std::size_t rows;
  std::size_t columns;
  std::vector<double> re;
  std::vector<double> im;
  Canaried<double> out_re;
  Canaried<double> out_im;
  std::vector<double> conjugate;  // of the imaginary parts
  bool done = false;
};

template <class T>
constexpr double kBound = sizeof(T) == sizeof(float) ? 6e-7 : 2e-15;
template <class T>
constexpr const char* kPrecision = sizeof(T) == sizeof(float) ? " float" : " double";

template <class Case>
using TransformHalf = std::function<bool(Case&, const psfotf::PlaneArrays&)>;

// A real plane's transform, exactly Hermitian, and the backward one of a Hermitian plane.
template <class T, class Case>
void add_halves(const std::string& name, const std::shared_ptr<Case>& real,
                const TransformHalf<Case>& transform_real, const std::shared_ptr<Case>& back,
                const TransformHalf<Case>& transform_hermitian, const psfotf::PrecisionKernels<T>& kernels,
                Trials& trials) {
  const psfotf::PlaneShape shape{static_cast<std::int32_t>(real->rows),
                                 static_cast<std::int32_t>(real->columns)};
  std::fill(real->im.begin(), real->im.end(), 0.0);
  trials.push_back({"transform real " + name, real->operations(), "operation",
                    [real, transform_real] { real->done = transform_real(*real, real->arrays()); },
                    [real, shape, &kernels] {
                      if (!real->done) return std::string("refused");
                      const std::vector<double> re = real->out_re.values();
                      const std::vector<double> im = real->out_im.values();
                      return kernels.is_hermitian(shape, re.data(), im.data()) ? real->verdict(kBound<T>)
                                                                               : "not Hermitian";
                    }});

  // The backward transform of a plane is the forward one of its conjugate, where that is real.
  kernels.make_hermitian(shape, back->re.data(), back->im.data());
  for (const double value : back->im) back->conjugate.push_back(-value);
  trials.push_back({"transform Hermitian " + name, back->operations(), "operation",
                    [back, transform_hermitian] {
                      psfotf::PlaneArrays arrays = back->arrays();
                      arrays.src_im = back->conjugate.data();
                      back->done = transform_hermitian(*back, arrays);
                    },
                    [back] { return back->done ? back->verdict(kBound<T>) : std::string("refused"); }});
}

template <class T>
void add_squares(const psfotf::PrecisionKernels<T>& kernels, Inputs inputs, Random& random, Trials& trials) {
  std::size_t side = 8;
  for (const psfotf::SquareCode<T>& code : kernels.squares) {
    if (code.transform != nullptr) {
      const auto make_case = [&] { return std::make_shared<PlaneCase>(side, side, inputs, random); };
      const std::string name = "square " + std::to_string(side) + kPrecision<T>;
      const auto c = make_case();
      trials.push_back({"transform " + name, c->operations(), "operation",
                        [c, &code] { code.transform(T{1}, c->arrays()); },
                        [c] { return c->verdict(kBound<T>); }});
      add_halves<T, PlaneCase>(
          name, make_case(),
          [&code](PlaneCase&, const psfotf::PlaneArrays& arrays) {
            if (code.transform_real != nullptr) return code.transform_real(T{1}, arrays);
            code.transform(T{1}, arrays);
            return true;
          },
          make_case(),
          [&code](PlaneCase&, const psfotf::PlaneArrays& arrays) {
            return code.transform_hermitian(T{1}, arrays);
          },
          kernels, trials);
    }
    side *= 2;
  }
}

struct Size {
  std::int32_t rows;
  std::int32_t columns;
};
// Powers of two, small primes, Rader's and Bluestein's lengths, thin planes, pieces of rows that leave
// together.
constexpr Size kSizes[] = {{16, 16},  {60, 48}, {49, 81},  {101, 64}, {17, 118}, {1, 128},
                           {200, 16}, {8, 512}, {32, 120}, {4, 288},  {1, 263},  {3, 347}};

// With a plan and a workspace of its own.
template <class T>
struct PlannedCase : PlaneCase {
  PlannedCase(const Size& size, const psfotf::Kernels& kernels, Inputs inputs, Random& random)
      : PlaneCase(static_cast<std::size_t>(size.rows), static_cast<std::size_t>(size.columns), inputs,
                  random),
        shape{size.rows, size.columns},
        method(choose_plane(shape, psfotf::precision_of<T>(kernels))),
        plan_bytes(static_cast<std::size_t>(psfotf::plan_bytes<T>(shape, method, kernels))),
        work_bytes(static_cast<std::size_t>(psfotf::workspace_bytes<T>(shape, method, kernels))),
        plan_memory(plan_bytes),
        workspace(work_bytes) {
    paint(plan_memory, plan_bytes);
    paint(workspace, work_bytes);
    plan = psfotf::make_plane_plan<T>(shape, method, kernels, plan_memory.data(), workspace.data());
  }
  std::string verdict(double bound) const {
    const bool stayed = plan_memory.intact() && workspace.intact();
    return stayed ? PlaneCase::verdict(bound) : "wrote outside its plan or workspace";
  }
  psfotf::PlaneShape shape;
  psfotf::PlaneMethod method;
  std::size_t plan_bytes;
  std::size_t work_bytes;
  Painted plan_memory;
  Painted workspace;
  const psfotf::PlanePlan<T>* plan = nullptr;
};

template <class T>
void add_planes(const psfotf::Kernels& kernels, Inputs inputs, Random& random, Trials& trials) {
  const psfotf::PrecisionKernels<T>& table = psfotf::precision_of<T>(kernels);
  for (const Size& size : kSizes) {
    if (size.columns < table.lanes) continue;
    const std::string name = std::to_string(size.rows) + 'x' + std::to_string(size.columns) + kPrecision<T>;
    const auto c = std::make_shared<PlannedCase<T>>(size, kernels, inputs, random);
    trials.push_back(
        {"transform plane " + name, c->operations(), "operation",
         [c, kernel = table.transform_plane] { kernel(*c->plan, T{1}, c->arrays(), c->workspace.data()); },
         [c] { return c->verdict(kBound<T>); }});
    if (!c->plan->has_halves) continue;

    const auto with = [](const psfotf::TransformHalves<T> kernel) {
      return [kernel](PlannedCase<T>& half, const psfotf::PlaneArrays& arrays) {
        return kernel(*half.plan, T{1}, arrays, half.workspace.data());
      };
    };
    add_halves<T, PlannedCase<T>>(
        "plane " + name, std::make_shared<PlannedCase<T>>(size, kernels, inputs, random),
        with(table.transform_real_plane), std::make_shared<PlannedCase<T>>(size, kernels, inputs, random),
        with(table.transform_hermitian_plane), table, trials);
  }
}

// Lines side by side in the lanes: mixed radix, Rader's method and Bluestein's, and a stage of Rader's.
template <class T>
struct LinesCase {
  LinesCase(std::int32_t line_length, const psfotf::Kernels& kernels, Random& random)
      : plane({64, line_length}, kernels, Inputs::kPicture, random),
        length(static_cast<std::size_t>(plane.plan->row->length)),
        lanes(static_cast<std::size_t>(psfotf::precision_of<T>(kernels).lanes)),
        parts(static_cast<std::size_t>(plane.plan->row->inner == nullptr ? plane.plan->row->radices[0] : 1)),
        pitch(parts > 1 ? static_cast<std::size_t>(plane.plan->row->part_pitch) : length),
        values(2 * lanes * parts * pitch),
        data(values.size()),
        work(8 * values.size()) {
    for (T& value : values) value = static_cast<T>(random.unit() - 0.4);
    std::memset(work.data(), 0xFF, work.values().size() * sizeof(T));
  }

  std::string verdict() const {
    if (!data.intact() || !work.intact()) return "wrote outside its memory";
    const std::vector<T> results = data.values();
    // Of one lane: the element that lies in place `from` of `in` becomes the k-th of `to`.
    const auto take = [this](const std::vector<T>& in, std::size_t from, std::size_t lane, Stack& to,
                             std::size_t k) {
      to.re[k] = static_cast<double>(in[2 * lanes * from + lane]);
      to.im[k] = static_cast<double>(in[2 * lanes * from + lanes + lane]);
    };
    for (std::size_t lane = 0; lane < lanes; ++lane) {
      Stack line(1, static_cast<std::int32_t>(length), 1);
      Stack result = line;
      for (std::size_t k = 0; k < length; ++k) {
        take(values, k / (length / parts) * pitch + k % (length / parts), lane, line, k);
        take(results, static_cast<std::size_t>(plane.plan->row->positions[k]), lane, result, k);
      }
      if (relative_error(result, 0, reference_plane(line, 0)) > kBound<T>)
        return "lane " + std::to_string(lane) + " is wrong";
    }
    return {};
  }

  PlannedCase<T> plane;  // whose rows are the lines
  std::size_t length;
  std::size_t lanes;
  std::size_t parts;
  std::size_t pitch;  // elements from part to part
  std::vector<T> values;
  Canaried<T> data;
  Canaried<T> work;
};

template <class T>
void add_lines(const psfotf::Kernels& kernels, Random& random, Trials& trials) {
  for (const std::int32_t length : {60, 101, 107, 122}) {
    const auto c = std::make_shared<LinesCase<T>>(length, kernels, random);
    const auto n = static_cast<double>(length);
    trials.push_back({"transform lines of " + std::to_string(length) + kPrecision<T>,
                      5 * n * std::log2(n) * static_cast<double>(c->lanes), "operation",
                      [c, kernel = psfotf::precision_of<T>(kernels).transform_lines] {
                        std::copy(c->values.begin(), c->values.end(), c->data.data());
                        kernel(*c->plane.plan->row, c->data.data(), c->work.data());
                      },
                      [c] { return c->verdict(); }});
  }
}

// Recognising planes and making them symmetric, at lengths around those of vectors.
template <class T>
void add_symmetry(const psfotf::PrecisionKernels<T>& kernels, Random& random, Trials& trials) {
  for (const Size& size : {Size{1, 1}, {2, 7}, {3, 8}, {4, 9}, {5, 10}, {6, 33}}) {
    const auto c =
        std::make_shared<PlaneCase>(static_cast<std::size_t>(size.rows),
                                    static_cast<std::size_t>(size.columns), Inputs::kPicture, random);
    const psfotf::PlaneShape shape{size.rows, size.columns};
    const auto verdict = [c, shape, &kernels] {
      std::vector<double> re = c->re;
      std::vector<double> im = c->im;
      kernels.make_hermitian(shape, re.data(), im.data());
      for (std::size_t i = 0; i < re.size(); ++i) {
        const std::size_t row = i / c->columns;
        const std::size_t column = i % c->columns;
        const std::size_t image = (c->rows - row) % c->rows * c->columns + (c->columns - column) % c->columns;
        if (re[i] != re[image] || im[i] != -im[image]) return "no image at " + std::to_string(i);
        for (std::vector<double>* part : {&re, &im}) {
          if (part == &re && image == i) continue;
          const double before = std::exchange((*part)[i], 3.0);
          const bool still = kernels.is_hermitian(shape, re.data(), im.data());
          (*part)[i] = before;
          if (still) return "a change not seen at " + std::to_string(i);
        }
        std::vector<double> zeros(re.size(), -0.0);
        if (!kernels.are_zeros(zeros.data(), zeros.size())) return std::string("zeros not seen");
        zeros[i] = 5e-324;
        if (kernels.are_zeros(zeros.data(), zeros.size())) return "not zero at " + std::to_string(i);
      }
      return std::string(kernels.is_hermitian(shape, re.data(), im.data()) ? "" : "symmetry not seen");
    };
    trials.push_back(
        {"symmetry " + std::to_string(size.rows) + 'x' + std::to_string(size.columns) + kPrecision<T>,
         static_cast<double>(c->re.size()), "value",
         [c, shape, &kernels] { kernels.make_hermitian(shape, c->re.data(), c->im.data()); }, verdict});
  }
}

}  // namespace

void add_transform_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials) {
  add_squares(set.psfotf->single_precision, inputs, random, trials);
  add_squares(set.psfotf->double_precision, inputs, random, trials);
  add_planes<float>(*set.psfotf, inputs, random, trials);
  add_planes<double>(*set.psfotf, inputs, random, trials);
  add_lines<float>(*set.psfotf, random, trials);
  add_lines<double>(*set.psfotf, random, trials);
  add_symmetry(set.psfotf->single_precision, random, trials);
  add_symmetry(set.psfotf->double_precision, random, trials);
}

}  // namespace kyv::kernels
