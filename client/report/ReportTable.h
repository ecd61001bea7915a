// One section of a report, laid out by libsmartcols.
#ifndef ZEF_CLIENT_REPORT_REPORT_TABLE_H
#define ZEF_CLIENT_REPORT_REPORT_TABLE_H

#include "report/Report.h"

#include <string>

namespace zef {

// As Render, for one section. In JSON: an object with one member, the section's name, which is an array of rows.
std::string RenderSection(const Section &section, ReportFormat format, bool isTerminal);

}  // namespace zef

#endif
