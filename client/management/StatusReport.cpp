#include "management/StatusReport.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace zef {

namespace {

using Json = nlohmann::json;

Cell CellOf(const Json &value)
{
    if (value.is_null()) {
        return std::nullopt;
    }
    return value.is_string() ? value.get<std::string>() : value.dump();
}

Cell LinesOf(const Json &texts)
{
    std::string lines;
    for (const Json &text : texts) {
        lines += (lines.empty() ? "" : "\n") + text.get<std::string>();
    }
    return lines.empty() ? Cell() : Cell(lines);
}

Row RowOf(const Json &object, std::initializer_list<const char *> names)
{
    Row row;
    std::transform(names.begin(), names.end(), std::back_inserter(row),
                   [&object](const char *name) { return CellOf(object.at(name)); });
    return row;
}

Section IdentitySection(const Json &identity)
{
    return {"identity",
            {{"UUID"}, {"LOCAL_ADDRESS"}, {"VERSION"}, {"PID", ColumnKind::Number}},
            {RowOf(identity, {"uuid", "local_address", "version", "pid"})},
            true,
            ""};
}

Section SwitchesSection(const Json &switches)
{
    return {"switches",
            {{"DEDUPLICATION"}, {"COMPRESSION"}},
            {RowOf(switches, {"deduplication", "compression"})},
            true,
            ""};
}

Section StorageSection(const Json &storages)
{
    Section section = {"storage",
                       {{"NAME"}, {"USER"}, {"LINK_TYPE"}, {"WWN"}, {"ADDRESSES", ColumnKind::Lines}},
                       {},
                       false,
                       "No storage object."};
    for (const Json &storage : storages) {
        Row row = RowOf(storage, {"name", "user", "link_type", "wwn"});
        row.push_back(LinesOf(storage.at("addresses")));
        section.rows.push_back(std::move(row));
    }
    return section;
}

Section LinksSection(const Json &links)
{
    Section section = {"links",
                       {{"LOCAL"},
                        {"ARRAY"},
                        {"STATE"},
                        {"WWN"},
                        {"TRIES", ColumnKind::Number},
                        {"FAILURES", ColumnKind::Number},
                        {"NEXT_TRY"},
                        {"LAST_CAUSE"}},
                       {},
                       false,
                       "No links."};
    for (const Json &link : links) {
        section.rows.push_back(
            RowOf(link, {"local", "array", "state", "wwn", "tries", "failures", "next_try", "cause"}));
    }
    return section;
}

}  // namespace

Report MakeStatusReport(const Json &status)
{
    return {IdentitySection(status.at("identity")), SwitchesSection(status.at("switches")),
            StorageSection(status.at("storage")), LinksSection(status.at("links"))};
}

Report MakeLinksReport(const Json &status)
{
    return {LinksSection(status.at("links"))};
}

bool IsSomeLinkDown(const Json &status)
{
    const Json &links = status.at("links");
    if (links.empty()) {
        return !status.at("storage").empty();
    }
    return std::any_of(links.begin(), links.end(), [](const Json &link) { return !link.at("up").get<bool>(); });
}

}  // namespace zef
