// The registry, keys and switches of this process, while no task runs.
#ifndef ZEF_TESTS_CLIENT_MANAGEMENT_REGISTRY_TEST_H
#define ZEF_TESTS_CLIENT_MANAGEMENT_REGISTRY_TEST_H

#include "TaskPause.h"
#include "baseconfig/PlatformSharedBaseConfig.h"
#include "client/keys/TestFiles.h"
#include "control/ControlError.h"
#include "gateway/IpGateway.h"
#include "iputil/IpUtilSettings.h"
#include "iputil/ProbeRecord.h"
#include "keys/KeyCommands.h"
#include "management/StorageChanges.h"
#include "support/OptFolder.h"

#include <zef_config/DeduplicationConfig.h>
#include <zef_config/ZefStorageManager.h>
#include <zef_config/platform/KeyManagement.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace zef {

// Steps that are committed meanwhile find an empty registry when the pause ends, and end by themselves.
class RegistryTest : public ::testing::Test {
protected:
    RegistryTest()
    {
        OptFolder::RequirePrivate();
        OptFolder::Clear();
        InstallKeys();
        IpUtilSettings::Instance().Configure({kClosedPort, std::chrono::seconds(1), IsWantedAddress});
        EXPECT_EQ(IpGateway::Instance().SetClientUuid("0123abcd-ABCD-0a1B-9f9F-00112233aabb"), 0);
        EXPECT_EQ(WoxUtil::Init(TestFiles::kDomain, keys.primary, keys.standby), 0);
        EXPECT_TRUE(UseSharedBaseConfig(segment));
        DeduplicationConfig::GetInstance().SetCompression(0);
        DeduplicationConfig::GetInstance().SetDeduplicationStatus(0);
    }

    ~RegistryTest() override
    {
        ForgetSteps();
        ZefStorageManager::Clear();
        WoxUtil::Finish();
        CloseSharedBaseConfig();
        shm_unlink(segment.c_str());
    }

    // Puts the keys where a start looks for them.
    void InstallKeys() const
    {
        std::filesystem::create_directories(OptFolder::kConfFolder);
        KeyStore(kPrimaryKeyFile, kStandbyKeyFile).CreateDirectories();
        std::filesystem::copy_file(keys.primary, kPrimaryKeyFile);
        std::filesystem::copy_file(keys.standby, kStandbyKeyFile);
    }

    StorageDescription Description() const
    {
        return {"array-1", "zefuser", sealed, StorageLinkType::kIp, {"127.0.0.11", "127.0.0.12"}};
    }

    // With pairs towards its first address, as if they had been found.
    ZefStorage &AddWithPairs()
    {
        (void)AddStorage(Description());
        ZefStorage &storage = ZefStorageManager::GetByName("array-1");
        storage.AddIpParis({"127.0.0.1", "127.0.0.11"});
        storage.AddIpParis({"127.0.0.2", "127.0.0.11"});
        return storage;
    }

    // The refusal's code and text; nothing when it is not refused.
    template <class Change>
    static std::optional<std::pair<ExitCode, std::string>> Refusal(Change change)
    {
        try {
            change();
            return std::nullopt;
        } catch (const ControlError &error) {
            return std::pair<ExitCode, std::string>(error.GetCode(), error.what());
        }
    }

    // As if the steps that a test left in the queue had had their turns.
    static void ForgetSteps()
    {
        for (const char *const array : {"127.0.0.11", "127.0.0.12", "127.0.0.13", "127.0.0.14"}) {
            (void)IsWantedAddress(array);
            (void)IsWantedPair("127.0.0.1", array);
            (void)IsWantedPair("127.0.0.2", array);
            ForgetProbe(array);
        }
    }

    static constexpr uint16_t kClosedPort = 9;  // discard: nobody listens there

    const TaskPause pause;
    TestFiles keys;
    const KeyRing ring = keys.Create();
    const std::string sealed = ring.Seal(Secret("the-password"));
    const std::string segment = "/zef_management_test_" + std::to_string(getpid());
};

// Expects the change to be refused with this code and text.
#define EXPECT_REFUSED(change, code, text)                                             \
    do {                                                                               \
        const auto refused = RegistryTest::Refusal([&] { (void)(change); });           \
        ASSERT_TRUE(refused) << "it was not refused";                                  \
        EXPECT_EQ(refused->first, code);                                               \
        EXPECT_EQ(refused->second, text);                                              \
    } while (false)

}  // namespace zef

#endif
