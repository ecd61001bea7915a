#include "check/CheckCommand.h"

#include "check/ConfigCheck.h"
#include "common/Counted.h"
#include "log/LogText.h"
#include "report/Report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <exception>
#include <ostream>

namespace zef {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kJsonIndentation = 2;

const char *NameOf(Severity severity)
{
    return severity == Severity::Error ? "error" : "warning";
}

std::string LastLine(const CheckResult &result)
{
    const std::string path = PrintableLogText(result.path);
    const std::string warnings = Counted(result.Count(Severity::Warning), "warning", "warnings");
    if (result.HasErrors()) {
        return fmt::format("{}: {}, {}", path, Counted(result.Count(Severity::Error), "error", "errors"), warnings);
    }
    return result.HasWarnings() ? fmt::format("{}: OK, {}", path, warnings) : path + ": OK";
}

void PrintText(const CheckResult &result, std::ostream &output)
{
    for (const Finding &finding : result.findings) {
        output << PlaceOf(finding) << ": " << NameOf(finding.severity) << ": " << finding.text << '\n';
    }
    output << LastLine(result) << '\n';
}

Json ToJson(const Finding &finding)
{
    return {{"line", finding.position.line}, {"column", finding.position.column},
            {"severity", NameOf(finding.severity)}, {"id", finding.id},
            {"text", finding.text}, {"refuses_start", finding.refusesStart},
            {"file", finding.path}};
}

const char *Verdict(const CheckResult &result)
{
    if (result.HasErrors()) {
        return "errors";
    }
    return result.HasWarnings() ? "warnings" : "ok";
}

void PrintJson(const CheckResult &result, std::ostream &output)
{
    Json findings = Json::array();
    for (const Finding &finding : result.findings) {
        findings.push_back(ToJson(finding));
    }
    const Json report = {{"schema_version", kOutputSchemaVersion},
                         {"file", result.path},
                         {"verdict", Verdict(result)},
                         {"starts", !result.RefusesStart()},
                         {"errors", result.Count(Severity::Error)},
                         {"warnings", result.Count(Severity::Warning)},
                         {"findings", findings}};
    // A file may hold bytes that are not UTF-8, and JSON may not.
    output << report.dump(kJsonIndentation, ' ', false, Json::error_handler_t::replace) << '\n';
}

ExitCode ExitCodeFor(const CheckResult &result, bool strict)
{
    if (result.HasErrors()) {
        return result.CodeOfErrors();
    }
    return strict && result.HasWarnings() ? ExitCode::Warnings : ExitCode::Done;
}

}  // namespace

ExitCode CheckCommand(const CheckOptions &options, std::ostream &output, std::ostream &errors)
{
    try {
        const CheckResult result = CheckConfig(options.path, options.keys);
        options.format == OutputFormat::Json ? PrintJson(result, output) : PrintText(result, output);
        if (!output.flush()) {
            errors << "Error: the output cannot be written\n";
            return ExitCode::Failed;
        }
        return ExitCodeFor(result, options.strict);
    } catch (const std::exception &error) {
        errors << "Error: " << PrintableLogText(options.path) << " cannot be checked: " << error.what() << '\n';
        return ExitCode::Failed;
    }
}

}  // namespace zef
