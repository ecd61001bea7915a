// Brings a running client in line with its configuration file.
#ifndef ZEF_CLIENT_MANAGEMENT_CONFIG_RELOAD_H
#define ZEF_CLIENT_MANAGEMENT_CONFIG_RELOAD_H

#include <string>
#include <vector>

namespace zef {

// Applies what differs between file and running state: storage object, user, password, addresses, switches. Links that
// both know stay as they are. To be called while the thread holds a TaskPause. Returns a sentence for each change.
// Refuses with ControlError, with nothing changed, when the next start would refuse the file, or when it holds another
// UUID, or a storage object of another name or link type: that takes a restart.
std::vector<std::string> ApplyConfigFile(const std::string &path);

}  // namespace zef

#endif
