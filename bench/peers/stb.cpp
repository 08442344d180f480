#include <stb/stb_image_resize.h>

#include "peers/peers.h"

namespace kyv::bench::peers {
namespace {

stbir_filter filter_of(Filter filter) {
  switch (filter) {
    case Filter::kLinear:
      return STBIR_FILTER_TRIANGLE;
    case Filter::kCubic:
      return STBIR_FILTER_CATMULLROM;
    default:
      return STBIR_FILTER_BOX;
  }
}

}  // namespace

Work stb_resize(const ResizeTask& task) {
  const bool enlarges = task.dst_width > task.src_width || task.dst_height > task.src_height;
  if (task.filter == Filter::kNearest || task.filter == Filter::kLanczos) return {};
  if (task.filter == Filter::kBox && enlarges) return {};
  const stbir_filter filter = filter_of(task.filter);
  if (task.bits == 8) {
    return if_served("stb_image_resize", task, [task, filter] {
      return stbir_resize_uint8_generic(
                 static_cast<const unsigned char*>(task.src), task.src_width, task.src_height, 0,
                 static_cast<unsigned char*>(task.dst), task.dst_width, task.dst_height, 0, task.channels,
                 STBIR_ALPHA_CHANNEL_NONE, 0, STBIR_EDGE_CLAMP, filter, STBIR_COLORSPACE_LINEAR, nullptr) == 1
                 ? 0
                 : 1;
    });
  }
  return if_served("stb_image_resize", task, [task, filter] {
    return stbir_resize_uint16_generic(
               static_cast<const stbir_uint16*>(task.src), task.src_width, task.src_height, 0,
               static_cast<stbir_uint16*>(task.dst), task.dst_width, task.dst_height, 0, task.channels,
               STBIR_ALPHA_CHANNEL_NONE, 0, STBIR_EDGE_CLAMP, filter, STBIR_COLORSPACE_LINEAR, nullptr) == 1
               ? 0
               : 1;
  });
}

}  // namespace kyv::bench::peers
