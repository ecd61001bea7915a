#include "report/Report.h"

#include "report/ReportTable.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace zef {

namespace {

using OrderedJson = nlohmann::ordered_json;

// libsmartcols lays out a list without entries as a list with an entry without a value.
void RemoveEmptyEntries(OrderedJson &row)
{
    for (auto &[name, value] : row.items()) {
        if (value.is_array()) {
            value.erase(std::remove(value.begin(), value.end(), OrderedJson()), value.end());
        }
    }
}

// libsmartcols prints one table as one object; a report is one object of them all.
std::string RenderJson(const Report &report)
{
    OrderedJson whole = {{"schema_version", kOutputSchemaVersion}};
    for (const Section &section : report) {
        OrderedJson rows =
            OrderedJson::parse(RenderSection(section, ReportFormat::Json, false)).at(section.name);
        std::for_each(rows.begin(), rows.end(), RemoveEmptyEntries);
        whole[section.name] = section.isRecord ? rows.at(0) : rows;
    }
    return whole.dump(2) + "\n";
}

// libsmartcols fills the last column up to its width and leaves the last line open.
std::string WithoutTrailingBlanks(const std::string &text)
{
    std::string result;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        result += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
        begin = end + 1;
    }
    return result;
}

std::string Heading(const Section &section)
{
    std::string line;
    for (const Column &column : section.columns) {
        line += (line.empty() ? "" : " ") + std::string(column.name);
    }
    return line + "\n";
}

std::string RenderText(const Section &section, ReportFormat format, bool isTerminal)
{
    const bool isEmpty = section.rows.empty();
    if (isEmpty && format == ReportFormat::Table) {
        return std::string(section.whenEmpty) + "\n";
    }
    if (isEmpty) {
        return Heading(section);  // libsmartcols prints none over no rows
    }
    return WithoutTrailingBlanks(RenderSection(section, format, isTerminal));
}

}  // namespace

std::optional<ReportFormat> ReportFormatByName(std::string_view name)
{
    if (name == "table") {
        return ReportFormat::Table;
    }
    if (name == "json") {
        return ReportFormat::Json;
    }
    return name == "raw" ? std::optional(ReportFormat::Raw) : std::nullopt;
}

std::string Render(const Report &report, ReportFormat format, bool isTerminal)
{
    if (format == ReportFormat::Json) {
        return RenderJson(report);
    }
    std::string text;
    for (const Section &section : report) {
        text += (text.empty() ? "" : "\n") + RenderText(section, format, isTerminal);
    }
    return text;
}

}  // namespace zef
