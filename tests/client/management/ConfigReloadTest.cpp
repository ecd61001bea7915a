#include "management/ConfigReload.h"

#include "RegistryTest.h"

#include <zef_config/ConfigMgr.h>
#include <zef_config/UuidConfig.h>

namespace zef {
namespace {

constexpr const char *kUuid = "0123abcd-ABCD-0a1B-9f9F-00112233aabb";

class ConfigReloadTest : public RegistryTest {
protected:
    ConfigReloadTest()
    {
        Write(kUuid, "OFF", "array-1", "zefuser", sealed, "<Ips>127.0.0.11</Ips><Ips>127.0.0.12</Ips>");
        ConfigMgr manager;
        manager.ReadConfig(OptFolder::kConfigFile);
        ConfigNode config = manager.GetConfig().Get("Config");
        EXPECT_EQ(UuidConfig::GetInstance().SetFromConfig(config), 0);
    }

    void Write(const std::string &uuid, const std::string &deduplication, const std::string &name,
               const std::string &user, const std::string &password, const std::string &rest) const
    {
        WriteText("<Uuid>" + uuid + "</Uuid><Deduplication>" + deduplication +
                  "</Deduplication><Compression>OFF</Compression><StorageObject><Name>" + name + "</Name><User>" +
                  user + "</User><Password>" + password + "</Password>" + rest + "</StorageObject>");
    }

    void WriteText(const std::string &content) const
    {
        OptFolder::WriteConfig("<?xml version=\"1.0\"?>\n<Config>" + content + "</Config>\n");
        InstallKeys();
    }

    static std::vector<std::string> Apply() { return ApplyConfigFile(OptFolder::kConfigFile); }

    static const ZefStorage &Storage() { return ZefStorageManager::GetByName("array-1"); }
};

using Sentences = std::vector<std::string>;

TEST_F(ConfigReloadTest, ChangesNothingWhenBothSayTheSame)
{
    (void)AddWithPairs();
    EXPECT_EQ(Apply(), (Sentences{"the running client and its file say the same"}));
    EXPECT_EQ(Storage().GetIpParis().size(), 2U);
}

TEST_F(ConfigReloadTest, AddsAndDeletesAddresses)
{
    (void)AddWithPairs();
    Write(kUuid, "OFF", "array-1", "zefuser", sealed, "<Ips>127.0.0.12</Ips><Ips>127.0.0.13</Ips>");
    EXPECT_EQ(Apply(), (Sentences{"array-1 has 1 address less; 2 links end",
                                  "array-1 has 1 address more, being connected"}));
    EXPECT_EQ(Storage().GetIps(), "127.0.0.12;127.0.0.13");
}

TEST_F(ConfigReloadTest, ExchangesSixteenAddressesForOthers)
{
    std::string before;
    std::string after;
    for (int i = 1; i <= 16; ++i) {
        before += "<Ips>127.0.1." + std::to_string(i) + "</Ips>";
        after += "<Ips>127.0.2." + std::to_string(i) + "</Ips>";
    }
    Write(kUuid, "OFF", "array-1", "zefuser", sealed, before);
    (void)Apply();
    Write(kUuid, "OFF", "array-1", "zefuser", sealed, after);
    EXPECT_EQ(Apply().size(), 2U);
    EXPECT_EQ(Storage().GetIpList().size(), 16U);
    EXPECT_EQ(Storage().GetIpList().count("127.0.2.16"), 1U);
}

TEST_F(ConfigReloadTest, ChangesUserAndPassword)
{
    (void)AddWithPairs();
    const std::string other = ring.Seal(Secret("another-password"));
    Write(kUuid, "OFF", "array-1", "other_user", other, "<Ips>127.0.0.11</Ips><Ips>127.0.0.12</Ips>");
    EXPECT_EQ(Apply(), (Sentences{"array-1 logs in as other_user from now on; links that are up stay"}));
    EXPECT_EQ(Storage().GetPassword(), other);
    EXPECT_EQ(Storage().GetIpParis().size(), 2U);
}

TEST_F(ConfigReloadTest, RefusesAStorageObjectOfAnotherNameOrKind)
{
    (void)AddWithPairs();
    const char *const another = "the file holds a storage object of another name or link type; restart the client to "
                                "connect to that; nothing was changed";
    Write(kUuid, "ON", "array-2", "zefuser", sealed, "<Ips>127.0.0.11</Ips>");
    EXPECT_REFUSED(Apply(), ExitCode::Failed, another);
    Write(kUuid, "ON", "array-1", "zefuser", sealed, "<LinkType>1</LinkType>");
    EXPECT_REFUSED(Apply(), ExitCode::Failed, another);
    EXPECT_EQ(Storage().GetIpParis().size(), 2U);
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 0);
}

TEST_F(ConfigReloadTest, TakesSeveralAddressesInOneElementAsAStartDoes)
{
    (void)AddWithPairs();
    Write(kUuid, "OFF", "array-1", "zefuser", sealed, "<Ips>127.0.0.12;127.0.0.11</Ips>");
    EXPECT_EQ(Apply(), (Sentences{"the running client and its file say the same"}));
    Write(kUuid, "OFF", "array-1", "zefuser", sealed, "<Ips>127.0.0.12;127.0.0.11;127.0.0.13</Ips>");
    EXPECT_EQ(Apply(), (Sentences{"array-1 has 1 address more, being connected"}));
}

TEST_F(ConfigReloadTest, DeletesAndAddsTheStorageObjectAsAWhole)
{
    (void)AddWithPairs();
    WriteText(std::string("<Uuid>") + kUuid +
              "</Uuid><Deduplication>OFF</Deduplication><Compression>OFF</Compression>");
    EXPECT_EQ(Apply(), (Sentences{"array-1 is deleted; 2 links end"}));
    Write(kUuid, "OFF", "array-1", "zefuser", sealed, "<Ips>127.0.0.11</Ips>");
    EXPECT_EQ(Apply(), (Sentences{"array-1 is added with 1 address, being connected"}));
}

TEST_F(ConfigReloadTest, TakesTheSwitchesOver)
{
    (void)AddWithPairs();
    Write(kUuid, "ON", "array-1", "zefuser", sealed, "<Ips>127.0.0.11</Ips><Ips>127.0.0.12</Ips>");
    EXPECT_EQ(Apply(), (Sentences{"deduplication is on, compression is off"}));
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 1);
}

TEST_F(ConfigReloadTest, RefusesAnotherUuid)
{
    (void)AddWithPairs();
    Write("0123abcd-ABCD-0a1B-9f9F-00112233aabc", "ON", "array-9", "zefuser", sealed, "");
    EXPECT_REFUSED(Apply(), ExitCode::Failed,
                   "the file holds another UUID, 0123abcd-ABCD-0a1B-9f9F-00112233aabc; restart the client to run under "
                   "it; nothing was changed");
    EXPECT_EQ(Storage().GetName(), "array-1");
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 0);
}

TEST_F(ConfigReloadTest, RefusesAFileThatTheNextStartWouldRefuse)
{
    (void)AddWithPairs();
    Write(kUuid, "ON", "array-1", "abcd", sealed, "<Ips>127.0.0.13</Ips>");
    const auto refusal = Refusal([] { Apply(); });
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->first, ExitCode::ConfigInvalid);
    EXPECT_NE(refusal->second.find("is refused, nothing was changed"), std::string::npos) << refusal->second;
    EXPECT_EQ(Storage().GetUser(), "zefuser");
    EXPECT_EQ(Storage().GetIps(), "127.0.0.11;127.0.0.12");
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 0);
}

TEST_F(ConfigReloadTest, KeepsWhatRunsWhenThePasswordIsSealedWithKeysThatItDoesNotHold)
{
    (void)AddWithPairs();
    TestFiles other;
    const std::string foreign = other.Create().Seal(Secret("the-password"));
    Write(kUuid, "ON", "array-2", "zefuser", foreign, "<Ips>127.0.0.13</Ips>");
    EXPECT_TRUE(Refusal([] { Apply(); }));
    EXPECT_EQ(Storage().GetName(), "array-1");
}

}  // namespace
}  // namespace zef
