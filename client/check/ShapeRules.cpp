#include "check/ShapeRules.h"

#include "check/ElementNames.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include <cstring>

namespace zef {

namespace {

constexpr const char *kStorageObject = "StorageObject";
constexpr const char *kPassword = "Password";

bool IsKnown(const std::string &name, const std::string &parent)
{
    const std::vector<std::string> &names = KnownChildren(parent);
    return std::find(names.begin(), names.end(), name) != names.end();
}

void CheckNames(mxml_node_t *parent, const std::string &parentName, DocumentReport &report)
{
    std::map<std::string, size_t> seen;
    for (mxml_node_t *child : ChildElements(parent)) {
        const std::string name = NameOf(child);
        if (!IsKnown(name, parentName)) {
            report.Warn(child, "unknown-element",
                        "element " + Quoted(name) + " is not known and not read" + HintFor(name, parentName));
            continue;
        }
        // More than one storage object is a matter of the limit.
        if (++seen[name] > 1 && !IsRepeated(name) && name != kStorageObject) {
            report.Complain(child, "duplicate-element",
                            name + " stands here again; start-up reads one of them, and which one is not defined");
        }
    }
}

void CheckStrayText(mxml_node_t *parent, DocumentReport &report)
{
    for (mxml_node_t *child = mxmlGetFirstChild(parent); child != nullptr; child = mxmlGetNextSibling(child)) {
        const char *const text = mxmlGetOpaque(child);
        const bool isText = mxmlGetType(child) == MXML_OPAQUE && text != nullptr;
        if (isText && text[std::strspn(text, " \t\r\n")] != '\0') {
            report.Warn(parent, "stray-text", NameOf(parent) + " has a text between its elements that nothing reads");
            return;
        }
    }
}

// What editors need to find a schema is nobody else's business.
bool IsForEditors(const std::string &attribute)
{
    return attribute.compare(0, 6, "xmlns:") == 0 || attribute.compare(0, 4, "xsi:") == 0;
}

// `typed` elements have a value, and so may have a type.
void CheckAttributes(mxml_node_t *element, bool typed, DocumentReport &report)
{
    const int count = mxmlElementGetAttrCount(element);
    for (int i = 0; i < count; ++i) {
        const char *name = nullptr;
        (void)mxmlElementGetAttrByIndex(element, i, &name);
        const std::string attribute = name == nullptr ? "" : name;
        if (IsForEditors(attribute) || (typed && attribute == "type")) {
            continue;
        }
        const std::string shown = NameOf(element) == kPassword ? "an attribute" : "attribute " + Quoted(attribute);
        report.Warn(element, "unknown-attribute", NameOf(element) + " has " + shown + " that nothing reads");
    }
}

void CheckUnreadType(mxml_node_t *element, DocumentReport &report)
{
    const char *const type = mxmlElementGetAttr(element, "type");
    if (type != nullptr && std::strcmp(type, "string") != 0) {
        const std::string shown = NameOf(element) == kPassword ? "another type" : "the type " + Quoted(type);
        report.Warn(element, "wrong-type",
                    NameOf(element) + " has " + shown + ", which is not looked at; write \"string\"");
    }
}

// What stands within a password is not shown.
void CheckValue(mxml_node_t *element, DocumentReport &report)
{
    CheckAttributes(element, true, report);
    if (!ChildElements(element).empty()) {
        report.Warn(element, "nested-element", NameOf(element) + " has elements within its value that nothing reads");
    }
}

void CheckStorageShape(mxml_node_t *storage, DocumentReport &report)
{
    CheckAttributes(storage, false, report);
    CheckNames(storage, kStorageObject, report);
    CheckStrayText(storage, report);
    for (mxml_node_t *element : ChildElements(storage)) {
        if (IsKnown(NameOf(element), kStorageObject)) {
            CheckValue(element, report);
            CheckUnreadType(element, report);
        }
    }
}

}  // namespace

void CheckShapeOfTop(mxml_node_t *root, DocumentReport &report)
{
    if (IsMarkup(root)) {
        CheckNames(root, "", report);
    }
}

void CheckShape(mxml_node_t *config, DocumentReport &report)
{
    CheckAttributes(config, false, report);
    CheckNames(config, "Config", report);
    CheckStrayText(config, report);
    for (mxml_node_t *element : ChildElements(config)) {
        const std::string name = NameOf(element);
        if (name == kStorageObject) {
            CheckStorageShape(element, report);
        } else if (IsKnown(name, "Config")) {
            CheckValue(element, report);
        }
    }
}

}  // namespace zef
