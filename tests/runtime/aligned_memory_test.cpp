#include "runtime/aligned_memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "platform/platform.h"
#include "support/faulty_system.h"

namespace kyv::runtime {
namespace {

TEST(AlignedMemory, IsAlignedWritableAndGivenBack) {
  const testing_support::FaultySystem system;
  for (const std::size_t bytes : {0u, 1u, 63u, 64u, 4097u}) {
    void* memory = aligned_allocate(bytes);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % kMemoryAlignment, 0u);
    std::memset(memory, 0x5A, bytes);
    aligned_free(memory);
  }
  aligned_free(nullptr);
  EXPECT_TRUE(system.nothing_leaked());
}

// What the library asked large pages for.
std::uintptr_t g_advised = 0;
std::size_t g_advised_bytes = 0;
void record_advice(void* memory, std::size_t bytes) {
  g_advised = reinterpret_cast<std::uintptr_t>(memory);
  g_advised_bytes = bytes;
}

TEST(AlignedMemory, LargeBlocksLieInHugePages) {
  const testing_support::FaultySystem system;
  platform::services.advise_huge_pages = record_advice;
  void* small = aligned_allocate_large(kLeastHuge - 1);
  EXPECT_EQ(g_advised_bytes, 0u);
  for (const std::size_t bytes : {kLeastHuge, kHugePage, 3 * kHugePage + 12345}) {
    void* large = aligned_allocate_large(bytes);
    ASSERT_NE(large, nullptr);
    EXPECT_EQ(g_advised, reinterpret_cast<std::uintptr_t>(large));
    EXPECT_EQ(g_advised % kHugePage, 0u);
    EXPECT_EQ(g_advised_bytes, (bytes + kHugePage - 1) / kHugePage * kHugePage);
    std::memset(large, 0x5A, g_advised_bytes);
    aligned_free(large);
  }
  aligned_free(small);
  EXPECT_EQ(aligned_allocate_large(SIZE_MAX), nullptr);
  EXPECT_EQ(aligned_allocate_large(SIZE_MAX - kHugePage), nullptr);
  EXPECT_TRUE(system.nothing_leaked());
}

// A system that has room for no more than this at a time.
void* (*g_allocate)(std::size_t bytes);
void* allocate_little(std::size_t bytes) { return bytes <= kHugePage ? g_allocate(bytes) : nullptr; }

TEST(AlignedMemory, LargeBlocksDoWithoutHugePages) {
  const testing_support::FaultySystem system;
  g_advised_bytes = 0;
  platform::services.advise_huge_pages = nullptr;
  void* without = aligned_allocate_large(kLeastHuge);
  ASSERT_NE(without, nullptr);
  platform::services.advise_huge_pages = record_advice;
  g_allocate = std::exchange(platform::services.malloc, allocate_little);
  void* in_little_room = aligned_allocate_large(kLeastHuge);
  ASSERT_NE(in_little_room, nullptr);
  EXPECT_EQ(g_advised_bytes, 0u);
  for (void* memory : {without, in_little_room}) {
    std::memset(memory, 0x5A, kLeastHuge);
    aligned_free(memory);
  }
  EXPECT_TRUE(system.nothing_leaked());
}

TEST(AlignedMemory, RefusesWhatNoAllocatorCanGive) {
  testing_support::FaultySystem system;
  EXPECT_EQ(aligned_allocate(SIZE_MAX), nullptr);
  EXPECT_EQ(aligned_allocate(SIZE_MAX - kMemoryAlignment), nullptr);
  EXPECT_EQ(system.calls(testing_support::Call::kAllocate), 0) << "the sum wrapped around";
  system.fail(testing_support::Call::kAllocate);
  EXPECT_EQ(aligned_allocate(1), nullptr);
}

}  // namespace
}  // namespace kyv::runtime
