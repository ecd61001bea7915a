#include "report/ReportTable.h"

#include <libsmartcols.h>

#include <memory>
#include <new>

#include <cstdlib>

namespace zef {

namespace {

struct TableUnref {
    void operator()(libscols_table *table) const { scols_unref_table(table); }
};
using Table = std::unique_ptr<libscols_table, TableUnref>;

struct TextFree {
    void operator()(char *text) const { std::free(text); }
};

// Everything in libsmartcols fails for one reason only: no memory.
void Require(bool done)
{
    if (!done) {
        throw std::bad_alloc();
    }
}

Table MakeTable(const Section &section, ReportFormat format, bool isTerminal)
{
    Table table(scols_new_table());
    Require(table != nullptr);
    Require(scols_table_set_name(table.get(), section.name) == 0);
    scols_table_enable_json(table.get(), format == ReportFormat::Json);
    scols_table_enable_raw(table.get(), format == ReportFormat::Raw);
    scols_table_set_termforce(table.get(), isTerminal ? SCOLS_TERMFORCE_AUTO : SCOLS_TERMFORCE_NEVER);
    return table;
}

void AddColumn(libscols_table &table, const Column &description, bool isLast)
{
    const bool isLines = description.kind == ColumnKind::Lines;
    const int flags = (description.kind == ColumnKind::Number ? SCOLS_FL_RIGHT : 0) |
                      (isLast || isLines ? SCOLS_FL_WRAP : 0);
    libscols_column *const column = scols_table_new_column(&table, description.name, 0, flags);
    Require(column != nullptr);
    if (description.kind == ColumnKind::Number) {
        scols_column_set_json_type(column, SCOLS_JSON_NUMBER);
    }
    if (isLines) {
        scols_column_set_json_type(column, SCOLS_JSON_ARRAY_STRING);
        scols_column_set_wrapfunc(column, scols_wrapnl_chunksize, scols_wrapnl_nextchunk, nullptr);
        scols_column_set_safechars(column, "\n");
    }
}

void AddRow(libscols_table &table, const Row &row, ReportFormat format)
{
    libscols_line *const line = scols_table_new_line(&table, nullptr);
    Require(line != nullptr);
    for (size_t i = 0; i < row.size(); ++i) {
        const char *const empty = format == ReportFormat::Json ? nullptr : "-";
        Require(scols_line_set_data(line, i, row[i] ? row[i]->c_str() : empty) == 0);
    }
}

}  // namespace

std::string RenderSection(const Section &section, ReportFormat format, bool isTerminal)
{
    const Table table = MakeTable(section, format, isTerminal);
    for (const Column &column : section.columns) {
        AddColumn(*table, column, &column == &section.columns.back());
    }
    for (const Row &row : section.rows) {
        AddRow(*table, row, format);
    }
    char *text = nullptr;
    Require(scols_print_table_to_string(table.get(), &text) == 0);
    const std::unique_ptr<char, TextFree> owner(text);
    return text;
}

}  // namespace zef
