#include <algorithm>
#include <memory>

#include "kernels/trial.h"
#include "resize/kernels/kernels.h"

namespace kyv::kernels {
namespace {

using resize::Index;

// Byte j of the destination is byte floor(j * ratio) of the source; `windows` are as wide as that needs.
struct PermuteCase {
  PermuteCase(const resize::ByteKernels& kernels, Index windows, Random& random)
      : ratio(static_cast<double>(windows) - 0.3), dst(u(kBytes), 0, 3) {
    const Index piece = kernels.lanes * kernels.lane_bytes;
    const Index width = windows * kernels.lane_bytes;
    random.fill_bytes(src = std::vector<std::uint8_t>(u(source_of(kBytes) + width)));
    pieces.count = (kBytes + piece - 1) / piece;
    for (Index p = 0; p < pieces.count; ++p) {
      const Index begin = std::min(p * piece, kBytes - piece);
      for (Index lane = 0; lane < kernels.lanes; ++lane) {
        const Index base = source_of(begin + lane * kernels.lane_bytes);
        bases.push_back(base);
        for (Index byte = 0; byte < kernels.lane_bytes; ++byte) {
          indices.push_back(
              static_cast<std::uint8_t>(source_of(begin + lane * kernels.lane_bytes + byte) - base));
        }
      }
    }
    pieces.bases = bases.data();
    pieces.indices = indices.data();
    pieces.step = piece;
    pieces.bytes = kBytes;
    pieces.windows = windows;
  }

  Index source_of(Index byte) const { return static_cast<Index>(static_cast<double>(byte) * ratio); }
  std::vector<std::uint8_t> expected() const {
    std::vector<std::uint8_t> bytes;
    for (Index j = 0; j < kBytes; ++j) bytes.push_back(src[u(source_of(j))]);
    return bytes;
  }

  static constexpr Index kBytes = 1000;

  double ratio;
  std::vector<std::uint8_t> src;
  std::vector<Index> bases;
  std::vector<std::uint8_t> indices;
  resize::BytePieces pieces;
  Canaried<std::uint8_t> dst;
};

void add_permutations(const resize::ByteKernels& kernels, Random& random, Trials& trials) {
  for (Index windows = 1; windows <= resize::kMostWindows; ++windows) {
    const auto c = std::make_shared<PermuteCase>(kernels, windows, random);
    // In two parts, as a row is that goes past the caches.
    const auto run = [c, kernel = kernels.permute] {
      const Index cut = c->pieces.count / 2;
      kernel(c->pieces, 0, cut, c->src.data(), 0, c->dst.data());
      kernel(c->pieces, cut, c->pieces.count, c->src.data(), 0, c->dst.data() + cut * c->pieces.step);
    };
    trials.push_back({"bytes permute " + std::to_string(windows) + " windows", double{PermuteCase::kBytes},
                      "byte", run, [c] { return verdict_on(c->dst, c->expected()); }});
  }
}

void add_streams(const resize::ByteKernels& kernels, Random& random, Trials& trials) {
  struct Case {
    explicit Case(std::size_t bytes, std::size_t misplaced) : src(bytes), dst(bytes, 0, misplaced) {}
    std::vector<std::uint8_t> src;
    Canaried<std::uint8_t> dst;
  };
  constexpr std::size_t kMisplaced[] = {0, 1, 63};
  for (const std::size_t bytes : {std::size_t{1}, std::size_t{63}, std::size_t{128}, std::size_t{4100}}) {
    for (const std::size_t misplaced : kMisplaced) {
      const auto c = std::make_shared<Case>(bytes, misplaced);
      random.fill_bytes(c->src);
      trials.push_back({"bytes stream " + std::to_string(bytes) + " from " + std::to_string(misplaced),
                        static_cast<double>(bytes), "byte",
                        [c, kernels] {
                          kernels.stream(c->src.data(), c->dst.data(), static_cast<Index>(c->src.size()));
                          kernels.stream_fence();
                        },
                        [c] { return verdict_on(c->dst, c->src); }});
    }
  }
}

}  // namespace

void add_byte_trials(const runtime::KernelSet& set, Inputs, Random& random, Trials& trials) {
  const resize::ByteKernels& kernels = set.resize->bytes;
  if (kernels.lane_bytes > 0) add_permutations(kernels, random, trials);
  if (kernels.stream != nullptr) add_streams(kernels, random, trials);
}

}  // namespace kyv::kernels
