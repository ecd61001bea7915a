// Makes the running state outlast a restart.
#ifndef ZEF_CLIENT_MANAGEMENT_CONFIG_WRITER_H
#define ZEF_CLIENT_MANAGEMENT_CONFIG_WRITER_H

#include <string>

namespace zef {

// Refuses with ControlError when saving the file as it stands would lose something of it, or when it cannot be loaded:
// to be asked before a change that is to be saved is made.
void RequireSavable(const std::string &path);

// Writes the storage objects and switches that are in force into the configuration file; everything else in it stays.
// To be called while the thread holds a TaskPause. Returns what was done, as a sentence for the operator. Refuses with
// ControlError, the file untouched, when something of the document would be lost or the next start would refuse it.
std::string SaveRunningState(const std::string &path);

}  // namespace zef

#endif
