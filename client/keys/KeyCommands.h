// The operator's commands around keys and passwords.
#ifndef ZEF_CLIENT_KEYS_KEY_COMMANDS_H
#define ZEF_CLIENT_KEYS_KEY_COMMANDS_H

#include <iosfwd>
#include <string>

#include <cstdint>

namespace zef {

// Where the service looks for its keys, and the domain of storage passwords.
constexpr const char *kPrimaryKeyFile = "/opt/quenlar/vextramo/conf/WOX/wox_pri.dat";
constexpr const char *kStandbyKeyFile = "/opt/quenlar/vextramo/conf/WOX/wox_std.dat";
constexpr uint32_t kPasswordDomain = 2;

// Whose the key files are, which decides who repairs them and what becomes of new keys.
enum class KeyOwner {
    Client,          // the client's own files
    Somebody,        // files elsewhere, from which the client may get its keys
    ServiceManager,  // handed to this process as credentials: copies, of which one suffices
};

// All return the exit status, with the reason for any but Done on `errors`: Credential when the keys or the password
// cannot be used, NotPermitted when the system does not let this user at the files, Failed for the rest. None of them
// shows a key, a password or a part of one.

// Creates new keys in both files, and the files' directories (mode 0700; a parent has to exist). Refuses (Failed) when
// one of the files holds valid keys, or is there but cannot be judged, unless `force` is set: every password that was
// sealed with the old keys is lost then.
int KeysInit(const std::string &primaryPath, const std::string &standbyPath, bool force, std::ostream &output,
             std::ostream &errors);

// Writes what is in both files as a table, and a verdict below it. Done when both are valid and alike, or when one is
// valid and the other a credential that was not handed over; Credential otherwise, even when the client would repair
// one from the other. Changes nothing.
int KeysVerify(const std::string &primaryPath, const std::string &standbyPath, std::ostream &output,
               std::ostream &errors, KeyOwner owner = KeyOwner::Client);

enum class KeysToRotate { Both, Root, Master };

// Adds a new master key, replaces the root key, or both. Every password that opened with the old files opens with the
// new ones. A file that is missing, damaged or older is repaired by the way.
int KeysRotate(const std::string &primaryPath, const std::string &standbyPath, KeysToRotate which,
               std::ostream &output, std::ostream &errors, KeyOwner owner = KeyOwner::Client);

// Seals a password, which is read from the descriptor (see PasswordInput), and writes the sealed text and a newline to
// `output`, nothing else. Changes neither key file.
int PasswordEncrypt(const std::string &primaryPath, const std::string &standbyPath, int inputDescriptor,
                    std::ostream &output, std::ostream &errors, KeyOwner owner = KeyOwner::Client);

// Says whether the keys open a sealed text; Credential when they do not. With `compare` it then reads a password from
// the descriptor, once, and says whether it is the sealed one; Credential when it is another. Changes neither key file.
int PasswordVerify(const std::string &primaryPath, const std::string &standbyPath, const std::string &sealed,
                   bool compare, int inputDescriptor, std::ostream &output, std::ostream &errors,
                   KeyOwner owner = KeyOwner::Client);

}  // namespace zef

#endif
