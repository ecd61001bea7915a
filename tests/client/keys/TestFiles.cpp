#include "TestFiles.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <cstdlib>

#include <sys/stat.h>

namespace zef {

namespace {

constexpr std::chrono::seconds kPatience(30);

}  // namespace

TemporaryDirectory::TemporaryDirectory() : path((std::filesystem::temp_directory_path() / "zef-keys-XXXXXX").string())
{
    if (mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

void TestFiles::Save(const KeyRing &ring) const
{
    const auto warnings = store.Save(store.Lock(kPatience), ring);
    if (!warnings.empty()) {
        throw std::runtime_error(warnings.front());
    }
}

KeyRing TestFiles::Create() const
{
    KeyRing ring = KeyRing::Create(kDomain, kCreated);
    Save(ring);
    return ring;
}

KeyStore::Loaded TestFiles::Load() const
{
    return store.Load(store.Lock(kPatience), kDomain);
}

SecretBuffer Secret(const std::string &text)
{
    return {text.data(), text.size()};
}

std::string BytesOf(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const std::string &path, const std::string &bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    if (chmod(path.c_str(), S_IRUSR | S_IWUSR) != 0) {
        throw std::runtime_error("no file " + path);
    }
}

std::string BytesOf(const SecretBuffer &buffer)
{
    return {reinterpret_cast<const char *>(buffer.Data()), buffer.Size()};
}

}  // namespace zef
