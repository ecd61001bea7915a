#include "gateway_fc/SysfsFile.h"

#include <array>
#include <filesystem>
#include <memory>
#include <system_error>

#include <cstdio>

namespace zef {

namespace {

// Attributes of ports are short. What does not fit is cut off, and then not understood.
constexpr size_t kLongestLine = 256;
constexpr const char *kWhiteSpace = " \t\r\n";

std::string Trimmed(const std::string &text)
{
    const size_t first = text.find_first_not_of(kWhiteSpace);
    const size_t last = text.find_last_not_of(kWhiteSpace);
    return first == std::string::npos ? "" : text.substr(first, last + 1 - first);
}

}  // namespace

std::optional<std::string> ReadSysfsLine(const std::string &path)
{
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "re"), std::fclose);
    std::array<char, kLongestLine> line;
    // An empty file is no line either: the driver has failed to fill it in.
    if (file == nullptr || std::fgets(line.data(), static_cast<int>(line.size()), file.get()) == nullptr) {
        return std::nullopt;
    }
    return Trimmed(line.data());
}

std::vector<std::string> ListSysfsDirectory(const std::string &path)
{
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(path, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        names.push_back(entry->path().filename());
    }
    return names;
}

}  // namespace zef
