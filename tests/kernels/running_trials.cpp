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
  Canaried<std::uint8_t> packed{0};
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

// Rows of random bytes, of so many whole pieces that `samples` of them are there.
void add_rows(RunningCase& c, Index count, Index samples, Index bytes, Random& random) {
  const Index pieces = (samples * bytes + resize::kRunningBytes - 1) / resize::kRunningBytes;
  for (Index row = 0; row < count; ++row) {
    random.fill_bytes(c.rows.emplace_back(u(pieces * resize::kRunningBytes)));
    c.pointers.push_back(c.rows.back().data());
  }
}

float sample_of(const std::vector<std::uint8_t>& row, Index sample, Index bytes) {
  const std::uint8_t* const p = row.data() + sample * bytes;
  return static_cast<float>(bytes == 1 ? p[0] : p[0] + 256 * p[1]);
}

// Of pixels as they are in the rows: a vector has the four channels of every fourth row.
std::shared_ptr<RunningCase> pixel_case(Index sums, Index vectors, Index lanes, Index bytes, Inputs inputs,
                                        Random& random) {
  auto c = std::make_shared<RunningCase>(sums, vectors * lanes, inputs, random);
  add_rows(*c, lanes, kEnd * 4, bytes, random);
  c->args.rows = c->pointers.data();
  c->sample = [&rows = c->rows, lanes, bytes](Index position, Index i) {
    const Index lane = i % lanes;
    return sample_of(rows[u(i / lanes + lane / 4 * 4)], position * 4 + lane % 4, bytes);
  };
  return c;
}

// Of what is packed first: a vector has one sample of each row, those of grey in groups of rows.
std::shared_ptr<RunningCase> packed_case(const resize::RunningKernels& kernels, Index channels, Index sums,
                                         Index vectors, Index lanes, Index bytes, Inputs inputs,
                                         Random& random) {
  auto c = std::make_shared<RunningCase>(sums, vectors * lanes, inputs, random);
  const Index groups = channels == 1 ? vectors : 1;
  add_rows(*c, groups * lanes, kEnd * channels, bytes, random);
  const auto pieces = static_cast<Index>(c->rows[0].size()) / resize::kRunningBytes;
  const Index step = groups * lanes * resize::kPackedBytes;
  c->packed = Canaried<std::uint8_t>(u(pieces * resize::kRunningBytes / resize::kPackedBytes * step));
  for (Index group = 0; group < groups; ++group) {
    kernels.pack(c->pointers.data() + group * lanes, 0, pieces,
                 c->packed.data() + group * lanes * resize::kPackedBytes, step, 0);
  }
  c->args.packed = c->packed.data();
  c->args.packed_step = step;
  c->args.packed_sample = kBegin * channels;
  c->sample = [&rows = c->rows, channels, lanes, bytes](Index position, Index i) {
    const Index vector = i / lanes;
    return channels == 1 ? sample_of(rows[u(i)], position, bytes)
                         : sample_of(rows[u(i % lanes)], position * channels + vector, bytes);
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
      const Index bytes = resize::sample_bytes(depth);
      const auto add_bytes = [&](resize::RunningSource source, const char* what, const auto& make) {
        resize::RunningSums* const kernel = kernels.add_bytes[source][depth][sums - 1];
        if (kernel == nullptr) return;
        add(trials, name + what + (depth == resize::kDepth8 ? " 8 bits" : " 16 bits"), kernel, make());
      };
      add_bytes(resize::kPackedGrey, "grey",
                [&] { return packed_case(kernels, 1, sums, pixel_vectors, lanes, bytes, inputs, random); });
      add_bytes(resize::kPackedRgb, "RGB", [&] {
        const Index vectors = by_vectors[2] != nullptr ? 3 : 1;
        return packed_case(kernels, 3, sums, vectors, lanes, bytes, inputs, random);
      });
      add_bytes(resize::kRgbaRows, "RGBA",
                [&] { return pixel_case(sums, pixel_vectors, lanes, bytes, inputs, random); });
    }
  }
}

}  // namespace kyv::kernels
