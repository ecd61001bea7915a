#include "baseconfig/SegmentFile.h"

#include <fmt/format.h>

#include <chrono>
#include <thread>
#include <utility>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr mode_t kOwnerOnly = 0600;
// Each time, somebody else has removed the segment between two calls, or created it.
constexpr int kOpenAttempts = 10;
// Creation takes microseconds, unless its process is stopped in the middle.
constexpr int kLockAttempts = 2000;
constexpr std::chrono::milliseconds kLockPause{1};

// Existing segments are opened without O_CREAT: with it, the kernel answers for those of others in a shared directory
// before it can be seen whose they are.
int OpenOrCreateDescriptor(const std::string &name)
{
    int descriptor = -1;
    for (int attempt = 0; attempt < kOpenAttempts && descriptor < 0; ++attempt) {
        descriptor = shm_open(name.c_str(), O_RDWR, 0);
        if (descriptor < 0 && errno == ENOENT) {
            descriptor = shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, kOwnerOnly);
        }
        if (descriptor < 0 && errno != ENOENT && errno != EEXIST) {
            break;
        }
    }
    return descriptor;
}

std::string OpenError(const std::string &name)
{
    const int code = errno;
    const char *hint = code == EACCES ? " (does it belong to another user?)" : "";
    return fmt::format("shared memory {}: cannot be opened: {}{}", name, std::strerror(code), hint);
}

}  // namespace

SegmentFile::SegmentFile(std::string segmentName, int openDescriptor)
    : name(std::move(segmentName)), descriptor(openDescriptor)
{
}

SegmentFile::SegmentFile(SegmentFile &&other) noexcept
    : name(std::move(other.name)), descriptor(std::exchange(other.descriptor, -1))
{
}

SegmentFile::~SegmentFile()
{
    if (IsOpen()) {
        // Explicitly: a mapping keeps the open file alive, and the lock with it, after the descriptor has gone.
        flock(descriptor, LOCK_UN);
        close(descriptor);
    }
}

SegmentFile SegmentFile::OpenOrCreate(const std::string &name, std::string &error)
{
    return Checked(SegmentFile(name, OpenOrCreateDescriptor(name)), false, error);
}

SegmentFile SegmentFile::OpenReadOnly(const std::string &name, std::string &error)
{
    return Checked(SegmentFile(name, shm_open(name.c_str(), O_RDONLY, 0)), true, error);
}

bool SegmentFile::IsForbidden(const std::string &name)
{
    const int openDescriptor = shm_open(name.c_str(), O_RDONLY, 0);
    if (openDescriptor < 0) {
        return errno == EACCES || errno == EPERM;
    }
    close(openDescriptor);
    return false;
}

// Root may read what a service publishes under a user of its own, and would write to nobody's segment but its own.
SegmentFile SegmentFile::Checked(SegmentFile file, bool onlyToRead, std::string &error)
{
    if (!file.IsOpen()) {
        error = OpenError(file.name);
        return file;
    }
    struct stat status = {};
    const bool known = fstat(file.descriptor, &status) == 0;
    const uid_t owner = onlyToRead && geteuid() == 0 ? status.st_uid : geteuid();
    const std::string reason = known ? WhyRefused(status, owner) : std::strerror(errno);
    if (reason.empty()) {
        return file;
    }
    error = fmt::format("shared memory {}: {}", file.name, reason);
    return SegmentFile(file.name, -1);
}

std::string SegmentFile::WhyRefused(const struct stat &status, uid_t owner)
{
    if (!S_ISREG(status.st_mode)) {
        return "is not a regular file";
    }
    if (status.st_uid != owner) {
        return fmt::format("belongs to user {} instead of {}", status.st_uid, owner);
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        return fmt::format("can be accessed by others (mode {:04o} instead of {:04o})", status.st_mode & 07777U,
                           kOwnerOnly);
    }
    return "";
}

bool SegmentFile::LockForCreation(std::string &error) const
{
    for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
        if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
            return true;
        }
        if (errno != EWOULDBLOCK && errno != EINTR) {
            error = fmt::format("shared memory {}: cannot be locked: {}", name, std::strerror(errno));
            return false;
        }
        std::this_thread::sleep_for(kLockPause);
    }
    error = fmt::format("shared memory {}: another process does not finish its creation", name);
    return false;
}

bool SegmentFile::CheckSize(size_t bytes, std::string &error) const
{
    struct stat status = {};
    const bool known = fstat(descriptor, &status) == 0;
    if (known && status.st_size == static_cast<off_t>(bytes)) {
        return true;
    }
    error = fmt::format("shared memory {}: has {} bytes instead of {}", name, known ? status.st_size : -1, bytes);
    return false;
}

bool SegmentFile::CheckOrSetSize(size_t bytes, std::string &error) const
{
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && status.st_size == 0 &&
        posix_fallocate(descriptor, 0, static_cast<off_t>(bytes)) != 0) {
        error = fmt::format("shared memory {}: there is no memory for {} bytes", name, bytes);
        return false;
    }
    return CheckSize(bytes, error);
}

}  // namespace zef
