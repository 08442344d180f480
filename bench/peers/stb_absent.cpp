#include "peers/peers.h"

namespace kyv::bench::peers {

Work stb_resize(const ResizeTask&) { return {}; }

}  // namespace kyv::bench::peers
