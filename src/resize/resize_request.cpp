#include "resize/resize_request.h"

namespace kyv::resize {

int run_resize_request(const ResizeRequest&) noexcept { return -1; }

}  // namespace kyv::resize
