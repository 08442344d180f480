// KyvMathResize and KyvMathResizeWithRegion, four times in five with arguments that are good, else with any:
// the status, the pixels, and nothing else touched. The exports use the variant that the library chooses; the
// others get the same request below them.
#include <cstdint>

#include "KyvMath.h"
#include "arena.h"
#include "fuzz_target.h"
#include "input.h"
#include "resize/reference.h"
#include "resize/resize_request.h"
#include "resize_image.h"
#include "runtime/dispatch.h"
#include "thread/thread_context.h"

namespace {

using namespace kyv;

constexpr std::size_t kArenaBytes = std::size_t{1} << 25;
constexpr std::int32_t kLongestSide = 12000;

struct Call {
  bool whole = false;
  unsigned mode = 0;
  std::int32_t channels = 0;
  std::int32_t bits = 0;
  bool has_src = true;
  bool has_dst = true;
  fuzz::ImageArguments src;
  reference::Rect region;
  fuzz::ImageArguments dst;
};

// Mostly the smallest step and a little more.
std::int32_t step_of(fuzz::Input& in, std::int32_t width, std::int32_t pixel_bytes) {
  const std::int32_t extra = in.integer();
  const std::int64_t step = std::int64_t{width} * pixel_bytes + extra;
  if (extra >= 0 && extra < 192 && step >= 0 && step <= INT32_MAX) return static_cast<std::int32_t>(step);
  return extra;
}

std::int32_t padded_step(fuzz::Input& in, std::int32_t row_bytes) {
  const std::uint8_t kind = in.byte();
  return row_bytes + (kind < 128 ? 0 : kind < 224 ? kind % 70 : in.below(5000));
}

Call read_good_call(fuzz::Input& in) {
  constexpr unsigned modes[] = {1, 2, 4, 8, 16};
  constexpr std::int32_t channels[] = {1, 3, 4};
  Call c;
  const std::uint8_t format = in.byte();
  c.mode = modes[format % 5];
  c.channels = channels[format / 5 % 3];
  c.bits = 8 + format / 15 % 2 * 8;
  c.whole = format >= 192;
  c.src.width = in.size(kLongestSide);
  c.src.height = in.size(kLongestSide);
  c.region = {0, 0, c.src.width, c.src.height};
  if (!c.whole) {
    c.region.x = in.below(c.src.width);
    c.region.y = in.below(c.src.height);
    c.region.width = 1 + in.below(c.src.width - c.region.x);
    c.region.height = 1 + in.below(c.src.height - c.region.y);
  }
  c.dst.width = in.size(c.mode == 8 ? c.region.width : kLongestSide);
  c.dst.height = in.size(c.mode == 8 ? c.region.height : kLongestSide);
  const std::int32_t pixel_bytes = c.bits / 8 * c.channels;
  c.src.step = padded_step(in, c.src.width * pixel_bytes);
  c.dst.step = padded_step(in, c.dst.width * pixel_bytes);
  return c;
}

Call read_any_call(fuzz::Input& in) {
  constexpr unsigned modes[] = {1, 2, 4, 8, 16};
  constexpr std::int32_t channels[] = {1, 3, 4};
  Call c;
  const std::uint8_t kinds = in.byte();
  c.whole = (kinds & 1) != 0;
  c.has_src = (kinds & 0x1E) != 0x1E;
  c.has_dst = (kinds & 0xF0) != 0xF0;
  const std::uint8_t format = in.byte();
  c.mode = format < 240 ? modes[format % 5] : static_cast<unsigned>(in.integer());
  c.channels = format < 250 ? channels[format / 5 % 3] : in.integer();
  c.bits = format < 252 ? 8 + format / 15 % 2 * 8 : in.integer();
  const std::int32_t pixel_bytes = c.bits / 8 * (c.channels % 5);
  c.src.width = in.integer();
  c.src.height = in.integer();
  c.src.step = step_of(in, c.src.width, pixel_bytes);
  c.dst.width = in.integer();
  c.dst.height = in.integer();
  c.dst.step = step_of(in, c.dst.width, pixel_bytes);
  if (c.whole || in.byte() % 4 == 0) {
    c.region = {0, 0, c.src.width, c.src.height};
  } else {
    c.region = {in.integer(), in.integer(), in.integer(), in.integer()};
  }
  return c;
}

bool is_known_mode(unsigned mode) { return mode == 1 || mode == 2 || mode == 4 || mode == 8 || mode == 16; }

bool passes_first_check(const Call& c) {
  const bool sizes =
      c.whole ? c.src.width != 0 && c.src.height != 0 : c.region.width != 0 && c.region.height != 0;
  return c.has_src && c.has_dst && sizes && c.dst.width != 0 && c.dst.height != 0;
}

bool is_valid(const Call& c) {
  const reference::Rect& r = c.region;
  if (c.src.width <= 0 || c.src.height <= 0 || c.dst.width <= 0 || c.dst.height <= 0) return false;
  if (r.x < 0 || r.y < 0 || r.width <= 0 || r.height <= 0) return false;
  if (r.x > c.src.width - r.width || r.y > c.src.height - r.height) return false;
  if (c.channels != 1 && c.channels != 3 && c.channels != 4) return false;
  if (c.bits != 8 && c.bits != 16) return false;
  const std::int64_t pixel_bytes = c.bits / 8 * c.channels;
  if (pixel_bytes * c.src.width > c.src.step || pixel_bytes * c.dst.width > c.dst.step) return false;
  if (!is_known_mode(c.mode)) return false;
  return c.mode != 8 || (c.dst.width <= r.width && c.dst.height <= r.height);
}

KyvMathStatusCode make(const Call& c, const std::uint8_t* src, std::uint8_t* dst) {
  src = c.has_src ? src : nullptr;
  dst = c.has_dst ? dst : nullptr;
  if (c.whole) {
    return KyvMathResize(c.mode, c.channels, c.bits, src, c.src.width, c.src.height, c.src.step, dst,
                         c.dst.width, c.dst.height, c.dst.step);
  }
  return KyvMathResizeWithRegion(c.mode, c.channels, c.bits, src, c.src.width, c.src.height, c.src.step,
                                 c.region.x, c.region.y, c.region.width, c.region.height, dst, c.dst.width,
                                 c.dst.height, c.dst.step);
}

void require_status(KyvMathStatusCode status, KyvMathStatusCode expected) {
  fuzz::require(status == expected, "status %u instead of %u", status, expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzz::Arena source(kArenaBytes);
  static fuzz::Arena destination(kArenaBytes);
  fuzz::Input in(data, size);
  const std::uint8_t places = in.byte();
  const bool at_end = places % 2 == 0;
  const std::size_t src_offset = places % 4 < 2 ? 0 : in.byte() % 64;
  const std::size_t dst_offset = places % 4 < 2 ? 0 : in.byte() % 64;
  const std::int64_t most_work = fuzz::most_work(in);
  const Call c = in.byte() < 205 ? read_good_call(in) : read_any_call(in);

  if (places < 8) {
    KyvMathTerminate();
    require_status(make(c, source.forbidden(), destination.forbidden()), KYVMATH_NOT_INITIALIZED);
  }
  KyvMathInitialize();
  if (!passes_first_check(c) || !is_valid(c)) {
    const auto expected = passes_first_check(c) ? KYVMATH_RESIZE_FAILED : KYVMATH_BAD_ARGUMENT;
    require_status(make(c, source.forbidden(), destination.forbidden()), expected);
    return 0;
  }

  const std::int32_t pixel_bytes = c.bits / 8 * c.channels;
  const std::size_t src_bytes = fuzz::image_bytes(c.src, pixel_bytes);
  const std::size_t dst_bytes = fuzz::image_bytes(c.dst, pixel_bytes);
  if (src_bytes + src_offset > kArenaBytes || dst_bytes + dst_offset > kArenaBytes) return 0;
  const std::int64_t work = fuzz::work_of(c.mode, c.region.width, c.region.height, c.dst.width, c.dst.height);
  if (work * c.channels > most_work) return 0;

  std::uint8_t* const src = source.take(src_bytes, at_end, src_offset);
  std::uint8_t* const dst = destination.take(dst_bytes, at_end, dst_offset);
  in.fill(src, src_bytes);
  require_status(make(c, src, dst), KYVMATH_OK);

  reference::PrimitiveCall call;
  call.bits = c.bits;
  call.channels = c.channels;
  call.src = src;
  call.src_width = c.src.width;
  call.src_height = c.src.height;
  call.src_step = c.src.step;
  call.src_roi = c.region;
  call.mode = static_cast<int>(c.mode);
  const reference::Result expected = reference::resize(call, c.dst.width, c.dst.height);
  fuzz::require(expected.written.width == c.dst.width && expected.written.height == c.dst.height,
                "the reference leaves pixels out");
  fuzz::require_written(dst, c.dst.step, pixel_bytes, expected, "export");
  fuzz::require(destination.untouched(true), "bytes outside the destination's pixels were written");

  const resize::ResizeRequest request{call.mode,       c.channels, c.bits,      src,          c.src.width,
                                      c.src.height,    c.src.step, c.region.x,  c.region.y,   c.region.width,
                                      c.region.height, dst,        c.dst.width, c.dst.height, c.dst.step};
  fuzz::for_each_variant([&](const runtime::KernelSet& set) {
    if (&set == &runtime::active_kernel_set()) return;
    fuzz::require(resize::run_resize_request(request, set) == 0, "%s: refused", set.name);
    thread::release_thread_context();
    fuzz::require_written(dst, c.dst.step, pixel_bytes, expected, set.name);
    fuzz::require(destination.untouched(true), "%s: bytes outside were written", set.name);
  });
  return 0;
}
