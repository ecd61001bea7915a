#include "app/Commands.h"

#include "app/Command.h"
#include "app/LogArguments.h"
#include "check/ConfigBytes.h"
#include "check/KeysAtHand.h"
#include "keys/KeyCommands.h"

#include <zef_config/ConfigMgr.h>

#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include <unistd.h>

namespace zef {

namespace {

struct KeyArguments {
    LogArguments log;
    std::string keyFolder;  // "": the keys at hand
    std::string configFile = kConfigFile;
    bool force = false;
    bool compare = false;
    bool root = false;
    bool master = false;
};
using Work = int (*)(const KeyArguments &arguments);

KeyPaths PathsOf(const KeyArguments &arguments)
{
    return arguments.keyFolder.empty() ? KeysAtHand() : KeysIn(arguments.keyFolder);
}

// For what writes: credentials that the service manager hands over are copies.
KeyPaths WritablePathsOf(const KeyArguments &arguments)
{
    return arguments.keyFolder.empty() ? KeyPaths() : KeysIn(arguments.keyFolder);
}

bool IsClientsFolder(const std::string &folder)
{
    std::error_code ignored;  // of a folder that is not there
    return std::filesystem::equivalent(folder, std::filesystem::path(kPrimaryKeyFile).parent_path(), ignored);
}

KeyOwner OwnerOf(const KeyArguments &arguments, const KeyPaths &paths)
{
    if (paths.oneSuffices) {
        return KeyOwner::ServiceManager;
    }
    const bool clients = arguments.keyFolder.empty() || IsClientsFolder(arguments.keyFolder);
    return clients ? KeyOwner::Client : KeyOwner::Somebody;
}

// The returned command takes further options.
Command Add(const Command &group, Action &action, const std::shared_ptr<KeyArguments> &arguments, const char *name,
            const char *description, Work work)
{
    const Command command = group.Add(name, description);
    command.Option("--keys", arguments->keyFolder,
                   "Folder of the key files wox_pri.dat and wox_std.dat [default: the client's]");
    arguments->log.AddTo(command);
    command.OnParsed([arguments, work, &action] {
        action = [arguments, work] {
            arguments->log.Apply();
            return static_cast<ExitCode>(work(*arguments));
        };
    });
    return command;
}

void AddKeysInit(const Command &keys, Action &action)
{
    const auto arguments = std::make_shared<KeyArguments>();
    Add(keys, action, arguments, "init", "Make the two key files",
        [](const KeyArguments &given) {
            const KeyPaths paths = WritablePathsOf(given);
            return KeysInit(paths.primary, paths.standby, given.force, std::cout, std::cerr);
        })
        .Flag("--force", arguments->force, "Replace keys that are there: passwords encrypted with them are lost");
}

void AddKeysVerify(const Command &keys, Action &action)
{
    Add(keys, action, std::make_shared<KeyArguments>(), "verify", "Say what is in the key files; changes nothing",
        [](const KeyArguments &given) {
            const KeyPaths paths = PathsOf(given);
            return KeysVerify(paths.primary, paths.standby, std::cout, std::cerr, OwnerOf(given, paths));
        });
}

KeysToRotate WhichKeys(const KeyArguments &arguments)
{
    if (arguments.root == arguments.master) {
        return KeysToRotate::Both;
    }
    return arguments.root ? KeysToRotate::Root : KeysToRotate::Master;
}

void AddKeysRotate(const Command &keys, Action &action)
{
    const auto arguments = std::make_shared<KeyArguments>();
    const Command rotate =
        Add(keys, action, arguments, "rotate", "Renew the keys; every encrypted password stays good",
            [](const KeyArguments &given) {
                const KeyPaths paths = WritablePathsOf(given);
                return KeysRotate(paths.primary, paths.standby, WhichKeys(given), std::cout, std::cerr,
                                  OwnerOf(given, paths));
            });
    rotate.Flag("--root", arguments->root, "Only the root key, which the others are encrypted with");
    rotate.Flag("--master", arguments->master, "Only the master key, which passwords are encrypted with");
}

void AddPasswordEncrypt(const Command &password, Action &action)
{
    Add(password, action, std::make_shared<KeyArguments>(), "encrypt",
        "Encrypt a password, typed without echo or from standard input, for the configuration file",
        [](const KeyArguments &given) {
            const KeyPaths paths = PathsOf(given);
            return PasswordEncrypt(paths.primary, paths.standby, STDIN_FILENO, std::cout, std::cerr,
                                   OwnerOf(given, paths));
        });
}

// Says why the file cannot be read, if so.
ExitCode RequireReadable(const std::string &path)
{
    FindingList findings;
    if (ReadConfigBytes(path, findings).has_value()) {
        return ExitCode::Done;
    }
    const Finding reason = findings.Take().front();
    std::cerr << "Error: " << path << ' ' << reason.text << '\n';
    return reason.id == "not-permitted" ? ExitCode::NotPermitted : ExitCode::ConfigInvalid;
}

int VerifyPassword(const KeyArguments &arguments)
{
    const std::string &path = arguments.configFile;
    if (const ExitCode code = RequireReadable(path); code != ExitCode::Done) {
        return ToStatus(code);
    }
    ConfigMgr manager;
    if (manager.ReadConfig(path) != 0) {
        std::cerr << "Error: " << path << " holds no configuration; zef_client check tells why\n";
        return ToStatus(ExitCode::ConfigInvalid);
    }
    const std::string sealed = manager.GetConfig().Get("Config").Get("StorageObject").Get("Password").GetString();
    if (sealed.empty()) {
        std::cerr << "Error: there is no password in " << path << '\n';
        return ToStatus(ExitCode::ConfigInvalid);
    }
    const KeyPaths paths = PathsOf(arguments);
    return PasswordVerify(paths.primary, paths.standby, sealed, arguments.compare, STDIN_FILENO, std::cout, std::cerr,
                          OwnerOf(arguments, paths));
}

void AddPasswordVerify(const Command &password, Action &action)
{
    const auto arguments = std::make_shared<KeyArguments>();
    const Command verify = Add(password, action, arguments, "verify",
                                 "Say whether the keys open the password of a configuration file", VerifyPassword);
    verify.OptionalArgument("FILE", arguments->configFile, "Configuration file");
    verify.Flag("--compare", arguments->compare, "Read a password, and say whether it is the same");
}

}  // namespace

void AddKeyCommands(Command &root, Action &action)
{
    const Command keys = root.Add("keys", "The keys that passwords are encrypted with");
    keys.RequireOneBelow();
    AddKeysInit(keys, action);
    AddKeysVerify(keys, action);
    AddKeysRotate(keys, action);
    const Command password = root.Add("password", "The array's password");
    password.RequireOneBelow();
    AddPasswordEncrypt(password, action);
    AddPasswordVerify(password, action);
}

}  // namespace zef
