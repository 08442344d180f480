#include "runtime/aligned_memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

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
