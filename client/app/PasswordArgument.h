// The array's password as a command gets it.
#ifndef ZEF_CLIENT_APP_PASSWORD_ARGUMENT_H
#define ZEF_CLIENT_APP_PASSWORD_ARGUMENT_H

#include <string>

namespace zef {

class Command;

class PasswordArgument {
public:
    // Adds --sealed to a command; the object must live until the command is done.
    void AddTo(const Command &command);

    // What --sealed gave; otherwise asks for the password (see PasswordInput) and encrypts it with the keys at hand, so
    // that it leaves this process only in that form. Throws ControlError.
    std::string Sealed() const;

private:
    std::string sealed;
};

}  // namespace zef

#endif
