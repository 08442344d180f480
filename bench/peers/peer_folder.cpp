#include "peers/peer_folder.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "peers/plane_copies.h"

namespace kyv::bench::peers {
namespace {

using Resizer = int (*)(int mode, int channels, int bits, const void* src, int src_width, int src_height,
                        void* dst, int dst_width, int dst_height);
using NewResizer = void* (*)();
using ResizerWithState = int (*)(void* state, unsigned mode, unsigned channels, unsigned bits,
                                 const void* src, unsigned src_width, unsigned src_height, void* dst,
                                 unsigned dst_width, unsigned dst_height);
using ResizerOfLevel = int (*)(int level, int mode, int channels, int bits, const void* src, int src_width,
                               int src_height, void* dst, int dst_width, int dst_height);
using PillowFrom = void* (*)(int channels, const unsigned char* src, int width, int height);
using PillowResize = void* (*)(void* image, int mode, int dst_width, int dst_height);
using PillowFree = void (*)(void* image);

constexpr int kPillowReduce = 100;  // by whole factors

Work plain_resize(const char* name, const SharedLibrary* library, const char* symbol, const ResizeTask& t) {
  if (library == nullptr) return {};
  const auto run = library->function<Resizer>(symbol);
  return if_served(name, t, [run, t] {
    return run(static_cast<int>(t.filter), t.channels, t.bits, t.src, t.src_width, t.src_height, t.dst,
               t.dst_width, t.dst_height);
  });
}

Work fast_image_resize(const char* name, const SharedLibrary* library, const ResizeTask& t) {
  if (library == nullptr) return {};
  static void* const state = library->function<NewResizer>("firw_new")();
  const auto run = library->function<ResizerWithState>("firw_resize");
  return if_served(name, t, [run, t] {
    const auto u = [](int value) { return static_cast<unsigned>(value); };
    return run(state, static_cast<unsigned>(t.filter), u(t.channels), u(t.bits), t.src, u(t.src_width),
               u(t.src_height), t.dst, u(t.dst_width), u(t.dst_height));
  });
}

Work simd_resize(const char* name, const SharedLibrary* library, int level, const ResizeTask& t) {
  // Its other filters take as many taps on reduction as on enlargement.
  const bool alike = t.filter == Filter::kNearest || (t.filter == Filter::kBox && t.bits == 8);
  if (library == nullptr || !alike) return {};
  const auto run = library->function<ResizerOfLevel>("simdw_resize");
  return if_served(name, t, [run, level, t] {
    return run(level, static_cast<int>(t.filter), t.channels, t.bits, t.src, t.src_width, t.src_height, t.dst,
               t.dst_width, t.dst_height);
  });
}

// Pictures are turned into the library's own form beforehand; results stay in it.
Work pillow_resize(const char* name, const SharedLibrary* library, int mode, const ResizeTask& t) {
  if (library == nullptr || t.bits != 8) return {};
  const auto resize = library->function<PillowResize>("pilw_resize");
  const auto release = library->function<PillowFree>("pilw_free");
  const std::shared_ptr<void> image(
      library->function<PillowFrom>("pilw_from")(t.channels, static_cast<const unsigned char*>(t.src),
                                                 t.src_width, t.src_height),
      [release](void* p) {
        if (p != nullptr) release(p);
      });
  if (image == nullptr) return {};
  return if_served(name, t, [resize, release, image, mode, t] {
    void* result = resize(image.get(), mode, t.dst_width, t.dst_height);
    if (result == nullptr) return 1;
    release(result);
    return 0;
  });
}

bool reduces_by_whole_factors(const ResizeTask& t) {
  return t.filter == Filter::kBox && t.src_width % t.dst_width == 0 && t.src_height % t.dst_height == 0;
}

// The interface of the transforms.
struct TransformPeer {
  const char* name;
  void* (*make)(int rows, int cols, bool single, bool forward, void* a, void* b);
  void* (*exec)(void* plan, void* a, void* b);
  void (*drop)(void* plan);
};

constexpr std::align_val_t kPlaneAlignment{64};
struct Free {
  void operator()(void* p) const noexcept { ::operator delete(p, kPlaneAlignment); }
};
using Plane = std::unique_ptr<void, Free>;

Plane allocate_plane(const ConversionTask& task) {
  const std::size_t value = 2 * (task.single ? sizeof(float) : sizeof(double));
  const std::size_t bytes =
      value * static_cast<std::size_t>(task.columns) * static_cast<std::size_t>(task.rows);
  return Plane(::operator new(bytes, kPlaneAlignment));  // MinGW has no aligned_alloc
}

// Two planes and a plan.
class Prepared {
 public:
  Prepared(const TransformPeer& peer, const ConversionTask& task)
      : peer_(peer), a_(allocate_plane(task)), b_(allocate_plane(task)) {
    plan_ = peer.make(task.rows, task.columns, task.single, true, a_.get(), b_.get());
  }
  Prepared(const Prepared&) = delete;
  Prepared& operator=(const Prepared&) = delete;
  ~Prepared() {
    if (plan_ != nullptr) peer_.drop(plan_);
  }

  bool served() const { return plan_ != nullptr; }
  void run(const ConversionTask& task, bool stream) const {
    convert_planes(task, stream, a_.get(), [this] { return peer_.exec(plan_, a_.get(), b_.get()); });
  }

 private:
  const TransformPeer& peer_;
  Plane a_;
  Plane b_;
  void* plan_;
};

}  // namespace

struct PeerFolder::Transform {
  std::string name;
  Level level;
  const TransformPeer* peer;
};

PeerFolder::PeerFolder(const std::string& folder) {
  fast_image_resize_ = load(folder, "libfir.so", Level::kAvx2);
  stb_ = load(folder, "libstb_avx2.so", Level::kAvx2);
  stb_fma_ = load(folder, "libstb_avx2fma.so", Level::kAvx2);
  pillow_ = load(folder, "libpillow_simd.so", Level::kAvx2);
  simd_ = load(folder, "libsimd.so", Level::kAvx2);
  std::vector<std::string> transforms;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string file = entry.path().filename().string();
    if (file.starts_with("fft_")) transforms.push_back(file);
  }
  std::sort(transforms.begin(), transforms.end());
  for (const std::string& file : transforms) {
    if (file.ends_with("_v3.so")) load_transform(folder, file, Level::kAvx2);
    if (file.ends_with("_v4.so")) load_transform(folder, file, Level::kAvx512);
  }
}

PeerFolder::~PeerFolder() = default;

const SharedLibrary* PeerFolder::load(const std::string& folder, const std::string& file, Level level) {
  const std::filesystem::path path = std::filesystem::path(folder) / file;
  if (level_of_processor() < level || !std::filesystem::exists(path)) return nullptr;
  libraries_.push_back(std::make_unique<SharedLibrary>(path.string()));
  names_.push_back(file);
  return libraries_.back().get();
}

void PeerFolder::load_transform(const std::string& folder, const std::string& file, Level level) {
  const SharedLibrary* library = load(folder, file, level);
  if (library == nullptr) return;
  const TransformPeer* peer = library->function<const TransformPeer* (*)()>("get_peer")();
  transforms_.push_back({peer->name, level, peer});
}

void PeerFolder::add_resizes(const ResizeTask& task, std::vector<ResizePeer>& peers) const {
  const auto add = [&](const char* name, Level level, const auto& resize, auto... arguments) {
    if (Work work = resize(name, arguments..., task)) peers.push_back({name, level, true, std::move(work)});
  };
  add("fast_image_resize", Level::kAvx2, fast_image_resize, fast_image_resize_);
  add("stb_image_resize2", Level::kAvx2, plain_resize, stb_, "peer_stb_avx2");
  add("stb_image_resize2 fma", Level::kAvx2, plain_resize, stb_fma_, "peer_stb_avx2fma");
  add("Pillow-SIMD", Level::kAvx2, pillow_resize, pillow_, static_cast<int>(task.filter));
  if (reduces_by_whole_factors(task)) {
    add("Pillow-SIMD reduce", Level::kAvx2, pillow_resize, pillow_, kPillowReduce);
  }
  add("Simd", Level::kAvx2, simd_resize, simd_, 2);
  if (level_of_processor() == Level::kAvx512) add("Simd avx512", Level::kAvx512, simd_resize, simd_, 512);
}

void PeerFolder::add_conversions(const ConversionTask& task, std::vector<ConversionPeer>& peers) const {
  for (const Transform& transform : transforms_) {
    const TransformPeer& peer = *transform.peer;
    const auto prepared = std::make_shared<const Prepared>(peer, task);
    if (!prepared->served()) continue;
    for (const bool stream : {false, true}) {
      if (stream && !worth_streaming(task)) continue;
      const Work call = [&peer, task, stream] { Prepared(peer, task).run(task, stream); };
      const Work execute = [prepared, task, stream] { prepared->run(task, stream); };
      peers.push_back({transform.name + (stream ? " streaming" : ""), transform.level, call, execute});
    }
  }
}

}  // namespace kyv::bench::peers
