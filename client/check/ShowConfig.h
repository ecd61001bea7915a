// zef_client show config: the configuration as start-up would take it.
#ifndef ZEF_CLIENT_CHECK_SHOW_CONFIG_H
#define ZEF_CLIENT_CHECK_SHOW_CONFIG_H

#include "check/ConfigPaths.h"
#include "check/OutputFormat.h"
#include "common/ExitCode.h"

#include <iosfwd>
#include <string>

namespace zef {

// Writes identity, switches, storage object and compiled-in limits to `output`: a line "Key: value" each, or one JSON
// object. The password is shown as "???". When start-up would refuse the file, nothing is written, `errors` tells why,
// and the result is ConfigInvalid (NotPermitted when this user may not read the file). Key files that are not there are
// told on `errors` only: the configuration is what it is. Failed when the result cannot be written.
ExitCode ShowConfig(const std::string &path, OutputFormat format, std::ostream &output, std::ostream &errors,
                    const KeyPaths &keys = {});

}  // namespace zef

#endif
