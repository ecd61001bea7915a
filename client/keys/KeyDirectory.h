// The directory that key files are in.
#ifndef ZEF_CLIENT_KEYS_KEY_DIRECTORY_H
#define ZEF_CLIENT_KEYS_KEY_DIRECTORY_H

#include "common/FileDescriptor.h"

#include <string>

namespace zef {

// Throws KeyError when the directory is missing, or when others can write to it: they could put other files there; and
// KeyAccessError when this user must not open it.
FileDescriptor OpenKeyDirectory(const std::string &directory);

}  // namespace zef

#endif
