#include "mgmt/config/storage/StorageTest.h"

#include <zef_config/ConfigMgr.h>
#include <zef_config/ConfigNode.h>
#include <zef_config/ZefStorageController.h>

#include <fstream>
#include <stdexcept>
#include <utility>

#include <cstdlib>

#include <unistd.h>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string kDecryption = "WoxUtil::WoxDecryptData(2,sealed:secret)";
const std::string kPlainText = "secret";

class StorageLoadingTest : public StorageTest {
protected:
    // A storage object in the document: its children's texts.
    struct Array {
        std::string name = "array1";
        std::string user = "admin";
        std::string linkType = "0";
        std::string password = "sealed:secret";
        std::vector<std::string> ips = {"10.0.0.1"};
    };

    ConfigNode Add(const Array &array)
    {
        ConfigNode node = config.Create("StorageObject");
        node.Create("Name").SetString(array.name);
        node.Create("User").SetString(array.user);
        node.Create("LinkType").SetString(array.linkType);
        node.Create("Password").SetString(array.password);
        for (const std::string &ip : array.ips) {
            node.Create("Ips").SetString(ip);
        }
        return node;
    }

    static std::vector<std::string> ManyIps(int count)
    {
        std::vector<std::string> ips;
        for (int i = 0; i < count; ++i) {
            ips.push_back("10.0.0." + std::to_string(i));
        }
        return ips;
    }

    int Create(int index = 0)
    {
        ConfigNode list = config.Get("StorageObject");
        return CreateStorageFromConfig(list, index);
    }

    int Load() { return ZefStorageController::CreateFromConfig(config); }
    int LoadAndConnect() { return ZefStorageController::CreateFromConfigAndConnect(config); }

    static std::string Message(const std::string &function, const std::string &message)
    {
        return Line(kError, "ZefStorageController", function, "zef storage controller " + message);
    }

    static const ZefStorage &Only()
    {
        EXPECT_THAT(ZefStorageManager::GetStorageAll(), SizeIs(1));
        return ZefStorageManager::GetStorageAll().empty() ? ZefStorageManager::GetByName("")
                                                          : ZefStorageManager::GetStorageAll().front();
    }

    ConfigMgr document;
    ConfigNode config = document.CreateConfig().Create("Config");
};

// CreateStorageFromConfig

TEST_F(StorageLoadingTest, AStorageObjectIsRegisteredWithAllThatTheDocumentSays)
{
    Add({});
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Only().GetName(), "array1");
    EXPECT_EQ(Only().GetUser(), "admin");
    EXPECT_EQ(Only().GetPassword(), "sealed:secret") << "the encrypted form";
    EXPECT_EQ(Only().GetLinkType(), StorageLinkType::kIp);
    EXPECT_THAT(Only().GetIpList(), ElementsAre("10.0.0.1"));
    EXPECT_THAT(platform.calls, ElementsAre(kDecryption, "IpUtil::IsIpV4Valid(10.0.0.1)"));
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(StorageLoadingTest, TheIndexChoosesTheStorageObject)
{
    Add({"array1", "admin", "0", "sealed:secret", {}});
    Add({"array2", "admin", "0", "sealed:secret", {}});
    const std::string second = config.Get("StorageObject")[1].Get("Name").GetString();
    EXPECT_EQ(Create(1), 0);
    EXPECT_THAT(Names(), ElementsAre(second));
}

TEST_F(StorageLoadingTest, AnIndexOutOfRangeIsRefusedWithoutAWord)
{
    Add({});
    EXPECT_EQ(Create(1), -1);
    EXPECT_EQ(Create(-1), -1);
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_THAT(platform.calls, IsEmpty());
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(StorageLoadingTest, AnEmptyPasswordIsRefusedWithoutAWord)
{
    Add({"array 1", "x", "0", "", ManyIps(17)});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_THAT(platform.calls, IsEmpty());
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(StorageLoadingTest, AMissingPasswordIsRefusedWithoutAWord)
{
    Add({});
    config.Get("StorageObject").Get("Password").Delete();
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(StorageLoadingTest, AnEmptyFibreChannelPasswordIsRefusedToo)
{
    Add({"array1", "admin", "1", "", {}});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(StorageLoadingTest, APasswordThatDoesNotDecryptIsReported)
{
    for (const char *const linkType : {"0", "1"}) {
        platform.logs.clear();
        platform.calls.clear();
        config.Get("StorageObject").Delete();
        Add({"array 1", "x", linkType, "not sealed", ManyIps(17)});
        EXPECT_EQ(Create(), -1);
        EXPECT_THAT(Logged(), ElementsAre(Message("CreateStorageFromConfig", "password decrypt failed.")));
        EXPECT_THAT(platform.logs, SizeIs(1));
        EXPECT_THAT(platform.calls, ElementsAre("WoxUtil::WoxDecryptData(2,not sealed)"));
        EXPECT_THAT(Names(), IsEmpty());
    }
}

TEST_F(StorageLoadingTest, ThePlainTextIsWipedAndNeverLogged)
{
    Add({"array 1", "admin", "0", "sealed:secret", {}});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(platform.wiped, ElementsAre(kPlainText));
    for (const LogRecord &record : platform.logs) {
        EXPECT_EQ(record.text.find(kPlainText), std::string::npos);
    }
}

TEST_F(StorageLoadingTest, ThePlainTextIsWipedBeforeTheStorageIsCreated)
{
    std::vector<std::string> wiped;
    platform.onIsIpV4Valid = [&wiped, this](const std::string &) {
        wiped = platform.wiped;
        return true;
    };
    Add({});
    EXPECT_EQ(Create(), 0);
    EXPECT_THAT(wiped, ElementsAre(kPlainText));
}

TEST_F(StorageLoadingTest, LinkTypeOneMakesAFibreChannelStorageWhoseAddressesAreNotRead)
{
    Add({"array1", "admin", "1", "sealed:secret", ManyIps(17)});
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Only().GetLinkType(), StorageLinkType::kFibreChannel);
    EXPECT_EQ(Only().GetName(), "array1");
    EXPECT_EQ(Only().GetUser(), "admin");
    EXPECT_EQ(Only().GetPassword(), "sealed:secret");
    EXPECT_THAT(Only().GetIpList(), IsEmpty());
    EXPECT_THAT(platform.calls, ElementsAre(kDecryption));
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(StorageLoadingTest, EveryOtherLinkTypeIsIp)
{
    for (const char *const linkType : {"01", "2", "0", "", "+1", " 1", "1 ", "11", "0x1", "4294967297", "true"}) {
        ZefStorageManager::Clear();
        config.Get("StorageObject").Delete();
        Add({"array1", "admin", linkType, "sealed:secret", {"10.0.0.1"}});
        EXPECT_EQ(Create(), 0) << linkType;
        EXPECT_EQ(Only().GetLinkType(), StorageLinkType::kIp) << linkType;
        EXPECT_THAT(Only().GetIpList(), ElementsAre("10.0.0.1")) << linkType;
    }
}

TEST_F(StorageLoadingTest, AMissingLinkTypeIsIp)
{
    Add({});
    config.Get("StorageObject").Get("LinkType").Delete();
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Only().GetLinkType(), StorageLinkType::kIp);
}

TEST_F(StorageLoadingTest, SixteenAddressesAreAccepted)
{
    Add({"array1", "admin", "0", "sealed:secret", ManyIps(16)});
    EXPECT_EQ(Create(), 0);
    EXPECT_THAT(Only().GetIpList(), SizeIs(16));
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(StorageLoadingTest, SeventeenAddressesAreRefused)
{
    Add({"array1", "admin", "0", "sealed:secret", ManyIps(17)});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Message("CreateStorageFromConfig", "ip over max num 16.")));
    EXPECT_THAT(platform.calls, ElementsAre(kDecryption));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(StorageLoadingTest, ElementsAreCountedNotAddresses)
{
    Add({"array1", "admin", "0", "sealed:secret", std::vector<std::string>(17, "10.0.0.1")});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Message("CreateStorageFromConfig", "ip over max num 16.")));
}

TEST_F(StorageLoadingTest, AddressesAreJoinedWithASeparatorBetweenThem)
{
    Add({"array1", "admin", "0", "sealed:secret", {"10.0.0.3", "10.0.0.1", "10.0.0.2"}});
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Only().GetIps(), "10.0.0.1;10.0.0.2;10.0.0.3");
}

TEST_F(StorageLoadingTest, AnElementMayHoldSeveralAddresses)
{
    Add({"array1", "admin", "0", "sealed:secret", {"10.0.0.3;10.0.0.1", "10.0.0.2"}});
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Only().GetIps(), "10.0.0.1;10.0.0.2;10.0.0.3");
}

// An empty element in the node's last place leaves a separator at the very end of the joined text, which yields no
// piece; with one separator more, or one less, the text would be refused or its pieces would run together.
TEST_F(StorageLoadingTest, TheJoinedTextHasNoTrailingSeparatorOfItsOwn)
{
    Add({"array1", "admin", "0", "sealed:secret", {"", "", ""}});
    const ConfigNode ips = config.Get("StorageObject").Get("Ips");
    ips[0].SetString("10.0.0.1");
    ips[1].SetString("10.0.0.2");
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Only().GetIps(), "10.0.0.1;10.0.0.2");
}

TEST_F(StorageLoadingTest, AnEmptyElementBeforeTheLastIsAnInvalidAddress)
{
    Add({"array1", "admin", "0", "sealed:secret", {"", ""}});
    config.Get("StorageObject").Get("Ips")[1].SetString("10.0.0.1");
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip () is invalid.")));
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(StorageLoadingTest, AStorageObjectWithoutAddressesIsRegistered)
{
    for (const bool withEmptyElement : {false, true}) {
        platform.logs.clear();
        ZefStorageManager::Clear();
        config.Get("StorageObject").Delete();
        Add({"array1", "admin", "0", "sealed:secret", std::vector<std::string>(withEmptyElement ? 1 : 0)});
        EXPECT_EQ(Create(), 0);
        EXPECT_THAT(Refused(), ElementsAre(Refusal("AddStorageIps", "ip list is empty.")));
        EXPECT_THAT(Only().GetIpList(), IsEmpty());
        EXPECT_EQ(Only().GetLinkType(), StorageLinkType::kIp);
    }
}

TEST_F(StorageLoadingTest, ARefusalByTheRegistryIsPassedOn)
{
    Add({"array 1", "admin", "0", "sealed:secret", {"10.0.0.1"}});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "params is invalid.")));
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(StorageLoadingTest, ARefusalOfAFibreChannelStorageIsPassedOn)
{
    Register("array1");
    Add({"array1", "admin", "1", "sealed:secret", {}});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "name exist.")));
    EXPECT_EQ(Only().GetLinkType(), StorageLinkType::kIp);
}

TEST_F(StorageLoadingTest, AMissingNameOrUserIsAnInvalidParameter)
{
    for (const char *const element : {"Name", "User"}) {
        platform.logs.clear();
        config.Get("StorageObject").Delete();
        Add({});
        config.Get("StorageObject").Get(element).Delete();
        EXPECT_EQ(Create(), -1) << element;
        EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "params is invalid."))) << element;
    }
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(StorageLoadingTest, TheTypeAttributeOfAValueIsNotLookedAt)
{
    ConfigNode node = Add({"17", "admin", "1", "sealed:secret", {}});
    for (const char *const element : {"Name", "User", "LinkType", "Password"}) {
        node.Get(element).SetAttr("type", "int");
    }
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Only().GetName(), "17");
    EXPECT_EQ(Only().GetLinkType(), StorageLinkType::kFibreChannel);
}

TEST_F(StorageLoadingTest, TheTypeAttributeOfAnAddressIsNotLookedAt)
{
    ConfigNode node = Add({});
    node.Get("Ips").SetAttr("type", "bool");
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Only().GetIps(), "10.0.0.1");
}

TEST_F(StorageLoadingTest, ValuesAreTakenWithTheirWhiteSpace)
{
    Add({"array1\n", "admin", "0", "sealed:secret", {}});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "params is invalid.")));
}

// CreateFromConfig

TEST_F(StorageLoadingTest, ADocumentWithoutStorageObjectsCreatesNothingAndSucceeds)
{
    EXPECT_EQ(Load(), 0);
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(StorageLoadingTest, AnEmptyNodeCreatesNothingAndSucceeds)
{
    ConfigNode nothing;
    EXPECT_EQ(ZefStorageController::CreateFromConfig(nothing), 0);
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(StorageLoadingTest, OneStorageObjectIsCreated)
{
    Add({});
    EXPECT_EQ(Load(), 0);
    EXPECT_THAT(Names(), ElementsAre("array1"));
    EXPECT_EQ(Queued(), 0U) << "loading alone connects nothing";
}

TEST_F(StorageLoadingTest, TwoStorageObjectsAreRefused)
{
    Add({});
    Add({"array2", "admin", "1", "sealed:secret", {}});
    EXPECT_EQ(Load(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Message("CreateFromConfig", "storage num over max value 1.")));
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(StorageLoadingTest, StorageObjectsOfTheDocumentAreCountedNotThoseRegistered)
{
    Register("array0");
    Add({});
    EXPECT_EQ(Load(), 0);
    EXPECT_THAT(Names(), ElementsAre("array0", "array1"));
}

TEST_F(StorageLoadingTest, AStorageObjectThatIsRefusedFailsTheLoading)
{
    Register("array0");
    Add({"array1", "admin", "0", "not sealed", {}});
    EXPECT_EQ(Load(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Message("CreateStorageFromConfig", "password decrypt failed.")));
    EXPECT_THAT(Names(), ElementsAre("array0")) << "what was there stays";
}

TEST_F(StorageLoadingTest, AnEmptyPasswordFailsTheLoadingWithoutAWord)
{
    Add({"array1", "admin", "0", "", {}});
    EXPECT_EQ(Load(), -1);
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(StorageLoadingTest, OnlyDirectChildrenAreStorageObjects)
{
    config = config.Create("Group");
    Add({});
    config = document.GetConfig().Get("Config");
    EXPECT_EQ(Load(), 0);
    EXPECT_THAT(Names(), IsEmpty());
}

// CreateFromConfigAndConnect

TEST_F(StorageLoadingTest, AnIpStorageIsConnectedByOneTaskPerAddress)
{
    platform.powerOnMs = 5000;
    Add({"array1", "admin", "0", "sealed:secret", {"10.0.0.2", "10.0.0.1"}});
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("", ""));
    EXPECT_THAT(platform.QueuedDueTimes(), ElementsAre(0, 0));
    EXPECT_EQ(CountCalls("ZefAddThreadForFc()"), 0U);
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_EQ(platform.RunDue(2), 2);
    EXPECT_THAT(platform.calls, Contains("IpUtil::GetHostIpsCanConnect(10.0.0.1)"));
    EXPECT_THAT(platform.calls, Contains("IpUtil::GetHostIpsCanConnect(10.0.0.2)"));
}

TEST_F(StorageLoadingTest, AFibreChannelStorageIsConnectedAfterTheProcessWasPrepared)
{
    std::vector<std::string> before;
    LockRecorder::onNotifyOne = [&before, this] { before = platform.calls; };
    Add({"array1", "admin", "1", "sealed:secret", {"10.0.0.1"}});
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_THAT(before, ElementsAre(kDecryption, "ZefAddThreadForFc()"));
    EXPECT_THAT(platform.calls, ElementsAre(kDecryption, "ZefAddThreadForFc()"));
    EXPECT_EQ(Queued(), 1U);
    EXPECT_EQ(platform.RunDue(1), 1);
    EXPECT_THAT(platform.calls, Contains("OrnClientRegCredential(1,ZefStorageGetBilCredentialCb)"));
}

TEST_F(StorageLoadingTest, TheProcessIsPreparedOncePerCallJustBeforeTheFirstFibreChannelStorage)
{
    Register("ip0", {"10.0.0.1"});
    Register("fc0").SetLinkType(StorageLinkType::kFibreChannel);
    Register("ip1", {"10.0.0.1"});
    Register("fc1").SetLinkType(StorageLinkType::kFibreChannel);
    std::vector<size_t> preparations;
    LockRecorder::onNotifyOne = [&preparations, this] { preparations.push_back(CountCalls("ZefAddThreadForFc()")); };
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_THAT(preparations, ElementsAre(0, 1, 1, 1));
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_THAT(preparations, ElementsAre(0, 1, 1, 1, 1, 2, 2, 2));
}

TEST_F(StorageLoadingTest, EveryLinkTypeButOneIsConnectedOverIp)
{
    Register("array2", {"10.0.0.1"}).SetLinkType(StorageLinkType{2});
    Register("array3", {"10.0.0.2"}).SetLinkType(StorageLinkType{0xFFFFFFFF});
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_EQ(CountCalls("ZefAddThreadForFc()"), 0U);
    EXPECT_EQ(platform.RunDue(2), 2);
    EXPECT_EQ(CountCalls("IpUtil::GetHostIpsCanConnect"), 2U);
}

TEST_F(StorageLoadingTest, AFibreChannelStorageWithAddressesIsNotConnectedOverIp)
{
    Register("array1", {"10.0.0.1"}).SetLinkType(StorageLinkType::kFibreChannel);
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_EQ(Queued(), 1U);
    (void)platform.RunDue(1);
    EXPECT_EQ(CountCalls("IpUtil::GetHostIpsCanConnect"), 0U);
}

TEST_F(StorageLoadingTest, AStorageObjectWithoutAddressesStaysRegisteredAndUnconnected)
{
    Add({"array1", "admin", "0", "sealed:secret", {}});
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_THAT(Names(), ElementsAre("array1"));
    EXPECT_EQ(Queued(), 0U);
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(StorageLoadingTest, TheResultsOfConnectingAreNotLookedAt)
{
    Register("array0");
    Register("array1", {"10.0.0.1"});
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_EQ(Queued(), 1U);
    platform.Pool().running = false;
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_EQ(Queued(), 1U);
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(StorageLoadingTest, AFailedLoadingIsReportedAndConnectsNothing)
{
    Register("array0", {"10.0.0.1"});
    Register("fc0").SetLinkType(StorageLinkType::kFibreChannel);
    const std::vector<std::pair<Array, std::string>> refusedOnes = {
        {{"array1", "admin", "0", "", {}}, ""},
        {{"array1", "admin", "0", "not sealed", {}}, "password decrypt failed."},
        {{"array1", "admin", "0", "sealed:secret", ManyIps(17)}, "ip over max num 16."},
        {{"array1", "admin", "0", "sealed:secret", {"no address"}}, ""},
        {{"array1", "abcd", "1", "sealed:secret", {}}, ""},
    };
    for (const auto &[array, reason] : refusedOnes) {
        platform.logs.clear();
        config.Get("StorageObject").Delete();
        Add(array);
        EXPECT_EQ(LoadAndConnect(), -1);
        std::vector<std::string> expected;
        if (!reason.empty()) {
            expected.push_back(Message("CreateStorageFromConfig", reason));
        }
        expected.push_back(Message("CreateFromConfigAndConnect", "create from config failed."));
        EXPECT_EQ(Logged(), expected);
    }
    EXPECT_THAT(Names(), ElementsAre("array0", "fc0"));
    EXPECT_EQ(Queued(), 0U);
    EXPECT_EQ(CountCalls("ZefAddThreadForFc()"), 0U);
}

TEST_F(StorageLoadingTest, TooManyStorageObjectsAreReportedAndConnectNothing)
{
    Add({});
    Add({});
    EXPECT_EQ(LoadAndConnect(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Message("CreateFromConfig", "storage num over max value 1."),
                                      Message("CreateFromConfigAndConnect", "create from config failed.")));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(StorageLoadingTest, LoadingTheSameDocumentTwiceFails)
{
    Add({});
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_EQ(LoadAndConnect(), -1);
    EXPECT_THAT(Refused(), ElementsAre(Refusal("CreateStorage", "name exist.")));
    EXPECT_EQ(Queued(), 1U);
}

TEST_F(StorageLoadingTest, ConnectingWorksOnACopyOfTheRegistry)
{
    Register("array1", {"10.0.0.1", "10.0.0.2"});
    Register("array2", {"10.0.0.3"});
    LockRecorder::onNotifyOne = [] {
        ZefStorageManager::Clear();
        ZefStorageManager::GetStorageAll().shrink_to_fit();
    };
    EXPECT_EQ(LoadAndConnect(), 0);
    EXPECT_EQ(Queued(), 3U);
    EXPECT_EQ(platform.RunDue(), 3);
    EXPECT_EQ(CountCalls("IpUtil::GetHostIpsCanConnect(10.0.0.3)"), 1U);
}

// ConnectStorageIps

TEST_F(StorageLoadingTest, ConnectStorageIpsCommitsInAscendingOrder)
{
    ZefStorage storage;
    storage.SetName("array1");
    storage.AddIpList({"10.0.0.2", "10.0.0.10", "10.0.0.1"});
    EXPECT_EQ(ZefStorageController::ConnectStorageIps(storage), 0);
    storage = ZefStorage();
    // The heap takes tasks of equal due time in no defined order, but appends each one at its end.
    const std::vector<ThreadPool::Task> tasks = std::move(platform.Pool().tasks);
    ASSERT_THAT(tasks, SizeIs(3));
    for (const ThreadPool::Task &task : tasks) {
        std::get<2>(task)();
    }
    EXPECT_THAT(platform.calls,
                ElementsAre("IpUtil::GetHostIpsCanConnect(10.0.0.1)", "IpUtil::GetHostIpsCanConnect(10.0.0.10)",
                            "IpUtil::GetHostIpsCanConnect(10.0.0.2)"));
}

TEST_F(StorageLoadingTest, ConnectStorageIpsWithoutAddressesFailsAndCommitsNothing)
{
    EXPECT_EQ(ZefStorageController::ConnectStorageIps(Register("array1", {}, {IpPair("1.1.1.1", "10.0.0.1")})), -1);
    EXPECT_EQ(Queued(), 0U);
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(StorageLoadingTest, ConnectStorageIpsSucceedsThoughThePoolAcceptsNothing)
{
    platform.Pool().running = false;
    EXPECT_EQ(ZefStorageController::ConnectStorageIps(Register("array1", {"10.0.0.1"})), 0);
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(StorageLoadingTest, ConnectTasksKnowTheStoragesName)
{
    Register("array1", {"10.0.0.1"});
    EXPECT_EQ(ZefStorageController::ConnectStorageIps(ZefStorageManager::GetByName("array1")), 0);
    EXPECT_EQ(platform.RunDue(1), 1);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("RetryConnectTask:array110.0.0.1"));
}

// Finish

TEST_F(StorageLoadingTest, FinishEmptiesTheRegistryBeforeItClearsThePool)
{
    Register("array1", {"10.0.0.1"});
    EXPECT_EQ(ZefStorageController::ConnectStorageIps(ZefStorageManager::GetByName("array1")), 0);
    size_t registered = 99;
    size_t queued = 99;
    platform.onPoolClear = [&registered, &queued, this] {
        registered = ZefStorageManager::GetStorageAll().size();
        queued = Queued();
    };
    ZefStorageController::Finish();
    EXPECT_EQ(registered, 0U);
    EXPECT_EQ(queued, 1U);
    EXPECT_EQ(Queued(), 0U);
    EXPECT_THAT(platform.calls, ElementsAre("ThreadPool::Clear()"));
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(StorageLoadingTest, ATaskThatRunsWhileThePoolIsClearedEndsItsChain)
{
    Register("array1", {"10.0.0.1"});
    RetryConnectTask("array1", "10.0.0.1");
    platform.Advance(2000);
    platform.onPoolClear = [this] { EXPECT_EQ(platform.RunDue(1), 1); };
    ZefStorageController::Finish();
    const std::vector<std::string> logged = Logged();
    EXPECT_THAT(logged, Contains(Line(kInfo, "LinkTasks", "CheckDoRetry",
                                      "zef storage controller name array1 not exist.")));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(StorageLoadingTest, FinishMayComeTwiceAndWithoutAStart)
{
    ZefStorageController::Finish();
    ZefStorageController::Finish();
    EXPECT_EQ(CountCalls("ThreadPool::Clear()"), 2U);
}

// From a file

class StorageFileTest : public StorageTest {
protected:
    StorageFileTest()
    {
        char pattern[] = "/tmp/zef_storage_XXXXXX";
        const int descriptor = mkstemp(pattern);
        if (descriptor < 0) {
            throw std::runtime_error("no temporary file");
        }
        close(descriptor);
        path = pattern;
    }

    ~StorageFileTest() override { (void)unlink(path.c_str()); }

    // What stands inside Config.
    int LoadAndConnect(const std::string &text)
    {
        std::ofstream(path) << "<?xml version=\"1.0\"?>\n<Config>" << text << "</Config>\n";
        ConfigMgr document;
        EXPECT_EQ(document.ReadConfig(path), 0);
        ConfigNode config = document.GetConfig().Get("Config");
        return ZefStorageController::CreateFromConfigAndConnect(config);
    }

    std::string path;
};

TEST_F(StorageFileTest, AStorageObjectGoesFromTheFileToItsLinks)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"1.1.1.1"}; };
    platform.onLinkInfo = [](const std::string &, const std::string &, OrnLinkInfo &info) {
        info.wwn = 7;
        info.status = 0;
        return 0;
    };
    EXPECT_EQ(LoadAndConnect("\n"
                             "    <StorageObject>\n"
                             "        <Name type=\"string\">pool/array.01-x_y</Name>\n"
                             "        <User type=\"string\">admin</User>\n"
                             "        <LinkType type=\"int\">0</LinkType>\n"
                             "        <Password type=\"string\">sealed:secret</Password>\n"
                             "        <Ips type=\"string\">10.0.0.2</Ips>\n"
                             "        <Ips type=\"string\">10.0.0.1</Ips>\n"
                             "    </StorageObject>\n"),
              0);
    EXPECT_EQ(platform.RunDue(), 2);
    const ZefStorage &storage = ZefStorageManager::GetByName("pool/array.01-x_y");
    EXPECT_EQ(storage.GetIps(), "10.0.0.1;10.0.0.2");
    EXPECT_EQ(storage.GetWwn(), 7U);
    EXPECT_THAT(storage.GetIpParis(), SizeIs(2));
    EXPECT_THAT(Logged(), IsEmpty());
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(StorageFileTest, AnEmptyStorageObjectIsRefused)
{
    EXPECT_EQ(LoadAndConnect("<StorageObject/>"), -1);
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(StorageFileTest, AHugeStorageObjectIsRefused)
{
    std::string text = "<StorageObject><Name>array1</Name><User>admin</User><Password>sealed:secret</Password>";
    for (int i = 0; i < 100000; ++i) {
        text += "<Ips>10.0.0.1</Ips>";
    }
    EXPECT_EQ(LoadAndConnect(text + "</StorageObject>"), -1);
    EXPECT_THAT(Logged(),
                ElementsAre(Line(kError, "ZefStorageController", "CreateStorageFromConfig",
                                 "zef storage controller ip over max num 16."),
                            Line(kError, "ZefStorageController", "CreateFromConfigAndConnect",
                                 "zef storage controller create from config failed.")));
}

}  // namespace
