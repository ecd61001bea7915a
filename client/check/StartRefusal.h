// Why a client did not come up, as far as its files tell.
#ifndef ZEF_CLIENT_CHECK_START_REFUSAL_H
#define ZEF_CLIENT_CHECK_START_REFUSAL_H

#include "check/ConfigBytes.h"
#include "check/ConfigPaths.h"
#include "common/ExitCode.h"

#include <string>

namespace zef {

struct StartRefusal {
    ExitCode code = ExitCode::Failed;
    std::string text;  // one line
};

// The first few reasons for which start-up refuses the file or the keys, each with its place, and the exit status that
// goes with them. When neither is to blame the text refers to the log, and the code is Failed. For after a failure:
// nothing is read before.
StartRefusal WhyStartIsRefused(const std::string &path, const KeyPaths &keys = {});

}  // namespace zef

#endif
