#include "support/Files.h"
#include "support/LibraryTest.h"
#include "support/OptFolder.h"
#include "support/WithoutFileCapabilities.h"
#include "support/XmlDocument.h"

#include <zef_config/ConfigMgr.h>

#include <mxml.h>

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using ::testing::ElementsAre;

constexpr const char *kSmall = "<?xml version=\"1.0\"?><Config><Uuid>one</Uuid></Config>";
constexpr const char *kSmallSaved = "<?xml version=\"1.0\"?>\n<Config>\n    <Uuid>one</Uuid>\n</Config>\n";

std::string DataFile(const std::string &name)
{
    return std::string(ZEF_TEST_DATA) + "/" + name;
}

// Takes what the library's C strings are released with.
struct MemoryFreer {
    void operator()(char *memory) const { std::free(memory); }
};
using CString = std::unique_ptr<char, MemoryFreer>;

class UmaskScope {
public:
    explicit UmaskScope(mode_t mask) : saved(umask(mask)) {}
    ~UmaskScope() { umask(saved); }
    UmaskScope(const UmaskScope &) = delete;
    UmaskScope &operator=(const UmaskScope &) = delete;

private:
    mode_t saved;
};

// Files may not grow beyond this while it lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &saved);
        rlimit limit = saved;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, handler);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
    void (*handler)(int);
    rlimit saved = {};
};

// A file system of its own, seen by nobody else.
class SmallDisk {
public:
    explicit SmallDisk(const char *options) : path("/opt/disk_XXXXXX")
    {
        if (!OptFolder::IsPrivate() || mkdtemp(&path[0]) == nullptr ||
            mount("small-disk", path.c_str(), "tmpfs", 0, options) != 0) {
            throw std::runtime_error("no small disk: run with ctest, or as tests/private-opt PROGRAM");
        }
    }
    ~SmallDisk()
    {
        umount(path.c_str());
        rmdir(path.c_str());
    }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    std::string File(const std::string &name) const { return path + "/" + name; }

private:
    std::string path;
};

class SafeSaveTest : public LibraryTest {
protected:
    SafeSaveTest() { WriteFile(target, "old"); }

    // Saves a document over the target, which holds "old" at first.
    int Save(const std::string &document)
    {
        const XmlDocument tree(document);
        return ZefIntCfgSaveInner(tree.Root(), target.c_str());
    }

    // What a document looks like once saved.
    std::string Saved(const std::string &document)
    {
        EXPECT_EQ(Save(document), 0);
        return ReadFile(target);
    }

    // Saves the small document, which must fail, and leave nothing behind but what was there before.
    int SaveThatFails()
    {
        const XmlDocument tree(kSmall);
        const size_t descriptors = OpenDescriptors();
        const int result = ZefIntCfgSaveInner(tree.Root(), target.c_str());
        EXPECT_EQ(OpenDescriptors(), descriptors);
        EXPECT_EQ(ReadFile(target), "old");
        EXPECT_THAT(folder.Names(), ElementsAre("config.xml"));
        return result;
    }

    ScratchFolder folder;
    const std::string target = folder.File("config.xml");
    const std::string temporary = target + ".bak";
};

// Temporary path

TEST_F(SafeSaveTest, TheTemporaryPathIsTheTargetsWithASuffix)
{
    for (const std::string &path : {std::string("/a/b.xml"), std::string("x"), std::string(),
                                    std::string(5000, 'y')}) {
        const CString temporaryPath(ZefInfCfgMakeBakPath(path.c_str()));
        ASSERT_NE(temporaryPath, nullptr);
        EXPECT_EQ(temporaryPath.get(), path + ".bak");
    }
}

TEST_F(SafeSaveTest, ThereIsNoTemporaryPathWithoutMemory)
{
    system.mallocErrno = ENOMEM;
    EXPECT_EQ(ZefInfCfgMakeBakPath("/a/b.xml"), nullptr);
}

TEST_F(SafeSaveTest, ThereIsNoTemporaryPathWhenACopyFails)
{
    platform.copiesUntilFailure = 0;
    EXPECT_EQ(ZefInfCfgMakeBakPath("/a/b.xml"), nullptr);
    platform.copiesUntilFailure = 1;
    EXPECT_EQ(ZefInfCfgMakeBakPath("/a/b.xml"), nullptr);
    platform.copiesUntilFailure = 2;
    EXPECT_NE(CString(ZefInfCfgMakeBakPath("/a/b.xml")), nullptr);
}

// Renaming

TEST_F(SafeSaveTest, RenamingCopiesTheModeAndThenReplacesTheTarget)
{
    for (const mode_t mode : {0644U, 0600U, 0U, 04755U, 01777U}) {
        WriteFile(temporary, "new");
        ASSERT_EQ(chmod(target.c_str(), mode), 0);
        system.onRename = [&](const std::string &from, const std::string &to) {
            EXPECT_EQ(from, temporary);
            EXPECT_EQ(to, target);
            EXPECT_EQ(FileMode(from), mode);
        };
        EXPECT_EQ(ZefInfCfgRename(temporary.c_str(), target.c_str()), 0);
        EXPECT_EQ(FileMode(target), mode);
        EXPECT_EQ(ReadFile(target), "new");
        EXPECT_THAT(folder.Names(), ElementsAre("config.xml"));
    }
}

TEST_F(SafeSaveTest, RenamingFailsWithoutATarget)
{
    WriteFile(temporary, "new");
    ASSERT_EQ(std::remove(target.c_str()), 0);
    int touched = 0;
    system.onChmod = [&](const std::string &, mode_t) { ++touched; };
    system.onRename = [&](const std::string &, const std::string &) { ++touched; };
    EXPECT_EQ(ZefInfCfgRename(temporary.c_str(), target.c_str()), -1);
    EXPECT_EQ(touched, 0);
    EXPECT_THAT(folder.Names(), ElementsAre("config.xml.bak"));
}

TEST_F(SafeSaveTest, RenamingFailsWhenTheModeCannotBeCopied)
{
    WriteFile(temporary, "new");
    int renames = 0;
    system.onRename = [&](const std::string &, const std::string &) { ++renames; };
    system.chmodErrno = EPERM;
    EXPECT_EQ(ZefInfCfgRename(temporary.c_str(), target.c_str()), -1);
    EXPECT_EQ(ZefInfCfgRename(folder.File("missing").c_str(), target.c_str()), -1);
    EXPECT_EQ(renames, 0);
    EXPECT_EQ(ReadFile(target), "old");
    EXPECT_EQ(ReadFile(temporary), "new");
}

TEST_F(SafeSaveTest, RenamingFailsWhenTheRenameDoes)
{
    WriteFile(temporary, "new");
    system.renameErrno = EXDEV;
    EXPECT_EQ(ZefInfCfgRename(temporary.c_str(), target.c_str()), -1);
    EXPECT_EQ(ReadFile(target), "old");
    EXPECT_EQ(ReadFile(temporary), "new");
}

// Layout

TEST_F(SafeSaveTest, WritesACreatedDocumentOnFourLines)
{
    ConfigMgr manager;
    manager.CreateConfig().Create("Config").Create("Uuid").SetString("0123abcd-ABCD-0a1B-9f9F-00112233aabb");
    EXPECT_EQ(manager.SaveConfig(target), 0);
    EXPECT_EQ(ReadFile(target), ReadFile(DataFile("uuid.saved.xml")));
}

TEST_F(SafeSaveTest, WritesTheDeclarationOfAnEmptyDocument)
{
    ConfigMgr manager;
    manager.CreateConfig();
    EXPECT_EQ(manager.SaveConfig(target), 0);
    EXPECT_EQ(ReadFile(target), ReadFile(DataFile("empty.saved.xml")));
}

class SavedDocumentTest : public SafeSaveTest, public ::testing::WithParamInterface<const char *> {};

TEST_P(SavedDocumentTest, LooksByteForByteLikeTheGoldenFile)
{
    const std::string name = GetParam();
    ConfigMgr manager;
    ASSERT_EQ(manager.ReadConfig(DataFile(name + ".xml")), 0);
    EXPECT_EQ(manager.SaveConfig(target), 0);
    EXPECT_EQ(ReadFile(target), ReadFile(DataFile(name + ".saved.xml")));
}

std::string NameOfCase(const ::testing::TestParamInfo<const char *> &info)
{
    std::string name = info.param;
    name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
    return name;
}

// client: a whole configuration in wild layout. self-closing: the depth drifts. markup: comments, sections and
// instructions, carriage returns, texts between elements.
INSTANTIATE_TEST_SUITE_P(Golden, SavedDocumentTest, ::testing::Values("client", "self-closing", "markup"),
                         NameOfCase);

TEST_F(SafeSaveTest, ASavedDocumentIsSavedAgainAsItIs)
{
    ConfigMgr manager;
    ASSERT_EQ(manager.ReadConfig(DataFile("client.saved.xml")), 0);
    EXPECT_EQ(manager.SaveConfig(target), 0);
    EXPECT_EQ(ReadFile(target), ReadFile(DataFile("client.saved.xml")));
}

TEST_F(SafeSaveTest, TextsLoseTheirInnerWhiteSpace)
{
    EXPECT_EQ(Saved("<Config><Name>a b\tc\nd\re</Name></Config>"), "<Config>\n<Name>abcd\re</Name>\n</Config>\n");
}

// Without a declaration the depth is still -1 at the top element.
TEST_F(SafeSaveTest, TheFirstElementTakesTheDepthBelowZero)
{
    EXPECT_EQ(Saved("<A><B><C>x</C></B></A>"), "<A>\n<B>\n    <C>x</C>\n</B>\n</A>\n");
}

TEST_F(SafeSaveTest, AClosingTagBehindTextIsNotIndented)
{
    EXPECT_EQ(Saved("<?xml version=\"1.0\"?><A><B><C/>text</B></A>"),
              "<?xml version=\"1.0\"?>\n<A>\n    <B>\n        <C />text</B>\n    </A>\n");
}

TEST_F(SafeSaveTest, AClosingTagInFrontIsNotIndentedEither)
{
    mxml_node_t *const element = mxmlNewElement(MXML_NO_PARENT, "/A");
    mxmlNewOpaque(element, "x");
    EXPECT_EQ(ZefIntCfgSaveInner(element, target.c_str()), 0);
    EXPECT_EQ(ReadFile(target), "</A>x<//A>\n");
    mxmlDelete(element);
}

TEST_F(SafeSaveTest, LongTagsAreNotWrapped)
{
    std::string document = "<Config";
    for (int i = 0; i < 50; ++i) {
        document += " attribute" + std::to_string(i) + "=\"value\"";
    }
    document += ">x</Config>";
    mxmlSetWrapMargin(40);
    EXPECT_EQ(Saved(document), document + "\n");
}

// The length limit

// A document with a text of `length` bytes.
std::string LongDocument(size_t length)
{
    return "<?xml version=\"1.0\"?><Config>" + std::string(length, 'x') + "</Config>";
}

class LongDocumentTest : public SafeSaveTest {
protected:
    // A document whose rendering, its final line feed included, has exactly this many bytes.
    static std::string OfRendering(int bytes)
    {
        const int empty = RenderedBytes(LongDocument(1)) - 1;
        std::string document = LongDocument(static_cast<size_t>(bytes - empty));
        EXPECT_EQ(RenderedBytes(document), bytes);
        return document;
    }

    // As saved, with the last `cut` bytes of markup missing.
    static std::string Line(const std::string &document, size_t cut)
    {
        return "<?xml version=\"1.0\"?>\n" + document.substr(21, document.size() - 21 - cut);
    }

private:
    static int RenderedBytes(const std::string &document)
    {
        const XmlDocument tree(document);
        mxmlSetWrapMargin(0);
        return mxmlSaveString(tree.Root(), nullptr, 0, MXML_NO_CALLBACK);
    }
};

TEST_F(LongDocumentTest, ARenderingOf32767BytesIsSavedWhole)
{
    const std::string document = OfRendering(32767);
    EXPECT_EQ(Saved(document), Line(document, 0) + "\n");
}

TEST_F(LongDocumentTest, ARenderingOf32768BytesLosesItsFinalLineFeedAlone)
{
    const std::string document = OfRendering(32768);
    EXPECT_EQ(Saved(document), Line(document, 0) + "\n");
}

TEST_F(LongDocumentTest, ARenderingOf32769BytesIsCut)
{
    const std::string document = OfRendering(32769);
    EXPECT_EQ(Saved(document), Line(document, 1));
}

TEST_F(LongDocumentTest, ACutBehindALessThanSignLooksLikeAnOpeningTag)
{
    const std::string document = OfRendering(32776);
    const std::string line = Line(document, 8);
    EXPECT_EQ(Saved(document), line.substr(0, line.size() - 1) + "    <");
}

TEST_F(LongDocumentTest, AVeryLongRenderingIsSavedCut)
{
    const std::string document = LongDocument(1000000);
    EXPECT_EQ(Saved(document), Line(document, document.size() - 32767));
}

TEST_F(LongDocumentTest, ALongLayoutMayExceedTheRendering)
{
    std::string document = "<?xml version=\"1.0\"?><Config>";
    std::string expected = "<?xml version=\"1.0\"?>\n<Config>\n";
    for (int i = 0; i < 500; ++i) {
        document += "<A/>";
        expected += std::string(4U * static_cast<unsigned>(i + 1), ' ') + "<A />\n";
    }
    expected += std::string(4U * 500U, ' ') + "</Config>\n";
    EXPECT_EQ(Saved(document + "</Config>"), expected);
    EXPECT_GT(expected.size(), 400000U);
}

// The way of a successful save

TEST_F(SafeSaveTest, KeepsThePermissionBitsOfTheTarget)
{
    for (const mode_t mode : {0644U, 0600U, 0400U, 06755U}) {
        ASSERT_EQ(chmod(target.c_str(), mode), 0);
        EXPECT_EQ(Save(kSmall), 0);
        EXPECT_EQ(FileMode(target), mode);
        EXPECT_EQ(ReadFile(target), kSmallSaved);
    }
}

// The temporary file is descriptor 0 then.
TEST_F(SafeSaveTest, SavesWhereNoStandardInputIsOpen)
{
    const int standardInput = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    const int result = Save(kSmall);
    dup2(standardInput, STDIN_FILENO);
    close(standardInput);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(ReadFile(target), kSmallSaved);
}

TEST_F(SafeSaveTest, LeavesNoTemporaryFile)
{
    EXPECT_EQ(Save(kSmall), 0);
    EXPECT_THAT(folder.Names(), ElementsAre("config.xml"));
}

TEST_F(SafeSaveTest, SyncsChangesTheModeAndRenamesInThisOrder)
{
    std::vector<std::string> steps;
    system.onFsync = [&](int) {
        steps.emplace_back("fsync");
        EXPECT_EQ(ReadFile(temporary), kSmallSaved);
        EXPECT_EQ(ReadFile(target), "old");
    };
    system.onChmod = [&](const std::string &path, mode_t) {
        steps.push_back("chmod " + path);
        EXPECT_EQ(ReadFile(target), "old");
    };
    system.onRename = [&](const std::string &from, const std::string &to) {
        steps.push_back("rename " + from + " " + to);
        EXPECT_EQ(ReadFile(from), kSmallSaved);
        EXPECT_EQ(ReadFile(to), "old");
    };
    EXPECT_EQ(Save(kSmall), 0);
    EXPECT_THAT(steps, ElementsAre("fsync", "chmod " + temporary, "rename " + temporary + " " + target));
}

TEST_F(SafeSaveTest, ClosesTheTemporaryFileBeforeItRenames)
{
    const size_t before = OpenDescriptors();
    size_t during = 0;
    system.onRename = [&](const std::string &, const std::string &) { during = OpenDescriptors(); };
    EXPECT_EQ(Save(kSmall), 0);
    EXPECT_EQ(during, before);
}

TEST_F(SafeSaveTest, TheTemporaryFileIsItsOwnersAlone)
{
    for (const mode_t mask : {0U, 0022U, 0777U}) {
        const UmaskScope umask(mask);
        mode_t during = 0;
        system.onFsync = [&](int) { during = FileMode(temporary); };
        EXPECT_EQ(Save(kSmall), 0);
        EXPECT_EQ(during, 0600U);
    }
}

// Between its creation and any later change somebody else could open it.
TEST_F(SafeSaveTest, TheTemporaryFileIsCreatedForItsOwnerAlone)
{
    const UmaskScope umask(0);
    mode_t created = 07777;
    system.onFchmod = [&](int, mode_t) { created = FileMode(temporary); };
    EXPECT_EQ(Save(kSmall), 0);
    EXPECT_EQ(created, 0600U);
}

TEST_F(SafeSaveTest, ALeftOverTemporaryFileIsOverwrittenAndMadeItsOwnersAlone)
{
    WriteFile(temporary, std::string(10000, 'z'));
    ASSERT_EQ(chmod(temporary.c_str(), 0644), 0);
    mode_t during = 0;
    system.onFsync = [&](int) { during = FileMode(temporary); };
    EXPECT_EQ(Save(kSmall), 0);
    EXPECT_EQ(during, 0600U);
    EXPECT_EQ(ReadFile(target), kSmallSaved);
    EXPECT_THAT(folder.Names(), ElementsAre("config.xml"));
}

TEST_F(SafeSaveTest, SavesTheSameDocumentAsOftenAsAsked)
{
    const XmlDocument tree(kSmall);
    for (int i = 0; i < 3; ++i) {
        WriteFile(target, "old");
        EXPECT_EQ(ZefIntCfgSaveInner(tree.Root(), target.c_str()), 0);
        EXPECT_EQ(ReadFile(target), kSmallSaved);
    }
}

// Failures

TEST_F(SafeSaveTest, ANullDocumentIsRefusedBeforeAnyFileIsTouched)
{
    WriteFile(temporary, "left over");
    EXPECT_EQ(ZefIntCfgSaveInner(nullptr, target.c_str()), -1);
    EXPECT_EQ(ReadFile(target), "old");
    EXPECT_EQ(ReadFile(temporary), "left over");
}

TEST_F(SafeSaveTest, FailsWithoutATemporaryPath)
{
    system.mallocErrno = ENOMEM;
    EXPECT_EQ(SaveThatFails(), -1);
    platform.copiesUntilFailure = 0;
    EXPECT_EQ(SaveThatFails(), -1);
    platform.copiesUntilFailure = 1;
    EXPECT_EQ(SaveThatFails(), -1);
}

TEST_F(SafeSaveTest, GivesTheNegatedErrnoWhenTheTemporaryFileCannotBeOpened)
{
    const XmlDocument tree(kSmall);
    EXPECT_EQ(ZefIntCfgSaveInner(tree.Root(), folder.File("no/config.xml").c_str()), -ENOENT);
    EXPECT_EQ(ZefIntCfgSaveInner(tree.Root(), (target + "/config.xml").c_str()), -ENOTDIR);
    EXPECT_EQ(ZefIntCfgSaveInner(tree.Root(), folder.File(std::string(252, 'x')).c_str()), -ENAMETOOLONG);
    EXPECT_EQ(ReadFile(target), "old");
    EXPECT_THAT(folder.Names(), ElementsAre("config.xml"));
}

TEST_F(SafeSaveTest, GivesTheNegatedErrnoWhenTheFolderMayNotBeWritten)
{
    ASSERT_EQ(chmod(folder.Path().c_str(), 0500), 0);
    {
        const WithoutFileCapabilities asAnyUser;
        EXPECT_EQ(SaveThatFails(), -EACCES);
    }
    ASSERT_EQ(chmod(folder.Path().c_str(), 0700), 0);
}

TEST_F(SafeSaveTest, DoesNotDeleteWhatItDidNotCreate)
{
    ASSERT_EQ(mkdir(temporary.c_str(), 0700), 0);
    EXPECT_EQ(Save(kSmall), -EISDIR);
    EXPECT_EQ(ReadFile(target), "old");
    EXPECT_THAT(folder.Names(), ElementsAre("config.xml", "config.xml.bak"));
}

TEST_F(SafeSaveTest, FailsWhenNoStreamCanBeMadeOfTheTemporaryFile)
{
    system.fdopenErrno = ENOMEM;
    EXPECT_EQ(SaveThatFails(), -ENOMEM);
}

TEST_F(SafeSaveTest, ReportsWhyThereIsNoStreamEvenWhenTheTemporaryFileIsGoneAlready)
{
    system.onFchmod = [&](int, mode_t) { EXPECT_EQ(std::remove(temporary.c_str()), 0); };
    system.fdopenErrno = ENOMEM;
    EXPECT_EQ(SaveThatFails(), -ENOMEM);
}

TEST_F(SafeSaveTest, FailsWhenTheSyncDoes)
{
    system.fsyncErrno = EIO;
    EXPECT_EQ(SaveThatFails(), -EIO);
}

TEST_F(SafeSaveTest, FailsWhenTheCloseDoes)
{
    system.fcloseErrno = ENOSPC;
    EXPECT_EQ(SaveThatFails(), -ENOSPC);
}

TEST_F(SafeSaveTest, ReportsTheFirstOfTwoErrors)
{
    system.fsyncErrno = EIO;
    system.fcloseErrno = ENOSPC;
    EXPECT_EQ(SaveThatFails(), -EIO);
}

TEST_F(SafeSaveTest, AFailedCloseRenamesNothing)
{
    int renames = 0;
    system.onChmod = [&](const std::string &, mode_t) { ++renames; };
    system.onRename = [&](const std::string &, const std::string &) { ++renames; };
    system.fcloseErrno = EIO;
    EXPECT_EQ(SaveThatFails(), -EIO);
    EXPECT_EQ(renames, 0);
}

TEST_F(SafeSaveTest, FailsWhenTheTargetDoesNotExist)
{
    ASSERT_EQ(std::remove(target.c_str()), 0);
    EXPECT_EQ(Save(kSmall), -1);
    EXPECT_THAT(folder.Names(), ElementsAre());
}

TEST_F(SafeSaveTest, FailsWhenTheModeCannotBeCopied)
{
    system.chmodErrno = EPERM;
    EXPECT_EQ(SaveThatFails(), -1);
}

TEST_F(SafeSaveTest, FailsWhenTheRenameDoes)
{
    system.renameErrno = EBUSY;
    EXPECT_EQ(SaveThatFails(), -1);
}

TEST_F(SafeSaveTest, FailsWhenTheTargetIsAFolder)
{
    const XmlDocument tree(kSmall);
    ASSERT_EQ(mkdir(folder.File("folder").c_str(), 0700), 0);
    EXPECT_EQ(ZefIntCfgSaveInner(tree.Root(), folder.File("folder").c_str()), -1);
    EXPECT_THAT(folder.Names(), ElementsAre("config.xml", "folder"));
}

TEST_F(SafeSaveTest, AFailedSaveCanBeRepeated)
{
    system.fsyncErrno = EIO;
    EXPECT_EQ(SaveThatFails(), -EIO);
    EXPECT_EQ(Save(kSmall), 0);
    EXPECT_EQ(ReadFile(target), kSmallSaved);
}

TEST_F(SafeSaveTest, ALimitOnTheFileSizeLosesNothing)
{
    for (const rlim_t limit : {rlim_t{0}, rlim_t{1}, rlim_t{std::strlen(kSmallSaved) - 1}}) {
        const FileSizeLimit fileSizeLimit(limit);
        EXPECT_EQ(SaveThatFails(), -EFBIG) << limit;
    }
    const FileSizeLimit justEnough(std::strlen(kSmallSaved));
    EXPECT_EQ(Save(kSmall), 0);
    EXPECT_EQ(ReadFile(target), kSmallSaved);
}

TEST_F(SafeSaveTest, AFullDiskLosesNothing)
{
    ASSERT_NO_FATAL_FAILURE(OptFolder::RequirePrivate());
    const SmallDisk disk("size=4k");
    const std::string onDisk = disk.File("config.xml");
    WriteFile(onDisk, "old");
    for (const std::string &document : {std::string(kSmall), LongDocument(20000), LongDocument(100000)}) {
        const XmlDocument tree(document);
        EXPECT_EQ(ZefIntCfgSaveInner(tree.Root(), onDisk.c_str()), -ENOSPC);
        EXPECT_EQ(ReadFile(onDisk), "old");
        EXPECT_NE(access(disk.File("config.xml.bak").c_str(), F_OK), 0);
    }
}

TEST_F(SafeSaveTest, ADiskWithoutRoomForAnotherFileLosesNothing)
{
    ASSERT_NO_FATAL_FAILURE(OptFolder::RequirePrivate());
    const SmallDisk disk("nr_inodes=2");
    const std::string onDisk = disk.File("config.xml");
    WriteFile(onDisk, "old");
    const XmlDocument tree(kSmall);
    EXPECT_EQ(ZefIntCfgSaveInner(tree.Root(), onDisk.c_str()), -ENOSPC);
    EXPECT_EQ(ReadFile(onDisk), "old");
}

TEST_F(SafeSaveTest, AReadOnlyDiskLosesNothing)
{
    ASSERT_NO_FATAL_FAILURE(OptFolder::RequirePrivate());
    const SmallDisk disk("size=64k");
    const std::string onDisk = disk.File("config.xml");
    WriteFile(onDisk, "old");
    ASSERT_EQ(mount(nullptr, onDisk.substr(0, onDisk.rfind('/')).c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const XmlDocument tree(kSmall);
    EXPECT_EQ(ZefIntCfgSaveInner(tree.Root(), onDisk.c_str()), -EROFS);
    EXPECT_EQ(ReadFile(onDisk), "old");
}

// Nothing catches exceptions, and scope releases everything on their way: whichever allocation fails.
TEST_F(SafeSaveTest, ALackOfMemoryReachesTheCallerAndLeavesTheOldFile)
{
    constexpr int kMaxAllocations = 200;
    const XmlDocument tree(kSmall);
    const size_t descriptors = OpenDescriptors();
    int failures = 0;
    int result = -1;
    while (failures < kMaxAllocations && result != 0) {
        FakeSystem::newsUntilFailure = failures;
        try {
            result = ZefIntCfgSaveInner(tree.Root(), target.c_str());
            FakeSystem::newsUntilFailure = -1;
            break;
        } catch (const std::bad_alloc &) {
            ++failures;
        }
        EXPECT_EQ(ReadFile(target), "old") << failures;
        EXPECT_THAT(folder.Names(), ElementsAre("config.xml")) << failures;
        EXPECT_EQ(OpenDescriptors(), descriptors) << failures;
    }
    EXPECT_GE(failures, 2);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(ReadFile(target), kSmallSaved);
}

}  // namespace
