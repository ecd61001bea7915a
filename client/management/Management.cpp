#include "management/Management.h"

#include "control/ControlError.h"
#include "gateway/IpGateway.h"
#include "iputil/ProbeRecord.h"
#include "log/Log.h"
#include "management/Arguments.h"
#include "management/ClientStatus.h"
#include "management/ConfigReload.h"
#include "management/ConfigWriter.h"
#include "management/StorageChanges.h"
#include "management/SwitchChanges.h"

#include "TaskPause.h"

#include <zef_config/ZefStorageController.h>
#include <zef_config/ZefStorageManager.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace zef {

namespace {

using Json = nlohmann::json;

Json Done(std::vector<std::string> sentences)
{
    for (const std::string &sentence : sentences) {
        LogInfo("management", "{}", sentence);
    }
    return {{"done", std::move(sentences)}};
}

// A change, saved on request. What cannot be saved is found out before the change is made.
Json Change(const Arguments &arguments, const std::string &configPath, const std::function<std::string()> &change)
{
    const bool save = arguments.Flag("save");
    if (save) {
        RequireSavable(configPath);
    }
    std::vector<std::string> sentences = {change()};
    if (save) {
        try {
            sentences.push_back(SaveRunningState(configPath));
        } catch (const ControlError &error) {
            LogInfo("management", "{}", sentences.front());
            throw ControlError(error.GetCode(), fmt::format("{}; but that is not saved and ends with the client: {}",
                                                            sentences.front(), error.what()));
        }
    }
    return Done(std::move(sentences));
}

Json AddStorageRequest(const Json &request, const std::string &configPath)
{
    const Arguments arguments(request, {"name", "user", "password", "addresses", "fibre_channel", "save"});
    StorageDescription storage;
    storage.name = arguments.Text("name");
    storage.user = arguments.Text("user");
    storage.sealed = arguments.Text("password");
    if (arguments.Flag("fibre_channel")) {
        storage.linkType = StorageLinkType::kFibreChannel;
        if (!arguments.OptionalTexts("addresses").empty()) {
            throw ControlError(ExitCode::Usage, "a Fibre Channel storage object has no addresses");
        }
    } else {
        storage.addresses = arguments.Texts("addresses");
    }
    return Change(arguments, configPath, [&storage] { return AddStorage(storage); });
}

Json DeleteStorageRequest(const Json &request, const std::string &configPath)
{
    const Arguments arguments(request, {"name", "save"});
    return Change(arguments, configPath, [&] { return DeleteStorage(arguments.Text("name")); });
}

Json AddAddressesRequest(const Json &request, const std::string &configPath)
{
    const Arguments arguments(request, {"name", "addresses", "save"});
    return Change(arguments, configPath,
                  [&] { return AddAddresses(arguments.Text("name"), arguments.Texts("addresses")); });
}

Json DeleteAddressesRequest(const Json &request, const std::string &configPath)
{
    const Arguments arguments(request, {"name", "addresses", "save"});
    return Change(arguments, configPath,
                  [&] { return DeleteAddresses(arguments.Text("name"), arguments.Texts("addresses")); });
}

Json DeletePairRequest(const Json &request, const std::string &configPath)
{
    const Arguments arguments(request, {"name", "pair", "save"});
    if (arguments.Flag("save")) {
        RequireLastPair(arguments.Text("name"), arguments.Text("pair"));
    }
    return Change(arguments, configPath, [&] { return DeletePair(arguments.Text("name"), arguments.Text("pair")); });
}

Json SetUserRequest(const Json &request, const std::string &configPath)
{
    const Arguments arguments(request, {"name", "user", "password", "save"});
    return Change(arguments, configPath, [&] {
        return SetUser(arguments.Text("name"), arguments.Text("user"), arguments.Text("password"));
    });
}

Json SwitchRequest(const Json &request, const std::string &configPath)
{
    const Arguments arguments(request, {"name", "value", "save"});
    return Change(arguments, configPath, [&] { return SetSwitch(arguments.Text("name"), arguments.Text("value")); });
}

Json StatusRequest(const Json &request, const std::string &)
{
    const Arguments none(request, {});
    return TakeClientStatus();
}

Json SaveRequest(const Json &request, const std::string &configPath)
{
    const Arguments none(request, {});
    return Done({SaveRunningState(configPath)});
}

Json ReloadRequest(const Json &request, const std::string &configPath)
{
    const Arguments none(request, {});
    return Done(ApplyConfigFile(configPath));
}

// What the library has given up: its pairs were all dropped after a local address was found, and nothing is under way.
std::vector<std::string> BeginAgain(const ZefStorage &storage)
{
    if (storage.GetLinkType() == StorageLinkType::kFibreChannel) {
        if (storage.GetWwn() != ZefStorage::kNoWwn) {
            return {};
        }
        (void)ZefStorageController::ConnectStorageFc(storage);
        return {fmt::format("{}: its Fibre Channel link is looked for again", storage.GetName())};
    }
    std::vector<std::string> sentences;
    for (const ProbeState &probe : ProbeStates()) {
        if (probe.reached && storage.GetIpList().count(probe.array) != 0 && !storage.FindByIp(probe.array)) {
            ConnectAddresses(storage.GetName(), {probe.array});
            sentences.push_back(fmt::format("{} is connected anew", probe.array));
        }
    }
    return sentences;
}

Json RetryRequest(const Json &request, const std::string &)
{
    const Arguments none(request, {});
    std::vector<std::string> sentences;
    for (const IpPair &pair : IpGateway::Instance().RetryNow()) {
        sentences.push_back(fmt::format("{} -> {} is tried now; zef_client links shows the result", pair.first, pair.second));
    }
    for (const ZefStorage &storage : ZefStorageManager::GetStorageAll()) {
        for (std::string &sentence : BeginAgain(storage)) {
            sentences.push_back(std::move(sentence));
        }
    }
    if (sentences.empty()) {
        sentences.emplace_back("nothing to begin again; what failed is tried every 2 s");
    }
    return Done(std::move(sentences));
}

Json LogLevelRequest(const Json &request, const std::string &)
{
    const Arguments arguments(request, {"level"});
    const std::string name = arguments.OptionalText("level");
    if (!name.empty()) {
        const std::optional<LogLevel> level = LogLevelByName(name);
        if (!level) {
            throw ControlError(ExitCode::Usage,
                               fmt::format("\"{}\" is no log level: error, warn, info or debug", name));
        }
        SetLogLevel(*level);
    }
    const char *const present = LogLevelName(CurrentLogLevel());
    Json result = Done({fmt::format("the log level is {}", present)});
    result["level"] = present;
    return result;
}

// Tells of a change when it goes out of scope.
class Notice {
public:
    Notice(bool isDue, const std::function<void()> &listener) : due(isDue), tell(listener) {}

    ~Notice()
    {
        if (due) {
            tell();
        }
    }

    Notice(const Notice &) = delete;
    Notice &operator=(const Notice &) = delete;

private:
    const bool due;
    const std::function<void()> &tell;
};

using Operation = Json (*)(const Json &request, const std::string &configPath);

Operation FindOperation(const std::string &name)
{
    static const std::map<std::string, Operation> operations = {
        {"status", StatusRequest},
        {"storage-add", AddStorageRequest},
        {"storage-delete", DeleteStorageRequest},
        {"storage-add-addresses", AddAddressesRequest},
        {"storage-delete-addresses", DeleteAddressesRequest},
        {"storage-delete-pair", DeletePairRequest},
        {"storage-set-user", SetUserRequest},
        {"switch", SwitchRequest},
        {"retry", RetryRequest},
        {"log-level", LogLevelRequest},
        {"save", SaveRequest},
        {"reload", ReloadRequest},
    };
    const auto found = operations.find(name);
    if (found == operations.end()) {
        throw ControlError(ExitCode::Usage, fmt::format("there is no operation \"{}\"", name));
    }
    return found->second;
}

}  // namespace

Management::Management(std::string path, std::function<void()> changeListener)
    : configPath(std::move(path)), onChange(std::move(changeListener))
{
}

Json Management::Handle(const Json &request, std::chrono::steady_clock::time_point deadline) const
{
    const Operation operation = FindOperation(request.at("op").get<std::string>());
    const TaskPause pause(deadline);
    if (!pause.IsHeld()) {
        throw ControlError(ExitCode::TimedOut,
                           "the client is busy with a login or a search for addresses; nothing was changed");
    }
    if (!isOpen) {
        throw ControlError(ExitCode::NotRunning, "the client has not started; nothing was changed");
    }
    const Notice notice(operation != StatusRequest, onChange);
    return operation(request, configPath);
}

}  // namespace zef
