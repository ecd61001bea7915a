#include "check/ConfigCheck.h"

#include "CheckTest.h"
#include "check/FindingList.h"

#include <random>
#include <thread>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace zef {
namespace {

// Mini-XML itself loses a node of some of the documents that it refuses; nobody else gets to see that node.
class WithoutLeakCheck {
#ifdef __SANITIZE_ADDRESS__
public:
    WithoutLeakCheck() { __lsan_disable(); }
    ~WithoutLeakCheck() { __lsan_enable(); }
    WithoutLeakCheck(const WithoutLeakCheck &) = delete;
    WithoutLeakCheck &operator=(const WithoutLeakCheck &) = delete;
#endif
};

using Lines = std::vector<std::string>;

class ConfigCheckTest : public CheckTest {};

TEST_F(ConfigCheckTest, FindsNothingInAGoodFile)
{
    const CheckResult result = Check(ValidConfig(sealed));
    EXPECT_EQ(Summary(result), Lines{});
    EXPECT_FALSE(result.RefusesStart());
    EXPECT_EQ(result.path, path);
}

TEST_F(ConfigCheckTest, EachFindingNamesItsFile)
{
    ASSERT_EQ(unlink(keys.primary.c_str()), 0);
    ASSERT_EQ(unlink(keys.standby.c_str()), 0);
    const CheckResult result = Check("<?xml version=\"1.0\"?><Config/>");
    EXPECT_EQ(result.findings.at(0).path, keys.primary);
    EXPECT_EQ(result.findings.at(1).path, path);
}

TEST_F(ConfigCheckTest, AFindingIsOneLineWhateverTheFileHolds)
{
    const CheckResult result =
        Check(ConfigWith("<Uuid>a\nb\x7f</Uuid><Deduplication>\x1b[31m</Deduplication>", "<Name>x\ry</Name>"));
    for (const Finding &finding : result.findings) {
        for (const char character : finding.text) {
            EXPECT_GE(static_cast<unsigned char>(character), 0x20) << finding.id;
        }
    }
}

TEST_F(ConfigCheckTest, RefusesWhenOneOfTwoElementsWouldBeRefused)
{
    const std::string switches = "<Deduplication>ON</Deduplication>\n<Compression>OFF</Compression>";
    const CheckResult result = Check(ConfigWith(std::string("<Uuid>") + kUuid + "</Uuid>\n<Uuid/>\n" + switches, ""));
    EXPECT_EQ(Summary(result), (Lines{"2:1: warning: no-storage", "4:1: error: empty-value!",
                                      "4:1: error: duplicate-element"}));
}

TEST_F(ConfigCheckTest, AVeryDeepDocumentNeedsNoDeepStack)
{
    std::string deep;
    for (int i = 0; i < 500000; ++i) {
        deep += "<d>";
    }
    CheckResult result;
    WriteFile(path, "<?xml version=\"1.0\"?><Config>" + deep);
    std::thread([&] { result = CheckConfig(path, keys); }).join();
    EXPECT_TRUE(result.HasErrors());
}

TEST_F(ConfigCheckTest, AnEntityBombDoesNotGoOff)
{
    std::string bomb = "<?xml version=\"1.0\"?><!DOCTYPE Config [<!ENTITY e0 \"boom\">";
    for (int i = 1; i < 40; ++i) {
        const std::string inner = "&e" + std::to_string(i - 1) + ";";
        bomb += "<!ENTITY e" + std::to_string(i) + " \"" + inner + inner + inner + inner + "\">";
    }
    const CheckResult result = Check(bomb + "]><Config a=\"&e39;\"><Uuid>&e39;</Uuid></Config>");
    EXPECT_TRUE(result.Has("no-document"));
}

TEST_F(ConfigCheckTest, ReadsNoOtherFile)
{
    WriteFile(folder.File("other"), "text-of-the-other-file");
    const CheckResult result = Check("<?xml version=\"1.0\"?><!DOCTYPE Config [<!ENTITY e SYSTEM \"" +
                                     folder.File("other") + "\">]><Config><Uuid>&e;</Uuid></Config>");
    for (const Finding &finding : result.findings) {
        EXPECT_EQ(finding.text.find("text-of-the-other-file"), std::string::npos);
    }
    EXPECT_TRUE(result.RefusesStart());
}

TEST_F(ConfigCheckTest, ManyElementsOnOneLineEndInAFewFindings)
{
    std::string many;
    for (int i = 0; i < 200000; ++i) {
        many += "<StorageObject/>";
    }
    const CheckResult result = Check("<?xml version=\"1.0\"?><Config>" + many + "</Config>");
    EXPECT_LE(result.findings.size(), FindingList::kMaxFindings + 2);
    EXPECT_TRUE(result.RefusesStart());
    EXPECT_EQ(result.findings.back().id, "more-findings");
}

TEST_F(ConfigCheckTest, AnyBytesEndInFindings)
{
    [[maybe_unused]] const WithoutLeakCheck losses;
    const unsigned int seed = 20261121;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::string alphabet = "<>/=\"'&;![]-? \n\xff\xfe\xc3zUuidConfig";
    for (int i = 0; i < 500; ++i) {
        std::string bytes = i % 2 == 0 ? "<?xml version=\"1.0\"?><Config>" : "";
        for (int j = 0; j < 200; ++j) {
            bytes += i % 3 == 0 ? static_cast<char>(random()) : alphabet[random() % alphabet.size()];
        }
        EXPECT_TRUE(Check(bytes).RefusesStart()) << "case " << i;
    }
}

}  // namespace
}  // namespace zef
