// Reads a configuration file as it lies on the disk.
#ifndef ZEF_CLIENT_CHECK_CONFIG_BYTES_H
#define ZEF_CLIENT_CHECK_CONFIG_BYTES_H

#include "check/FindingList.h"

#include <optional>
#include <string>

namespace zef {

// Looks at the file without opening it. Returns why it cannot be a configuration file, with a pipe or a device in its
// place that a reader would never get to the end of, or a size beyond all reason; "" otherwise, and when there is none.
std::string WhyFileIsUnreadable(const std::string &path);

// The bytes of the file. When they cannot be had, nothing, and a finding that refuses the start tells why: its id is
// "cannot-open", "not-permitted", "not-a-file" or "too-large". Opens nothing but regular files, and nothing for
// writing.
std::optional<std::string> ReadConfigBytes(const std::string &path, FindingList &findings);

}  // namespace zef

#endif
