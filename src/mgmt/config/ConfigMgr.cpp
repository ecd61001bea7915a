#include "ConfigMgr.h"

#include <memory>
#include <new>

#include <cerrno>
#include <cstdio>

#include <stdio_ext.h>

namespace {

struct FileCloser {
    void operator()(FILE *file) const { (void)std::fclose(file); }
};

// Mini-XML keeps one error callback per thread and passes it nothing but the text.
thread_local bool parseFailed = false;

void NoteParseError(const char *)
{
    parseFailed = true;
}

// Mini-XML does not look whether it got memory for the names and texts that it copies.
bool LacksName(mxml_node_t *node)
{
    return mxmlGetType(node) == MXML_ELEMENT && mxmlGetElement(node) == nullptr;
}

bool HasNamesAndTexts(mxml_node_t *tree)
{
    for (mxml_node_t *node = tree; node != nullptr; node = mxmlWalkNext(node, tree, MXML_DESCEND)) {
        if (LacksName(node) || (mxmlGetType(node) == MXML_OPAQUE && mxmlGetOpaque(node) == nullptr)) {
            return false;
        }
    }
    return true;
}

// The texts of all elements are opaque. Asked for each element before its content is read: one that got no name is
// given another, since Mini-XML compares it with that of the closing tag, which then ends the loading.
mxml_type_t OpaqueTexts(mxml_node_t *element)
{
    if (LacksName(element)) {
        (void)mxmlSetElement(element, "-");
        parseFailed = true;
    }
    return mxml_opaque_cb(element);
}

// Mini-XML may hand back a tree although it complained, with content dropped; such a tree is not trusted.
mxml_node_t *LoadDocument(FILE *file)
{
    parseFailed = false;
    mxmlSetErrorCallback(NoteParseError);
    mxml_node_t *const tree = mxmlLoadFile(MXML_NO_PARENT, file, OpaqueTexts);
    mxmlSetErrorCallback(nullptr);
    if (parseFailed || !HasNamesAndTexts(tree)) {
        MymxmlDelete(tree);
        return nullptr;
    }
    return tree;
}

}  // namespace

ConfigMgr::~ConfigMgr()
{
    Release();
}

int ConfigMgr::ReadConfig(std::string path)
{
    if (document != nullptr) {
        return 0;
    }
    // The stream uses this buffer to its end. One that it allocated would make malloc tidy up the small blocks of the
    // documents before, which the next one has good use for: a tenth of the loading. And nobody else has the stream: no
    // need for Mini-XML to lock it for every character.
    char buffer[BUFSIZ];
    const std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "r"));
    if (file == nullptr) {
        return errno;
    }
    (void)std::setvbuf(file.get(), buffer, _IOFBF, sizeof buffer);
    __fsetlocking(file.get(), FSETLOCKING_BYCALLER);
    document = LoadDocument(file.get());
    return 0;
}

ConfigNode ConfigMgr::CreateConfig()
{
    if (document == nullptr) {
        document = mxmlNewXML("1.0");
        if (document == nullptr || LacksName(document)) {
            Release();
            throw std::bad_alloc();
        }
    }
    return GetConfig();
}

ConfigNode ConfigMgr::GetConfig()
{
    return document == nullptr ? ConfigNode() : ConfigNode(document);
}

int ConfigMgr::SaveConfig(std::string path) const
{
    return ZefIntCfgSaveInner(document, path.c_str());
}

void ConfigMgr::Release()
{
    MymxmlDelete(document);
    document = nullptr;
}
