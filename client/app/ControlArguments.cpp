#include "app/ControlArguments.h"

#include "app/Command.h"
#include "control/ControlClient.h"
#include "control/ControlOptions.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <iostream>

namespace zef {

namespace {

using Json = nlohmann::json;

void PrintError(const ControlError &error, bool asJson)
{
    if (!asJson) {
        std::cerr << "zef_client: " << error.what() << '\n';
        return;
    }
    const nlohmann::ordered_json object = {
        {"schema_version", kOutputSchemaVersion},
        {"error",
         {{"code", ToStatus(error.GetCode())}, {"name", Explain(error.GetCode()).name}, {"message", error.what()}}}};
    std::cout << object.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace

void ControlArguments::AddTo(const Command &command, const std::vector<std::string> &formats)
{
    socket = kControlSocket;
    output = formats.front();
    command.Option("--socket", socket, "Control socket of the client");
    command.Number("--timeout", timeoutSeconds, 1, 3600, "Seconds to wait for the client");
    command.Choice("--output", output, formats, "How to print the result");
}

Json ControlArguments::Ask(Json request) const
{
    ControlClient client(socket, std::chrono::seconds(timeoutSeconds));
    return client.Ask(request);
}

ExitCode ControlArguments::Carry(const std::function<ExitCode()> &work) const
{
    try {
        return work();
    } catch (const ControlError &error) {
        PrintError(error, IsJson());
        return error.GetCode();
    } catch (const JsonValue::exception &) {
        PrintError(ControlError(ExitCode::Failed, "the client's answer cannot be used: it may be of another version"),
                   IsJson());
        return ExitCode::Failed;
    }
}

ReportFormat ControlArguments::Format() const
{
    return ReportFormatByName(output).value_or(ReportFormat::Table);
}

}  // namespace zef
