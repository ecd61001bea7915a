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

// All return the exit status: 0 for done, 1 for failed, with the reason on `errors`.

// Creates new keys in both files, and the files' directories (mode 0700; a parent has to exist). Refuses when one of
// the files holds valid keys, or is there but cannot be judged, unless `force` is set: every password that was sealed
// with the old keys is lost then.
int KeysInit(const std::string &primaryPath, const std::string &standbyPath, bool force, std::ostream &output,
             std::ostream &errors);

// Seals a password, which is read from the descriptor (see PasswordInput), and writes the sealed text and a newline to
// `output`, nothing else. Changes neither key file.
int PasswordEncrypt(const std::string &primaryPath, const std::string &standbyPath, int inputDescriptor,
                    std::ostream &output, std::ostream &errors);

}  // namespace zef

#endif
