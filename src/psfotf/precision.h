// What the conversions and the transform service both name.
#pragma once

namespace kyv::psfotf {

enum class Precision { kSingle, kDouble };
enum class Direction { kForward, kBackward };

}  // namespace kyv::psfotf
