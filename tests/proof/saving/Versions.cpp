#include "Versions.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// From less than one page of a file to several.
std::string Filler(long version)
{
    constexpr long kLongest = 6000;
    constexpr long kStride = 1009;
    return std::string(static_cast<size_t>(version * kStride % kLongest + 1), static_cast<char>('a' + version % 26));
}

}  // namespace

std::string TextOf(long version)
{
    const std::string number = std::to_string(version);
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<Config>\n"
           "    <Version type=\"string\">" + number + "</Version>\n"
           "    <Filler type=\"string\">" + Filler(version) + "</Filler>\n"
           "    <End type=\"string\">" + number + "</End>\n"
           "</Config>\n";
}

long VersionOf(const std::string &text)
{
    const std::string mark = "<Version type=\"string\">";
    const size_t place = text.find(mark);
    if (place == std::string::npos) {
        return -1;
    }
    const std::string rest = text.substr(place + mark.size(), 12);
    if (rest.empty() || rest[0] < '0' || rest[0] > '9') {
        return -1;
    }
    const long version = std::stol(rest);
    return text == TextOf(version) ? version : -1;
}

std::string Content(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return "";
    }
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

Document::Document()
{
    const int descriptor = memfd_create("version", MFD_CLOEXEC);
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    std::ofstream(path, std::ios::binary) << TextOf(0);
    const int result = manager.ReadConfig(path);
    close(descriptor);
    if (result != 0 || manager.GetConfig().Get("Config").Size() != 1) {
        throw std::runtime_error("the document cannot be loaded");
    }
}

const ConfigMgr &Document::At(long version)
{
    const ConfigNode config = manager.GetConfig().Get("Config");
    config.Get("Version").SetString(std::to_string(version));
    config.Get("Filler").SetString(Filler(version));
    config.Get("End").SetString(std::to_string(version));
    return manager;
}
