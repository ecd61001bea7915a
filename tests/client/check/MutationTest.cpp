// Files that were damaged at random, by the check and by the library itself.
#include "CheckTest.h"

#include "support/OptFolder.h"

#include <random>

namespace zef {
namespace {

// Turns a text into a similar one.
class Mutator {
public:
    explicit Mutator(unsigned int seed) : random(seed) {}

    std::string Mutate(std::string text)
    {
        const size_t changes = 1 + random() % 3;
        for (size_t i = 0; i < changes; ++i) {
            Change(text);
        }
        return text;
    }

private:
    void Change(std::string &text)
    {
        static const std::vector<std::string> pieces = {
            "<", ">", "/", "</Uuid>", "<Uuid>", "&", "&lt;", "\"", " ", "\n", "ON", "OFF", "1", "<!--", "-->",
            "<![CDATA[", "]]>", "<Ips>127.0.0.9</Ips>", "<Ips/>", ";", "type=\"int\"", "\xff", std::string(1, '\0'),
            "<?x?>", "<StorageObject/>", "<Config>", "</Config>", "\xc3\xa4"};
        const size_t at = random() % (text.size() + 1);
        const size_t length = random() % 12;
        switch (random() % 4) {
            case 0:
                text.erase(at, length);
                break;
            case 1:
                text.insert(at, pieces[random() % pieces.size()]);
                break;
            case 2:
                text.insert(at, text.substr(random() % text.size(), length));
                break;
            default:
                ReplaceLine(text);
        }
    }

    // One line goes, or comes twice, or comes elsewhere.
    void ReplaceLine(std::string &text)
    {
        const size_t begin = text.find('\n', random() % text.size());
        if (begin == std::string::npos) {
            return;
        }
        const size_t end = std::min(text.find('\n', begin + 1), text.size());
        const std::string line = text.substr(begin, end - begin);
        if (random() % 2 == 0) {
            text.erase(begin, line.size());
        }
        const size_t place = text.find('\n', random() % (text.size() + 1));
        if (place != std::string::npos && random() % 2 == 0) {
            text.insert(place, line);
        }
    }

    std::mt19937 random;
};

class MutationTest : public ::testing::TestWithParam<unsigned int> {};

TEST_P(MutationTest, TheCheckSaysOfTheStartWhatTheLibraryDoes)
{
    OptFolder::WriteConfig("");
    const std::string valid = ValidConfig(MakeKeys(KeyPaths()));
    Mutator mutator(GetParam());
    int starts = 0;
    for (int i = 0; i < 40; ++i) {
        WriteFile(OptFolder::kConfigFile, mutator.Mutate(valid));
        const CheckResult result = CheckConfig(OptFolder::kConfigFile, {});
        const bool libraryStarts = LibraryStarts();
        starts += libraryStarts ? 1 : 0;
        const bool mayStart = DependsOnOrder(result);
        EXPECT_TRUE(libraryStarts == !result.RefusesStart() || (libraryStarts && mayStart))
            << "seed " << GetParam() << ", file " << i << ": the library " << (libraryStarts ? "starts" : "refuses");
    }
    EXPECT_GT(starts, 0) << "seed " << GetParam() << " makes no file that starts";
    EXPECT_LT(starts, 40) << "seed " << GetParam() << " makes no file that is refused";
}

INSTANTIATE_TEST_SUITE_P(Seeds, MutationTest, ::testing::Values(1U, 2U, 3U, 20261121U));

}  // namespace
}  // namespace zef
