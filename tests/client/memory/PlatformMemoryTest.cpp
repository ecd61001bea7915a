#include "memory/PlatformMemory.h"

#include <zef_config/platform/Memory.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

// Asked for by the sanitizers' run-time libraries: they would end a program that asks for too much memory.
extern "C" __attribute__((visibility("default"))) const char *__asan_default_options()
{
    return "allocator_may_return_null=1";
}

extern "C" __attribute__((visibility("default"))) const char *__tsan_default_options()
{
    return "allocator_may_return_null=1";
}

namespace {

constexpr int kModule = 873;
constexpr size_t kTooMuch = SIZE_MAX / 4;

TEST(PlatformMemoryTest, GivesMemoryThatIsAlignedForAnyType)
{
    void *memory = yrmm_malloc(68608, kModule, "test");
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % alignof(std::max_align_t), 0U);
    std::memset(memory, 1, 68608);
    yrmm_free(memory, kModule, "test");
}

TEST(PlatformMemoryTest, CountsTheBlocksInUse)
{
    const int64_t before = zef::LiveMemoryBlocks();
    void *first = yrmm_malloc(1, kModule, "test");
    void *second = yrmm_malloc(1, kModule, "test");
    EXPECT_EQ(zef::LiveMemoryBlocks(), before + 2);
    yrmm_free(first, kModule, "test");
    EXPECT_EQ(zef::LiveMemoryBlocks(), before + 1);
    yrmm_free(second, kModule, "test");
    EXPECT_EQ(zef::LiveMemoryBlocks(), before);
}

TEST(PlatformMemoryTest, GivesNullWhenThereIsNotEnough)
{
    const int64_t before = zef::LiveMemoryBlocks();
    EXPECT_EQ(yrmm_malloc(kTooMuch, kModule, "test"), nullptr);
    EXPECT_EQ(zef::LiveMemoryBlocks(), before);
}

TEST(PlatformMemoryTest, FreeingNullChangesNothing)
{
    const int64_t before = zef::LiveMemoryBlocks();
    yrmm_free(nullptr, kModule, "test");
    EXPECT_EQ(zef::LiveMemoryBlocks(), before);
}

}  // namespace
