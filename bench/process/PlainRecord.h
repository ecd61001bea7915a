// A storage object as plain data, for code that does without the library.
#ifndef ZEF_BENCH_PROCESS_PLAIN_RECORD_H
#define ZEF_BENCH_PROCESS_PLAIN_RECORD_H

#include <zef_config/platform/BoundsChecked.h>
#include <zef_config/platform/Gateway.h>
#include <zef_config/platform/KeyManagement.h>

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

struct PlainRecord {
    std::string name;
    std::set<std::string> addresses;
    std::string user;
    std::string password;
    uint64_t wwn = UINT64_MAX;
    std::vector<std::pair<std::string, std::string>> pairs;
    std::vector<std::pair<std::string, std::string>> otherPairs;
    uint32_t linkState = UINT32_MAX;
    uint32_t linkType = 0;
};

// What a credential cannot be had without: a copy of the record, as nothing of it is held while the gateway waits, the
// decryption, and two bounded copies.
inline int CopyCredential(const PlainRecord &record, OrnCredential *credential)
{
    const PlainRecord copy = record;
    const std::string password = WoxUtil::WoxDecryptData(2, copy.password);
    return !password.empty() && strcpy_s(credential->password, sizeof credential->password, password.c_str()) == 0 &&
                   strcpy_s(credential->user, sizeof credential->user, copy.user.c_str()) == 0
               ? 0
               : -1;
}

#endif
