#include "gateway/Credential.h"

#include "common/Secrets.h"

#include <cstring>

namespace zef {

std::unique_ptr<Credential> Credential::Ask(OrnCredentialCb callback, const std::string &local,
                                            const std::string &array, std::string &cause)
{
    std::unique_ptr<Credential> credential(new Credential());  // the constructor is private
    if (callback == nullptr || callback(local.c_str(), array.c_str(), &credential->texts) != 0) {
        cause = "no user and password to log in with (see the messages before this one)";
        return nullptr;
    }
    cause = credential->Defect();
    ForgetTraces();
    if (!cause.empty()) {
        return nullptr;
    }
    return credential;
}

Credential::~Credential()
{
    explicit_bzero(&texts, sizeof texts);
    ForgetTraces();
}

std::string Credential::Defect() const
{
    const size_t userSize = strnlen(texts.user, sizeof texts.user);
    const size_t passwordSize = strnlen(texts.password, sizeof texts.password);
    if (userSize == sizeof texts.user || passwordSize == sizeof texts.password) {
        return "user or password has no end";
    }
    if (userSize == 0 || passwordSize == 0) {
        return "user or password is empty";
    }
    return passwordSize > kLongestCredential ? "the password has more than 255 characters" : "";
}

}  // namespace zef
