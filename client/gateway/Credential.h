// User and password for one login, wiped when the object goes.
#ifndef ZEF_CLIENT_GATEWAY_CREDENTIAL_H
#define ZEF_CLIENT_GATEWAY_CREDENTIAL_H

#include <zef_config/platform/Gateway.h>

#include <memory>
#include <string>

#include <cstddef>

namespace zef {

// As many characters of a text as libiscsi keeps.
constexpr size_t kLongestCredential = 255;

// Never copied; handed from thread to thread by pointer.
class Credential {
public:
    // Asks the callback on the calling thread. Null when there is none, when it fails, or when its texts are not fit
    // for a login (empty, not terminated, or longer than libiscsi keeps); `cause` then says
    // why.
    static std::unique_ptr<Credential> Ask(OrnCredentialCb callback, const std::string &local, const std::string &array,
                                           std::string &cause);

    ~Credential();

    Credential(const Credential &) = delete;
    Credential &operator=(const Credential &) = delete;

    const char *User() const { return texts.user; }
    const char *Password() const { return texts.password; }

private:
    Credential() = default;

    // Empty when the texts are fit for a login.
    std::string Defect() const;

    OrnCredential texts{};
};

}  // namespace zef

#endif
