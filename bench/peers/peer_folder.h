// The peers that lie in a folder as libraries.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "common/shared_library.h"
#include "peers/peers.h"

namespace kyv::bench::peers {

class PeerFolder {
 public:
  // Loads what lies in `folder` and this processor can run. Throws std::runtime_error when a library that is
  // there cannot be loaded.
  explicit PeerFolder(const std::string& folder);
  ~PeerFolder();

  const std::vector<std::string>& names() const { return names_; }
  void add_resizes(const ResizeTask& task, std::vector<ResizePeer>& peers) const;
  void add_conversions(const ConversionTask& task, std::vector<ConversionPeer>& peers) const;

 private:
  struct Transform;

  const SharedLibrary* load(const std::string& folder, const std::string& file, Level level);
  void load_transform(const std::string& folder, const std::string& file, Level level);

  std::vector<std::unique_ptr<SharedLibrary>> libraries_;
  std::vector<std::string> names_;
  const SharedLibrary* fast_image_resize_ = nullptr;
  const SharedLibrary* stb_ = nullptr;
  const SharedLibrary* stb_fma_ = nullptr;
  const SharedLibrary* pillow_ = nullptr;
  const SharedLibrary* simd_ = nullptr;
  std::vector<Transform> transforms_;
};

}  // namespace kyv::bench::peers
