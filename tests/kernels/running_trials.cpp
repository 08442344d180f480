#include <functional>
#include <limits>
#include <memory>

#include "kernels/trial.h"
#include "resize/kernels/kernels.h"
#include "resize/reference.h"

namespace kyv::kernels {
namespace {

using resize::Index;

constexpr Index kBegin = 5;
constexpr Index kEnd = 52;
constexpr std::int32_t kEnds[] = {7, 8, 8, 20, 33, 52};  // two at once, and one with the piece

std::size_t u(Index value) { return static_cast<std::size_t>(value); }

// Sums that were begun before; so many are open at each of the positions [kBegin, kEnd).
struct RunningCase {
  RunningCase(Index sum_count, Index sum_floats, Inputs inputs, Random& random)
      : sums(sum_count), floats(sum_floats), left(u(sums * floats)), out(std::size(kEnds) * u(floats)) {
    for (Index i = 0; i < (kEnd - kBegin) * sums; ++i) weights.push_back(some_weight(inputs, random));
    for (Index i = 0; i < sums * floats; ++i) begun.push_back(some_sample(inputs, random));
    args = {.weights = weights.data(),
            .step = floats,
            .begin = kBegin,
            .end = kEnd,
            .ends = ends.data(),
            .sums = left.data(),
            .out = out.data()};
  }

  void run(resize::RunningSums* kernel) {
    std::copy(begun.begin(), begun.end(), left.data());
    kernel(args);
  }

  std::string verdict() const {
    std::vector<float> open = begun;
    std::vector<float> ended;
    const std::int32_t* next = ends.data();
    for (Index position = kBegin; position <= kEnd; ++position) {
      for (; *next == position; ++next) {
        ended.insert(ended.end(), open.begin(), open.begin() + floats);
        open.erase(open.begin(), open.begin() + floats);
        open.insert(open.end(), u(floats), 0.0F);
      }
      for (Index i = 0; i < sums * floats && position < kEnd; ++i) {
        const float weight = weights[u((position - kBegin) * sums + i / floats)];
        open[u(i)] = reference::fused_multiply_add(weight, sample(position, i % floats), open[u(i)]);
      }
    }
    const std::string wrong = verdict_on(out, ended);
    return wrong.empty() ? verdict_on(left, open) : wrong;
  }

  double multiply_adds() const { return static_cast<double>((kEnd - kBegin) * sums * floats); }

  Index sums;
  Index floats;  // of a sum
  std::vector<float> weights;
  std::vector<float> begun;
  std::vector<std::int32_t> ends = [] {
    std::vector<std::int32_t> all(std::begin(kEnds), std::end(kEnds));
    all.push_back(std::numeric_limits<std::int32_t>::max());
    return all;
  }();
  Canaried<float> left;
  Canaried<float> out;
  resize::RunningArgs args;
  std::function<float(Index position, Index i)> sample;
  std::vector<float> converted;
  std::vector<std::vector<std::uint8_t>> rows;  // of exactly the bytes that are read
  std::vector<const std::uint8_t*> pointers;
};

// Of samples that were converted before.
std::shared_ptr<RunningCase> stored_case(Index sums, Index floats, Inputs inputs, Random& random) {
  auto c = std::make_shared<RunningCase>(sums, floats, inputs, random);
  for (Index i = 0; i < (kEnd - kBegin) * floats; ++i) c->converted.push_back(some_sample(inputs, random));
  c->args.samples = c->converted.data();
  c->sample = [&converted = c->converted, floats](Index position, Index i) {
    return converted[u((position - kBegin) * floats + i)];
  };
  return c;
}

// Of pixels as they are in the rows: a vector has the four channels of every fourth row.
std::shared_ptr<RunningCase> pixel_case(Index sums, Index vectors, Index lanes, resize::Depth depth,
                                        Inputs inputs, Random& random) {
  auto c = std::make_shared<RunningCase>(sums, vectors * lanes, inputs, random);
  const Index bytes = resize::sample_bytes(depth);
  const Index pieces = (kEnd * 4 * bytes + resize::kRunningBytes - 1) / resize::kRunningBytes;
  for (Index row = 0; row < lanes; ++row) {
    random.fill_bytes(c->rows.emplace_back(u(pieces * resize::kRunningBytes)));
    c->pointers.push_back(c->rows.back().data());
  }
  c->args.rows = c->pointers.data();
  c->sample = [&rows = c->rows, lanes, bytes](Index position, Index i) {
    const Index lane = i % lanes;
    const std::uint8_t* const p =
        rows[u(i / lanes + lane / 4 * 4)].data() + (position * 4 + lane % 4) * bytes;
    return static_cast<float>(bytes == 1 ? p[0] : p[0] + 256 * p[1]);
  };
  return c;
}

void add(Trials& trials, const std::string& name, resize::RunningSums* kernel,
         const std::shared_ptr<RunningCase>& c) {
  trials.push_back({name, c->multiply_adds(), "multiply-add", [c, kernel] { c->run(kernel); },
                    [c] { return c->verdict(); }});
}

}  // namespace

void add_running_trials(const runtime::KernelSet& set, Inputs inputs, Random& random, Trials& trials) {
  const resize::RunningKernels& kernels = set.resize->running;
  const Index lanes = set.resize->transposed.lanes;
  for (Index sums = 1; sums <= resize::kMostRunningSums; ++sums) {
    const auto& by_vectors = kernels.add[sums - 1];
    const std::string name = "running sums " + std::to_string(sums) + " of ";
    Index pixel_vectors = 1;  // 1, 2 or 4, as many as fit
    for (Index vectors = 1; vectors <= resize::kMostRunningVectors; ++vectors) {
      if (by_vectors[vectors - 1] == nullptr) continue;
      if (vectors != 3) pixel_vectors = vectors;
      add(trials, name + std::to_string(vectors) + " vectors", by_vectors[vectors - 1],
          stored_case(sums, vectors * lanes, inputs, random));
    }
    for (const auto depth : {resize::kDepth8, resize::kDepth16}) {
      if (kernels.add_pixels[depth][sums - 1] == nullptr) continue;
      add(trials, name + (depth == resize::kDepth8 ? "RGBA 8 bits" : "RGBA 16 bits"),
          kernels.add_pixels[depth][sums - 1], pixel_case(sums, pixel_vectors, lanes, depth, inputs, random));
    }
  }
}

}  // namespace kyv::kernels
