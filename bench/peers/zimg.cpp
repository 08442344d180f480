#include <zimg.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <vector>

#include "common/shared_library.h"
#include "peers/peers.h"

namespace kyv::bench::peers {
namespace {

// The library is loaded, not linked, so that the same code serves whichever is at hand.
struct Zimg {
  explicit Zimg(const std::string& path) : library(path) {}

  SharedLibrary library;
  decltype(&zimg_image_format_default) image_format_default =
      library.function<decltype(&zimg_image_format_default)>("zimg_image_format_default");
  decltype(&zimg_graph_builder_params_default) graph_builder_params_default =
      library.function<decltype(&zimg_graph_builder_params_default)>("zimg_graph_builder_params_default");
  decltype(&zimg_filter_graph_build) filter_graph_build =
      library.function<decltype(&zimg_filter_graph_build)>("zimg_filter_graph_build");
  decltype(&zimg_filter_graph_get_tmp_size) filter_graph_get_tmp_size =
      library.function<decltype(&zimg_filter_graph_get_tmp_size)>("zimg_filter_graph_get_tmp_size");
  decltype(&zimg_filter_graph_process) filter_graph_process =
      library.function<decltype(&zimg_filter_graph_process)>("zimg_filter_graph_process");
  decltype(&zimg_filter_graph_free) filter_graph_free =
      library.function<decltype(&zimg_filter_graph_free)>("zimg_filter_graph_free");
};

std::string g_path = KYVMATH_ZIMG;

const Zimg& zimg() {
  static const Zimg loaded(g_path);
  return loaded;
}

constexpr std::size_t kAlignment = 64;

struct Free {
  void operator()(void* p) const noexcept { std::free(p); }
};
using Memory = std::unique_ptr<void, Free>;

std::size_t round_up(std::size_t bytes) { return (bytes + kAlignment - 1) / kAlignment * kAlignment; }

Memory allocate(std::size_t bytes) {
  Memory memory(std::aligned_alloc(kAlignment, round_up(bytes) + kAlignment));
  if (!memory) throw std::bad_alloc();
  return memory;
}

struct Plane {
  Plane(int width, int height, int bits)
      : stride(round_up(static_cast<std::size_t>(width) * static_cast<std::size_t>(bits / 8))),
        memory(allocate(stride * static_cast<std::size_t>(height))) {}

  std::size_t stride;
  Memory memory;
};

template <class Sample>
void take_channel(const ResizeTask& task, int channel, const Plane& plane) {
  const auto* src = static_cast<const Sample*>(task.src) + channel;
  for (int y = 0; y < task.src_height; ++y) {
    auto* row = reinterpret_cast<Sample*>(static_cast<std::byte*>(plane.memory.get()) +
                                          static_cast<std::size_t>(y) * plane.stride);
    for (int x = 0; x < task.src_width; ++x, src += task.channels) row[x] = *src;
  }
}

zimg_resample_filter_e filter_of(Filter filter) {
  switch (filter) {
    case Filter::kNearest:
      return ZIMG_RESIZE_POINT;
    case Filter::kLinear:
      return ZIMG_RESIZE_BILINEAR;
    case Filter::kCubic:
      return ZIMG_RESIZE_BICUBIC;
    default:
      return ZIMG_RESIZE_LANCZOS;
  }
}

zimg_image_format format_of(int width, int height, int bits) {
  zimg_image_format format;
  zimg().image_format_default(&format, ZIMG_API_VERSION);
  format.width = static_cast<unsigned>(width);
  format.height = static_cast<unsigned>(height);
  format.pixel_type = bits == 8 ? ZIMG_PIXEL_BYTE : ZIMG_PIXEL_WORD;
  format.depth = static_cast<unsigned>(bits);
  format.color_family = ZIMG_COLOR_GREY;
  format.pixel_range = ZIMG_RANGE_FULL;
  return format;
}

class Resizer {
 public:
  Resizer(const ResizeTask& task, Level level)
      : src_format_(format_of(task.src_width, task.src_height, task.bits)),
        dst_format_(format_of(task.dst_width, task.dst_height, task.bits)) {
    zimg().graph_builder_params_default(&params_, ZIMG_API_VERSION);
    params_.resample_filter = filter_of(task.filter);
    params_.cpu_type = level == Level::kAvx512 ? ZIMG_CPU_AUTO_64B : ZIMG_CPU_X86_AVX2;
    for (int channel = 0; channel < task.channels; ++channel) {
      src_.emplace_back(task.src_width, task.src_height, task.bits);
      dst_.emplace_back(task.dst_width, task.dst_height, task.bits);
      task.bits == 8 ? take_channel<std::uint8_t>(task, channel, src_.back())
                     : take_channel<std::uint16_t>(task, channel, src_.back());
    }
    const Graph graph = build();
    std::size_t bytes = 0;
    zimg().filter_graph_get_tmp_size(graph.get(), &bytes);
    work_ = allocate(bytes);
  }

  void run() const {
    const Graph graph = build();
    for (std::size_t i = 0; i < src_.size(); ++i) {
      zimg_image_buffer_const src{};
      src.version = ZIMG_API_VERSION;
      src.plane[0] = {src_[i].memory.get(), static_cast<std::ptrdiff_t>(src_[i].stride), ZIMG_BUFFER_MAX};
      zimg_image_buffer dst{};
      dst.version = ZIMG_API_VERSION;
      dst.plane[0] = {dst_[i].memory.get(), static_cast<std::ptrdiff_t>(dst_[i].stride), ZIMG_BUFFER_MAX};
      if (zimg().filter_graph_process(graph.get(), &src, &dst, work_.get(), nullptr, nullptr, nullptr,
                                      nullptr) != 0) {
        throw std::runtime_error("zimg failed");
      }
    }
  }

 private:
  struct FreeGraph {
    void operator()(zimg_filter_graph* graph) const noexcept { zimg().filter_graph_free(graph); }
  };
  using Graph = std::unique_ptr<zimg_filter_graph, FreeGraph>;

  Graph build() const {
    Graph graph(zimg().filter_graph_build(&src_format_, &dst_format_, &params_));
    if (!graph) throw std::runtime_error("zimg refused a filter graph");
    return graph;
  }

  zimg_image_format src_format_;
  zimg_image_format dst_format_;
  zimg_graph_builder_params params_;
  std::vector<Plane> src_;
  std::vector<Plane> dst_;
  Memory work_;
};

}  // namespace

void use_zimg(const std::string& library) { g_path = library; }

Work zimg_resize(const ResizeTask& task, Level level) {
  if (task.filter == Filter::kBox) return {};
  return [resizer = std::make_shared<const Resizer>(task, level)] { resizer->run(); };
}

}  // namespace kyv::bench::peers
