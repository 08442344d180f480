// The C++ wrapper alone, every template of it: it promises to need neither exceptions nor run-time types.
#include "KyvMath.hpp"

using kyvmath::ImageView;

template kyvmath::Result kyvmath::resize(Mode, ImageView<const std::uint8_t>,
                                         ImageView<std::uint8_t>) noexcept;
template kyvmath::Result kyvmath::resize(Mode, ImageView<std::uint16_t>, const Rect&,
                                         ImageView<std::uint16_t>) noexcept;
template class kyvmath::ImageView<const std::uint16_t>;
template class kyvmath::ImageView<std::uint8_t>;

static_assert(kyvmath::Result(0u) && !kyvmath::Result(96u));
static_assert(kyvmath::Result(12u).status() == kyvmath::Status::not_initialized);
static_assert(ImageView<std::uint16_t>(nullptr, 5, 2, 3).step() == 30);
static_assert(kyvmath::PlaneShape::of_pictures(640, 480).width == 480);
