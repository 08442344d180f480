// Other libraries doing the same work, for comparison in the same run. All are optional: those that the build
// found or that lie in the folder of peers, and only where the processor has what they were built for.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/timing.h"

namespace kyv::bench::peers {

// What a peer's code needs of the processor.
enum class Level { kBaseline, kAvx2, kAvx512 };
Level level_of_processor();

enum class Filter { kNearest = 1, kLinear = 2, kCubic = 4, kBox = 8, kLanczos = 16 };

// Interleaved images with tight rows; both outlive the work.
struct ResizeTask {
  const void* src;
  int src_width;
  int src_height;
  void* dst;
  int dst_width;
  int dst_height;
  int channels;  // 1, 3, 4
  int bits;      // 8, 16
  Filter filter;
};

struct ResizePeer {
  std::string name;
  Level level;
  bool interleaved;  // as our pictures are; else it is spared taking the channels apart
  Work work;
};

// The work, when a first try of it, in a child process, answers 0. A peer that a signal ends there (it may
// use instructions that this processor lacks) is left out; standard error says so once for each format.
Work if_served(const char* name, const ResizeTask& task, std::function<int()> resize);

struct ConversionTask {
  int columns;  // contiguous values
  int rows;
  bool single;
  bool real;  // no imaginary part
  const double* src_real;
  const double* src_imag;
  double* dst_real;
  double* dst_imag;
  int planes;
};

// A forward transform of every plane: copied into an interleaved plane, executed, copied out.
struct ConversionPeer {
  std::string name;
  Level level;
  Work call;     // with buffers and a plan made and released
  Work execute;  // with buffers and plan at hand
};

// The libraries of a folder (bench/README.md has the names and the interface) and those of the build.
class Peers {
 public:
  // `folder` may be empty or lack any of them. Throws std::runtime_error when a library is there and cannot
  // be loaded.
  explicit Peers(const std::string& folder);
  ~Peers();

  std::vector<std::string> names() const;
  bool from_folder() const;  // false: ratios to the best peer can only be estimated

  // Those that can do the task, none of them above `most`.
  std::vector<ResizePeer> resizes(const ResizeTask& task, Level most) const;
  std::vector<ConversionPeer> conversions(const ConversionTask& task, Level most) const;

 private:
  std::unique_ptr<class PeerFolder> folder_;
};

// zimg works on separate planes: it is given a planar copy of the source and leaves planes. One call builds
// the filter graph once and runs it over every plane. Filters of the same support; no box.
Work zimg_resize(const ResizeTask& task, Level level);
// Which zimg is used from now on: the file `library`, by default the one that the build found.
void use_zimg(const std::string& library);

// stb_image_resize, version 1: triangle, Catmull-Rom and box; no nearest, no Lanczos, no box on enlargement.
Work stb_resize(const ResizeTask& task);

// FFTW: one execution, in place, of a plan made with FFTW_MEASURE beforehand; a forward complex
// transform of `rows` runs of `columns` contiguous values.
Work fftw_execute(int columns, int rows, bool single);

// The same between the copies of every plane of a task, and for planes without an imaginary part the
// transform of real values with the mirrored half filled in. The whole call makes a plan by FFTW's estimate.
std::vector<ConversionPeer> fftw_conversions(const ConversionTask& task);

}  // namespace kyv::bench::peers
