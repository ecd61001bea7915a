#include "check/SaveLoss.h"

#include "check/ConfigBytes.h"
#include "check/ConfigLimits.h"
#include "check/DocumentReport.h"
#include "check/SavedText.h"
#include "check/SourceText.h"
#include "check/WellFormedness.h"

#include <zef_config/ConfigMgr.h>

#include <fmt/format.h>

#include <cstring>

namespace zef {

namespace {

bool IsText(mxml_node_t *node)
{
    return mxmlGetType(node) == MXML_OPAQUE;
}

bool IsBlank(mxml_node_t *node)
{
    const char *const text = IsText(node) ? mxmlGetOpaque(node) : nullptr;
    return text != nullptr && text[std::strspn(text, " \t\r\n")] == '\0';
}

// White space around elements is layout, and means nothing.
mxml_node_t *SkipBlank(mxml_node_t *node, mxml_node_t *root)
{
    while (node != nullptr && IsBlank(node)) {
        node = mxmlWalkNext(node, root, MXML_DESCEND);
    }
    return node;
}

mxml_node_t *Next(mxml_node_t *node, mxml_node_t *root)
{
    return SkipBlank(mxmlWalkNext(node, root, MXML_DESCEND), root);
}

bool SameAttributes(mxml_node_t *one, mxml_node_t *other)
{
    const int count = mxmlElementGetAttrCount(one);
    if (count != mxmlElementGetAttrCount(other)) {
        return false;
    }
    for (int i = 0; i < count; ++i) {
        const char *name = nullptr;
        const char *otherName = nullptr;
        const std::string value = mxmlElementGetAttrByIndex(one, i, &name);
        if (value != mxmlElementGetAttrByIndex(other, i, &otherName) || std::strcmp(name, otherName) != 0) {
            return false;
        }
    }
    return true;
}

std::string Describe(mxml_node_t *node)
{
    const std::string name = NameOf(node);
    if (name.compare(0, 3, "!--") == 0) {
        return "a comment";
    }
    return IsMarkup(node) ? "a CDATA section, a declaration or a processing instruction" : Quoted(name);
}

// The saved document beside the one it was made of.
class Comparison {
public:
    Comparison(const ConfigDocument &document, FindingList &findings)
        : original(document.Root()), report(document, findings)
    {
    }

    void Run(mxml_node_t *saved)
    {
        mxml_node_t *before = SkipBlank(original, original);
        mxml_node_t *after = SkipBlank(saved, saved);
        while (before != nullptr && after != nullptr && SameShape(before, after)) {
            Compare(before, after);
            before = Next(before, original);
            after = Next(after, saved);
        }
        if (before != nullptr || after != nullptr) {
            report.Complain(before == nullptr ? original : before, "save-changes-structure",
                            "a save would not write the elements from here on as they are");
        }
    }

private:
    bool SameShape(mxml_node_t *before, mxml_node_t *after) const
    {
        const bool bothEnd = mxmlGetParent(before) == nullptr || mxmlGetParent(after) == nullptr;
        const bool sameParents = bothEnd || IsMarkup(mxmlGetParent(before)) ||
                                 NameOf(mxmlGetParent(before)) == NameOf(mxmlGetParent(after));
        const bool sameKind = IsText(before) == IsText(after) && IsMarkup(before) == IsMarkup(after);
        return sameParents && sameKind && (IsMarkup(before) || NameOf(before) == NameOf(after));
    }

    void Compare(mxml_node_t *before, mxml_node_t *after)
    {
        if (IsText(before)) {
            CompareTexts(before, after);
        } else if (IsMarkup(before) ? NameOf(before) != NameOf(after) : !SameAttributes(before, after)) {
            report.Warn(before, "save-changes-markup", "a save would change " + Describe(before));
        }
    }

    void CompareTexts(mxml_node_t *before, mxml_node_t *after)
    {
        const std::string text = mxmlGetOpaque(before);
        const std::string savedText = mxmlGetOpaque(after);
        mxml_node_t *const element = mxmlGetParent(before);
        if (text == savedText) {
            return;
        }
        if (element == nullptr || IsMarkup(element)) {
            report.Warn(element, "save-changes-text", "a save would change a text that is in no element");
        } else if (savedText.size() < text.size() && XmlRmSpace(text) == XmlRmSpace(savedText)) {
            report.Warn(element, "save-drops-space", "a save would drop white space from the text of " +
                                                         Describe(element));
        } else {
            report.Warn(element, "save-changes-text", "a save would change the text of " + Describe(element));
        }
    }

    mxml_node_t *original;
    DocumentReport report;
};

}  // namespace

void AddSaveLoss(const ConfigDocument &document, FindingList &findings)
{
    const std::optional<std::string> text = SavedText(document.Root());
    if (!text) {
        findings.Warn({1, 1}, "save-truncates",
                      fmt::format("a save would cut this document: it keeps {} bytes of it", kMaxRenderedBytes));
        return;
    }
    const ConfigDocument saved(*text);
    if (saved.Root() == nullptr) {
        findings.Warn({1, 1}, "save-breaks", "a save would write a file that start-up cannot read again");
        return;
    }
    Comparison(document, findings).Run(saved.Root());
}

std::vector<Finding> FindSaveLoss(const std::string &path)
{
    FindingList findings;
    if (const std::optional<std::string> bytes = ReadConfigBytes(path, findings)) {
        const SourceText source(*bytes);
        ConfigDocument document(*bytes);
        if (document.Root() == nullptr) {
            findings.Refuse({1, 1}, "no-document", "there is no document that could be saved");
        } else {
            document.Locate(source, ParseStrictly(source).offsets);
            AddSaveLoss(document, findings);
        }
    }
    std::vector<Finding> found = findings.Take();
    for (Finding &finding : found) {
        finding.path = path;
    }
    return found;
}

}  // namespace zef
