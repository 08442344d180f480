// One resize on several threads: bands of destination rows. No export asks for it.
#pragma once

#include <cstdint>

#include "resize/primitive.h"

namespace kyv::resize {

// Does what primitive(whole, kernels) does, in one band of rows per worker of the calling thread's pool and
// one for the caller: the same pixels, bit for bit. Without a pool, on a single processor, the caller does it
// all. `whole.work` is not looked at: the bands share the thread's work buffer.
//
// The source rectangle must reach all of the destination's rows. 0 done; -1 rejected by a primitive; -2 no
// work buffer, or a band that no worker would take. The destination is whole only if the result is 0.
int resize_in_bands(ResizeSqrPixel* primitive, std::int32_t channels, const ResizeSqrPixelArguments& whole,
                    const Kernels& kernels);

}  // namespace kyv::resize
