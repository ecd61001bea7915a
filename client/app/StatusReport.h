// What a running client shows people of itself.
#ifndef ZEF_CLIENT_APP_STATUS_REPORT_H
#define ZEF_CLIENT_APP_STATUS_REPORT_H

#include "gateway/LinkState.h"

#include <string>
#include <vector>

namespace zef {

struct ClientStatus {
    std::string uuid;
    std::string localAddress;  // "" while there is none
    std::string storageName;   // "" when none is registered
    uint64_t storageWwn = kNoWwn;
    std::vector<LinkState> links;
    std::vector<std::string> withoutLink;  // array addresses of the configuration that no link leads to
};

// Several lines, each ended by a line feed: the identity, then a table with one line a link, or a line that says
// there is none. Control characters in causes, which come from arrays, are shown as "?".
std::string FormatStatus(const ClientStatus &status);

}  // namespace zef

#endif
