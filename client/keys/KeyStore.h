// The two key files, each of which suffices.
#ifndef ZEF_CLIENT_KEYS_KEY_STORE_H
#define ZEF_CLIENT_KEYS_KEY_STORE_H

#include "keys/KeyFile.h"
#include "keys/KeyRing.h"
#include "keys/KeyStoreLock.h"

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <cstdint>

namespace zef {

// Keeps both files alike. The methods that take a lock want this store's, held.
class KeyStore {
public:
    struct Loaded {
        std::shared_ptr<const KeyRing> ring;
        std::vector<std::string> warnings;  // what was wrong with one file, and what became of it; for the operator
    };

    // Of the primary file and of the standby file.
    using Stamps = std::array<KeyFile::Stamp, 2>;

    // Throws KeyError when both paths are the same.
    KeyStore(const std::string &primaryPath, const std::string &standbyPath);

    KeyStoreLock Lock(std::chrono::milliseconds patience) const;

    // The newest keys. A file that is missing, damaged or older is replaced by a copy of the other; when that cannot be
    // written, a warning says so and the keys are used all the same.
    //
    // Throws NoKeysError when both files are missing or damaged; KeyError when one is refused (KeyAccessError by the
    // system), or when both are valid and each holds keys that the other does not (then neither is touched, whichever
    // is the right one).
    Loaded Load(const KeyStoreLock &lock, uint32_t domain) const;

    // As Load, but changes nothing on the disk.
    Loaded Look(uint32_t domain) const;

    // As Look, for files of which one may have been left out: that it is missing is no warning.
    Loaded LookAtGiven(uint32_t domain) const;

    // Those of now: others, once one of the files has changed.
    Stamps GetStamps() const { return {primary.GetStamp(), standby.GetStamp()}; }

    // Writes the ring to both files, the standby file first, and returns warnings. The ring is on the disk when the
    // first is written: a failure with the second is a warning, and the next Load makes up for it. Throws KeyError when
    // the first cannot be written; both files then hold what they held.
    std::vector<std::string> Save(const KeyStoreLock &lock, const KeyRing &ring) const;

    // Creates the directories of the files, mode 0700, when they are missing. Their parents have to exist.
    void CreateDirectories() const;

    // The file that keeps new keys from being created, as text for the operator ("/a holds valid keys"), or "": one
    // that is valid or refused. Missing and damaged files lose nothing. Throws KeyAccessError for one that this user
    // must not read.
    std::string WhatNewKeysWouldLose(uint32_t domain) const;

    const KeyFile &GetPrimary() const { return primary; }
    const KeyFile &GetStandby() const { return standby; }

private:
    KeyFile primary;
    KeyFile standby;
};

}  // namespace zef

#endif
