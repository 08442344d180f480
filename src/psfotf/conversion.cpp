#include "psfotf/conversion.h"

namespace kyv::psfotf {

int convert_planes(const PlaneStack& stack, Direction, Precision, const runtime::KernelSet&) noexcept {
  const bool empty = stack.planes < 1 || stack.width < 1 || stack.height < 1;
  return empty ? 0 : -1;
}

}  // namespace kyv::psfotf
