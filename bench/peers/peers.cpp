#include "peers/peers.h"

#include <cstdio>
#include <filesystem>
#include <set>

#include "common/host.h"
#include "peers/peer_folder.h"

namespace kyv::bench::peers {

Level level_of_processor() {
#if defined(__x86_64__) || defined(__i386__)
  const bool avx2 =
      __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi2");
  const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                      __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
                      __builtin_cpu_supports("avx512vl");
  if (avx2) return avx512 ? Level::kAvx512 : Level::kAvx2;
#endif
  return Level::kBaseline;
}

Work if_served(const char* name, const ResizeTask& task, std::function<int()> resize) {
  const int result = result_in_child(resize);
  if (result < 0) {
    static std::set<std::string> said;
    const std::string what =
        std::string(name) + ", " + std::to_string(task.bits) + "uC" + std::to_string(task.channels);
    if (said.insert(what).second)
      std::fprintf(stderr, "left out: %s: ended by signal %d\n", what.c_str(), -result);
  }
  if (result != 0) return {};
  return [resize = std::move(resize)] { resize(); };
}

Peers::Peers(const std::string& folder) {
  if (sizeof(void*) != 8 || folder.empty() || !std::filesystem::is_directory(folder)) return;
  folder_ = std::make_unique<PeerFolder>(folder);
  const std::filesystem::path zimg = std::filesystem::path(folder) / "libzimg3.so";
  if (std::filesystem::exists(zimg)) use_zimg(zimg.string());
}

Peers::~Peers() = default;

std::vector<std::string> Peers::names() const {
  return folder_ == nullptr ? std::vector<std::string>() : folder_->names();
}

bool Peers::from_folder() const { return folder_ != nullptr && !folder_->names().empty(); }

std::vector<ResizePeer> Peers::resizes(const ResizeTask& task, Level most) const {
  std::vector<ResizePeer> peers;
  const auto add = [&peers](const char* name, Level level, bool interleaved, Work work) {
    if (work) peers.push_back({name, level, interleaved, std::move(work)});
  };
  if (folder_) folder_->add_resizes(task, peers);
  for (const Level level : {Level::kAvx2, Level::kAvx512}) {
    const bool can = level <= level_of_processor() && task.filter != Filter::kBox;
    if (can && level <= most)
      add(level == Level::kAvx2 ? "zimg" : "zimg avx512", level, false, zimg_resize(task, level));
  }
  add("stb_image_resize", Level::kBaseline, true, stb_resize(task));
  std::erase_if(peers, [most](const ResizePeer& peer) { return peer.level > most; });
  return peers;
}

std::vector<ConversionPeer> Peers::conversions(const ConversionTask& task, Level most) const {
  std::vector<ConversionPeer> peers;
  if (folder_) folder_->add_conversions(task, peers);
  for (ConversionPeer& fftw : fftw_conversions(task)) peers.push_back(std::move(fftw));
  std::erase_if(peers, [most](const ConversionPeer& peer) { return peer.level > most; });
  return peers;
}

}  // namespace kyv::bench::peers
