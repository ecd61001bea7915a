#include "app/Commands.h"

#include "app/ControlArguments.h"
#include "app/PasswordArgument.h"
#include "control/ControlError.h"

#include <CLI/CLI.hpp>
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
CLI::App *AddChange(CLI::App &app, Action &action, const SharedArguments &arguments, const char *name,
                    const char *description, MakeRequest makeRequest)
{
    CLI::App *const command = app.add_subcommand(name, description);
    arguments->control.AddTo(*command, {"text", "json"});
    command->callback([arguments, makeRequest, &action] {
        action = [arguments, makeRequest] { return Change(*arguments, makeRequest); };
    });
    return command;
}

void AddSave(CLI::App &command, ChangeArguments &arguments)
{
    command.add_flag("--save", arguments.save, "Write the change into the configuration file, too");
}

void AddName(CLI::App &command, ChangeArguments &arguments)
{
    command.add_option("NAME", arguments.name, "Name of the storage object")->required();
}

void AddAddresses(CLI::App &command, ChangeArguments &arguments)
{
    command.add_option("ADDRESS", arguments.addresses, "IPv4 addresses of the array")->required();
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

void AddStorageAdd(CLI::App &storage, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    CLI::App &command =
        *AddChange(storage, action, arguments, "add", "Register a storage object and connect it", AddRequest);
    AddName(command, *arguments);
    command.add_option("--user", arguments->user, "User that the client logs in as")->required();
    command.add_option("--address", arguments->addresses, "IPv4 address of the array; may be repeated");
    command.add_flag("--fibre-channel", arguments->fibreChannel, "The array is reached over Fibre Channel");
    arguments->password.AddTo(command);
    AddSave(command, *arguments);
}

void AddStorageDelete(CLI::App &storage, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    CLI::App &command = *AddChange(
        storage, action, arguments, "delete", "End the links of a storage object and forget it",
        [](const ChangeArguments &given) {
            return Json{{"op", "storage-delete"}, {"name", given.name}, {"save", given.save}};
        });
    AddName(command, *arguments);
    AddSave(command, *arguments);
}

void AddStorageAddresses(CLI::App &storage, Action &action, const char *name, const char *description,
                         MakeRequest makeRequest)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    CLI::App &command = *AddChange(storage, action, arguments, name, description, makeRequest);
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

void AddStorageDeletePair(CLI::App &storage, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    CLI::App &command = *AddChange(
        storage, action, arguments, "delete-pair", "End one link; with the last one to it an array address goes too",
        [](const ChangeArguments &given) {
            return Json{{"op", "storage-delete-pair"},
                        {"name", given.name},
                        {"pair", given.pair},
                        {"save", given.save}};
        });
    AddName(command, *arguments);
    command.add_option("PAIR", arguments->pair, "Local address, colon, array address: 10.0.0.1:10.0.0.9")->required();
    AddSave(command, *arguments);
}

void AddStorageSetUser(CLI::App &storage, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    CLI::App &command = *AddChange(
        storage, action, arguments, "set-user", "Log in as another user, or with another password, from now on",
        [](const ChangeArguments &given) {
            return Json{{"op", "storage-set-user"},
                        {"name", given.name},
                        {"user", given.user},
                        {"password", given.password.Sealed()},
                        {"save", given.save}};
        });
    AddName(command, *arguments);
    command.add_option("USER", arguments->user, "User that the client logs in as")->required();
    arguments->password.AddTo(command);
    AddSave(command, *arguments);
}

void AddStorage(CLI::App &app, Action &action)
{
    CLI::App &storage = *app.add_subcommand("storage", "Change the storage object of a running client");
    storage.require_subcommand(1);
    AddStorageAdd(storage, action);
    AddStorageDelete(storage, action);
    AddStorageAddresses(storage, action, "add-addresses", "Connect further addresses of the array",
                        AddAddressesRequest);
    AddStorageAddresses(storage, action, "delete-addresses", "End the links to addresses and forget these",
                        DeleteAddressesRequest);
    AddStorageDeletePair(storage, action);
    AddStorageSetUser(storage, action);
}

void AddSwitch(CLI::App &app, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    CLI::App &command =
        *AddChange(app, action, arguments, "switch", "Switch compression or deduplication on or off",
                   [](const ChangeArguments &given) {
                       return Json{{"op", "switch"},
                                   {"name", given.name},
                                   {"value", given.value},
                                   {"save", given.save}};
                   });
    command.add_option("SWITCH", arguments->name, "compression or deduplication")
        ->required()
        ->check(CLI::IsMember({"compression", "deduplication"}));
    command.add_option("VALUE", arguments->value, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
    AddSave(command, *arguments);
}

void AddLogLevel(CLI::App &app, Action &action)
{
    const auto arguments = std::make_shared<ChangeArguments>();
    CLI::App &command = *AddChange(app, action, arguments, "log-level", "Show or change what a running client logs",
                                   [](const ChangeArguments &given) {
                                       Json request = {{"op", "log-level"}};
                                       if (!given.value.empty()) {
                                           request["level"] = given.value;
                                       }
                                       return request;
                                   });
    command.add_option("LEVEL", arguments->value, "error, warn, info or debug")
        ->check(CLI::IsMember({"error", "warn", "info", "debug"}));
}

template <class Request>
void AddPlain(CLI::App &app, Action &action, const char *name, const char *description, Request request)
{
    AddChange(app, action, std::make_shared<ChangeArguments>(), name, description, request);
}

}  // namespace

void AddChangeCommands(CLI::App &app, Action &action)
{
    AddStorage(app, action);
    AddSwitch(app, action);
    AddPlain(app, action, "retry", "Try at once what waits, and begin again what was given up",
             [](const ChangeArguments &) { return Json{{"op", "retry"}}; });
    AddLogLevel(app, action);
    AddPlain(app, action, "save", "Write the running state into the configuration file",
             [](const ChangeArguments &) { return Json{{"op", "save"}}; });
    AddPlain(app, action, "reload", "Apply the configuration file to the running client",
             [](const ChangeArguments &) { return Json{{"op", "reload"}}; });
}

}  // namespace zef
