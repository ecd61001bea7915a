// One key file on the disk.
#ifndef ZEF_CLIENT_KEYS_KEY_FILE_H
#define ZEF_CLIENT_KEYS_KEY_FILE_H

#include "keys/KeyRing.h"
#include "keys/SecretBuffer.h"

#include <optional>
#include <string>

#include <cstdint>

#include <sys/types.h>

namespace zef {

// Reads and replaces the file as a whole. Keeps no descriptor between calls.
class KeyFile {
public:
    enum class State {
        Valid,
        Absent,
        Damaged,  // writing over it loses nothing
        Refused,  // may hold keys, but not for this program to use: others' access, owner, kind, domain, version
    };

    struct Contents {
        State state = State::Absent;
        bool forbidden = false;       // refused because the system does not let this user read it
        std::string reason;           // why it is not valid, with the path: "/a/b.dat is missing"
        std::optional<KeyRing> ring;  // set for Valid, as are the bytes
        SecretBuffer bytes;
    };

    // What tells that the file was replaced, written to or made readable. All 0 when it cannot be found.
    struct Stamp {
        dev_t device = 0;
        ino_t inode = 0;
        off_t bytes = 0;
        int64_t changedSeconds = 0;
        int64_t changedNanoseconds = 0;

        bool operator==(const Stamp &other) const;
    };

    explicit KeyFile(std::string path);

    // Accepts a regular file that belongs to the effective user or to root and grants nothing to anybody else; when
    // this program runs as root, also one of the directory's owner. Does not follow a symbolic link. Throws what
    // OpenKeyDirectory does.
    Contents Read(uint32_t domain) const;

    // Looks at the file without opening it.
    Stamp GetStamp() const;

    // Run by root, gives the file to the directory's owner, which is the user that the service runs as.
    // Replaces the file so that after a crash at any moment it holds either the old bytes or the new ones; on return
    // the new ones are on the disk. Throws KeyError, and KeyAccessError when this user must not; the file is then
    // unchanged, save that after a failure to sync the directory it may hold the new bytes.
    void Write(const SecretBuffer &bytes) const;

    // Takes away what a write left behind that was cut off by a crash: it holds keys.
    void RemoveLeftover() const;

    // Creates the directory with mode 0700 when it is missing. Its parent has to exist; run by root, it belongs to the
    // parent's owner. Throws as Write does.
    void CreateDirectory() const;

    const std::string &GetPath() const { return path; }
    const std::string &GetDirectory() const { return directory; }

private:
    std::string path;
    std::string directory;
    std::string name;
    std::string temporaryName;
};

}  // namespace zef

#endif
