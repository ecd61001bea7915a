#include "keys/KeyCommands.h"

#include "keys/KeyError.h"
#include "keys/KeyStore.h"
#include "keys/PasswordInput.h"
#include "keys/SystemKeyClock.h"

#include <exception>
#include <ostream>

namespace zef {

namespace {

constexpr std::chrono::seconds kPatience(10);

void PrintWarnings(const std::vector<std::string> &warnings, std::ostream &errors)
{
    for (const std::string &warning : warnings) {
        errors << "Warning: " << warning << '\n';
    }
}

int Failed(const std::exception &error, std::ostream &errors)
{
    errors << "Error: " << error.what() << '\n';
    return 1;
}

void RequireNothingToLose(const KeyStore &store)
{
    const std::string loss = store.WhatNewKeysWouldLose(kPasswordDomain);
    if (!loss.empty()) {
        throw KeyError(loss + ". New keys would make every password that was encrypted with the present ones useless. "
                              "Nothing was changed; to have new keys all the same, use --force");
    }
}

void RequireWritten(std::ostream &output)
{
    if (!output.flush()) {
        throw KeyError("the output cannot be written");
    }
}

}  // namespace

int KeysInit(const std::string &primaryPath, const std::string &standbyPath, bool force, std::ostream &output,
             std::ostream &errors)
{
    try {
        const KeyStore store(primaryPath, standbyPath);
        store.CreateDirectories();
        const KeyStoreLock lock = store.Lock(kPatience);
        if (!force) {
            RequireNothingToLose(store);
        }
        PrintWarnings(store.Save(lock, KeyRing::Create(kPasswordDomain, SystemKeyClock().NowSeconds())), errors);
        output << "New keys are in " << primaryPath << " and " << standbyPath << ".\n";
        return 0;
    } catch (const std::exception &error) {
        return Failed(error, errors);
    }
}

int PasswordEncrypt(const std::string &primaryPath, const std::string &standbyPath, int inputDescriptor,
                    std::ostream &output, std::ostream &errors)
{
    try {
        const KeyStore::Loaded loaded = KeyStore(primaryPath, standbyPath).Look(kPasswordDomain);
        PrintWarnings(loaded.warnings, errors);
        output << loaded.ring->Seal(PasswordInput(inputDescriptor, errors).Read()) << '\n';
        RequireWritten(output);
        return 0;
    } catch (const std::exception &error) {
        return Failed(error, errors);
    }
}

}  // namespace zef
