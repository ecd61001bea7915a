#include "keys/KeyFile.h"

#include "common/FileDescriptor.h"
#include "keys/KeyDirectory.h"
#include "keys/KeyError.h"
#include "keys/KeyFormat.h"

#include <fmt/format.h>

#include <system_error>
#include <tuple>
#include <utility>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr mode_t kFileMode = S_IRUSR | S_IWUSR;
constexpr mode_t kDirectoryMode = S_IRWXU;
constexpr mode_t kPermissionBits = 07777;
constexpr const char *kTemporarySuffix = ".new";
// Far beyond any key file, that of a later version included.
constexpr off_t kMaxFileBytes = 16 * 1024 * 1024;

std::string ErrorText(int error)
{
    return std::generic_category().message(error);
}

bool IsDenial(int error)
{
    return error == EACCES || error == EPERM;
}

[[noreturn]] void ThrowNotChanged(const std::string &text, int error)
{
    if (IsDenial(error)) {
        throw KeyAccessError(text);
    }
    throw KeyError(text);
}

std::string DirectoryOf(const std::string &path)
{
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

KeyFile::Contents Unusable(KeyFile::State state, const std::string &reason)
{
    KeyFile::Contents contents;
    contents.state = state;
    contents.reason = reason;
    return contents;
}

KeyFile::Contents NotOpened(const std::string &path, int error)
{
    switch (error) {
        case ENOENT:
            return Unusable(KeyFile::State::Absent, path + " is missing");
        case ELOOP:
            return Unusable(KeyFile::State::Refused, path + " is a symbolic link; a key file must be a regular file");
        default:
            break;
    }
    KeyFile::Contents contents =
        Unusable(KeyFile::State::Refused, fmt::format("{} cannot be opened: {}", path, ErrorText(error)));
    contents.forbidden = IsDenial(error);
    return contents;
}

void Require(bool succeeded)
{
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category());
    }
}

uid_t OwnerOf(int descriptor)
{
    struct stat status = {};
    return fstat(descriptor, &status) == 0 ? status.st_uid : geteuid();
}

// Root works for the user whose directory it is: the one that the service runs as.
bool IsTrustedOwner(uid_t owner, uid_t directoryOwner)
{
    return owner == geteuid() || owner == 0 || (geteuid() == 0 && owner == directoryOwner);
}

// What root makes would otherwise be out of that user's reach. Throws std::system_error.
void GiveToOwnerOf(int directory, int descriptor)
{
    const uid_t owner = OwnerOf(directory);
    if (geteuid() == 0 && owner != OwnerOf(descriptor)) {
        Require(fchown(descriptor, owner, static_cast<gid_t>(-1)) == 0);
    }
}

// Empty when the file is one that this program may use.
std::string DefectOf(const std::string &path, const struct stat &status, uid_t directoryOwner)
{
    const mode_t mode = status.st_mode & kPermissionBits;
    if (!S_ISREG(status.st_mode)) {
        return path + " is not a regular file";
    }
    if (!IsTrustedOwner(status.st_uid, directoryOwner)) {
        return fmt::format("{} belongs to the user with id {}, not to the one who runs this program", path,
                           status.st_uid);
    }
    if ((mode & ~kFileMode) != 0) {
        return fmt::format("{} is open to others (mode {:04o}): its keys may be known to them. Make it private with: "
                           "chmod 600 {}",
                           path, mode, path);
    }
    return "";
}

// Throws DamagedKeysError when the disk does not give the bytes back.
SecretBuffer ReadWhole(int descriptor, off_t fileSize)
{
    if (fileSize > kMaxFileBytes) {
        throw DamagedKeysError("it is too long for a key file");
    }
    SecretBuffer bytes(static_cast<size_t>(fileSize));
    size_t done = 0;
    while (done < bytes.Size()) {
        const ssize_t count = read(descriptor, bytes.Data() + done, bytes.Size() - done);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            throw DamagedKeysError(count == 0 ? "it is cut short" : "it cannot be read: " + ErrorText(errno));
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return bytes;
}

void WriteWhole(int descriptor, const SecretBuffer &bytes)
{
    size_t done = 0;
    while (done < bytes.Size()) {
        const ssize_t count = write(descriptor, bytes.Data() + done, bytes.Size() - done);
        if (count < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category());
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

// Leaves a whole file under the temporary name, or throws std::system_error.
void WriteTemporary(int directory, const std::string &name, const SecretBuffer &bytes)
{
    const FileDescriptor file(
        openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    Require(static_cast<bool>(file));
    Require(fchmod(file.Get(), kFileMode) == 0);  // whatever the umask has taken away
    GiveToOwnerOf(directory, file.Get());
    WriteWhole(file.Get(), bytes);
    Require(fsync(file.Get()) == 0);
}

}  // namespace

KeyFile::KeyFile(std::string filePath)
    : path(std::move(filePath)), directory(DirectoryOf(path)), name(path.substr(path.find_last_of('/') + 1)),
      temporaryName(name + kTemporarySuffix)
{
}

KeyFile::Contents KeyFile::Read(uint32_t domain) const
{
    const FileDescriptor parent = OpenKeyDirectory(directory);
    // Not blocking, for a pipe in the file's place.
    const FileDescriptor file(openat(parent.Get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    if (!file || fstat(file.Get(), &status) != 0) {
        return NotOpened(path, errno);
    }
    const std::string defect = DefectOf(path, status, OwnerOf(parent.Get()));
    if (!defect.empty()) {
        return Unusable(State::Refused, defect);
    }
    Contents contents;
    try {
        contents.bytes = ReadWhole(file.Get(), status.st_size);
        contents.ring = KeyFormat::Parse(contents.bytes);
    } catch (const DamagedKeysError &error) {
        return Unusable(State::Damaged, fmt::format("{} is damaged: {}", path, error.what()));
    } catch (const KeyError &error) {
        return Unusable(State::Refused, fmt::format("{} cannot be used: {}", path, error.what()));
    }
    const uint32_t itsDomain = contents.ring->GetHead().domain;
    if (itsDomain != domain) {
        return Unusable(State::Refused,
                        fmt::format("{} holds keys of domain {}, not {}", path, itsDomain, domain));
    }
    contents.state = State::Valid;
    return contents;
}

bool KeyFile::Stamp::operator==(const Stamp &other) const
{
    return std::tie(device, inode, bytes, changedSeconds, changedNanoseconds) ==
           std::tie(other.device, other.inode, other.bytes, other.changedSeconds, other.changedNanoseconds);
}

// The time of the status' change goes by every write too, and nobody can set it back.
KeyFile::Stamp KeyFile::GetStamp() const
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

void KeyFile::Write(const SecretBuffer &bytes) const
{
    const FileDescriptor parent = OpenKeyDirectory(directory);
    try {
        (void)unlinkat(parent.Get(), temporaryName.c_str(), 0);
        WriteTemporary(parent.Get(), temporaryName, bytes);
        Require(renameat(parent.Get(), temporaryName.c_str(), parent.Get(), name.c_str()) == 0);
        Require(fsync(parent.Get()) == 0);
    } catch (const std::system_error &error) {
        (void)unlinkat(parent.Get(), temporaryName.c_str(), 0);
        const int cause = error.code().value();
        ThrowNotChanged(fmt::format("{} cannot be written: {}", path, ErrorText(cause)), cause);
    }
}

void KeyFile::RemoveLeftover() const
{
    const FileDescriptor parent = OpenKeyDirectory(directory);
    (void)unlinkat(parent.Get(), temporaryName.c_str(), 0);
}

void KeyFile::CreateDirectory() const
{
    if (mkdir(directory.c_str(), kDirectoryMode) != 0) {
        const int cause = errno;
        if (cause != EEXIST) {
            ThrowNotChanged(
                fmt::format("the directory {} of the key files cannot be created: {}", directory, ErrorText(cause)),
                cause);
        }
        return;
    }
    const FileDescriptor parent(open(DirectoryOf(directory).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const FileDescriptor made(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    try {
        Require(parent && made);
        GiveToOwnerOf(parent.Get(), made.Get());
    } catch (const std::system_error &error) {
        throw KeyError(fmt::format("the directory {} of the key files cannot be given to the owner of the one above: "
                                   "{}",
                                   directory, ErrorText(error.code().value())));
    }
}

}  // namespace zef
