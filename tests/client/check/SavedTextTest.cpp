#include "check/SavedText.h"

#include "CheckTest.h"
#include "check/ConfigDocument.h"

#include <zef_config/ConfigMgr.h>

#include <filesystem>
#include <sstream>

namespace zef {
namespace {

std::string WithoutIndentation(const std::string &text)
{
    std::istringstream lines(text);
    std::string output;
    for (std::string line; std::getline(lines, line);) {
        output += line.substr(std::min(line.find_first_not_of(' '), line.size())) + "\n";
    }
    return output;
}

// What the library's save makes of the file; "" when it holds no document.
std::string SaveWithTheLibrary(const std::string &path)
{
    ConfigMgr manager;
    EXPECT_EQ(manager.ReadConfig(path), 0);
    return manager.SaveConfig(path) == 0 ? ReadFile(path) : "";
}

TEST(SavedTextTest, IsByteForByteWhatTheLibrarySaves)
{
    const ScratchFolder folder;
    const std::string path = folder.File("copy.xml");
    size_t compared = 0;
    for (const auto &entry : std::filesystem::directory_iterator(ZEF_CHECK_CORPUS)) {
        const std::string bytes = ReadFile(entry.path().string());
        const ConfigDocument document(bytes);
        if (entry.path().extension() != ".xml" || document.Root() == nullptr) {
            continue;
        }
        WriteFile(path, bytes);
        const std::string saved = SaveWithTheLibrary(path);
        const std::optional<std::string> text = SavedText(document.Root());
        if (!text) {
            EXPECT_EQ(entry.path().stem(), "save-too-long");
            continue;
        }
        EXPECT_EQ(WithoutIndentation(*text), WithoutIndentation(saved)) << entry.path();
        const bool deep = entry.path().stem() == "deep-nesting" || entry.path().stem() == "many-unknown";
        EXPECT_EQ(*text == saved, !deep) << entry.path();
        ++compared;
    }
    EXPECT_GT(compared, 60u);
}

TEST(SavedTextTest, HostileNestingStaysSmall)
{
    std::string flat = "<?xml version=\"1.0\"?><Config>";
    for (int i = 0; i < 5000; ++i) {
        flat += "<a/>";
    }
    const ConfigDocument drifting(flat + "</Config>");
    ASSERT_NE(drifting.Root(), nullptr);
    EXPECT_LT(SavedText(drifting.Root())->size(), 5000u * 300);
}

}  // namespace
}  // namespace zef
