// What a command has to say, once, for people, scripts and other programs.
#ifndef ZEF_CLIENT_REPORT_REPORT_H
#define ZEF_CLIENT_REPORT_REPORT_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zef {

// The version of every JSON text that a command prints. It changes when a member is renamed, goes, or changes its kind;
// new members do not change it.
constexpr int kOutputSchemaVersion = 1;

enum class ReportFormat {
    Table,  // aligned columns
    Json,   // one object
    Raw,    // one line a row, columns separated by one space, white space and control characters in them escaped
};

// "table", "json" or "raw".
std::optional<ReportFormat> ReportFormatByName(std::string_view name);

enum class ColumnKind {
    Text,
    Number,
    Lines,  // several texts, each ended by "\n" but the last: an array in JSON
};

struct Column {
    const char *name;  // the heading; in lower case the member's name in JSON
    ColumnKind kind = ColumnKind::Text;
};

// Nothing in a cell is null in JSON and "-" otherwise.
using Cell = std::optional<std::string>;
using Row = std::vector<Cell>;

struct Section {
    const char *name;  // the member's name in JSON
    std::vector<Column> columns;
    std::vector<Row> rows;     // each with a cell for every column
    bool isRecord = false;     // exactly one row: an object in JSON instead of an array
    const char *whenEmpty = "";  // shown for people instead of a table without rows
};

using Report = std::vector<Section>;

// The whole report, ended by a line feed. `isTerminal`: long cells are wrapped to the width of standard output.
// Control characters in cells are shown escaped. Throws std::bad_alloc.
std::string Render(const Report &report, ReportFormat format, bool isTerminal);

}  // namespace zef

#endif
