#include "management/ConfigWriter.h"

#include "RegistryTest.h"
#include "check/ConfigCheck.h"
#include "management/SwitchChanges.h"
#include "support/Files.h"
#include "support/WithoutFileCapabilities.h"

#include <zef_config/ConfigMgr.h>

#include <sys/stat.h>

namespace zef {
namespace {

class ConfigWriterTest : public RegistryTest {
protected:
    std::string Document(const std::string &storage) const
    {
        return "<?xml version=\"1.0\"?>\n<Config>\n"
               "    <Uuid type=\"string\">0123abcd-ABCD-0a1B-9f9F-00112233aabb</Uuid>\n"
               "    <Deduplication type=\"string\">OFF</Deduplication>\n"
               "    <Compression type=\"string\">OFF</Compression>\n" +
               storage + "</Config>\n";
    }

    std::string Storage(const std::string &user, const std::string &addresses) const
    {
        return "    <StorageObject>\n        <Name type=\"string\">array-1</Name>\n"
               "        <User type=\"string\">" + user +
               "</User>\n        <Password type=\"string\">" + sealed + "</Password>\n" + addresses +
               "    </StorageObject>\n";
    }

    static std::string Ips(const std::string &address)
    {
        return "        <Ips type=\"string\">" + address + "</Ips>\n";
    }

    std::string Written() const { return ReadFile(path); }

    const ScratchFolder folder;
    const std::string path = folder.File("zef_config.xml");
};

TEST_F(ConfigWriterTest, WritesTheStorageObjectThatIsInForce)
{
    WriteFile(path, Document(""));
    (void)AddStorage(Description());
    (void)SetSwitch("deduplication", "on");
    EXPECT_EQ(SaveRunningState(path), path + " is written: 7 changes");
    EXPECT_EQ(Written(), "<?xml version=\"1.0\"?>\n<Config>\n"
                         "    <Uuid type=\"string\">0123abcd-ABCD-0a1B-9f9F-00112233aabb</Uuid>\n"
                         "    <Deduplication type=\"string\">ON</Deduplication>\n"
                         "    <Compression type=\"string\">OFF</Compression>\n" +
                             Storage("zefuser", "        <LinkType type=\"string\">0</LinkType>\n" +
                                                    Ips("127.0.0.11") + Ips("127.0.0.12")) +
                             "</Config>\n");
}

TEST_F(ConfigWriterTest, LeavesAFileAloneThatSaysTheSame)
{
    const std::string text = Document(Storage("zefuser", Ips("127.0.0.12") + Ips("127.0.0.11"))) + "\n\n";
    WriteFile(path, text);
    (void)AddStorage(Description());
    EXPECT_EQ(SaveRunningState(path), path + " holds what is running already");
    EXPECT_EQ(Written(), text);
}

// The folder may be entered and changed, but not opened.
TEST_F(ConfigWriterTest, SaysWhenAPowerCutMayUndoWhatIsWritten)
{
    WriteFile(path, Document(""));
    (void)SetSwitch("deduplication", "on");
    ASSERT_EQ(chmod(folder.Path().c_str(), 0300), 0);
    {
        const WithoutFileCapabilities bound;
        const std::string doubt = ", but a power cut may undo it: its folder cannot be synced (Permission denied)";
        EXPECT_EQ(SaveRunningState(path), path + " is written: 1 change" + doubt);
        EXPECT_EQ(SaveRunningState(path), path + " holds what is running already" + doubt);
    }
    ASSERT_EQ(chmod(folder.Path().c_str(), 0700), 0);
    EXPECT_EQ(SaveRunningState(path), path + " holds what is running already");
    EXPECT_THAT(Written(), ::testing::HasSubstr(">ON</Deduplication>"));
}

TEST_F(ConfigWriterTest, ChangesOnlyWhatDiffers)
{
    WriteFile(path, Document("    <Site type=\"string\">north</Site>\n" +
                             Storage("someone", Ips("127.0.0.12") + Ips("127.0.0.13"))));
    (void)AddStorage(Description());
    EXPECT_EQ(SaveRunningState(path), path + " is written: 3 changes");
    EXPECT_EQ(Written(), Document("    <Site type=\"string\">north</Site>\n" +
                                  Storage("zefuser", Ips("127.0.0.12") + Ips("127.0.0.11"))))
        << "other elements and the order stay";
}

TEST_F(ConfigWriterTest, KeepsComments)
{
    WriteFile(path, Document("<!-- the array in room 3 -->" + Storage("someone", Ips("127.0.0.12"))));
    (void)AddStorage(Description());
    (void)SaveRunningState(path);
    EXPECT_NE(Written().find("<!-- the array in room 3 -->"), std::string::npos) << Written();
}

TEST_F(ConfigWriterTest, RemovesADeletedStorageObject)
{
    WriteFile(path, Document(Storage("zefuser", Ips("127.0.0.11"))));
    EXPECT_EQ(SaveRunningState(path), path + " is written: 1 change");
    EXPECT_EQ(Written(), Document(""));
}

TEST_F(ConfigWriterTest, WritesTheLinkTypeOfFibreChannel)
{
    WriteFile(path, Document(Storage("zefuser", Ips("127.0.0.11"))));
    StorageDescription storage = Description();
    storage.linkType = StorageLinkType::kFibreChannel;
    storage.addresses.clear();
    (void)AddStorage(storage);
    (void)SaveRunningState(path);
    EXPECT_EQ(Written(), Document(Storage("zefuser", "        <LinkType type=\"string\">1</LinkType>\n")));
}

TEST_F(ConfigWriterTest, LeavesAddressesAloneThatFibreChannelNeverReads)
{
    const std::string rest = "        <LinkType type=\"string\">1</LinkType>\n" + Ips("127.0.0.11");
    WriteFile(path, Document(Storage("someone", rest)));
    StorageDescription storage = Description();
    storage.linkType = StorageLinkType::kFibreChannel;
    storage.addresses.clear();
    (void)AddStorage(storage);
    (void)SaveRunningState(path);
    EXPECT_EQ(Written(), Document(Storage("zefuser", rest)));
}

TEST_F(ConfigWriterTest, RefusesToLoseAnything)
{
    const std::string text = Document("    <Site type=\"string\">room 3, north</Site>\n");
    WriteFile(path, text);
    (void)AddStorage(Description());
    const auto refusal = Refusal([this] { SaveRunningState(path); });
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->first, ExitCode::Failed);
    EXPECT_NE(refusal->second.find("is not written, since something of it would be lost"), std::string::npos);
    EXPECT_EQ(Refusal([this] { RequireSavable(path); })->second, refusal->second) << "known before the change is made";
    EXPECT_EQ(Written(), text);
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"zef_config.xml"}));
}

TEST_F(ConfigWriterTest, RefusesADocumentThatTheChangeMakesTooLong)
{
    const std::string text = Document("    <Site type=\"string\">" + std::string(32400, 'x') + "</Site>\n");
    WriteFile(path, text);
    EXPECT_FALSE(Refusal([this] { RequireSavable(path); })) << "it fits as it is";
    (void)AddStorage(Description());
    EXPECT_TRUE(Refusal([this] { SaveRunningState(path); }));
    EXPECT_EQ(Written(), text);
}

TEST_F(ConfigWriterTest, RefusesAFileThatIsNoConfiguration)
{
    for (const std::string &text : {std::string(), std::string("<Config/>"), std::string("not XML"),
                                    Document(Storage("a", "") + Storage("b", ""))}) {
        WriteFile(path, text);
        const auto refusal = Refusal([this] { SaveRunningState(path); });
        ASSERT_TRUE(refusal) << text;
        EXPECT_EQ(refusal->first, ExitCode::ConfigInvalid);
        EXPECT_EQ(Written(), text);
    }
    EXPECT_TRUE(Refusal([] { SaveRunningState("/nowhere/zef_config.xml"); }));
}

TEST_F(ConfigWriterTest, RefusesWhatTheNextStartWouldRefuse)
{
    std::string joined;
    StorageDescription storage = Description();
    storage.addresses.clear();
    for (int i = 1; i <= 16; ++i) {
        storage.addresses.push_back("127.0.1." + std::to_string(i));
        joined += "127.0.1." + std::to_string(i) + ";";
    }
    const std::string text = Document(Storage("zefuser", Ips(joined + "127.0.1.17")));
    WriteFile(path, text);
    (void)AddStorage(storage);
    ZefStorageManager::GetByName("array-1").AddIpList({"127.0.1.17"});  // as a start takes it from one element
    (void)SetSwitch("deduplication", "on");
    const auto refusal = Refusal([this] { SaveRunningState(path); });
    ASSERT_TRUE(refusal);
    EXPECT_NE(refusal->second.find("is not written, since the next start would refuse it"), std::string::npos)
        << refusal->second;
    EXPECT_EQ(Written(), text);
}

TEST_F(ConfigWriterTest, LeavesASymbolicLinkAlone)
{
    const std::string real = folder.File("real.xml");
    WriteFile(real, Document(""));
    ASSERT_EQ(symlink(real.c_str(), path.c_str()), 0);
    (void)AddStorage(Description());
    const std::string link = path + " is not written: it is a symbolic link, which a save would replace";
    EXPECT_REFUSED(SaveRunningState(path), ExitCode::Failed, link);
    EXPECT_REFUSED((RequireSavable(path), 0), ExitCode::Failed, link);
    EXPECT_EQ(ReadFile(real), Document(""));
}

TEST_F(ConfigWriterTest, RefusesAnEncodingDeclarationThatWouldBecomeUntrue)
{
    std::string text = Document("");
    text.replace(0, 21, "<?xml version=\"1.0\" encoding=\"utf-16\"?>");
    WriteFile(path, text);
    (void)AddStorage(Description());
    EXPECT_TRUE(Refusal([this] { SaveRunningState(path); }));
    EXPECT_TRUE(Refusal([this] { RequireSavable(path); }));
    EXPECT_EQ(Written(), text);
}

TEST_F(ConfigWriterTest, WhatItWritesIsWhatALoadFinds)
{
    WriteFile(path, Document(""));
    (void)AddStorage(Description());
    (void)SaveRunningState(path);
    const CheckResult result = CheckConfig(path, {});
    EXPECT_TRUE(result.findings.empty()) << result.findings.front().text;
}

}  // namespace
}  // namespace zef
