// What a running client knows of itself and its links.
#ifndef ZEF_CLIENT_MANAGEMENT_CLIENT_STATUS_H
#define ZEF_CLIENT_MANAGEMENT_CLIENT_STATUS_H

#include <nlohmann/json_fwd.hpp>

namespace zef {

// To be called while the thread holds a TaskPause: the library's registry has no lock. Members, null where nothing is
// known:
//   identity  {uuid, local_address, version, pid}
//   switches  {deduplication, compression}: "on" or "off"
//   storage   [{name, user, link_type: "ip" or "fibre-channel", wwn, addresses: [...]}]
//   links     [{local, array, state, up, wwn, tries, failures, next_try, cause}]: a row for each pair, and for each
//             array address that no pair leads to; `next_try` is a time such as "2026-11-21T20:40:36Z"
nlohmann::json TakeClientStatus();

}  // namespace zef

#endif
