// zef_client check: tells people and scripts what a configuration file is worth.
#ifndef ZEF_CLIENT_CHECK_CHECK_COMMAND_H
#define ZEF_CLIENT_CHECK_CHECK_COMMAND_H

#include "check/ConfigPaths.h"
#include "check/OutputFormat.h"
#include "common/ExitCode.h"

#include <iosfwd>
#include <string>

namespace zef {

struct CheckOptions {
    std::string path = kConfigFile;
    KeyPaths keys;
    bool strict = false;  // warnings fail
    OutputFormat format = OutputFormat::Text;
};

// Writes the result to `output`: a line for each finding and one for the verdict, or one JSON object. `errors` gets
// only what keeps the check itself from being done. Changes nothing on the disk.
//
// Done, ConfigInvalid for errors in the file or a file that is not there, Credential when all errors are those of the
// key files, NotPermitted when this user may not read the file or, with no other error, the key files, Warnings when
// `strict` and there is nothing worse, Failed when the result cannot be written.
ExitCode CheckCommand(const CheckOptions &options, std::ostream &output, std::ostream &errors);

}  // namespace zef

#endif
