#include "check/FindingList.h"

#include "log/LogText.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace zef {

namespace {

constexpr size_t kMaxQuotedBytes = 64;
constexpr const char *kSealedMark = "zef1:";

bool IsBefore(const Finding &one, const Finding &other)
{
    return std::tie(one.position.line, one.position.column) < std::tie(other.position.line, other.position.column);
}

bool ContinuesCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80;
}

// At most the given number of bytes, without half a character at the end.
std::string CutText(const std::string &text, size_t size)
{
    while (size > 0 && ContinuesCharacter(text[size])) {
        --size;
    }
    return text.substr(0, size);
}

}  // namespace

void FindingList::Refuse(Position position, const std::string &id, const std::string &text)
{
    Add({position, Severity::Error, id, text, true, ""});
}

void FindingList::Complain(Position position, const std::string &id, const std::string &text)
{
    Add({position, Severity::Error, id, text, false, ""});
}

void FindingList::Warn(Position position, const std::string &id, const std::string &text)
{
    Add({position, Severity::Warning, id, text, false, ""});
}

void FindingList::Add(Finding finding)
{
    if (WouldDrop(finding.refusesStart)) {
        Drop(finding.severity);
        return;
    }
    refuses = refuses || finding.refusesStart;
    findings.push_back(std::move(finding));
}

bool FindingList::WouldDrop(bool refusesStart) const
{
    const bool decides = refusesStart && !refuses;
    return findings.size() >= kMaxFindings && !decides;
}

void FindingList::Drop(Severity severity)
{
    ++dropped;
    worstDropped = std::max(worstDropped, severity);
}

std::vector<Finding> FindingList::Take()
{
    std::stable_sort(findings.begin(), findings.end(), IsBefore);
    if (dropped > 0) {
        findings.push_back({{}, worstDropped, "more-findings",
                            fmt::format("{} more findings are not shown; correct the first ones and check again",
                                        dropped),
                            false, ""});
        dropped = 0;
    }
    return std::exchange(findings, {});
}

std::string Quoted(const std::string &text)
{
    if (text.find(kSealedMark) != std::string::npos) {
        return "(an encrypted password)";  // it got into the wrong element
    }
    const std::string shown = text.size() > kMaxQuotedBytes ? CutText(text, kMaxQuotedBytes) + "..." : text;
    return PrintableLogText("\"" + shown + "\"");
}

}  // namespace zef
