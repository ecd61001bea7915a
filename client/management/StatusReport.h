// How a client's status is shown, whoever asks for it.
#ifndef ZEF_CLIENT_MANAGEMENT_STATUS_REPORT_H
#define ZEF_CLIENT_MANAGEMENT_STATUS_REPORT_H

#include "report/Report.h"

#include <nlohmann/json_fwd.hpp>

namespace zef {

// `status` is what TakeClientStatus gives, perhaps by way of the control socket; nlohmann::json::exception when it is
// not.

// Identity, switches, storage objects and links.
Report MakeStatusReport(const nlohmann::json &status);

// The links alone.
Report MakeLinksReport(const nlohmann::json &status);

// True when a link is not up, or when there is a storage object and no link at all.
bool IsSomeLinkDown(const nlohmann::json &status);

}  // namespace zef

#endif
