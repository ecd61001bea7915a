// Says what a configuration file is worth.
#ifndef ZEF_CLIENT_CHECK_CONFIG_CHECK_H
#define ZEF_CLIENT_CHECK_CONFIG_CHECK_H

#include "check/ConfigPaths.h"
#include "check/Finding.h"
#include "common/ExitCode.h"

#include <string>
#include <vector>

#include <cstddef>

namespace zef {

struct CheckResult {
    std::string path;
    std::vector<Finding> findings;  // in the order of the file; at most some hundred

    size_t Count(Severity severity) const;
    bool HasErrors() const { return Count(Severity::Error) > 0; }
    bool HasWarnings() const { return Count(Severity::Warning) > 0; }

    // Whether start-up fails with this file and these keys. Start-up takes elements of one name in an order that is not
    // defined; where that decides ("duplicate-element", "address-order"), the file counts as refused.
    bool RefusesStart() const;

    bool Has(const std::string &id) const;

    // NotPermitted when this user may not read the file, ConfigInvalid for errors in it; when all errors are those of
    // the key files, NotPermitted where this user may not read them, otherwise Credential; Done without errors.
    ExitCode CodeOfErrors() const;
};

// Reads the file once and judges it as the library will, and as strict XML too. Writes nothing, opens no connection,
// and looks at no other file than this and the keys. No text of a result holds a password or its encrypted form. Any
// bytes end in findings; takes memory in proportion to the file, which is 16 MiB at most. Any thread; takes Mini-XML's
// error callback and wrap margin of that thread for itself.
CheckResult CheckConfig(const std::string &path, const KeyPaths &keys);

// The same for bytes that are not, or not yet, in that file.
CheckResult CheckBytes(const std::string &bytes, const std::string &path, const KeyPaths &keys);

// "FILE:LINE:COLUMN"; the place of the file as a whole is 0:0.
std::string PlaceOf(const Finding &finding);

}  // namespace zef

#endif
