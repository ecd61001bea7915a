#include "check/ShowConfig.h"

#include "check/AddressRules.h"
#include "check/ConfigBytes.h"
#include "check/ConfigCheck.h"
#include "check/ConfigDocument.h"
#include "check/ConfigLimits.h"
#include "check/StorageRules.h"
#include "log/LogText.h"
#include "report/Report.h"

#include <zef_config/ConfigNode.h>
#include <zef_config/UuidConfig.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <exception>
#include <optional>
#include <ostream>
#include <utility>
#include <vector>

namespace zef {

namespace {

using Json = nlohmann::ordered_json;
using Line = std::pair<std::string, std::string>;

constexpr int kJsonIndentation = 2;
constexpr const char *kHiddenPassword = "???";

struct EffectiveStorage {
    std::string name;
    std::string user;
    bool fibreChannel = false;
    std::vector<std::string> addresses;
};

struct EffectiveConfig {
    std::string uuid;
    std::string uuidSource;  // the element that it came from
    std::string deduplication;
    std::string compression;
    std::optional<EffectiveStorage> storage;
};

std::string FirstText(const ConfigNode &parent, const char *name)
{
    return parent.Get(name).GetString();
}

// The document is one that start-up accepts.
EffectiveConfig Read(mxml_node_t *root)
{
    const ConfigNode config = ConfigNode(root).Get("Config");
    EffectiveConfig effective;
    effective.uuidSource = UuidConfig::GetInstance().IsValidUuid(FirstText(config, "Uuid")) ? "Uuid" : "SystemUuid";
    effective.uuid = FirstText(config, effective.uuidSource.c_str());
    effective.deduplication = FirstText(config, "Deduplication");
    effective.compression = FirstText(config, "Compression");
    for (mxml_node_t *top : ChildElements(root, "Config")) {
        for (mxml_node_t *element : ChildElements(top, "StorageObject")) {
            const ConfigNode storage(element);
            const bool fibreChannel = IsFibreChannel(FirstText(storage, "LinkType"));
            effective.storage = {FirstText(storage, "Name"), FirstText(storage, "User"), fibreChannel,
                                 fibreChannel ? std::vector<std::string>() : EffectiveAddresses(element)};
        }
    }
    return effective;
}

std::string Joined(const std::vector<std::string> &texts)
{
    return texts.empty() ? "-" : fmt::format("{}", fmt::join(texts, ", "));
}

void AddStorage(const std::optional<EffectiveStorage> &storage, std::vector<Line> &lines)
{
    if (!storage) {
        lines.push_back({"Storage object", "-"});
        return;
    }
    lines.push_back({"Storage object", storage->name});
    lines.push_back({"User", storage->user});
    lines.push_back({"Password", kHiddenPassword});
    lines.push_back({"Link type", storage->fibreChannel ? "Fibre Channel" : "IP"});
    lines.push_back({"Addresses", Joined(storage->addresses)});
}

void AddLimits(std::vector<Line> &lines)
{
    lines.push_back({"Storage objects at most", fmt::format("{}", kMaxStorageObjects)});
    lines.push_back({"Addresses at most", fmt::format("{}", kMaxAddresses)});
    lines.push_back({"Address pairs at most", fmt::format("{}", kMaxAddressPairs)});
    lines.push_back({"Saved document at most", fmt::format("{} bytes", kMaxRenderedBytes)});
    lines.push_back({"Retry of a link after", fmt::format("{} ms", kRetryDelayMs)});
}

void PrintText(const std::string &path, const EffectiveConfig &config, std::ostream &output)
{
    const std::string source = config.uuidSource == "Uuid" ? "" : " (from " + config.uuidSource + ")";
    std::vector<Line> lines = {{"File", path},
                               {"Client UUID", config.uuid + source},
                               {"Deduplication", config.deduplication},
                               {"Compression", config.compression}};
    AddStorage(config.storage, lines);
    AddLimits(lines);
    size_t width = 0;
    for (const Line &line : lines) {
        width = std::max(width, line.first.size() + 1);
    }
    for (const auto &[key, value] : lines) {
        output << fmt::format("{:<{}} {}\n", key + ":", width, PrintableLogText(value));
    }
}

Json ToJson(const std::optional<EffectiveStorage> &storage)
{
    if (!storage) {
        return nullptr;
    }
    return {{"name", storage->name},
            {"user", storage->user},
            {"password", kHiddenPassword},
            {"link_type", storage->fibreChannel ? "fibre-channel" : "ip"},
            {"addresses", storage->addresses}};
}

void PrintJson(const std::string &path, const EffectiveConfig &config, std::ostream &output)
{
    const Json limits = {{"storage_objects", kMaxStorageObjects},
                         {"addresses", kMaxAddresses},
                         {"address_pairs", kMaxAddressPairs},
                         {"saved_document_bytes", kMaxRenderedBytes},
                         {"retry_delay_ms", kRetryDelayMs}};
    const Json report = {{"schema_version", kOutputSchemaVersion},
                         {"file", path},
                         {"uuid", config.uuid},
                         {"uuid_source", config.uuidSource},
                         {"deduplication", config.deduplication},
                         {"compression", config.compression},
                         {"storage", ToJson(config.storage)},
                         {"limits", limits}};
    output << report.dump(kJsonIndentation, ' ', false, Json::error_handler_t::replace) << '\n';
}

// Tells what start-up would refuse; true when the file itself is to blame.
bool IsRefused(const CheckResult &result, std::ostream &errors)
{
    bool refused = false;
    for (const Finding &finding : result.findings) {
        if (finding.refusesStart) {
            errors << PlaceOf(finding) << ": error: " << finding.text << '\n';
            refused = refused || finding.path == result.path;
        }
    }
    return refused;
}

ExitCode Show(const std::string &path, OutputFormat format, std::ostream &output, std::ostream &errors,
              const KeyPaths &keys)
{
    const CheckResult result = CheckConfig(path, keys);
    if (IsRefused(result, errors)) {
        return result.CodeOfErrors();
    }
    FindingList findings;
    const std::optional<std::string> bytes = ReadConfigBytes(path, findings);
    const ConfigDocument document(bytes.value_or(""));
    if (document.Root() == nullptr) {
        errors << "Error: " << PrintableLogText(path) << " has just been changed; try again\n";
        return ExitCode::Failed;
    }
    const EffectiveConfig config = Read(document.Root());
    format == OutputFormat::Json ? PrintJson(path, config, output) : PrintText(path, config, output);
    if (!output.flush()) {
        errors << "Error: the output cannot be written\n";
        return ExitCode::Failed;
    }
    return ExitCode::Done;
}

}  // namespace

ExitCode ShowConfig(const std::string &path, OutputFormat format, std::ostream &output, std::ostream &errors,
                    const KeyPaths &keys)
{
    try {
        return Show(path, format, output, errors, keys);
    } catch (const std::exception &error) {
        errors << "Error: " << PrintableLogText(path) << " cannot be shown: " << error.what() << '\n';
        return ExitCode::Failed;
    }
}

}  // namespace zef
