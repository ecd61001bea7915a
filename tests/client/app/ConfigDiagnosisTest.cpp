#include "app/ConfigDiagnosis.h"

#include <gtest/gtest.h>

#include <fstream>

#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

namespace zef {
namespace {

const std::string kUuid = "<Uuid type=\"string\">0123abcd-ABCD-0a1B-9f9F-00112233aabb</Uuid>";
const std::string kSwitches = "<Deduplication>ON</Deduplication><Compression>OFF</Compression>";

std::string Element(const std::string &name, const std::string &text)
{
    return "<" + name + ">" + text + "</" + name + ">";
}

std::string Storage(const std::string &name, const std::string &user, const std::string &linkType,
                    const std::string &password, int ipCount, const std::string &ip)
{
    std::string text = Element("Name", name) + Element("User", user) + Element("LinkType", linkType);
    text += password.empty() ? "" : Element("Password", password);
    for (int i = 0; i < ipCount; ++i) {
        text += Element("Ips", ip);
    }
    return Element("StorageObject", text);
}

class ConfigDiagnosisTest : public ::testing::Test {
protected:
    ConfigDiagnosisTest()
    {
        char folder[] = "/tmp/zef-diagnosis-XXXXXX";
        EXPECT_NE(mkdtemp(folder), nullptr);
        directory = folder;
        path = directory + "/zef_config.xml";
    }

    ~ConfigDiagnosisTest() override
    {
        unlink(path.c_str());
        rmdir(directory.c_str());
    }

    void WriteRaw(const std::string &text) { std::ofstream(path) << text; }
    void Write(const std::string &children) { WriteRaw("<?xml version=\"1.0\"?><Config>" + children + "</Config>"); }

    std::string directory;
    std::string path;
};

TEST_F(ConfigDiagnosisTest, FindsNothingInAGoodFile)
{
    Write(kUuid + kSwitches + Storage("array-1", "zefuser", "0", "sealed", 16, "10.0.0.1"));
    EXPECT_EQ(DiagnoseInit(path), "");
    EXPECT_EQ(DiagnoseStart(path), "");
}

TEST_F(ConfigDiagnosisTest, SaysWhyAFileCannotBeOpened)
{
    EXPECT_EQ(DiagnoseInit(path), path + " cannot be opened: No such file or directory");
    EXPECT_EQ(DiagnoseStart(path), path + " cannot be opened: No such file or directory");
}

TEST_F(ConfigDiagnosisTest, TakesOnlyARegularFileOfReasonableSize)
{
    EXPECT_EQ(DiagnoseFile(path), "");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(DiagnoseFile(path), path + " is not a regular file");
    unlink(path.c_str());
    ASSERT_EQ(symlink("/dev/zero", path.c_str()), 0);
    EXPECT_EQ(DiagnoseFile(path), path + " is not a regular file");
    unlink(path.c_str());
    Write(kUuid);
    EXPECT_EQ(DiagnoseFile(path), "");
    ASSERT_EQ(truncate(path.c_str(), 16 * 1024 * 1024), 0);
    EXPECT_EQ(DiagnoseFile(path), "");
    ASSERT_EQ(truncate(path.c_str(), 16 * 1024 * 1024 + 1), 0);
    EXPECT_EQ(DiagnoseFile(path), path + " is larger than 16 MiB");
}

TEST_F(ConfigDiagnosisTest, KnowsATornOrEmptyFile)
{
    WriteRaw("<?xml version=\"1.0\"?><Config><Uuid>0123");
    const std::string torn = DiagnoseInit(path);
    WriteRaw("");
    EXPECT_EQ(DiagnoseInit(path), path + " is empty or not well-formed XML");
    EXPECT_NE(torn, "");
}

TEST_F(ConfigDiagnosisTest, KnowsAFileWithAnotherTopElement)
{
    WriteRaw("<?xml version=\"1.0\"?><Settings/>");
    EXPECT_EQ(DiagnoseInit(path), path + " has no top element Config under an XML declaration");
}

TEST_F(ConfigDiagnosisTest, NamesWhatIsWrongWithTheUuid)
{
    Write("");
    EXPECT_EQ(DiagnoseInit(path), "element Uuid is missing, empty, or not of type \"string\"");
    Write(Element("Uuid", "x"));
    EXPECT_EQ(DiagnoseInit(path), "Uuid \"x\" is malformed and there is no SystemUuid to fall back to");
    Write(Element("Uuid", "x") + Element("SystemUuid", "y"));
    EXPECT_EQ(DiagnoseInit(path), "Uuid \"x\" and SystemUuid \"y\" are malformed");
    Write(Element("Uuid", "x") + Element("SystemUuid", "0123abcd-ABCD-0a1B-9f9F-00112233aabb"));
    EXPECT_EQ(DiagnoseInit(path), "");
}

TEST_F(ConfigDiagnosisTest, NamesWhatIsWrongWithTheStorageObject)
{
    const std::string good = Storage("array-1", "zefuser", "0", "sealed", 1, "10.0.0.1");
    Write(kSwitches + good + good);
    EXPECT_EQ(DiagnoseStart(path), "there are 2 elements StorageObject; at most one is allowed");
    Write(kSwitches + Storage("array-1", "zefuser", "0", "", 1, "10.0.0.1"));
    EXPECT_EQ(DiagnoseStart(path), "StorageObject has no Password; zef_client password encrypt makes one");
    Write(kSwitches + Storage("array-1", "abcd", "0", "sealed", 1, "10.0.0.1"));
    EXPECT_EQ(DiagnoseStart(path),
              "User \"abcd\" is not 5 to 32 letters, digits and underscores beginning with a letter");
    Write(kSwitches + Storage("array 1", "zefuser", "0", "sealed", 1, "10.0.0.1"));
    EXPECT_EQ(DiagnoseStart(path), "Name \"array 1\" is not 1 to 127 letters, digits and characters of _ / . -");
    Write(kSwitches + Storage("array-1", "zefuser", "0", "sealed", 17, "10.0.0.1"));
    EXPECT_EQ(DiagnoseStart(path), "StorageObject has 17 elements Ips; at most 16 are allowed");
    Write(kSwitches + Storage("array-1", "zefuser", "0", "sealed", 1, "10.0.0.300"));
    EXPECT_EQ(DiagnoseStart(path), "Ips \"10.0.0.300\" is not an IPv4 address");
}

TEST_F(ConfigDiagnosisTest, DoesNotLookAtTheAddressesOfAFibreChannelStorage)
{
    Write(kSwitches + Storage("array-1", "zefuser", "1", "sealed", 17, "nonsense"));
    EXPECT_EQ(DiagnoseStart(path), "");
}

TEST_F(ConfigDiagnosisTest, NamesWhatIsWrongWithTheSwitches)
{
    Write("<Deduplication>ON</Deduplication>");
    EXPECT_EQ(DiagnoseStart(path), "element Compression is missing, empty, or not of type \"string\"");
    Write("<Deduplication>on</Deduplication><Compression>OFF</Compression>");
    EXPECT_EQ(DiagnoseStart(path), "Deduplication is \"on\"; it must be ON or OFF");
    Write("<Deduplication>OFF</Deduplication><Compression>ON</Compression>");
    EXPECT_EQ(DiagnoseStart(path), "Compression is ON while Deduplication is OFF; it needs Deduplication");
}

}  // namespace
}  // namespace zef
