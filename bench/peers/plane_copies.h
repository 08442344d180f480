// The transforms of a stack by way of one interleaved plane.
#pragma once

#include <functional>

#include "peers/peers.h"

namespace kyv::bench::peers {

// Whether copies past the caches may be faster.
bool worth_streaming(const ConversionTask& task);

// Each plane is copied into `plane`, transformed and copied from where `execute` says that the result lies.
// With the widest vectors of the processor.
void convert_planes(const ConversionTask& task, bool stream, void* plane,
                    const std::function<void*()>& execute);

}  // namespace kyv::bench::peers
