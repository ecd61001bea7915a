#include "keys/KeyDirectory.h"

#include "keys/KeyError.h"

#include <fmt/format.h>

#include <system_error>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace zef {

namespace {

constexpr mode_t kPermissionBits = 07777;

[[noreturn]] void ThrowNotOpened(const std::string &directory, int error)
{
    if (error == ENOENT) {
        throw KeyError(fmt::format("the directory {} of the key files is missing. Restore it from a backup; or create "
                                   "new keys with 'zef_client keys init' and encrypt all passwords anew",
                                   directory));
    }
    const std::string text = fmt::format("the directory {} of the key files cannot be opened: {}", directory,
                                         std::generic_category().message(error));
    if (error == EACCES || error == EPERM) {
        throw KeyAccessError(text);
    }
    throw KeyError(text);
}

}  // namespace

FileDescriptor OpenKeyDirectory(const std::string &directory)
{
    FileDescriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status = {};
    if (!descriptor || fstat(descriptor.Get(), &status) != 0) {
        ThrowNotOpened(directory, errno);
    }
    const mode_t mode = status.st_mode & kPermissionBits;
    if ((mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw KeyError(fmt::format("others can write to the directory {} of the key files (mode {:04o}); "
                                   "make it private with: chmod 700 {}",
                                   directory, mode, directory));
    }
    return descriptor;
}

}  // namespace zef
