// What an operator is told about the two key files.
#ifndef ZEF_CLIENT_KEYS_KEY_REPORT_H
#define ZEF_CLIENT_KEYS_KEY_REPORT_H

#include "keys/KeyFile.h"

#include <string>

#include <cstdint>

namespace zef {

// A table, headline and one line for each file: path, state, generation, number of master keys, the ages in days of the
// root key and of the newest master key at the time `now`, and for a file that is not valid the reason.
std::string KeyTable(const KeyFile &primary, const KeyFile::Contents &inPrimary, const KeyFile &standby,
                     const KeyFile::Contents &inStandby, int64_t now);

}  // namespace zef

#endif
