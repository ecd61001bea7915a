#include "app/PasswordArgument.h"

#include "app/Command.h"
#include "check/KeysAtHand.h"
#include "control/ControlError.h"
#include "keys/KeyCommands.h"
#include "keys/KeyError.h"
#include "keys/KeyStore.h"
#include "keys/PasswordInput.h"

#include <iostream>

#include <unistd.h>

namespace zef {

void PasswordArgument::AddTo(const Command &command)
{
    command.Option("--sealed", sealed,
                   "Password as zef_client password encrypt prints it [default: asked for, or standard input]");
}

std::string PasswordArgument::Sealed() const
{
    if (!sealed.empty()) {
        return sealed;
    }
    try {
        const KeyPaths paths = KeysAtHand();
        const KeyStore::Loaded loaded = KeyStore(paths.primary, paths.standby).LookAtGiven(kPasswordDomain);
        return loaded.ring->Seal(PasswordInput(STDIN_FILENO, std::cerr).Read());
    } catch (const KeyError &error) {
        throw ControlError(ExitCode::Credential, error.what());
    }
}

}  // namespace zef
