// Reads the directories and one-line files of sysfs.
#ifndef ZEF_CLIENT_GATEWAY_FC_SYSFS_FILE_H
#define ZEF_CLIENT_GATEWAY_FC_SYSFS_FILE_H

#include <optional>
#include <string>
#include <vector>

namespace zef {

// The first line of a file without white space at its ends. Nothing when the file cannot be read, which is common:
// devices come and go.
std::optional<std::string> ReadSysfsLine(const std::string &path);

// Names in a directory, in no particular order; none when there is no such directory.
std::vector<std::string> ListSysfsDirectory(const std::string &path);

}  // namespace zef

#endif
