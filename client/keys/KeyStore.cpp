#include "keys/KeyStore.h"

#include "keys/KeyError.h"
#include "keys/KeyFormat.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace zef {

namespace {

using State = KeyFile::State;

// What both files hold; `better` is the one to use, `other` the one to repair when it `differs`.
struct Judgement {
    const KeyFile *betterFile;
    const KeyFile *otherFile;
    KeyFile::Contents better;
    KeyFile::Contents other;
    bool differs;
};

bool SameBytes(const SecretBuffer &one, const SecretBuffer &two)
{
    return one.Size() == two.Size() && std::equal(one.Data(), one.Data() + one.Size(), two.Data());
}

void RequireUsable(const KeyFile::Contents &primary, const KeyFile::Contents &standby)
{
    for (const KeyFile::Contents *contents : {&primary, &standby}) {
        if (contents->forbidden) {
            throw KeyAccessError(contents->reason);
        }
        if (contents->state == State::Refused) {
            throw KeyError(contents->reason);
        }
    }
    if (primary.state != State::Valid && standby.state != State::Valid) {
        throw NoKeysError(fmt::format("there are no keys: {}, and {}. Restore one of the two files from a backup; or "
                                      "create new keys with 'zef_client keys init' and encrypt all passwords anew",
                                      primary.reason, standby.reason));
    }
}

// With equal contents the primary file.
bool PrimaryIsBetter(const KeyFile::Contents &primary, const KeyFile::Contents &standby)
{
    if (primary.state != State::Valid || standby.state != State::Valid) {
        return primary.state == State::Valid;
    }
    return primary.ring->CanReplace(*standby.ring);
}

void RequireDescent(const Judgement &judgement)
{
    const bool bothValid = judgement.better.state == State::Valid && judgement.other.state == State::Valid;
    if (bothValid && !judgement.better.ring->CanReplace(*judgement.other.ring)) {
        throw KeyError(fmt::format("{} and {} each hold keys that the other does not. Move the one aside that does not "
                                   "belong here",
                                   judgement.otherFile->GetPath(), judgement.betterFile->GetPath()));
    }
}

Judgement Judge(const KeyFile &primaryFile, const KeyFile &standbyFile, uint32_t domain)
{
    KeyFile::Contents primary = primaryFile.Read(domain);
    KeyFile::Contents standby = standbyFile.Read(domain);
    RequireUsable(primary, standby);
    const bool differs = !SameBytes(primary.bytes, standby.bytes);
    Judgement judgement =
        PrimaryIsBetter(primary, standby)
            ? Judgement{&primaryFile, &standbyFile, std::move(primary), std::move(standby), differs}
            : Judgement{&standbyFile, &primaryFile, std::move(standby), std::move(primary), differs};
    RequireDescent(judgement);
    return judgement;
}

std::string Complaint(const Judgement &judgement)
{
    return judgement.other.state == State::Valid
               ? fmt::format("{} is older than {}", judgement.otherFile->GetPath(), judgement.betterFile->GetPath())
               : judgement.other.reason;
}

std::string Repair(const Judgement &judgement)
{
    try {
        judgement.otherFile->Write(judgement.better.bytes);
        return fmt::format("{}; it was repaired from {}", Complaint(judgement), judgement.betterFile->GetPath());
    } catch (const KeyError &error) {
        return fmt::format("{}, and it cannot be repaired from {}: {}", Complaint(judgement),
                           judgement.betterFile->GetPath(), error.what());
    }
}

std::shared_ptr<const KeyRing> TakeRing(Judgement &judgement)
{
    return std::make_shared<const KeyRing>(std::move(*judgement.better.ring));
}

}  // namespace

KeyStore::KeyStore(const std::string &primaryPath, const std::string &standbyPath)
    : primary(primaryPath), standby(standbyPath)
{
    if (primaryPath == standbyPath) {
        throw KeyError(fmt::format("the primary and the standby key file are the same: {}", primaryPath));
    }
}

KeyStoreLock KeyStore::Lock(std::chrono::milliseconds patience) const
{
    return KeyStoreLock(primary.GetDirectory(), patience);
}

KeyStore::Loaded KeyStore::Load(const KeyStoreLock &, uint32_t domain) const
{
    Judgement judgement = Judge(primary, standby, domain);
    Loaded loaded;
    if (judgement.differs) {
        loaded.warnings.push_back(Repair(judgement));
    }
    primary.RemoveLeftover();
    standby.RemoveLeftover();
    loaded.ring = TakeRing(judgement);
    return loaded;
}

KeyStore::Loaded KeyStore::Look(uint32_t domain) const
{
    Judgement judgement = Judge(primary, standby, domain);
    Loaded loaded;
    if (judgement.differs) {
        loaded.warnings.push_back(Complaint(judgement));
    }
    loaded.ring = TakeRing(judgement);
    return loaded;
}

KeyStore::Loaded KeyStore::LookAtGiven(uint32_t domain) const
{
    Judgement judgement = Judge(primary, standby, domain);
    Loaded loaded;
    if (judgement.differs && judgement.other.state != State::Absent) {
        loaded.warnings.push_back(Complaint(judgement));
    }
    loaded.ring = TakeRing(judgement);
    return loaded;
}

std::vector<std::string> KeyStore::Save(const KeyStoreLock &, const KeyRing &ring) const
{
    const SecretBuffer bytes = KeyFormat::Serialise(ring);
    standby.Write(bytes);
    try {
        primary.Write(bytes);
    } catch (const KeyError &error) {
        return {fmt::format("{}; the new keys are in {} alone", error.what(), standby.GetPath())};
    }
    return {};
}

void KeyStore::CreateDirectories() const
{
    primary.CreateDirectory();
    standby.CreateDirectory();
}

std::string KeyStore::WhatNewKeysWouldLose(uint32_t domain) const
{
    for (const KeyFile *file : {&primary, &standby}) {
        const KeyFile::Contents contents = file->Read(domain);
        if (contents.state == State::Valid) {
            return file->GetPath() + " holds valid keys";
        }
        if (contents.forbidden) {
            throw KeyAccessError(contents.reason);
        }
        if (contents.state == State::Refused) {
            return contents.reason;
        }
    }
    return "";
}

}  // namespace zef
