// Files and descriptors of tests.
#ifndef ZEF_TESTS_SUPPORT_FILES_H
#define ZEF_TESTS_SUPPORT_FILES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <cstdio>
#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

// The content of a file; throws when it cannot be read.
inline std::string ReadFile(const std::string &path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::string &path, const std::string &content)
{
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + path);
    }
}

// Permission bits, set-user-ID, set-group-ID and sticky bit included.
inline mode_t FileMode(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        throw std::runtime_error("no status of " + path);
    }
    return status.st_mode & 07777U;
}

// Number of descriptors that the process has open.
inline size_t OpenDescriptors()
{
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
}

// A folder of its own that goes away with the object.
class ScratchFolder {
public:
    ScratchFolder() : path(::testing::TempDir() + "zef_config_XXXXXX")
    {
        if (mkdtemp(&path[0]) == nullptr) {
            throw std::runtime_error("no scratch folder");
        }
    }

    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    const std::string &Path() const { return path; }
    std::string File(const std::string &name) const { return path + "/" + name; }

    // Names of what lies in it, sorted.
    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(path)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::string path;
};

// Collects what goes to standard error while it lives.
class StandardErrorCapture {
public:
    StandardErrorCapture() : file(std::tmpfile()), saved(dup(STDERR_FILENO))
    {
        if (file == nullptr || saved < 0) {
            throw std::runtime_error("cannot capture standard error");
        }
        std::fflush(stderr);
        dup2(fileno(file), STDERR_FILENO);
    }

    ~StandardErrorCapture()
    {
        std::fflush(stderr);
        dup2(saved, STDERR_FILENO);
        close(saved);
        std::fclose(file);
    }

    StandardErrorCapture(const StandardErrorCapture &) = delete;
    StandardErrorCapture &operator=(const StandardErrorCapture &) = delete;

    std::string Text() const
    {
        std::fflush(stderr);
        std::string text;
        char buffer[4096];
        ssize_t count = 0;
        while ((count = pread(fileno(file), buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
            text.append(buffer, static_cast<size_t>(count));
        }
        return text;
    }

private:
    FILE *file;
    int saved;
};

#endif
