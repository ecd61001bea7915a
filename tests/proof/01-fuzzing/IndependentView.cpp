#include "IndependentView.h"

#include "LiveBlocks.h"
#include "PlantedDefect.h"
#include "SavedLayout.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string_view>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <stdio_ext.h>
#include <strings.h>

namespace {

constexpr int kRenderBufferBytes = 32768;
constexpr const char *kMark = "proof-mark";

using Elements = std::vector<mxml_node_t *>;
using Nodes = std::vector<ConfigNode>;

bool complained = false;

void NoteComplaint(const char *)
{
    complained = true;
}

mxml_node_t *Load(const std::string &bytes)
{
    if (bytes.empty()) {
        return nullptr;
    }
    FILE *const stream = fmemopen(const_cast<char *>(bytes.data()), bytes.size(), "r");
    Require(stream != nullptr, "no stream");
    __fsetlocking(stream, FSETLOCKING_BYCALLER);
    complained = false;
    mxmlSetErrorCallback(NoteComplaint);
    mxml_node_t *const tree = mxmlLoadFile(nullptr, stream, mxml_opaque_cb);
    mxmlSetErrorCallback(nullptr);
    std::fclose(stream);
    if (complained) {
        mxmlDelete(tree);
        return nullptr;
    }
    return tree;
}

bool IsText(mxml_node_t *node)
{
    return mxmlGetType(node) == MXML_OPAQUE;
}

const char *TextOf(mxml_node_t *element)
{
    mxml_node_t *const first = mxmlGetFirstChild(element);
    return first != nullptr && IsText(first) ? mxmlGetOpaque(first) : nullptr;
}

Elements Children(mxml_node_t *parent)
{
    Elements children;
    for (mxml_node_t *child = mxmlGetFirstChild(parent); child != nullptr; child = mxmlGetNextSibling(child)) {
        if (mxmlGetType(child) == MXML_ELEMENT) {
            children.push_back(child);
        }
    }
    return children;
}

Elements Named(const Elements &elements, const char *name)
{
    Elements named;
    for (mxml_node_t *element : elements) {
        if (std::strcmp(mxmlGetElement(element), name) == 0) {
            named.push_back(element);
        }
    }
    return named;
}

// The value of an attribute as it stands in the list of all; the first where there are several.
const char *Attribute(mxml_node_t *element, const char *wanted)
{
    for (int i = 0; i < mxmlElementGetAttrCount(element); ++i) {
        const char *name = nullptr;
        const char *const value = mxmlElementGetAttrByIndex(element, i, &name);
        if (name != nullptr && std::strcmp(name, wanted) == 0) {
            return value;
        }
    }
    return nullptr;
}

std::set<std::string> AttributeNames(const Elements &elements)
{
    std::set<std::string> names = {"type"};
    for (mxml_node_t *element : elements) {
        for (int i = 0; i < mxmlElementGetAttrCount(element); ++i) {
            const char *name = nullptr;
            (void)mxmlElementGetAttrByIndex(element, i, &name);
            names.insert(name == nullptr ? "" : name);
        }
    }
    return names;
}

std::string OrEmpty(const char *text)
{
    return text == nullptr ? "" : text;
}

// Layout between elements changes with a save; a value loses its white space.
std::string Value(const std::string &text, bool saved)
{
    return saved ? WithoutWhiteSpace(text) : text;
}

std::string Description(mxml_node_t *element, const std::set<std::string> &attributes, bool saved)
{
    std::string description = Value(OrEmpty(TextOf(element)), saved);
    for (const std::string &name : attributes) {
        description += '\0' + OrEmpty(Attribute(element, name.c_str()));
    }
    return description;
}

std::string Description(const ConfigNode &node, const std::set<std::string> &attributes, bool saved)
{
    std::string description = Value(node.GetString(), saved);
    for (const std::string &name : attributes) {
        description += '\0' + node.GetAttr(name);
    }
    return description;
}

// A whole number as its digits say, as far as 128 bits go; further digits change nothing any more.
struct Number {
    bool hasDigits = false;
    __int128 value = 0;
};

Number ReadNumber(const char *text)
{
    constexpr __int128 kFar = static_cast<__int128>(1) << 100;
    text += std::strspn(text, " \t\n\v\f\r");
    const bool isNegative = *text == '-';
    text += *text == '-' || *text == '+' ? 1 : 0;
    Number number;
    for (; *text >= '0' && *text <= '9'; ++text) {
        number.hasDigits = true;
        number.value = std::min(number.value * 10 + (*text - '0'), kFar);
    }
    number.value = isNegative ? -number.value : number.value;
    return number;
}

bool EqualsIgnoringCase(const char *text, const char *word)
{
    return std::strlen(text) == std::strlen(word) && strcasecmp(text, word) == 0;
}

void RequireUntypedInteger(const ConfigNode &node, const char *text)
{
    const Number number = ReadNumber(text == nullptr ? "0" : text);
    const bool fits = number.value >= INT32_MIN && number.value <= INT32_MAX;
    try {
        const int value = node.GetInt();
        Require(number.hasDigits && fits && value == static_cast<int>(number.value), "GetInt() gives another number");
    } catch (const std::invalid_argument &error) {
        Require(!number.hasDigits && std::strcmp(error.what(), "stoi") == 0, "GetInt() finds no digits");
    } catch (const std::out_of_range &error) {
        Require(number.hasDigits && !fits && std::strcmp(error.what(), "stoi") == 0, "GetInt() is out of range");
    }
}

void RequireTyped(const ConfigNode &node, const char *text, const char *type)
{
    const auto mayBe = [text, type](const char *wanted) {
        return text != nullptr && (type == nullptr || std::strcmp(type, wanted) == 0);
    };
    std::string string = "unchanged";
    const bool isString = mayBe("string");
    Require(node.GetString(string) == (isString ? 0 : -1), "GetString(out) succeeds or fails wrongly");
    Require(string == (isString ? text : "unchanged"), "GetString(out) gives another text");

    int integer = 4711;
    const bool isInteger = mayBe("int");
    const __int128 clamped =
        std::clamp<__int128>(ReadNumber(isInteger ? text : "4711").value, INT64_MIN, INT64_MAX);
    Require(node.GetInt(integer) == (isInteger ? 0 : -1), "GetInt(out) succeeds or fails wrongly");
    Require(integer == static_cast<int>(static_cast<uint32_t>(static_cast<int64_t>(clamped))),
            "GetInt(out) gives another number");

    bool boolean = false;
    const bool isTrue = mayBe("bool") && EqualsIgnoringCase(text, "true");
    const bool isFalse = mayBe("bool") && EqualsIgnoringCase(text, "false");
    Require(node.GetBool(boolean) == (isTrue || isFalse ? 0 : -1), "GetBool(out) succeeds or fails wrongly");
    Require(boolean == isTrue, "GetBool(out) gives another value");
    Require(node.GetBool() == (text != nullptr && EqualsIgnoringCase(text, "true")), "GetBool() gives another value");
}

void RequireSameElement(const ConfigNode &node, mxml_node_t *element, bool saved)
{
    const char *const text = TextOf(element);
    Require(Value(node.GetString(), saved) == Value(OrEmpty(text), saved), saved ? "saved values differ" : "texts differ");
    for (int i = 0; i < mxmlElementGetAttrCount(element); ++i) {
        const char *name = nullptr;
        (void)mxmlElementGetAttrByIndex(element, i, &name);
        Require(node.GetAttr(name) == OrEmpty(Attribute(element, name)), "attributes differ");
    }
    const char *const type = Attribute(element, "type");
    Require(node.GetAttr("type") == OrEmpty(type), "types differ");
    if (!saved) {
        RequireTyped(node, text, type);
        RequireUntypedInteger(node, text);
    }
}

// Elements of one path: what is said of them, without their order, which two documents do not share.
void RequireSameBag(const Nodes &nodes, const Elements &elements, bool saved)
{
    Require(nodes.size() == elements.size(), "another number of elements is found");
    if (nodes.size() == 1) {
        RequireSameElement(nodes.front(), elements.front(), saved);
        return;
    }
    const std::set<std::string> attributes = AttributeNames(elements);
    std::multiset<std::string> expected;
    std::multiset<std::string> found;
    for (mxml_node_t *element : elements) {
        expected.insert(Description(element, attributes, saved));
    }
    for (const ConfigNode &node : nodes) {
        found.insert(Description(node, attributes, saved));
    }
    Require(expected == found, saved ? "saved values differ" : "texts or attributes differ");
}

void RequireSameBelow(const Nodes &nodes, const Elements &elements, bool saved)
{
    RequireSameBag(nodes, elements, saved);
    Elements children;
    for (mxml_node_t *element : elements) {
        const Elements own = Children(element);
        children.insert(children.end(), own.begin(), own.end());
    }
    std::vector<std::string_view> names;
    for (mxml_node_t *child : children) {
        names.emplace_back(mxmlGetElement(child));
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    for (const std::string_view known : names) {
        const std::string name(known);
        Nodes found;
        for (const ConfigNode &node : nodes) {
            const ConfigNode list = node.Get(name);
            for (int i = 0; i < list.Size(); ++i) {
                found.push_back(list[i]);
            }
        }
        if (IsPlanted("lookup") && found.size() > 1) {
            found.pop_back();
        }
        RequireSameBelow(found, Named(children, name.c_str()), saved);
    }
}

bool IsBlank(const char *text)
{
    return text[std::strspn(text, " \t\n")] == '\0';
}

// Refused by XML, and by Mini-XML when it reads a file.
bool HasForbiddenCharacters(const std::string &text)
{
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < ' ' && byte != '\t' && byte != '\n' && byte != '\r') {
            return true;
        }
        // Beyond Unicode, surrogates, and the byte order mark, which is skipped wherever it stands.
        if (byte >= 0xf4 || text.compare(i, 3, "\xef\xbb\xbf") == 0 ||
            (byte == 0xed && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0xa0)) {
            return true;
        }
    }
    return false;
}

bool IsPlainText(mxml_node_t *text)
{
    const char *const value = mxmlGetOpaque(text);
    const bool isAlone = mxmlGetPrevSibling(text) == nullptr && mxmlGetNextSibling(text) == nullptr;
    return IsBlank(value) || (isAlone && !HasForbiddenCharacters(value));
}

bool IsPlainElement(mxml_node_t *element)
{
    const std::string name = mxmlGetElement(element);
    if (name.empty() || name[0] == '!' || name[0] == '?' || HasForbiddenCharacters(name) ||
        name.find_first_of("\"'<>&=") != std::string::npos) {
        return false;
    }
    std::set<std::string> seen;
    for (int i = 0; i < mxmlElementGetAttrCount(element); ++i) {
        const char *attribute = nullptr;
        const char *const value = mxmlElementGetAttrByIndex(element, i, &attribute);
        const std::string attributeName = OrEmpty(attribute);
        if (value == nullptr || HasForbiddenCharacters(value) || HasForbiddenCharacters(attributeName) ||
            attributeName.empty() || attributeName.find_first_of("\"'<>&=/") != std::string::npos ||
            !seen.insert(attributeName).second) {
            return false;
        }
    }
    return true;
}

bool IsDeclaration(mxml_node_t *node)
{
    const std::string name = OrEmpty(mxmlGetElement(node));
    return name.compare(0, 5, "?xml ") == 0 && name.find_first_of("<>") == std::string::npos;
}

}  // namespace

void Require(bool holds, const char *what)
{
    if (!holds) {
        std::fprintf(stderr, "PROPERTY: %s\n", what);
        std::abort();
    }
}

IndependentView::IndependentView(const std::string &bytes)
    : blocksBefore(LiveBlocks()), root(Load(bytes)), lostBlocks(root == nullptr ? LiveBlocks() - blocksBefore : 0)
{
}

IndependentView::~IndependentView()
{
    mxmlDelete(root);
}

std::string IndependentView::Rendered() const
{
    static std::vector<char> buffer(kRenderBufferBytes);
    mxmlSetWrapMargin(0);
    mxmlSaveString(root, buffer.data(), kRenderBufferBytes, MXML_NO_CALLBACK);
    return buffer.data();
}

bool IndependentView::IsKeptBySave() const
{
    if (!IsDeclaration(root) || mxmlSaveString(root, nullptr, 0, MXML_NO_CALLBACK) >= kRenderBufferBytes) {
        return false;
    }
    for (mxml_node_t *node = mxmlWalkNext(root, root, MXML_DESCEND); node != nullptr;
         node = mxmlWalkNext(node, root, MXML_DESCEND)) {
        const bool isOutside = mxmlGetParent(node) == root && IsText(node);
        const bool isElement = mxmlGetType(node) == MXML_ELEMENT;
        const bool isPlain = IsText(node) ? IsPlainText(node) : isElement && IsPlainElement(node);
        if (!isPlain || (isOutside && !IsBlank(mxmlGetOpaque(node)))) {
            return false;
        }
    }
    return true;
}

void IndependentView::RequireSame(const ConfigNode &node, bool saved) const
{
    RequireSameBelow({node}, {root}, saved);
    Require(node.Get("no element has this name").Size() == 0, "an element is found that is not there");
}

void IndependentView::RequireOrderAndLists()
{
    const ConfigNode top(root);
    Elements children = Children(root);
    if (!children.empty() && !Children(children.front()).empty()) {
        children = Children(children.front());
    }
    if (children.empty()) {
        return;
    }
    mxml_node_t *const parent = mxmlGetParent(children.front());
    const std::string name = mxmlGetElement(children.back());
    Elements expected = Named(children, name.c_str());
    std::sort(expected.begin(), expected.end());
    for (size_t i = 0; i < expected.size(); ++i) {
        mxmlElementSetAttr(expected[i], kMark, std::to_string(i).c_str());
    }
    ConfigNode list = ConfigNode(parent).Get(name);
    const int size = static_cast<int>(expected.size());
    Require(list.Size() == size, "a lookup finds another number of elements");
    for (int i = 0; i < size; ++i) {
        Require(list[i].GetAttr(kMark) == std::to_string(i), "a lookup does not come in the order of the addresses");
        Require(list.WithAttr(kMark, std::to_string(i)).Size() == 1, "WithAttr does not find one element");
    }
    Require(list[-1].Size() == 0 && list[size].Size() == 0, "an index out of range finds something");
    list.Delete();
    Require(list.Size() == size - 1, "Delete keeps the element in the list");
    Require(ConfigNode(parent).Get(name).Size() == size - 1, "Delete keeps the element in the document");
    Require(size == 1 || list.GetAttr(kMark) == "1", "Delete does not go on to the next element");
}
