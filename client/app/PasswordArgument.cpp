#include "app/PasswordArgument.h"

#include "app/Command.h"
#include "check/KeysAtHand.h"
#include "control/ControlError.h"
#include "keys/KeyCommands.h"
#include "keys/KeyError.h"
#include "keys/KeyStore.h"
#include "keys/PasswordInput.h"

#include <iostream>
#include <memory>

#include <unistd.h>

namespace zef {

namespace {

constexpr const char *kHint = ". Where the keys are somewhere else, encrypt the password with 'zef_client password "
                              "encrypt --keys DIR', and give what it prints with --sealed";

std::shared_ptr<const KeyRing> LoadKeys()
{
    try {
        const KeyPaths paths = KeysAtHand();
        return KeyStore(paths.primary, paths.standby).LookAtGiven(kPasswordDomain).ring;
    } catch (const KeyAccessError &error) {
        throw ControlError(ExitCode::NotPermitted, error.what() + std::string(kHint));
    } catch (const KeyError &error) {
        throw ControlError(ExitCode::Credential, error.what() + std::string(kHint));
    }
}

}  // namespace

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
    const std::shared_ptr<const KeyRing> ring = LoadKeys();
    try {
        return ring->Seal(PasswordInput(STDIN_FILENO, std::cerr).Read());
    } catch (const KeyError &error) {
        throw ControlError(ExitCode::Credential, error.what());
    }
}

}  // namespace zef
