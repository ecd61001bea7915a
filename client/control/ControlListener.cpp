#include "control/ControlListener.h"

#include "control/ControlError.h"
#include "control/UnixAddress.h"

#include <fmt/format.h>

#include <chrono>
#include <system_error>
#include <thread>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr mode_t kSocketMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP;
constexpr mode_t kDirectoryMode = S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH;
constexpr int kBacklog = 128;
// For another client that is starting; it needs milliseconds.
constexpr std::chrono::milliseconds kLockPatience(10'000);
constexpr std::chrono::milliseconds kLockPause(20);

// From errno.
ControlError SystemError(const std::string &what)
{
    const int error = errno;
    const bool denied = error == EACCES || error == EPERM;
    return ControlError(denied ? ExitCode::NotPermitted : ExitCode::Failed,
                        fmt::format("{}: {}", what, std::generic_category().message(error)));
}

std::string DirectoryOf(const std::string &path)
{
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

void CreateDirectory(const std::string &directory)
{
    // The second call gives back what the umask has taken away.
    const bool created = mkdir(directory.c_str(), kDirectoryMode) == 0;
    if (created ? chmod(directory.c_str(), kDirectoryMode) != 0 : errno != EEXIST) {
        throw SystemError(fmt::format("the directory {} of the control socket cannot be created", directory));
    }
}

// Held by whoever replaces or creates a socket file in the directory.
FileDescriptor LockDirectory(const std::string &directory)
{
    FileDescriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor) {
        throw SystemError(fmt::format("the directory {} of the control socket cannot be opened", directory));
    }
    for (auto remaining = kLockPatience; flock(descriptor.Get(), LOCK_EX | LOCK_NB) != 0; remaining -= kLockPause) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || remaining <= remaining.zero()) {
            throw SystemError(fmt::format("the directory {} of the control socket cannot be locked", directory));
        }
        std::this_thread::sleep_for(kLockPause);
    }
    return descriptor;
}

FileDescriptor NewSocket()
{
    FileDescriptor descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!descriptor) {
        throw SystemError("a control socket cannot be made");
    }
    return descriptor;
}

// 0 when somebody listens there. A full queue of connections belongs to somebody too.
int ErrorOfConnecting(const std::string &path)
{
    const FileDescriptor probe = NewSocket();
    return connect(probe.Get(), UnixAddress(path).Get(), UnixAddress::Size()) == 0 || errno == EAGAIN ? 0 : errno;
}

void RemoveLeftover(const std::string &path)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) {
            throw SystemError(fmt::format("the control socket {} cannot be looked at", path));
        }
        return;
    }
    if (!S_ISSOCK(status.st_mode)) {
        throw ControlError(ExitCode::Failed,
                           fmt::format("{} is in the control socket's place and is no socket; move it away", path));
    }
    const int error = ErrorOfConnecting(path);
    if (error == 0) {
        throw ControlError(ExitCode::Failed, fmt::format("another zef_client answers on {}; stop it first", path));
    }
    errno = error;
    if (error != ECONNREFUSED || unlink(path.c_str()) != 0) {
        throw SystemError(fmt::format("the socket {} is in the way and cannot be replaced", path));
    }
}

}  // namespace

ControlListener::ControlListener(const std::string &socketPath) : path(socketPath), socket(NewSocket())
{
    (void)UnixAddress(path);
    const std::string directory = DirectoryOf(path);
    CreateDirectory(directory);
    const FileDescriptor lock = LockDirectory(directory);
    RemoveLeftover(path);
    Bind();
}

// The mode of the socket is what the file is created with, less the umask, which is the whole process's and not touched
// here: so at no moment do others get in. Nobody can connect before listen, whatever the mode.
void ControlListener::Bind()
{
    if (fchmod(socket.Get(), kSocketMode) != 0 ||
        bind(socket.Get(), UnixAddress(path).Get(), UnixAddress::Size()) != 0) {
        throw SystemError(fmt::format("the control socket {} cannot be created", path));
    }
    if (chmod(path.c_str(), kSocketMode) != 0 || lstat(path.c_str(), &ours) != 0 ||
        listen(socket.Get(), kBacklog) != 0) {
        const ControlError error = SystemError(fmt::format("the control socket {} cannot be opened", path));
        (void)unlink(path.c_str());
        throw error;
    }
}

// While this socket listens nobody else replaces the file, and its inode number is not given to another file.
ControlListener::~ControlListener()
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0 && IsOurs(status)) {
        (void)unlink(path.c_str());
    }
}

FileDescriptor ControlListener::Accept() const
{
    return FileDescriptor(accept4(socket.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}

gid_t ControlListener::GetGroup() const
{
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && IsOurs(status) ? status.st_gid : ours.st_gid;
}

bool ControlListener::IsOurs(const struct stat &status) const
{
    return status.st_dev == ours.st_dev && status.st_ino == ours.st_ino;
}

}  // namespace zef
