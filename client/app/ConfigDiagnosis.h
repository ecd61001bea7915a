// Says in plain words what the library refuses in a configuration file.
#ifndef ZEF_CLIENT_APP_CONFIG_DIAGNOSIS_H
#define ZEF_CLIENT_APP_CONFIG_DIAGNOSIS_H

#include <string>

namespace zef {

// Where the library reads its configuration.
constexpr const char *kConfigFile = "/opt/quenlar/vextramo/conf/zef_config.xml";

// Looks at the file without opening it. Returns why it cannot be a configuration file, with a pipe or a device in its
// place that a reader would never get to the end of, or a size beyond all reason; "" otherwise, and when there is none.
std::string DiagnoseFile(const std::string &path);

// Reads the file as the library does and returns the first thing in it that keeps the client from initialising, with
// what to do about it; "" when the file is not to blame. Never names a password.
std::string DiagnoseInit(const std::string &path);

// The same for what keeps it from starting. Whether the password can be decrypted is not looked at.
std::string DiagnoseStart(const std::string &path);

}  // namespace zef

#endif
