#include "support/FakeSystem.h"
#include "support/Files.h"
#include "support/SmallStack.h"
#include "support/WithoutFileCapabilities.h"

#include <zef_config/ConfigMgr.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mxml.h>

#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <cerrno>

#include <malloc.h>
#include <sys/resource.h>

namespace {

using ::testing::ElementsAre;

constexpr const char *kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

std::string Document(const std::string &body)
{
    return kDeclaration + body;
}

class ConfigMgrTest : public ::testing::Test {
protected:
    // Path of a file with this content.
    std::string FileOf(const std::string &content)
    {
        const std::string path = folder.File("config" + std::to_string(++fileCount) + ".xml");
        WriteFile(path, content);
        return path;
    }

    // The text of Config's child Uuid; nothing when no document is held.
    static std::optional<std::string> Uuid(ConfigMgr &manager)
    {
        if (manager.GetConfig().Size() == 0) {
            return std::nullopt;
        }
        return manager.GetConfig().Get("Config").Get("Uuid").GetString();
    }

    ScratchFolder folder;

private:
    int fileCount = 0;
};

TEST_F(ConfigMgrTest, HoldsNoDocumentAtFirst)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.GetConfig().Size(), 0);
}

TEST_F(ConfigMgrTest, ReadsAFile)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Uuid>one</Uuid></Config>"))), 0);
    EXPECT_EQ(Uuid(manager), "one");
}

TEST_F(ConfigMgrTest, GivesTheRootAboveTheTopElement)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Config id='inner'/></Config>"))), 0);
    EXPECT_EQ(manager.GetConfig().Size(), 1);
    EXPECT_EQ(manager.GetConfig().Get("Config").Size(), 1);
    EXPECT_EQ(manager.GetConfig().Get("Config").GetAttr("id"), "");
}

TEST_F(ConfigMgrTest, KeepsEachTextWholeWithItsWhiteSpace)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Uuid> a b\n\tc </Uuid></Config>"))), 0);
    EXPECT_EQ(Uuid(manager), " a b\n\tc ");
}

TEST_F(ConfigMgrTest, KeepsTheDocumentItHoldsAndReadsNoOther)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Uuid>one</Uuid></Config>"))), 0);
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Uuid>two</Uuid></Config>"))), 0);
    EXPECT_EQ(Uuid(manager), "one");
    EXPECT_EQ(manager.ReadConfig(folder.File("missing.xml")), 0);
    EXPECT_EQ(Uuid(manager), "one");
}

TEST_F(ConfigMgrTest, ReadsAnewAfterRelease)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Uuid>one</Uuid></Config>"))), 0);
    manager.Release();
    EXPECT_EQ(manager.GetConfig().Size(), 0);
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Uuid>two</Uuid></Config>"))), 0);
    EXPECT_EQ(Uuid(manager), "two");
}

TEST_F(ConfigMgrTest, ReadsAfterAFailedRead)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(folder.File("missing.xml")), ENOENT);
    EXPECT_EQ(manager.ReadConfig(FileOf("no document")), 0);
    EXPECT_EQ(manager.GetConfig().Size(), 0);
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Uuid>one</Uuid></Config>"))), 0);
    EXPECT_EQ(Uuid(manager), "one");
}

TEST_F(ConfigMgrTest, AMissingFileGivesThePositiveErrno)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(folder.File("missing.xml")), ENOENT);
    EXPECT_EQ(manager.ReadConfig(""), ENOENT);
    EXPECT_EQ(manager.GetConfig().Size(), 0);
}

TEST_F(ConfigMgrTest, EveryReasonNotToOpenAFileGivesItsErrno)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(FileOf("x") + "/config.xml"), ENOTDIR);
    EXPECT_EQ(manager.ReadConfig(folder.File(std::string(300, 'x'))), ENAMETOOLONG);
    std::filesystem::create_symlink("loop", folder.File("loop"));
    EXPECT_EQ(manager.ReadConfig(folder.File("loop")), ELOOP);
    EXPECT_EQ(manager.GetConfig().Size(), 0);
}

TEST_F(ConfigMgrTest, AnUnreadableFileGivesItsErrno)
{
    const std::string path = FileOf(Document("<Config/>"));
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    ConfigMgr manager;
    const WithoutFileCapabilities asAnyUser;
    EXPECT_EQ(manager.ReadConfig(path), EACCES);
    EXPECT_EQ(manager.GetConfig().Size(), 0);
}

TEST_F(ConfigMgrTest, ALackOfDescriptorsGivesItsErrno)
{
    const std::string path = FileOf(Document("<Config/>"));
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    rlimit none = limit;
    none.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    ConfigMgr manager;
    const int result = manager.ReadConfig(path);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(result, EMFILE);
}

TEST_F(ConfigMgrTest, AFileThatDoesNotParseGivesZeroAndNoDocument)
{
    const std::vector<std::string> contents = {
        "",
        "\n",
        "no document",
        "{\"Uuid\": 1}",
        "<?xml version",
        "</Config>",
        Document("<Config>"),
        Document("<Config></config>"),
        Document("<Config><Uuid></Config></Uuid>"),
        Document("<Config><Uuid type='a' type='b'/></Config>"),
        Document("<Config><Uuid type>x</Uuid></Config>"),
        Document("<Config>&unknown;</Config>"),
        Document("<Config>&lt</Config>"),
        Document("<Config><!-- </Config>"),
        Document("<Config><![CDATA[ </Config>"),
        "<Config/><Config/>",
        std::string("\0\0\0\0", 4),
        "\x7F" "ELF",
    };
    for (const std::string &content : contents) {
        ConfigMgr manager;
        EXPECT_EQ(manager.ReadConfig(FileOf(content)), 0) << content;
        EXPECT_EQ(manager.GetConfig().Get("Config").Size(), 0) << content;
        EXPECT_EQ(manager.GetConfig().Size(), 0) << content;
    }
}

TEST_F(ConfigMgrTest, ADirectoryOpensAndDoesNotParse)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(folder.Path()), 0);
    EXPECT_EQ(manager.GetConfig().Size(), 0);
}

// Mini-XML complains and yet returns a tree in which what stands behind the zero byte is missing.
TEST_F(ConfigMgrTest, ATreeThatMiniXmlComplainedAboutIsDropped)
{
    const std::string zero(1, '\0');
    const std::vector<std::string> contents = {
        "<Config>" + zero + "<Uuid>one</Uuid></Config>",
        "<Config>one" + zero + "</Config>",
        "<Config>one</Config>" + zero,
        Document("<Config><Uuid>one</Uuid></Config>" + zero),
        "<Config>\x01</Config>",
    };
    for (const std::string &content : contents) {
        ConfigMgr manager;
        EXPECT_EQ(manager.ReadConfig(FileOf(content)), 0) << content;
        EXPECT_EQ(manager.GetConfig().Size(), 0) << content;
    }
}

TEST_F(ConfigMgrTest, PrintsNothingAboutAFileThatDoesNotParse)
{
    ConfigMgr manager;
    const StandardErrorCapture standardError;
    EXPECT_EQ(manager.ReadConfig(FileOf("no document")), 0);
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config></config>"))), 0);
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config>" + std::string(1, '\0') + "</Config>"))), 0);
    EXPECT_EQ(manager.ReadConfig(folder.File("missing.xml")), ENOENT);
    EXPECT_EQ(standardError.Text(), "");
}

TEST_F(ConfigMgrTest, ListensToMiniXmlOnlyWhileItLoads)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(FileOf("no document")), 0);
    const StandardErrorCapture standardError;
    EXPECT_EQ(mxmlLoadString(MXML_NO_PARENT, "no document", mxml_opaque_cb), nullptr);
    EXPECT_NE(standardError.Text(), "");
}

TEST_F(ConfigMgrTest, AComplaintAboutOneFileDoesNotSpoilTheNext)
{
    ConfigMgr bad;
    EXPECT_EQ(bad.ReadConfig(FileOf(Document("<Config></config>"))), 0);
    ConfigMgr good;
    EXPECT_EQ(good.ReadConfig(FileOf(Document("<Config><Uuid>one</Uuid></Config>"))), 0);
    EXPECT_EQ(Uuid(good), "one");
}

TEST_F(ConfigMgrTest, ThreadsThatReadDifferentFilesDoNotDisturbEachOther)
{
    constexpr int kRounds = 200;
    const auto readAll = [](const std::string &path, int expectedSize, int &wrong) {
        for (int i = 0; i < kRounds; ++i) {
            ConfigMgr manager;
            if (manager.ReadConfig(path) != 0 || manager.GetConfig().Size() != expectedSize) {
                ++wrong;
            }
        }
    };
    int wrongGood = 0;
    int wrongBad = 0;
    std::thread good(readAll, FileOf(Document("<Config><Uuid>one</Uuid></Config>")), 1, std::ref(wrongGood));
    std::thread bad(readAll, FileOf(Document("<Config></config>")), 0, std::ref(wrongBad));
    good.join();
    bad.join();
    EXPECT_EQ(wrongGood, 0);
    EXPECT_EQ(wrongBad, 0);
}

// A file may be torn anywhere when the machine crashes in somebody else's editor.
TEST_F(ConfigMgrTest, ATornFileYieldsAllOfItsValuesOrNone)
{
    const std::string whole = Document("<Config>\n <Uuid type=\"string\">0123&amp;45</Uuid>\n"
                                       " <StorageObject><Name>array</Name><Ips>10.0.0.1</Ips></StorageObject>\n"
                                       " <Compression type=\"string\">OFF</Compression>\n</Config>\n");
    const StandardErrorCapture standardError;
    int wholeCount = 0;
    for (size_t length = 0; length <= whole.size(); ++length) {
        ConfigMgr manager;
        EXPECT_EQ(manager.ReadConfig(FileOf(whole.substr(0, length))), 0) << length;
        const ConfigNode config = manager.GetConfig().Get("Config");
        if (config.Get("Uuid").Size() + config.Get("StorageObject").Size() + config.Get("Compression").Size() == 0) {
            continue;
        }
        ++wholeCount;
        EXPECT_EQ(config.Get("Uuid").GetString(), "0123&45") << length;
        EXPECT_EQ(config.Get("StorageObject").Get("Ips").GetString(), "10.0.0.1") << length;
        EXPECT_EQ(config.Get("Compression").GetString(), "OFF") << length;
    }
    EXPECT_GE(wholeCount, 1);
    EXPECT_LE(wholeCount, 3);
    EXPECT_EQ(standardError.Text(), "");
}

TEST_F(ConfigMgrTest, ClosesTheFileWhateverItHolds)
{
    const std::string good = FileOf(Document("<Config/>"));
    const std::string bad = FileOf("no document");
    const size_t before = OpenDescriptors();
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(bad), 0);
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(manager.ReadConfig(good), 0);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(ConfigMgrTest, ReadsAHugeFile)
{
    constexpr int kCount = 200000;
    std::string body = "<Config>";
    for (int i = 0; i < kCount; ++i) {
        body += "<Ips>10.0.0.1</Ips>";
    }
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(FileOf(Document(body + "</Config>"))), 0);
    EXPECT_EQ(manager.GetConfig().Get("Config").Get("Ips").Size(), kCount);
}

TEST_F(ConfigMgrTest, LoadsAndReleasesADeepDocumentWithoutADeeperStack)
{
    constexpr int kDepth = 1000000;
    std::string body;
    for (int i = 0; i < kDepth; ++i) {
        body += "<A>";
    }
    for (int i = 0; i < kDepth; ++i) {
        body += "</A>";
    }
    const std::string path = FileOf(Document(body));
    int result = -1;
    int topElements = 0;
    RunOnSmallStack([&] {
        ConfigMgr manager;
        result = manager.ReadConfig(path);
        topElements = manager.GetConfig().Get("A").Size();
        manager.Release();
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(topElements, 1);
}

// The complaint comes after a million elements; the tree is dropped like any other.
TEST_F(ConfigMgrTest, DropsADeepDocumentThatDoesNotParseWithoutADeeperStack)
{
    constexpr int kDepth = 1000000;
    std::string body;
    for (int i = 0; i < kDepth; ++i) {
        body += "<A>";
    }
    const std::string path = FileOf(body + std::string(1, '\0'));
    int result = -1;
    int size = -1;
    RunOnSmallStack([&] {
        ConfigMgr manager;
        result = manager.ReadConfig(path);
        size = manager.GetConfig().Size();
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(size, 0);
}

TEST_F(ConfigMgrTest, CreateConfigMakesADocumentThatGetConfigGivesToo)
{
    ConfigMgr manager;
    ConfigNode root = manager.CreateConfig();
    EXPECT_EQ(root.Size(), 1);
    root.Create("Config").Create("Uuid").SetString("one");
    EXPECT_EQ(Uuid(manager), "one");
}

TEST_F(ConfigMgrTest, CreateConfigKeepsTheDocumentItHolds)
{
    ConfigMgr created;
    created.CreateConfig().Create("Config").Create("Uuid").SetString("one");
    EXPECT_EQ(created.CreateConfig().Get("Config").Get("Uuid").GetString(), "one");

    ConfigMgr read;
    EXPECT_EQ(read.ReadConfig(FileOf(Document("<Config><Uuid>two</Uuid></Config>"))), 0);
    EXPECT_EQ(read.CreateConfig().Get("Config").Get("Uuid").GetString(), "two");
}

TEST_F(ConfigMgrTest, ACreatedDocumentIsKeptByRead)
{
    ConfigMgr manager;
    manager.CreateConfig().Create("Config").Create("Uuid").SetString("one");
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Uuid>two</Uuid></Config>"))), 0);
    EXPECT_EQ(Uuid(manager), "one");
}

TEST_F(ConfigMgrTest, CreateConfigAfterReleaseMakesANewDocument)
{
    ConfigMgr manager;
    manager.CreateConfig().Create("Config").Create("Uuid").SetString("one");
    manager.Release();
    EXPECT_EQ(manager.CreateConfig().Get("Config").Size(), 0);
}

TEST_F(ConfigMgrTest, ReleaseWithoutADocumentDoesNothing)
{
    ConfigMgr manager;
    manager.Release();
    EXPECT_EQ(manager.GetConfig().Size(), 0);
    manager.CreateConfig();
    manager.Release();
    manager.Release();
    EXPECT_EQ(manager.GetConfig().Size(), 0);
}

TEST_F(ConfigMgrTest, DestructionAndReleaseFreeTheTree)
{
    std::string body = "<Config>";
    for (int i = 0; i < 20000; ++i) {
        body += "<Ips type='string'>10.0.0.1</Ips>";
    }
    const std::string path = FileOf(Document(body + "</Config>"));
    const auto load = [&path](bool release) {
        ConfigMgr manager;
        EXPECT_EQ(manager.ReadConfig(path), 0);
        if (release) {
            manager.Release();
        }
    };
    load(false);  // whatever is allocated only once
    const size_t before = mallinfo2().uordblks;
    load(false);
    load(true);
    EXPECT_LT(mallinfo2().uordblks, before + 100000) << "each tree takes more than a megabyte";
}

TEST_F(ConfigMgrTest, ADocumentThatDoesNotParseIsFreed)
{
    std::string body = "<Config>";
    for (int i = 0; i < 20000; ++i) {
        body += "<Ips type='string'>10.0.0.1</Ips>";
    }
    const std::string path = FileOf(body + std::string(1, '\0'));
    const auto load = [&path] {
        ConfigMgr manager;
        EXPECT_EQ(manager.ReadConfig(path), 0);
        EXPECT_EQ(manager.GetConfig().Size(), 0);
    };
    load();  // whatever is allocated only once
    const size_t before = mallinfo2().uordblks;
    load();
    EXPECT_LT(mallinfo2().uordblks, before + 100000) << "the tree takes more than a megabyte";
}

// Mini-XML goes on without the name or the text.
TEST_F(ConfigMgrTest, AFileThatIsReadWithoutMemoryForAllOfItHasNotParsed)
{
    const std::string path = FileOf(Document("<Config><Uuid>one</Uuid><Ips>a</Ips><Ips>b</Ips></Config>"));
    int copies = 0;
    for (bool isWhole = false; !isWhole; ++copies) {
        ConfigMgr manager;
        FakeSystem::copiesUntilFailure = copies;
        EXPECT_EQ(manager.ReadConfig(path), 0);
        isWhole = FakeSystem::copiesUntilFailure >= 0;
        FakeSystem::copiesUntilFailure = -1;
        EXPECT_EQ(Uuid(manager), isWhole ? std::optional<std::string>("one") : std::nullopt) << "copy " << copies;
    }
    EXPECT_GT(copies, 8) << "names and texts are not copied with strdup any more";
}

TEST_F(ConfigMgrTest, AFileThatIsReadWithoutMemoryMayBeReadAgain)
{
    const std::string path = FileOf(Document("<Config><Uuid>one</Uuid></Config>"));
    ConfigMgr manager;
    FakeSystem::copiesUntilFailure = 1;
    EXPECT_EQ(manager.ReadConfig(path), 0);
    EXPECT_EQ(manager.ReadConfig(path), 0);
    EXPECT_EQ(Uuid(manager), "one");
}

TEST_F(ConfigMgrTest, WithoutMemoryNoDocumentIsCreated)
{
    ConfigMgr manager;
    FakeSystem::copiesUntilFailure = 0;
    EXPECT_THROW((void)manager.CreateConfig(), std::bad_alloc);
    EXPECT_EQ(manager.GetConfig().Size(), 0);
    EXPECT_EQ(manager.CreateConfig().Size(), 1);
}

TEST_F(ConfigMgrTest, SavesWhatItReadOverAnotherFile)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(FileOf(Document("<Config><Uuid>one</Uuid></Config>"))), 0);
    const std::string target = FileOf("old");
    EXPECT_EQ(manager.SaveConfig(target), 0);
    EXPECT_EQ(ReadFile(target), Document("<Config>\n    <Uuid>one</Uuid>\n</Config>\n"));
    EXPECT_EQ(Uuid(manager), "one");
}

TEST_F(ConfigMgrTest, ASavedDocumentReadsBack)
{
    ConfigMgr manager;
    manager.CreateConfig().Create("Config").Create("Uuid").SetString("a<b>&\"c\"");
    const std::string target = FileOf("old");
    EXPECT_EQ(manager.SaveConfig(target), 0);
    ConfigMgr again;
    EXPECT_EQ(again.ReadConfig(target), 0);
    EXPECT_EQ(Uuid(again), "a<b>&\"c\"");
}

TEST_F(ConfigMgrTest, SavingWithoutADocumentTouchesNoFile)
{
    const ConfigMgr manager;
    const std::string target = FileOf("old");
    const std::vector<std::string> names = folder.Names();
    EXPECT_EQ(manager.SaveConfig(target), -1);
    EXPECT_EQ(ReadFile(target), "old");
    EXPECT_EQ(folder.Names(), names);
}

TEST_F(ConfigMgrTest, PassesTheCodeOfTheSaveOn)
{
    ConfigMgr manager;
    manager.CreateConfig();
    EXPECT_EQ(manager.SaveConfig(folder.File("no/such/folder.xml")), -ENOENT);
    EXPECT_EQ(manager.SaveConfig(folder.File("missing.xml")), -1);
    EXPECT_THAT(folder.Names(), ElementsAre());
    EXPECT_EQ(manager.GetConfig().Size(), 1);
}

}  // namespace
