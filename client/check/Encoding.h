// What there is to say about the encoding of a configuration file.
#ifndef ZEF_CLIENT_CHECK_ENCODING_H
#define ZEF_CLIENT_CHECK_ENCODING_H

#include "check/FindingList.h"
#include "check/SourceText.h"

#include <string>

namespace zef {

// The library goes by the byte order mark alone, and saves as UTF-8.
void AddEncodingFindings(const std::string &bytes, const SourceText &source, FindingList &findings);

}  // namespace zef

#endif
