#include <gtest/gtest.h>

#include "image_io.h"
#include "run_tool.h"
#include "test_files.h"

namespace kyv::host::test {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

TEST(Memory, ALargePictureNeedsLittleMoreThanItselfAndItsResult) {
  if (kSanitized) GTEST_SKIP() << "sanitizers take memory of their own";
  constexpr std::int64_t kAllowance = std::int64_t{64} << 20;
  const ScratchFolder folder;
  std::int64_t pictures = 0;
  {
    Image source(6000, 4000, {3, 16});
    for (int y = 0; y < source.height(); ++y) {
      std::uint16_t* row = source.row16(y);
      for (std::size_t i = 0; i < source.samples_per_row(); ++i)
        row[i] = static_cast<std::uint16_t>(i * 3 + static_cast<std::size_t>(y) * 5);
    }
    write_image(folder / "in.tif", source);
    pictures = static_cast<std::int64_t>(source.bytes() + source.bytes() / 16);
  }
  const ToolRun run =
      run_tool({"resize", display(folder / "in.tif"), display(folder / "out.tif"), "--scale", "25%"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_GT(run.peak_bytes, pictures / 2);
  EXPECT_LE(run.peak_bytes, pictures + kAllowance);
  RecordProperty("peak_mib", static_cast<int>(run.peak_bytes >> 20));
}

}  // namespace
}  // namespace kyv::host::test
