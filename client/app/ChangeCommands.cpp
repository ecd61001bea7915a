#include "app/Commands.h"

#include "app/Command.h"
#include "app/ControlArguments.h"
#include "app/PasswordArgument.h"
#include "control/ControlError.h"

#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace zef {

namespace {

using Json = nlohmann::json;

struct ChangeArguments {
    ControlArguments control;
    PasswordArgument password;
    std::string name;
    std::string user;
    std::string pair;
    std::string value;
    std::vector<std::string> addresses;
    bool fibreChannel = false;
    bool save = false;
};
using SharedArguments = std::shared_ptr<ChangeArguments>;
using MakeRequest = Json (*)(const ChangeArguments &arguments);

void PrintDone(const Json &result, bool asJson)
{
    if (asJson) {
        nlohmann::ordered_json whole = {{"schema_version", kOutputSchemaVersion}};
        whole.update(nlohmann::ordered_json(result));
        std::cout << whole.dump(2) << '\n';
        return;
    }
    for (const Json &sentence : result.at("done")) {
        std::cout << sentence.get<std::string>() << '\n';
    }
}

ExitCode Change(const ChangeArguments &arguments, MakeRequest makeRequest)
{
    return arguments.control.Carry([&] {
        PrintDone(arguments.control.Ask(makeRequest(arguments)), arguments.control.IsJson());
        return ExitCode::Done;
    });
}

// What all of them have; the returned command takes further options.
Command AddChange(const Command &group, Action &action, const SharedArguments &arguments, const char *name,
                  const char *description, MakeRequest makeRequest)
{
    const Command command = group.Add(name, description);
    arguments->control.AddTo(command, {"text", "json"});
    command.OnParsed([arguments, makeRequest, &action] {
        action = [arguments, makeRequest] { return Change(*arguments, makeRequest); };
    });
    return command;
}

void AddSave(const Command &command, ChangeArguments &arguments)
{
    command.Flag("--save", arguments.save, "Write the running state into the configuration file, too");
}

void AddName(const Command &command, ChangeArguments &arguments)
{
    command.Argument("NAME", arguments.name, "Name of the storage object");
}

void AddAddresses(const Command &command, ChangeArguments &arguments)
{
    command.Arguments("ADDRESS", arguments.addresses, "IPv4 addresses of the array");
}

Json AddRequest(const ChangeArguments &arguments)
{
    if (arguments.fibreChannel != arguments.addresses.empty()) {
        throw ControlError(ExitCode::Usage, "give either --address or --fibre-channel");
    }
    Json request = {{"op", "storage-add"}, {"name", arguments.name}, {"user", arguments.user},
                    {"password", arguments.password.Sealed()}, {"save", arguments.save}};
    if (arguments.fibreChannel) {
        request["fibre_channel"] = true;
    } else {
        request["addresses"] = arguments.addresses;
    }
    return request;
}

void AddStorageAdd(const Command &storage, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    const Command command =
        AddChange(storage, action, arguments, "add", "Register a storage object and connect it", AddRequest);
    AddName(command, *arguments);
    command.RequiredOption("--user", arguments->user, "User that the client logs in as");
    command.Options("--address", arguments->addresses, "IPv4 address of the array; may be repeated");
    command.Flag("--fibre-channel", arguments->fibreChannel, "The array is reached over Fibre Channel");
    arguments->password.AddTo(command);
    AddSave(command, *arguments);
}

void AddStorageDelete(const Command &storage, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    const Command command = AddChange(
        storage, action, arguments, "delete", "End the links of a storage object and forget it",
        [](const ChangeArguments &given) {
            return Json{{"op", "storage-delete"}, {"name", given.name}, {"save", given.save}};
        });
    AddName(command, *arguments);
    AddSave(command, *arguments);
}

void AddStorageAddresses(const Command &storage, Action &action, const char *name, const char *description,
                         MakeRequest makeRequest)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    const Command command = AddChange(storage, action, arguments, name, description, makeRequest);
    AddName(command, *arguments);
    AddAddresses(command, *arguments);
    AddSave(command, *arguments);
}

Json AddAddressesRequest(const ChangeArguments &arguments)
{
    return {{"op", "storage-add-addresses"},
            {"name", arguments.name},
            {"addresses", arguments.addresses},
            {"save", arguments.save}};
}

Json DeleteAddressesRequest(const ChangeArguments &arguments)
{
    Json request = AddAddressesRequest(arguments);
    request["op"] = "storage-delete-addresses";
    return request;
}

void AddStorageDeletePair(const Command &storage, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    const Command command = AddChange(
        storage, action, arguments, "delete-pair", "End one link; with the last one to it an array address goes too",
        [](const ChangeArguments &given) {
            return Json{{"op", "storage-delete-pair"},
                        {"name", given.name},
                        {"pair", given.pair},
                        {"save", given.save}};
        });
    AddName(command, *arguments);
    command.Argument("PAIR", arguments->pair, "Local address, colon, array address: 10.0.0.1:10.0.0.9");
    AddSave(command, *arguments);
}

void AddStorageSetUser(const Command &storage, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    const Command command = AddChange(
        storage, action, arguments, "set-user", "Log in as another user, or with another password, from now on",
        [](const ChangeArguments &given) {
            return Json{{"op", "storage-set-user"},
                        {"name", given.name},
                        {"user", given.user},
                        {"password", given.password.Sealed()},
                        {"save", given.save}};
        });
    AddName(command, *arguments);
    command.Argument("USER", arguments->user, "User that the client logs in as");
    arguments->password.AddTo(command);
    AddSave(command, *arguments);
}

void AddStorage(Command &root, Action &action)
{
    const Command storage = root.Add("storage", "Change the storage object of a running client");
    storage.RequireOneBelow();
    AddStorageAdd(storage, action);
    AddStorageDelete(storage, action);
    AddStorageAddresses(storage, action, "add-addresses", "Connect further addresses of the array",
                        AddAddressesRequest);
    AddStorageAddresses(storage, action, "delete-addresses", "End the links to addresses and forget these",
                        DeleteAddressesRequest);
    AddStorageDeletePair(storage, action);
    AddStorageSetUser(storage, action);
}

void AddSwitch(Command &root, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    const Command command =
        AddChange(root, action, arguments, "switch", "Switch compression or deduplication on or off",
                   [](const ChangeArguments &given) {
                       return Json{{"op", "switch"},
                                   {"name", given.name},
                                   {"value", given.value},
                                   {"save", given.save}};
                   });
    command.ArgumentChoice("SWITCH", arguments->name, {"compression", "deduplication"}, "compression or deduplication");
    command.ArgumentChoice("VALUE", arguments->value, {"on", "off"}, "on or off");
    AddSave(command, *arguments);
}

void AddLogLevel(Command &root, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    const Command command = AddChange(root, action, arguments, "log-level", "Show or change what a running client logs",
                                   [](const ChangeArguments &given) {
                                       Json request = {{"op", "log-level"}};
                                       if (!given.value.empty()) {
                                           request["level"] = given.value;
                                       }
                                       return request;
                                   });
    command.OptionalArgumentChoice("LEVEL", arguments->value, {"error", "warn", "info", "debug"},
                                   "error, warn, info or debug");
}

template <class Request>
void AddPlain(Command &root, Action &action, const char *name, const char *description, Request request)
{
    AddChange(root, action, std::make_shared<ChangeArguments>(), name, description, request);
}

}  // namespace

void AddChangeCommands(Command &root, Action &action)
{
    AddStorage(root, action);
    AddSwitch(root, action);
    AddPlain(root, action, "retry", "Try at once what waits, and begin again what was given up",
             [](const ChangeArguments &) { return Json{{"op", "retry"}}; });
    AddLogLevel(root, action);
    AddPlain(root, action, "save", "Write the running state into the configuration file",
             [](const ChangeArguments &) { return Json{{"op", "save"}}; });
    AddPlain(root, action, "reload", "Apply the configuration file to the running client",
             [](const ChangeArguments &) { return Json{{"op", "reload"}}; });
}

}  // namespace zef
