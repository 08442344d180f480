// The primitives with any words, rectangles, factors and shifts, every row pass and lowered thresholds: the
// status in the order of the checks, the reference's pixels from every variant, and nothing else touched.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

#include "arena.h"
#include "fuzz_target.h"
#include "input.h"
#include "resize/filtered/row_pass.h"
#include "resize/primitive.h"
#include "resize/reference.h"
#include "resize_image.h"
#include "runtime/aligned_memory.h"

namespace {

using namespace kyv;

constexpr std::size_t kArenaBytes = std::size_t{1} << 25;
constexpr std::int32_t kMostWorkBytes = 1 << 25;
constexpr std::int32_t kLongestSide = 8000;

struct Call {
  std::int32_t bits = 8;
  std::int32_t channels = 1;
  fuzz::ImageArguments src;
  fuzz::ImageArguments dst;
  resize::ResizeSqrPixelArguments arguments;
  std::uint8_t nulls = 0;
  resize::RowPassProbe probe;
};

resize::IppiRect read_rect(fuzz::Input& in, std::int32_t width, std::int32_t height) {
  if (in.byte() % 4 == 0) return {0, 0, width, height};
  return {in.integer(), in.integer(), in.integer(), in.integer()};
}

// Half of the factors are those of the rectangles.
double read_factor(fuzz::Input& in, std::int32_t dst_size, std::int32_t src_size) {
  return in.byte() % 2 == 0 ? static_cast<double>(dst_size) / static_cast<double>(src_size) : in.real();
}

resize::IppiRect rect_inside(fuzz::Input& in, std::int32_t width, std::int32_t height) {
  if (in.byte() % 4 == 0) return {0, 0, width, height};
  const std::int32_t x = in.below(width);
  const std::int32_t y = in.below(height);
  return {x, y, 1 + in.below(width - x), 1 + in.below(height - y)};
}

// A shift that leaves most of the destination's rectangle to be written.
double good_shift(fuzz::Input& in, std::int32_t dst_first, std::int32_t src_first, double factor) {
  const double exact = dst_first - src_first * factor;
  const std::uint8_t kind = in.byte();
  return kind < 96 ? exact : kind < 160 ? std::round(exact) : exact + (in.byte() - 128) / 61.0;
}

// Rectangles inside their images, factors and shifts that map the one to the other or nearly so.
void read_good_geometry(fuzz::Input& in, Call& c) {
  resize::ResizeSqrPixelArguments& a = c.arguments;
  a.src_roi = rect_inside(in, c.src.width, c.src.height);
  a.dst_roi = rect_inside(in, c.dst.width, c.dst.height);
  const auto factor = [&](std::int32_t dst_size, std::int32_t src_size, double power) {
    const double exact = static_cast<double>(dst_size) / src_size;
    if (a.interpolation == 8) return std::min(exact, 1.0);
    const std::uint8_t kind = in.byte();
    if (kind < 192) return exact;
    return kind < 224 ? power : exact * (1.0 + in.byte() / 255.0);
  };
  // Sums of whole numbers, where both are the same.
  constexpr double kPowers[] = {0.125, 0.25, 0.5, 2.0};
  const double power = kPowers[(a.dst_roi.width + a.dst_roi.height) % 4];
  a.x_factor = factor(a.dst_roi.width, a.src_roi.width, power);
  a.y_factor = factor(a.dst_roi.height, a.src_roi.height, power);
  a.x_shift = good_shift(in, a.dst_roi.x, a.src_roi.x, a.x_factor);
  a.y_shift = good_shift(in, a.dst_roi.y, a.src_roi.y, a.y_factor);
}

void read_any_geometry(fuzz::Input& in, Call& c) {
  resize::ResizeSqrPixelArguments& a = c.arguments;
  if (in.byte() >= 250) a.src_size = {in.integer(), in.integer()};
  a.src_roi = read_rect(in, c.src.width, c.src.height);
  a.dst_roi = read_rect(in, c.dst.width, c.dst.height);
  a.x_factor = read_factor(in, a.dst_roi.width, a.src_roi.width);
  a.y_factor = read_factor(in, a.dst_roi.height, a.src_roi.height);
  a.x_shift = in.real();
  a.y_shift = in.real();
}

// Half of the inputs lower thresholds, so that small pictures take the paths of large ones.
resize::Tuning read_tuning(fuzz::Input& in) {
  resize::Tuning tuning;
  const std::uint8_t kinds = in.byte();
  if (kinds % 2 == 0) return tuning;
  if (kinds / 2 % 2 == 1) tuning.large_source = tuning.huge_source = 0;
  if (kinds / 4 % 2 == 1) tuning.prefetched_source = 0;
  if (kinds / 8 % 2 == 1) tuning.streamed_destination = 0;
  if (kinds / 16 % 2 == 1) tuning.ring_floats = 1 + in.below(20000);
  tuning.has_cheap_wide_permutations = kinds / 32 % 2 == 1;
  return tuning;
}

// Rows are folded, or are not, or as is faster, whatever pass is wanted.
resize::RowPassProbe read_probe(fuzz::Input& in) {
  resize::RowPassProbe probe;
  const std::uint8_t kind = in.byte();
  if (kind < 128) probe.wanted = static_cast<resize::RowPassKind>(kind % 4);
  if (kind / 4 % 4 < 3) probe.folding = kind / 4 % 4 > 0;
  return probe;
}

Call read_call(fuzz::Input& in) {
  constexpr std::uint32_t modes[] = {1, 2, 4, 5, 8, 16};
  constexpr std::int32_t channels[] = {1, 3, 4};
  Call c;
  const std::uint8_t format = in.byte();
  c.bits = 8 + format % 2 * 8;
  c.channels = channels[format / 2 % 3];
  c.nulls = format >= 0xF0 ? format : 0;
  const std::uint8_t word = in.byte();
  resize::ResizeSqrPixelArguments& a = c.arguments;
  a.interpolation = word < 230 ? modes[word % 6] : word % 32u | std::uint32_t{in.byte()} << 24;
  c.src.width = in.size(kLongestSide);
  c.src.height = in.size(kLongestSide);
  c.dst.width = in.size(kLongestSide);
  c.dst.height = in.size(kLongestSide);
  c.src.step = c.src.width * c.channels * c.bits / 8 + in.below(40);
  c.dst.step = c.dst.width * c.channels * c.bits / 8 + in.below(40);
  a.tuning = read_tuning(in);
  c.probe = read_probe(in);
  a.src_size = {c.src.width, c.src.height};
  a.src_step = c.src.step;
  a.dst_step = c.dst.step;
  if (in.byte() < 205) {
    read_good_geometry(in, c);
  } else {
    read_any_geometry(in, c);
  }
  return c;
}

bool is_valid(const resize::IppiRect& r) { return r.x >= 0 && r.y >= 0 && r.width > 0 && r.height > 0; }

// The status of the checks, in their order.
resize::IppStatus checked(const resize::ResizeSqrPixelArguments& a, bool has_null) {
  if (has_null) return -8;
  if (a.src_size.width <= 0 || a.src_size.height <= 0 || !is_valid(a.src_roi) || !is_valid(a.dst_roi))
    return -6;
  if (!(a.x_factor > 0) || !(a.y_factor > 0)) return -23;
  const std::uint32_t mode = a.interpolation % (1u << 29);
  const std::uint32_t flags = a.interpolation >> 29;
  constexpr std::uint32_t known =
      1u << 1 | 1u << 2 | 1u << 4 | 1u << 5 | 1u << 6 | 1u << 7 | 1u << 8 | 1u << 16;
  if (mode > 16 || (known >> mode & 1) == 0) return -22;
  if ((flags & (flags - 1)) != 0) return -22;
  if (mode == 8 && (a.x_factor > 1 || a.y_factor > 1)) return -23;
  if (mode == 6 || mode == 7 || flags > 1 || (flags == 1 && mode != 1 && mode != 8)) return -22;
  return a.src_roi.x >= a.src_size.width || a.src_roi.y >= a.src_size.height ? 29 : 0;
}

reference::PrimitiveCall reference_call(const Call& c, const std::uint8_t* src) {
  const resize::ResizeSqrPixelArguments& a = c.arguments;
  reference::PrimitiveCall call;
  call.bits = c.bits;
  call.channels = c.channels;
  call.src = src;
  call.src_width = a.src_size.width;
  call.src_height = a.src_size.height;
  call.src_step = a.src_step;
  call.src_roi = {a.src_roi.x, a.src_roi.y, a.src_roi.width, a.src_roi.height};
  call.dst_roi = {a.dst_roi.x, a.dst_roi.y, a.dst_roi.width, a.dst_roi.height};
  call.x_factor = a.x_factor;
  call.y_factor = a.y_factor;
  call.x_shift = a.x_shift;
  call.y_shift = a.y_shift;
  call.mode = static_cast<int>(a.interpolation % (1u << 29));
  return call;
}

// Whether a factor reduces more strongly than the rectangles tell, so that the queried buffer may be short.
bool may_need_more_work(const resize::ResizeSqrPixelArguments& a) {
  return a.x_factor * a.src_roi.width < a.dst_roi.width || a.y_factor * a.src_roi.height < a.dst_roi.height;
}

// Whether the images of the call are as large as it says: a call may only be made when they are, unless it is
// refused.
bool images_are_real(const Call& c) {
  const resize::ResizeSqrPixelArguments& a = c.arguments;
  return a.src_size.width <= c.src.width && a.src_size.height <= c.src.height &&
         std::int64_t{a.dst_roi.x} + a.dst_roi.width <= c.dst.width &&
         std::int64_t{a.dst_roi.y} + a.dst_roi.height <= c.dst.height;
}

void check_rect_query(const resize::ResizeSqrPixelArguments& a) {
  resize::IppiRect r{-1, -1, -1, -1};
  const resize::IppStatus status =
      resize::ippiGetResizeRect(a.src_roi, &r, a.x_factor, a.y_factor, a.x_shift, a.y_shift, a.interpolation);
  const bool sound = r.x >= 0 && r.y >= 0 && r.width > 0 && r.height > 0 && r.x <= INT32_MAX - r.width &&
                     r.y <= INT32_MAX - r.height;
  fuzz::require(status == 0 ? sound : r.x == -1 && r.height == -1, "rectangle query: status %d, %d %d %d %d",
                status, r.x, r.y, r.width, r.height);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzz::Arena source(kArenaBytes);
  static fuzz::Arena destination(kArenaBytes);
  static fuzz::Arena work_memory(std::size_t{kMostWorkBytes});
  fuzz::Input in(data, size);
  const std::uint8_t places = in.byte();
  const bool at_end = places % 2 == 0;
  const std::size_t src_offset = places % 4 < 2 ? 0 : in.byte() % 64;
  const std::size_t dst_offset = places % 4 < 2 ? 0 : in.byte() % 64;
  const std::int64_t most_work = fuzz::most_work(in);
  Call c = read_call(in);
  resize::ResizeSqrPixelArguments& a = c.arguments;
  a.probe = &c.probe;
  check_rect_query(a);

  std::int32_t work_bytes = 0;
  const bool has_size = resize::ippiResizeGetBufSize(a.src_roi, a.dst_roi, c.channels, a.interpolation,
                                                     &work_bytes) == resize::kNoError;
  if (has_size && work_bytes > kMostWorkBytes) return 0;
  const std::size_t src_bytes = fuzz::image_bytes(c.src, c.channels * c.bits / 8);
  const std::size_t dst_bytes = fuzz::image_bytes(c.dst, c.channels * c.bits / 8);
  if (src_bytes + src_offset > kArenaBytes || dst_bytes + dst_offset > kArenaBytes) return 0;
  const std::int64_t work =
      fuzz::work_of(a.interpolation % 32, c.src.width, c.src.height, c.dst.width, c.dst.height);
  if (work * c.channels > most_work) return 0;
  std::uint8_t* const src = source.take(src_bytes, at_end, src_offset);
  std::uint8_t* const dst = destination.take(dst_bytes, at_end, dst_offset);
  in.fill(src, src_bytes);

  const bool has_null = (c.nulls & 7) != 0;
  const resize::IppStatus expected = checked(a, has_null);
  const bool real = images_are_real(c);
  a.src = (c.nulls & 1) != 0 ? nullptr : real ? src : source.forbidden();
  a.dst = (c.nulls & 2) != 0 ? nullptr : real ? dst : destination.forbidden();
  if (expected == 0 && !real) return 0;

  const auto mask = static_cast<std::uintptr_t>(runtime::kMemoryAlignment - 1);
  std::uint8_t* const work_end =
      work_memory.take((static_cast<std::size_t>(work_bytes) + mask) & ~mask, true);
  a.work = (c.nulls & 4) != 0 ? nullptr : work_end;

  reference::Result result;
  bool first = true;
  fuzz::for_each_variant([&](const runtime::KernelSet& set) {
    const resize::IppStatus status = resize::resize_sqr_pixel(c.bits, c.channels)(a, *set.resize);
    if (expected != 0) {
      fuzz::require(status == expected, "%s: status %d instead of %d", set.name, status, expected);
    } else if (status == 0 || status == 46) {
      if (first) result = reference::resize_sqr_pixel(reference_call(c, src));
      first = false;
      fuzz::require((status == 46) == (a.interpolation >> 29 != 0), "%s: status %d", set.name, status);
      fuzz::require(!result.samples.empty(), "%s: status %d for nothing to do", set.name, status);
      fuzz::require_written(dst, a.dst_step, c.channels * c.bits / 8, result, set.name);
    } else {
      const bool out_of_range = !std::isfinite(1.0 / a.x_factor) || !std::isfinite(1.0 / a.y_factor);
      fuzz::require(status == 1 || (status == -23 && (out_of_range || !has_size || may_need_more_work(a))),
                    "%s: refused with status %d", set.name, status);
    }
    fuzz::require(destination.untouched(true), "%s: bytes outside were written", set.name);
    fuzz::require(work_memory.untouched(false), "%s: bytes before the work buffer were written", set.name);
  });
  return 0;
}
