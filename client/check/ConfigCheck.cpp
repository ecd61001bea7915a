#include "check/ConfigCheck.h"

#include "check/AttributeCount.h"
#include "check/ConfigBytes.h"
#include "check/ConfigDocument.h"
#include "check/DocumentRules.h"
#include "check/Encoding.h"
#include "check/KeyRules.h"
#include "check/SaveLoss.h"
#include "check/ShapeRules.h"
#include "check/StorageRules.h"
#include "check/SwitchRules.h"
#include "check/UuidRules.h"
#include "check/WellFormedness.h"
#include "log/LogText.h"

#include <fmt/format.h>

#include <algorithm>

namespace zef {

namespace {

// What libxml2 finds wrong although the library loads it.
void AddXmlFindings(const XmlReport &xml, bool loads, FindingList &findings)
{
    for (Finding finding : xml.findings) {
        if (finding.id == "not-well-formed") {
            finding.text += loads ? " (start-up loads the file all the same, other XML tools will not)" : "";
        }
        findings.Add(finding);
    }
}

void RefuseDocument(const std::string &bytes, const XmlReport &xml, FindingList &findings)
{
    const Position position = xml.findings.empty() ? Position{1, 1} : xml.findings.front().position;
    const char *const reason =
        bytes.empty() ? "the file is empty" : "start-up finds no document here: the file is not the XML that it reads";
    findings.Refuse(position, "no-document", reason);
}

void JudgeDocument(const ConfigDocument &document, const KeyRules &keys, FindingList &findings)
{
    DocumentReport report(document, findings);
    const std::vector<mxml_node_t *> configs = CheckTop(document.Root(), report);
    if (!configs.empty()) {
        CheckShapeOfTop(document.Root(), report);
    }
    for (mxml_node_t *config : configs) {
        CheckUuid(config, report);
        CheckSwitches(config, report);
        CheckStorageObjects(config, keys, report);
        CheckShape(config, report);
    }
    AddSaveLoss(document, findings);
}

void JudgeBytes(const std::string &bytes, const KeyRules &keys, FindingList &findings)
{
    const SourceText source(bytes);
    if (const std::optional<size_t> tag = FindCrowdedTag(source.Text())) {
        findings.Refuse(source.At(*tag), "too-many-attributes",
                        fmt::format("a tag with more than {} attributes; such a file is not read", kMaxAttributes));
        return;
    }
    const XmlReport xml = ParseStrictly(source);
    ConfigDocument document(bytes);
    AddXmlFindings(xml, document.Root() != nullptr, findings);
    AddEncodingFindings(bytes, source, findings);
    if (document.Root() == nullptr) {
        RefuseDocument(bytes, xml, findings);
        return;
    }
    document.Locate(source, xml.offsets);
    JudgeDocument(document, keys, findings);
}

CheckResult ResultOf(const std::string &path, FindingList &findings)
{
    CheckResult result{path, findings.Take()};
    for (Finding &finding : result.findings) {
        if (finding.path.empty()) {
            finding.path = path;
        }
        finding.text = PrintableLogText(finding.text);
    }
    return result;
}

}  // namespace

size_t CheckResult::Count(Severity severity) const
{
    const auto count = std::count_if(findings.begin(), findings.end(),
                                     [severity](const Finding &finding) { return finding.severity == severity; });
    return static_cast<size_t>(count);
}

bool CheckResult::RefusesStart() const
{
    return std::any_of(findings.begin(), findings.end(), [](const Finding &finding) { return finding.refusesStart; });
}

bool CheckResult::Has(const std::string &id) const
{
    return std::any_of(findings.begin(), findings.end(), [&id](const Finding &finding) { return finding.id == id; });
}

ExitCode CheckResult::CodeOfErrors() const
{
    if (Has("not-permitted")) {
        return ExitCode::NotPermitted;
    }
    const auto isErrorOfFile = [this](const Finding &finding) {
        return finding.severity == Severity::Error && finding.path == path;
    };
    if (std::any_of(findings.begin(), findings.end(), isErrorOfFile)) {
        return ExitCode::ConfigInvalid;
    }
    if (Has(kKeysUnreadable)) {
        return ExitCode::NotPermitted;
    }
    return HasErrors() ? ExitCode::Credential : ExitCode::Done;
}

CheckResult CheckConfig(const std::string &path, const KeyPaths &keys)
{
    FindingList findings;
    const KeyRules keyRules(keys, findings);
    if (const std::optional<std::string> bytes = ReadConfigBytes(path, findings)) {
        JudgeBytes(*bytes, keyRules, findings);
    }
    return ResultOf(path, findings);
}

CheckResult CheckBytes(const std::string &bytes, const std::string &path, const KeyPaths &keys)
{
    FindingList findings;
    const KeyRules keyRules(keys, findings);
    JudgeBytes(bytes, keyRules, findings);
    return ResultOf(path, findings);
}

std::string PlaceOf(const Finding &finding)
{
    return fmt::format("{}:{}:{}", PrintableLogText(finding.path), finding.position.line, finding.position.column);
}

}  // namespace zef
