// Files and passwords for the tests of key management.
#ifndef ZEF_CLIENT_TESTS_KEYS_TEST_FILES_H
#define ZEF_CLIENT_TESTS_KEYS_TEST_FILES_H

#include "keys/KeyRing.h"
#include "keys/KeyStore.h"
#include "keys/SecretBuffer.h"

#include <string>

namespace zef {

// An empty directory of the test's own, removed with everything in it.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

    const std::string &Path() const { return path; }

private:
    std::string path;
};

// A directory with the paths of two key files, which are not there yet.
struct TestFiles {
    static constexpr uint32_t kDomain = 2;
    static constexpr int64_t kCreated = 1'000'000'000;

    TemporaryDirectory directory;
    std::string primary = directory.Path() + "/pri.dat";
    std::string standby = directory.Path() + "/std.dat";
    KeyStore store{primary, standby};

    // Puts a ring into both files.
    void Save(const KeyRing &ring) const;

    // Creates keys in both files.
    KeyRing Create() const;

    // What the store loads, with repairs.
    KeyStore::Loaded Load() const;
};

SecretBuffer Secret(const std::string &text);

std::string BytesOf(const std::string &path);

// Creates the file with mode 0600, or overwrites its bytes.
void WriteBytes(const std::string &path, const std::string &bytes);

std::string BytesOf(const SecretBuffer &buffer);

}  // namespace zef

#endif
