// Where the client's files are.
#ifndef ZEF_CLIENT_CHECK_CONFIG_PATHS_H
#define ZEF_CLIENT_CHECK_CONFIG_PATHS_H

#include "keys/KeyCommands.h"

#include <string>

namespace zef {

// Where the library reads its configuration.
constexpr const char *kConfigFile = "/opt/quenlar/vextramo/conf/zef_config.xml";

// The two key files; by default those of the service.
struct KeyPaths {
    std::string primary = kPrimaryKeyFile;
    std::string standby = kStandbyKeyFile;
    bool oneSuffices = false;  // the other may be missing without anything being wrong
};

}  // namespace zef

#endif
