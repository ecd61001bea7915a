#include "app/ConfigLock.h"

#include "control/ControlError.h"

#include <fmt/format.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>

namespace zef {

ConfigLock::ConfigLock(const std::string &configFile)
{
    const std::string path = configFile.substr(0, configFile.find_last_of('/'));
    folder = FileDescriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder && flock(folder.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        throw ControlError(ExitCode::Failed,
                           fmt::format("another zef_client runs with the configuration in {}; zef_client status asks it",
                                       path));
    }
}

}  // namespace zef
