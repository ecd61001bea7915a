#include "check/DocumentRules.h"

#include "check/ElementNames.h"

namespace zef {

namespace {

constexpr const char *kTop = "Config";
constexpr const char *kDeclaration = "<?xml version=\"1.0\"?>";

bool IsDeclaration(mxml_node_t *node)
{
    return NameOf(node).compare(0, 4, "?xml") == 0;
}

void ReportMissingTop(mxml_node_t *root, DocumentReport &report)
{
    const std::vector<mxml_node_t *> tops = ChildElements(root);
    if (tops.empty() && IsMarkup(root)) {
        report.Refuse(root, "config-missing", "there is no top element Config under the XML declaration");
        return;
    }
    // Without a declaration that is the first node itself.
    mxml_node_t *const top = IsMarkup(root) ? tops.front() : root;
    const std::string name = NameOf(top);
    report.Refuse(top, "config-missing",
                  "the top element is " + Quoted(name) + ", not Config" + HintFor(name, ""));
}

// Start-up takes the Config within this one, because the first node is not a declaration.
void ReportNestedTop(mxml_node_t *root, DocumentReport &report)
{
    report.Complain(root, "config-nested",
                    "there is no XML declaration, and so start-up takes the Config within " + Quoted(NameOf(root)) +
                        "; write " + kDeclaration + " into the first line, and Config under it");
}

}  // namespace

// Start-up looks among the children of the first node, which the XML declaration is when there is one.
std::vector<mxml_node_t *> CheckTop(mxml_node_t *root, DocumentReport &report)
{
    std::vector<mxml_node_t *> found = ChildElements(root, kTop);
    if (found.empty() && NameOf(root) == kTop) {
        report.Refuse(root, "declaration-missing",
                      std::string("there is no XML declaration in front of Config, and so start-up does not find "
                                  "Config; write ") +
                          kDeclaration + " into the first line");
        return {root};
    }
    if (found.empty()) {
        ReportMissingTop(root, report);
    } else if (!IsMarkup(root)) {
        ReportNestedTop(root, report);
    } else if (!IsDeclaration(root)) {
        report.Complain(root, "declaration-missing",
                        std::string("the file does not begin with an XML declaration; write ") + kDeclaration +
                            " into the first line");
    }
    return found;
}

}  // namespace zef
