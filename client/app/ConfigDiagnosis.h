// Says in plain words what the library refuses in a configuration file.
#ifndef ZEF_CLIENT_APP_CONFIG_DIAGNOSIS_H
#define ZEF_CLIENT_APP_CONFIG_DIAGNOSIS_H

#include <string>

namespace zef {

// Where the library reads its configuration.
constexpr const char *kConfigFile = "/opt/quenlar/vextramo/conf/zef_config.xml";

// Reads the file as the library does and returns the first thing in it that keeps the client from initialising, with
// what to do about it; "" when the file is not to blame. Never names a password.
std::string DiagnoseInit(const std::string &path);

// The same for what keeps it from starting. Whether the password can be decrypted is not looked at.
std::string DiagnoseStart(const std::string &path);

}  // namespace zef

#endif
