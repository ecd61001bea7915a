#include "check/ConfigBytes.h"

#include "check/ConfigLimits.h"
#include "common/FileDescriptor.h"

#include <system_error>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr size_t kChunkBytes = 65536;

struct Defect {
    const char *id;
    const char *text;
};

constexpr Defect kNone = {"", ""};
constexpr Defect kNotAFile = {"not-a-file", "is not a regular file"};
constexpr Defect kTooLarge = {"too-large", "is larger than 16 MiB"};

Defect DefectOf(const struct stat &status)
{
    if (!S_ISREG(status.st_mode)) {
        return kNotAFile;
    }
    return static_cast<size_t>(status.st_size) > kMaxFileBytes ? kTooLarge : kNone;
}

void AddOpenError(int error, FindingList &findings)
{
    const bool permission = error == EACCES || error == EPERM;
    findings.Refuse({}, permission ? "not-permitted" : "cannot-open",
                    "cannot be opened: " + std::generic_category().message(error));
}

bool AddDefect(const Defect &defect, FindingList &findings)
{
    if (*defect.id != '\0') {
        findings.Refuse({}, defect.id, defect.text);
    }
    return *defect.id != '\0';
}

// Nothing but the errno on failure. A file that grows meanwhile is read just beyond the limit.
int ReadAll(int descriptor, std::string &bytes)
{
    std::string chunk(kChunkBytes, '\0');
    while (bytes.size() <= kMaxFileBytes) {
        const ssize_t count = read(descriptor, chunk.data(), chunk.size());
        if (count == 0) {
            return 0;
        }
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        bytes.append(chunk, 0, count > 0 ? static_cast<size_t>(count) : 0);
    }
    return 0;
}

}  // namespace

std::string WhyFileIsUnreadable(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return "";  // reading it tells why
    }
    const Defect defect = DefectOf(status);
    return *defect.id == '\0' ? "" : path + " " + defect.text;
}

std::optional<std::string> ReadConfigBytes(const std::string &path, FindingList &findings)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        AddOpenError(errno, findings);
        return std::nullopt;
    }
    if (AddDefect(DefectOf(status), findings)) {
        return std::nullopt;
    }
    // Not blocking: another file may have taken its place by now.
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file || fstat(file.Get(), &status) != 0) {
        AddOpenError(errno, findings);
        return std::nullopt;
    }
    if (AddDefect(DefectOf(status), findings)) {
        return std::nullopt;
    }
    std::string bytes;
    if (const int error = ReadAll(file.Get(), bytes)) {
        findings.Refuse({}, "cannot-open", "cannot be read: " + std::generic_category().message(error));
        return std::nullopt;
    }
    if (bytes.size() > kMaxFileBytes) {
        AddDefect(kTooLarge, findings);
        return std::nullopt;
    }
    return bytes;
}

}  // namespace zef
