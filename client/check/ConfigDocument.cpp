#include "check/ConfigDocument.h"

#include <zef_config/ConfigNode.h>

#include <memory>
#include <unordered_map>

#include <cstdint>
#include <cstdio>

#include <stdio_ext.h>

namespace zef {

namespace {

struct FileCloser {
    void operator()(FILE *file) const { (void)std::fclose(file); }
};

thread_local bool parseFailed = false;

void NoteParseError(const char *)
{
    parseFailed = true;
}

// Mini-XML reads streams and texts by different rules, so the bytes are given as a stream, as they are to the library.
mxml_node_t *Load(const std::string &bytes)
{
    if (bytes.empty()) {
        return nullptr;
    }
    const std::unique_ptr<FILE, FileCloser> stream(fmemopen(const_cast<char *>(bytes.data()), bytes.size(), "r"));
    if (stream == nullptr) {
        throw std::bad_alloc();
    }
    __fsetlocking(stream.get(), FSETLOCKING_BYCALLER);
    parseFailed = false;
    mxmlSetErrorCallback(NoteParseError);
    mxml_node_t *const tree = mxmlLoadFile(MXML_NO_PARENT, stream.get(), mxml_opaque_cb);
    mxmlSetErrorCallback(nullptr);
    if (parseFailed) {
        MymxmlDelete(tree);
        return nullptr;
    }
    return tree;
}

// Gives the places of elements that are asked for in the order of the document.
class OffsetFinder {
public:
    OffsetFinder(const std::string &sourceText, const ElementOffsets &knownOffsets)
        : text(sourceText), offsets(knownOffsets)
    {
    }

    // The offset of the next element of this name; npos when it cannot be told.
    size_t Next(const std::string &name)
    {
        const auto known = offsets.find(name);
        const size_t index = known == offsets.end() ? 0 : seen[name]++;
        if (known != offsets.end() && index < known->second.size()) {
            last = known->second[index];
            return last;
        }
        return Search(name);
    }

private:
    // Comments are not among the known, nor what strict XML does not get to: read on in the text.
    size_t Search(const std::string &name)
    {
        const size_t found = lost ? std::string::npos : text.find("<" + name, last + 1);
        const bool atStart = last == 0 && text.compare(0, name.size() + 1, "<" + name) == 0;
        lost = found == std::string::npos && !atStart;  // looked through to the end: never again, for many elements
        last = atStart || lost ? last : found;
        return atStart ? 0 : found;
    }

    const std::string &text;
    const ElementOffsets &offsets;
    std::unordered_map<std::string, size_t> seen;
    size_t last = 0;
    bool lost = false;
};

// Kept with the node itself, one more than the offset: null stands for "not known".
void SetOffset(mxml_node_t *element, uint32_t offset)
{
    mxmlSetUserData(element, reinterpret_cast<void *>(static_cast<uintptr_t>(offset) + 1));
}

}  // namespace

ConfigDocument::ConfigDocument(const std::string &bytes) : root(Load(bytes)) {}

ConfigDocument::~ConfigDocument()
{
    MymxmlDelete(root);
}

void ConfigDocument::Locate(const SourceText &text, const ElementOffsets &offsets)
{
    source = &text;
    OffsetFinder finder(text.Text(), offsets);
    for (mxml_node_t *node = root; node != nullptr; node = mxmlWalkNext(node, root, MXML_DESCEND)) {
        const char *const name = mxmlGetElement(node);
        const size_t offset = name == nullptr ? std::string::npos : finder.Next(name);
        if (offset != std::string::npos) {
            SetOffset(node, static_cast<uint32_t>(offset));
        }
    }
}

Position ConfigDocument::At(mxml_node_t *element) const
{
    for (mxml_node_t *node = element; node != nullptr && source != nullptr; node = mxmlGetParent(node)) {
        const auto offset = reinterpret_cast<uintptr_t>(mxmlGetUserData(node));
        if (offset != 0) {
            return source->At(offset - 1);
        }
    }
    return {1, 1};
}

bool IsMarkup(mxml_node_t *node)
{
    const char *const name = mxmlGetElement(node);
    return name != nullptr && (*name == '!' || *name == '?');
}

std::vector<mxml_node_t *> ChildElements(mxml_node_t *parent, const std::string &name)
{
    std::vector<mxml_node_t *> children;
    for (mxml_node_t *child = mxmlGetFirstChild(parent); child != nullptr; child = mxmlGetNextSibling(child)) {
        const char *const childName = mxmlGetElement(child);
        if (childName != nullptr && !IsMarkup(child) && (name.empty() || name == childName)) {
            children.push_back(child);
        }
    }
    return children;
}

std::string NameOf(mxml_node_t *node)
{
    const char *const name = mxmlGetElement(node);
    return name == nullptr ? "" : name;
}

std::string TextOf(mxml_node_t *element)
{
    return ConfigNode(element).GetString();
}

}  // namespace zef
