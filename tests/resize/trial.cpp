#include "resize/trial.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "resize/answers.h"
#include "resize/primitive.h"
#include "resize/resize_request.h"
#include "runtime/aligned_memory.h"
#include "support/guarded_memory.h"
#include "thread/thread_context.h"

namespace kyv::test {
namespace {

constexpr std::uint8_t kUntouched = 0xA5;

// Pixels in guarded memory that is no larger than the rows need at one of its two sides.
class GuardedImage {
 public:
  GuardedImage(const Trial& trial, std::int32_t width, std::int32_t height, std::int32_t padding)
      : row_bytes_(width * trial.channels * (trial.bits / 8)),
        step_(row_bytes_ + padding),
        height_(height),
        memory_(bytes()),
        first_(trial.at_end ? memory_.end() - bytes() : memory_.begin()) {
    std::memset(memory_.begin(), kUntouched, memory_.size());
  }

  std::uint8_t* row(std::int32_t y) const { return first_ + std::ptrdiff_t{y} * step_; }
  std::int32_t step() const { return step_; }

  // With rows that have no padding.
  void fill(const std::vector<std::uint8_t>& rows) {
    const auto bytes = static_cast<std::size_t>(row_bytes_);
    for (std::int32_t y = 0; y < height_; ++y)
      std::memcpy(row(y), rows.data() + static_cast<std::size_t>(y) * bytes, bytes);
  }

  // Whether the image holds `expected` and nothing around it was touched.
  testing::AssertionResult holds(const reference::Result& expected, std::int32_t pixel_bytes) {
    const reference::Rect& r = expected.written;
    const auto bytes = static_cast<std::size_t>(r.width * pixel_bytes);
    for (std::int32_t y = 0; y < r.height; ++y) {
      std::uint8_t* const written = row(r.y + y) + r.x * pixel_bytes;
      const std::uint8_t* const wanted = expected.samples.data() + static_cast<std::size_t>(y) * bytes;
      const auto [w, e] = std::mismatch(written, written + bytes, wanted);
      if (w != written + bytes) {
        return testing::AssertionFailure() << "row " << y << ", byte " << w - written << " of " << bytes
                                           << ": " << int{*w} << " instead of " << int{*e};
      }
      std::memset(written, kUntouched, bytes);
    }
    const auto stray =
        std::find_if(memory_.begin(), memory_.end(), [](std::uint8_t b) { return b != kUntouched; });
    if (stray == memory_.end()) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "a byte at offset " << stray - first_ << " was written";
  }

 private:
  std::size_t bytes() const {
    return static_cast<std::size_t>(height_ - 1) * static_cast<std::size_t>(step_) +
           static_cast<std::size_t>(row_bytes_);
  }

  std::int32_t row_bytes_;
  std::int32_t step_;
  std::int32_t height_;
  GuardedMemory memory_;
  std::uint8_t* first_;
};

// Reported by the processor when it is computed with, even where the result is thrown away.
constexpr std::uint32_t kSignallingNan = 0x7FA00000u;

// A work buffer of the queried size that holds signalling NaNs and ends where an inaccessible page begins,
// but for its alignment.
class WorkBuffer {
 public:
  explicit WorkBuffer(std::int32_t bytes)
      : memory_(static_cast<std::size_t>(bytes) + runtime::kMemoryAlignment) {
    constexpr auto mask = static_cast<std::uintptr_t>(runtime::kMemoryAlignment) - 1;
    const std::size_t gap = static_cast<std::size_t>(-bytes) & mask;
    first_ = memory_.end() - bytes - gap;
    for (std::uint8_t* p = first_; p + sizeof kSignallingNan <= memory_.end(); p += sizeof kSignallingNan) {
      std::memcpy(p, &kSignallingNan, sizeof kSignallingNan);
    }
  }

  void* data() const { return first_; }

 private:
  GuardedMemory memory_;
  std::uint8_t* first_ = nullptr;
};

resize::IppiRect ippi(const reference::Rect& r) { return {r.x, r.y, r.width, r.height}; }

// Not an answer of a primitive.
constexpr resize::IppStatus kComputedWithUnwrittenMemory = -1000;

// Lanczos divides zeros where it sees a pixel's centre.
bool may_be_invalid(int mode) { return mode == 16; }

resize::IppStatus call_primitive(const DirectCall& c, const GuardedImage& source,
                                 const GuardedImage& destination, const runtime::KernelSet& kernels) {
  const Trial& t = c.trial;
  const auto word = static_cast<std::uint32_t>(t.mode);
  std::int32_t bytes = 0;
  const resize::IppStatus status =
      resize::ippiResizeGetBufSize(ippi(t.region), ippi(c.dst_roi), t.channels, word, &bytes);
  if (status != resize::kNoError) return status;
  const WorkBuffer work(bytes);
  resize::RowPassProbe probe{.wanted = t.row_pass, .folding = t.folding, .chosen = {}};
  const resize::ResizeSqrPixelArguments arguments{.src = source.row(0),
                                                  .src_size = {t.src_width, t.src_height},
                                                  .src_step = source.step(),
                                                  .src_roi = ippi(t.region),
                                                  .dst = destination.row(0),
                                                  .dst_step = destination.step(),
                                                  .dst_roi = ippi(c.dst_roi),
                                                  .x_factor = c.x_factor,
                                                  .y_factor = c.y_factor,
                                                  .x_shift = c.x_shift,
                                                  .y_shift = c.y_shift,
                                                  .interpolation = word,
                                                  .work = work.data(),
                                                  .tuning = t.tuning,
                                                  .probe = &probe};
  std::feclearexcept(FE_INVALID);
  const resize::IppStatus done = resize::resize_sqr_pixel(t.bits, t.channels)(arguments, *kernels.resize);
  if (t.chosen != nullptr) *t.chosen = probe.chosen;
  if (t.has_folded != nullptr) *t.has_folded = probe.has_folded;
  if (t.is_in_integers != nullptr) *t.is_in_integers = probe.is_in_integers;
  const bool is_invalid = std::fetestexcept(FE_INVALID) != 0 && !may_be_invalid(t.mode);
  return is_invalid ? kComputedWithUnwrittenMemory : done;
}

// The steps of a request, with a work buffer of exactly the queried size.
int request_through_primitives(const Trial& t, const GuardedImage& source, const GuardedImage& destination,
                               const runtime::KernelSet& kernels) {
  resize::RegionMapping mapping;
  const resize::IppStatus status = resize::map_region(ippi(t.region), {t.dst_width, t.dst_height},
                                                      static_cast<std::uint32_t>(t.mode), mapping);
  if (status != resize::kNoError) return status;
  return call_primitive({.trial = t,
                         .x_factor = mapping.x_factor,
                         .y_factor = mapping.y_factor,
                         .x_shift = mapping.x_shift,
                         .y_shift = mapping.y_shift,
                         .dst_roi = {0, 0, t.dst_width, t.dst_height}},
                        source, destination, kernels);
}

int request(const Trial& t, const GuardedImage& source, const GuardedImage& destination,
            const runtime::KernelSet& kernels) {
  const resize::ResizeRequest r{
      t.mode,          t.channels,         t.bits,      source.row(0), t.src_width,
      t.src_height,    source.step(),      t.region.x,  t.region.y,    t.region.width,
      t.region.height, destination.row(0), t.dst_width, t.dst_height,  destination.step()};
  const int result = resize::run_resize_request(r, kernels);
  thread::release_thread_context();
  return result;
}

std::int32_t random_padding(Random& random) {
  switch (between(random, 0, 3)) {
    case 0:
      return 0;
    case 1:
      return between(random, 1, 3);
    case 2:
      return between(random, 1, 70);
    default:
      return between(random, 4000, 4500);
  }
}

std::int32_t random_size(Random& random, std::int32_t limit) {
  return between(random, 0, 5) == 0 ? between(random, 1, std::min(limit, 7)) : between(random, 1, limit);
}

const char* name_of(Content content) {
  constexpr const char* names[] = {"random", "constant", "checkerboard", "ramp", "extremes", "sparse"};
  return names[static_cast<int>(content)];
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Trial& t) {
  const reference::Rect& r = t.region;
  return out << "mode " << t.mode << ", " << t.bits << " bits x " << t.channels << ", source " << t.src_width
             << 'x' << t.src_height << '+' << t.src_padding << ", region (" << r.x << ' ' << r.y << ' '
             << r.width << ' ' << r.height << ") -> " << t.dst_width << 'x' << t.dst_height << '+'
             << t.dst_padding << ", " << name_of(t.content) << (t.at_end ? ", at end" : ", at start")
             << (t.route == Route::kRequest ? ", request" : ", primitives") << ", seed " << t.seed
             << (t.tuning.streamed_destination == 0 ? ", as large" : "") << (t.row_pass ? ", row pass " : "")
             << (t.row_pass ? std::to_string(static_cast<int>(*t.row_pass)) : "");
}

std::int32_t between(Random& random, std::int32_t low, std::int32_t high) {
  return low + static_cast<std::int32_t>(random() % static_cast<std::uint32_t>(high - low + 1));
}

resize::Tuning tuning_of_large_pictures() {
  return {.large_source = 0,
          .huge_source = 0,
          .prefetched_source = 0,
          .streamed_destination = 0,
          .ring_floats = 6000};
}

Trial random_trial(Random& random, int mode, std::int32_t max_width, std::int32_t max_height) {
  Trial t;
  t.mode = mode;
  t.bits = between(random, 1, 2) * 8;
  constexpr int channels[] = {1, 3, 4};
  t.channels = channels[between(random, 0, 2)];
  t.src_width = random_size(random, max_width);
  t.src_height = random_size(random, max_height);
  t.src_padding = random_padding(random);
  t.dst_width = random_size(random, max_width);
  t.dst_height = random_size(random, max_height);
  t.dst_padding = random_padding(random);
  t.content = static_cast<Content>(between(random, 0, 9) < 6 ? 0 : between(random, 1, 4));
  t.at_end = between(random, 0, 1) == 1;
  t.route = static_cast<Route>(between(random, 0, 1));
  t.seed = static_cast<std::uint32_t>(random());
  if (between(random, 0, 1) == 0) t.tuning = tuning_of_large_pictures();
  if (between(random, 0, 1) == 0) return whole_image(t);
  t.region.x = between(random, 0, t.src_width - 1);
  t.region.y = between(random, 0, t.src_height - 1);
  t.region.width = between(random, 1, t.src_width - t.region.x);
  t.region.height = between(random, 1, t.src_height - t.region.y);
  return t;
}

Trial whole_image(Trial trial) {
  trial.region = {0, 0, trial.src_width, trial.src_height};
  return trial;
}

testing::AssertionResult matches_reference(const Trial& t, const runtime::KernelSet& kernels) {
  GuardedImage source(t, t.src_width, t.src_height, t.src_padding);
  GuardedImage destination(t, t.dst_width, t.dst_height, t.dst_padding);
  const Answer& answer = answer_to(t);
  source.fill(answer.source);
  const bool is_plain = !t.row_pass && !t.folding && t.chosen == nullptr && t.is_in_integers == nullptr;
  const int result = is_plain && t.route == Route::kRequest
                         ? request(t, source, destination, kernels)
                         : request_through_primitives(t, source, destination, kernels);
  if (result != 0) return testing::AssertionFailure() << t << ": status " << result;
  const testing::AssertionResult same = destination.holds(answer.result, t.channels * (t.bits / 8));
  return same ? same : testing::AssertionFailure() << t << ": " << same.message();
}

DirectCall random_direct_call(Random& random, int mode) {
  DirectCall c;
  c.trial = random_trial(random, mode, 40, 40);
  Trial& t = c.trial;
  c.dst_roi.x = between(random, 0, t.dst_width - 1);
  c.dst_roi.y = between(random, 0, t.dst_height - 1);
  c.dst_roi.width = between(random, 1, t.dst_width - c.dst_roi.x);
  c.dst_roi.height = between(random, 1, t.dst_height - c.dst_roi.y);
  t.region.width += between(random, 0, 20);  // may reach beyond the image
  const auto draw = [&](double low, double high) {
    return low + (high - low) * (static_cast<double>(random()) / 4294967296.0);
  };
  c.x_factor = static_cast<double>(c.dst_roi.width) / t.region.width * draw(0.9, 2.0);
  c.y_factor = static_cast<double>(c.dst_roi.height) / t.region.height * draw(0.9, 2.0);
  if (mode == 8) c.x_factor = std::min(c.x_factor, 1.0);
  if (mode == 8) c.y_factor = std::min(c.y_factor, 1.0);
  c.x_shift = c.dst_roi.x - t.region.x * c.x_factor + draw(-10.0, 10.0);
  c.y_shift = c.dst_roi.y - t.region.y * c.y_factor + draw(-10.0, 10.0);
  return c;
}

testing::AssertionResult matches_reference(const DirectCall& c, const runtime::KernelSet& kernels) {
  const Trial& t = c.trial;
  GuardedImage source(t, t.src_width, t.src_height, t.src_padding);
  GuardedImage destination(t, t.dst_width, t.dst_height, t.dst_padding);
  const Answer& answer = answer_to(c);
  source.fill(answer.source);
  const resize::IppStatus status = call_primitive(c, source, destination, kernels);

  reference::Result expected = answer.result;
  resize::IppStatus wanted = expected.samples.empty() ? resize::kNothingToDo : resize::kNoError;
  // Stronger reduction than the rectangles tell may need more buffer than was queried.
  const bool larger =
      c.x_factor * t.region.width < c.dst_roi.width || c.y_factor * t.region.height < c.dst_roi.height;
  if (larger && status == resize::kFactorError && wanted == resize::kNoError) {
    wanted = resize::kFactorError;
    expected = {};
  }
  testing::AssertionResult same = testing::AssertionSuccess();
  if (status != wanted) same = testing::AssertionFailure() << "status " << status << " instead of " << wanted;
  if (same) same = destination.holds(expected, t.channels * (t.bits / 8));
  if (same) return same;
  return testing::AssertionFailure() << t << ", called with factors " << c.x_factor << ' ' << c.y_factor
                                     << ", shifts " << c.x_shift << ' ' << c.y_shift << ", into ("
                                     << c.dst_roi.x << ' ' << c.dst_roi.y << ' ' << c.dst_roi.width << ' '
                                     << c.dst_roi.height << "): " << same.message();
}

}  // namespace kyv::test
