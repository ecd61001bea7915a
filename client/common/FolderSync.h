// What a file that took another one's place needs to outlast a power cut.
#ifndef ZEF_CLIENT_COMMON_FOLDER_SYNC_H
#define ZEF_CLIENT_COMMON_FOLDER_SYNC_H

#include "common/FileDescriptor.h"

#include <filesystem>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace zef {

// Puts what was renamed, made or removed in a file's folder on the disk. False, with errno, when that fails.
inline bool SyncFolderOf(const std::string &path)
{
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    const FileDescriptor folder(open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.Get() >= 0 && fsync(folder.Get()) == 0;
}

}  // namespace zef

#endif
