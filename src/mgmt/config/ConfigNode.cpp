#include "ConfigNode.h"

#include <algorithm>
#include <functional>
#include <new>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char *kTypeAttribute = "type";
constexpr const char *kStringType = "string";
constexpr const char *kBoolType = "bool";
constexpr const char *kIntType = "int";

std::string LowerCase(const char *text)
{
    std::string lower = text;
    for (char &character : lower) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return lower;
}

// Names are short, and most differ at once: calls that measure and compare them would take longer.
bool IsEqual(const char *name, const std::string &wanted)
{
    size_t i = 0;
    while (i < wanted.size() && name[i] == wanted[i] && name[i] != '\0') {
        ++i;
    }
    return i == wanted.size() && name[i] == '\0';
}

// Mini-XML does without what it gets no memory for, mostly without a word. Callers get an exception, as from the
// standard library, and never a document that lacks what they set.
void Require(bool isThere)
{
    if (!isThere) {
        throw std::bad_alloc();
    }
}

void SetNodeText(mxml_node_t *element, const char *text)
{
    if (element == nullptr) {
        return;
    }
    if (mxmlGetOpaque(element) != nullptr) {
        Require(mxmlSetOpaque(element, text) == 0);
        return;
    }
    mxml_node_t *const child = mxmlNewOpaque(element, text);
    if (child != nullptr && mxmlGetOpaque(child) == nullptr) {
        mxmlDelete(child);
        throw std::bad_alloc();
    }
    Require(child != nullptr);
}

void SetNodeAttr(mxml_node_t *element, const char *name, const char *value)
{
    mxmlElementSetAttr(element, name, value);
    if (element != nullptr && mxmlGetType(element) == MXML_ELEMENT) {
        const char *const found = mxmlElementGetAttr(element, name);
        Require(found != nullptr && std::strcmp(found, value) == 0);
    }
}

mxml_node_t *NewElement(mxml_node_t *parent, const char *name)
{
    mxml_node_t *const element = mxmlNewElement(parent, name);
    if (element != nullptr && mxmlGetElement(element) == nullptr) {
        mxmlDelete(element);
        throw std::bad_alloc();
    }
    Require(element != nullptr);
    return element;
}

// The element's text, or null when it has none or its "type" is present and another one.
const char *TextOfType(mxml_node_t *element, const char *type)
{
    const char *const elementType = mxmlElementGetAttr(element, kTypeAttribute);
    if (elementType != nullptr && std::string(elementType) != type) {
        return nullptr;
    }
    return mxmlGetOpaque(element);
}

void SetTyped(mxml_node_t *element, const char *type, const char *text)
{
    SetNodeAttr(element, kTypeAttribute, type);
    SetNodeText(element, text);
}

}  // namespace

ConfigNode::ConfigNode(mxml_node_t *element) : elements(1, element) {}

void ConfigNode::AddNode(mxml_node_t *element)
{
    elements.push_back(element);
}

int ConfigNode::Size() const
{
    return static_cast<int>(elements.size());
}

ConfigNode ConfigNode::operator[](int i) const
{
    if (i < 0 || i >= Size()) {
        return ConfigNode();
    }
    return ConfigNode(elements[static_cast<size_t>(i)]);
}

ConfigNode ConfigNode::Get(const std::string &name) const
{
    constexpr size_t kUsualMatches = 16;  // more than most lookups find: one allocation
    ConfigNode found;
    mxml_node_t *const element = Element();
    for (mxml_node_t *child = mxmlGetFirstChild(element); child != nullptr;
         child = mxmlWalkNext(child, element, MXML_NO_DESCEND)) {
        const char *const childName = mxmlGetElement(child);
        if (childName != nullptr && IsEqual(childName, name)) {
            if (found.elements.empty()) {
                found.elements.reserve(kUsualMatches);
            }
            found.AddNode(child);
        }
    }
    // Callers take the element with the lowest address first; a document that was just loaded is mostly in order.
    if (!std::is_sorted(found.elements.begin(), found.elements.end(), std::less<>())) {
        std::sort(found.elements.begin(), found.elements.end(), std::less<>());
    }
    return found;
}

ConfigNode ConfigNode::WithAttr(const std::string &attribute, const std::string &value) const
{
    ConfigNode found;
    for (mxml_node_t *element : elements) {
        const char *const elementValue = mxmlElementGetAttr(element, attribute.c_str());
        if (elementValue != nullptr && value == elementValue) {
            found.AddNode(element);
        }
    }
    return found;
}

ConfigNode ConfigNode::Create(const std::string &name)
{
    if (elements.empty()) {
        return ConfigNode();
    }
    ConfigNode created(nullptr);  // an element that nobody can be told of must not be there
    created.elements.front() = NewElement(Element(), name.c_str());
    return created;
}

void ConfigNode::Delete()
{
    if (elements.empty()) {
        return;
    }
    MymxmlDelete(Element());
    elements.erase(elements.begin());
}

std::string ConfigNode::GetAttr(const std::string &name) const
{
    const char *const value = mxmlElementGetAttr(Element(), name.c_str());
    return value == nullptr ? "" : value;
}

void ConfigNode::SetAttr(const std::string &name, const std::string &value)
{
    SetNodeAttr(Element(), name.c_str(), value.c_str());
}

std::string ConfigNode::GetString() const
{
    const char *const text = mxmlGetOpaque(Element());
    return text == nullptr ? "" : text;
}

bool ConfigNode::GetBool() const
{
    const char *const text = mxmlGetOpaque(Element());
    return text != nullptr && LowerCase(text) == "true";
}

int ConfigNode::GetInt() const
{
    const char *const text = mxmlGetOpaque(Element());
    return text == nullptr ? 0 : std::stoi(text);
}

int ConfigNode::GetString(std::string &out) const
{
    const char *const text = TextOfType(Element(), kStringType);
    if (text == nullptr) {
        return -1;
    }
    out = text;
    return 0;
}

int ConfigNode::GetBool(bool &out) const
{
    const char *const text = TextOfType(Element(), kBoolType);
    if (text == nullptr) {
        return -1;
    }
    const std::string lower = LowerCase(text);
    if (lower != "true" && lower != "false") {
        return -1;
    }
    out = lower == "true";
    return 0;
}

int ConfigNode::GetInt(int &out) const
{
    const char *const text = TextOfType(Element(), kIntType);
    if (text == nullptr) {
        return -1;
    }
    // Deliberately unchecked: whatever strtol makes of the text is the value.
    out = static_cast<int>(std::strtol(text, nullptr, 10));
    return 0;
}

void ConfigNode::SetString(const std::string &value)
{
    SetTyped(Element(), kStringType, value.c_str());
}

void ConfigNode::SetBool(bool value)
{
    SetTyped(Element(), kBoolType, value ? "true" : "false");
}

void ConfigNode::SetInt(int value)
{
    char text[16];
    (void)std::snprintf(text, sizeof text, "%d", value);
    SetTyped(Element(), kIntType, text);
}

void MymxmlDelete(mxml_node_t *element)
{
    mxml_node_t *node = element;
    while (node != nullptr) {
        if (mxml_node_t *const child = mxmlGetFirstChild(node)) {
            node = child;
            continue;
        }
        mxml_node_t *const parent = node == element ? nullptr : mxmlGetParent(node);
        mxmlDelete(node);
        node = parent;
    }
}
