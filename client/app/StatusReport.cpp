#include "app/StatusReport.h"

#include <fmt/format.h>

#include <algorithm>

namespace zef {

namespace {

using Row = std::vector<std::string>;

std::string Printable(std::string text)
{
    const auto isControl = [](char character) {
        return static_cast<unsigned char>(character) < ' ' || character == '\x7f';
    };
    std::replace_if(text.begin(), text.end(), isControl, '?');
    return text;
}

std::string OrDash(const std::string &text)
{
    return text.empty() ? "-" : text;
}

std::string WwnText(uint64_t wwn)
{
    return wwn == kNoWwn ? "-" : fmt::format("{:#018x}", wwn);
}

Row RowOf(const LinkState &link)
{
    return {link.local,        link.array,
            LinkPhaseName(link.phase), WwnText(link.wwn),
            std::to_string(link.tries), OrDash(Printable(link.cause))};
}

std::vector<size_t> ColumnWidths(const std::vector<Row> &rows)
{
    std::vector<size_t> widths(rows.front().size(), 0);
    for (const Row &row : rows) {
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    return widths;
}

std::string FormatTable(const std::vector<Row> &rows)
{
    const std::vector<size_t> widths = ColumnWidths(rows);
    std::string text;
    for (const Row &row : rows) {
        for (size_t column = 0; column + 1 < row.size(); ++column) {
            text += fmt::format("{:<{}}  ", row[column], widths[column]);
        }
        text += row.back() + "\n";
    }
    return text;
}

}  // namespace

std::string FormatStatus(const ClientStatus &status)
{
    std::string text = fmt::format("Client UUID:   {}\nLocal address: {}\nStorage:       {}, WWN {}\n",
                                   OrDash(status.uuid), OrDash(status.localAddress), OrDash(status.storageName),
                                   WwnText(status.storageWwn));
    if (status.links.empty() && status.withoutLink.empty()) {
        return text + "No links.\n";
    }
    std::vector<Row> rows = {{"LOCAL", "ARRAY", "STATE", "WWN", "TRIES", "LAST CAUSE"}};
    std::transform(status.links.begin(), status.links.end(), std::back_inserter(rows), RowOf);
    for (const std::string &array : status.withoutLink) {
        rows.push_back({"-", array, "no link", "-", "-", "no local address reaches it, or it led to another array"});
    }
    return text + FormatTable(rows);
}

}  // namespace zef
