#include "suite/resize_bench.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

#include "KyvMath.h"
#include "cells/cell_sets.h"
#include "cells/images.h"
#include "cells/resize_cell.h"
#include "common/eviction.h"
#include "peers/peers.h"
#include "resize/resize_request.h"
#include "suite/resize_cost.h"
#include "suite/resize_setup.h"
#include "thread/thread_context.h"

namespace kyv::bench {
namespace {

resize::ResizeRequest request_of(const ResizeCell& cell, Images& images) {
  const auto step = [&](int width) { return width * static_cast<int>(cell.pixel_bytes()); };
  const bool whole = cell.frame.width == 0;
  resize::ResizeRequest request;
  request.mode = cell.mode;
  request.channels = cell.channels;
  request.bits = cell.bits;
  request.src = images.frame().data();
  request.src_width = whole ? cell.src_width : cell.frame.width;
  request.src_height = whole ? cell.src_height : cell.frame.height;
  request.src_step = step(request.src_width);
  request.region_x = cell.frame.x;
  request.region_y = cell.frame.y;
  request.region_width = cell.src_width;
  request.region_height = cell.src_height;
  request.dst = images.dst().data();
  request.dst_width = cell.dst_width;
  request.dst_height = cell.dst_height;
  request.dst_step = step(cell.dst_width);
  return request;
}

// The variant that the library would choose runs through the library's own export.
bool run_export(const resize::ResizeRequest& r) {
  return KyvMathResizeWithRegion(static_cast<unsigned>(r.mode), r.channels, r.bits, r.src, r.src_width,
                                 r.src_height, r.src_step, r.region_x, r.region_y, r.region_width,
                                 r.region_height, r.dst, r.dst_width, r.dst_height, r.dst_step) == KYVMATH_OK;
}

// The others run what the export would run: the thread's context and work buffer live for one call.
bool run_variant(const resize::ResizeRequest& request, const runtime::KernelSet& variant) {
  const int result = resize::run_resize_request(request, variant);
  thread::release_thread_context();
  return result == 0;
}

void resize_once(const resize::ResizeRequest& request, const runtime::KernelSet& variant) {
  const bool done =
      &variant == &runtime::active_kernel_set() ? run_export(request) : run_variant(request, variant);
  if (!done) throw std::runtime_error("a resize was refused");
}

peers::ResizeTask task_of(const ResizeCell& cell, Images& images) {
  return {images.packed(),     cell.src_width, cell.src_height,
          images.dst().data(), cell.dst_width, cell.dst_height,
          cell.channels,       cell.bits,      static_cast<peers::Filter>(cell.mode)};
}

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

// The candidates of one cell: our variants first, then the peers that can do it.
struct Contest {
  struct Peer {
    std::size_t candidate;
    std::string name;
    peers::Level level;
    bool interleaved;
  };

  std::vector<Work> candidates;
  std::size_t setup = kNone;  // the first of the variants' set-ups, on small pictures
  std::size_t zimg = kNone;   // for box its linear filter: the figures of another machine are relative to it
  std::size_t stb = kNone;
  std::vector<Peer> peers;

  std::size_t add(Work work) {
    if (!work) return kNone;
    candidates.push_back(std::move(work));
    return candidates.size() - 1;
  }
  void add_peers(std::vector<peers::ResizePeer> found) {
    for (peers::ResizePeer& peer : found) {
      const std::size_t at = add(std::move(peer.work));
      if (peer.name.starts_with("zimg")) zimg = at;
      if (peer.name == "stb_image_resize") stb = at;
      peers.push_back({at, peer.name, peer.level, peer.interleaved});
    }
  }
};

Contest contest_of(const ResizeCell& cell, Images& images, const Options& options,
                   const peers::Peers& peers) {
  Contest contest;
  const resize::ResizeRequest request = request_of(cell, images);
  for (const runtime::KernelSet* variant : options.variants) {
    contest.add([request, variant] { resize_once(request, *variant); });
  }
  if (cell.is_small() && cell.workload != "P") {
    contest.setup = contest.candidates.size();
    for (const runtime::KernelSet* variant : options.variants) contest.add(resize_setup(cell, *variant));
  }
  if (!options.peers) return contest;
  peers::ResizeTask task = task_of(cell, images);
  contest.add_peers(peers.resizes(task, highest_level(options)));
  if (task.filter == peers::Filter::kBox && !peers.from_folder()) {
    task.filter = peers::Filter::kLinear;
    contest.zimg = contest.add(peers::zimg_resize(task, peers::level_of_processor()));
  }
  return contest;
}

std::vector<Timing> time_contest(const Contest& contest, Images& images, const Options& options) {
  if (!options.cold) return time_interleaved(std::span<const Work>(contest.candidates), options.effort);
  std::vector<PreparedWork> prepared;
  for (const Work& work : contest.candidates) {
    prepared.push_back({[&images] { evict(images.dst().data(), images.dst().size()); }, work});
  }
  return time_interleaved(std::span<const PreparedWork>(prepared), options.effort);
}

double ratio_to(const std::vector<Timing>& timings, std::size_t peer, std::size_t ours) {
  return peer == kNone ? kUnknown : timings[peer].minimum() / timings[ours].minimum();
}

std::vector<ResizeCell> chosen_cells(const Options& options) {
  std::vector<ResizeCell> cells = cells_of_sets(options.cells, options.data);
  std::erase_if(cells, [&](const ResizeCell& cell) { return !options.filter.finds(cell.name()); });
  return cells;
}

std::size_t index_of_scalar(const Options& options) {
  for (std::size_t v = 0; v < options.variants.size(); ++v) {
    if (options.variants[v]->name == std::string("scalar")) return v;
  }
  return kNone;
}

CellResult result_of(const ResizeCell& cell, const std::string& variant) {
  CellResult r;
  r.service = Service::kResize;
  r.name = cell.name();
  r.variant = variant;
  r.workload = cell.workload;
  r.kind = cell.filter;
  r.format = cell.format;
  r.best_peer = cell.best_peer;
  return r;
}

// The fastest of the peers that `allows`, and how much longer it takes than we do.
template <class Allows>
void take_best(const Contest& contest, const std::vector<Timing>& timings, std::size_t ours,
               const Allows& allows, std::string* name, double* ratio) {
  for (const Contest::Peer& peer : contest.peers) {
    const double times = ratio_to(timings, peer.candidate, ours);
    if (!allows(peer) || (!std::isnan(*ratio) && times >= *ratio)) continue;
    *ratio = times;
    *name = peer.name;
  }
}

void take_times(CellResult& r, const ResizeCell& cell, const Contest& contest,
                const std::vector<Timing>& timings, std::size_t ours) {
  r.seconds = timings[ours].minimum();
  r.median = timings[ours].median();
  r.noise = timings[ours].noise();
  if (contest.setup != kNone) r.setup_share = ratio_to(timings, contest.setup + ours, ours);
  const double zimg = ratio_to(timings, contest.zimg, ours);
  r.reference_ratio = cell.mode == 8 ? kUnknown : zimg;
  r.stb_ratio = ratio_to(timings, contest.stb, ours);
  if (contest.zimg != kNone) {
    r.reference_seconds = timings[contest.zimg].minimum();
    r.reference_ratio_median = paired_ratio(timings[contest.zimg], timings[ours]);
  }
  r.best_ratio = zimg * cell.best_over_reference;
}

// The peers of this run in place of the estimate.
void take_measured(CellResult& r, const Contest& contest, const std::vector<Timing>& timings,
                   std::size_t ours, peers::Level level) {
  r.best_is_measured = true;
  r.best_ratio = kUnknown;
  r.best_peer.clear();
  take_best(
      contest, timings, ours, [&](const Contest::Peer& peer) { return peer.level <= level; }, &r.best_peer,
      &r.best_ratio);
  take_best(
      contest, timings, ours,
      [&](const Contest::Peer& peer) { return peer.level <= level && peer.interleaved; }, &r.other_peer,
      &r.other_ratio);
}

}  // namespace

bool resize_with(const ResizeCell& cell, Images& images, const runtime::KernelSet& variant) {
  return run_variant(request_of(cell, images), variant);
}

std::vector<CellResult> bench_resize(const Options& options, const Machine& machine,
                                     const peers::Peers& peers) {
  const std::size_t scalar = index_of_scalar(options);
  std::vector<CellResult> results;
  Images images;
  for (const ResizeCell& cell : chosen_cells(options)) {
    if (results.empty()) print_header(Service::kResize);
    images.prepare(cell);
    const Contest contest = contest_of(cell, images, options, peers);
    const std::vector<Timing> timings = time_contest(contest, images, options);
    for (std::size_t v = 0; v < options.variants.size(); ++v) {
      const std::string variant = options.variants[v]->name;
      const Roofline roof = roofline_of(cell, machine.float_rate(variant), machine.copy);
      CellResult r = result_of(cell, variant);
      take_times(r, cell, contest, timings, v);
      if (peers.from_folder() && options.peers) {
        take_measured(r, contest, timings, v, level_of(*options.variants[v]));
      }
      r.roof_share = roof.seconds() / r.seconds;
      r.bound = roof.arithmetic_binds() ? "arithmetic" : "memory";
      r.scalar_ratio = ratio_to(timings, scalar, v);
      print_result(r);
      results.push_back(std::move(r));
    }
  }
  return results;
}

int check_resize(const Options& options) {
  const runtime::KernelSet& scalar = runtime::all_kernel_sets().back();
  Images images;
  int cells = 0;
  int different = 0;
  for (const ResizeCell& cell : chosen_cells(options)) {
    images.prepare(cell);
    const resize::ResizeRequest request = request_of(cell, images);
    std::vector<unsigned char>& dst = images.dst();
    std::memset(dst.data(), 0xA5, dst.size());
    resize_once(request, scalar);
    const std::vector<unsigned char> expected = dst;
    ++cells;
    for (const runtime::KernelSet* variant : options.variants) {
      std::memset(dst.data(), 0x5A, dst.size());
      resize_once(request, *variant);
      if (dst == expected) continue;
      ++different;
      std::printf("DIFFERENT from scalar: %s %s\n", cell.name().c_str(), variant->name);
    }
  }
  std::printf("resize: %d cells compared with the scalar variant, %d different\n", cells, different);
  return different;
}

}  // namespace kyv::bench
