#include "peers/peers.h"

namespace kyv::bench::peers {

Work zimg_resize(const ResizeTask&) { return {}; }

}  // namespace kyv::bench::peers
