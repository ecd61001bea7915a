#include "Samples.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <cstdlib>

#include <linux/magic.h>
#include <sys/vfs.h>

std::string Configuration(size_t bytes)
{
    const std::string storage = "        ";
    std::string text = "<?xml version=\"1.0\"?>\n<Config>\n"
                       "    <Uuid type=\"string\">0123abcd-ABCD-0a1B-9f9F-00112233aabb</Uuid>\n"
                       "    <Deduplication type=\"string\">ON</Deduplication>\n"
                       "    <Compression type=\"string\">OFF</Compression>\n"
                       "    <StorageObject>\n" +
                       storage + "<Name type=\"string\">array-1</Name>\n" +
                       storage + "<User type=\"string\">storage_user</User>\n" +
                       storage + "<LinkType type=\"string\">0</LinkType>\n" +
                       storage + "<Password type=\"string\">sealed:a&amp;b&lt;c&gt;d</Password>\n";
    const std::string end = "    </StorageObject>\n</Config>\n";
    for (unsigned i = 0; text.size() + end.size() < bytes; ++i) {
        text += storage + "<Ips type=\"string\">10." + std::to_string(i / 65536 % 256) + "." +
                std::to_string(i / 256 % 256) + "." + std::to_string(i % 256) + "</Ips>\n";
    }
    return text + end;
}

MemoryFolder::MemoryFolder()
{
    struct statfs status = {};
    if (statfs("/dev/shm", &status) != 0 || status.f_type != TMPFS_MAGIC || mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("no folder on a tmpfs at /dev/shm");
    }
}

MemoryFolder::~MemoryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::string MemoryFolder::FileOf(const std::string &name, const std::string &content) const
{
    std::ofstream stream(File(name), std::ios::binary);
    stream << content;
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + File(name));
    }
    return File(name);
}

std::string Content(const std::string &path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}
