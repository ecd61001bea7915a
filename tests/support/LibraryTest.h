// What the library's tests have in common.
#ifndef ZEF_TESTS_SUPPORT_LIBRARY_TEST_H
#define ZEF_TESTS_SUPPORT_LIBRARY_TEST_H

#include "support/FakePlatform.h"
#include "support/FakeSystem.h"
#include "support/LockRecorder.h"

#include <zef_config/ZefStorageManager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// Every case begins with a platform as new and an empty registry, and must give all platform memory back.
class LibraryTest : public ::testing::Test {
protected:
    LibraryTest()
    {
        platform.Reset();
        system.Reset();
        LockRecorder::Reset();
        ZefStorageManager::Clear();
        // Throttles of protocol messages live as long as the process: begin behind everything that earlier cases left.
        static uint64_t epoch = 0;
        epoch += 100000000;
        platform.jiffies = epoch;
    }

    ~LibraryTest() override
    {
        EXPECT_TRUE(platform.liveBlocks.empty()) << "memory of yrmm_malloc was not given back";
        ZefStorageManager::Clear();
        ZefStorageManager::GetByName("") = ZefStorage();  // the shared empty record, should a case have filled it
    }

    FakePlatform &platform = FakePlatform::Get();
    FakeSystem &system = FakeSystem::Get();
};

#endif
