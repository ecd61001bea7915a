// How a command writes its result.
#ifndef ZEF_CLIENT_CHECK_OUTPUT_FORMAT_H
#define ZEF_CLIENT_CHECK_OUTPUT_FORMAT_H

namespace zef {

enum class OutputFormat { Text, Json };

}  // namespace zef

#endif
