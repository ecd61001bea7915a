#include "ConfigMgr.h"

#include <memory>

#include <cerrno>
#include <cstdio>

#include <stdio_ext.h>

namespace {

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};

// Mini-XML keeps one error callback per thread and passes it nothing but the text.
thread_local bool parseFailed = false;

void NoteParseError(const char *)
{
    parseFailed = true;
}

// Mini-XML may hand back a tree although it complained, with content dropped; such a tree is not trusted.
mxml_node_t *LoadDocument(FILE *file)
{
    parseFailed = false;
    mxmlSetErrorCallback(NoteParseError);
    mxml_node_t *const tree = mxmlLoadFile(MXML_NO_PARENT, file, mxml_opaque_cb);
    mxmlSetErrorCallback(nullptr);
    if (parseFailed) {
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
    const std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "r"));
    if (file == nullptr) {
        return errno;
    }
    // Nobody else has this stream: no need for Mini-XML to lock it for every character.
    __fsetlocking(file.get(), FSETLOCKING_BYCALLER);
    document = LoadDocument(file.get());
    return 0;
}

ConfigNode ConfigMgr::CreateConfig()
{
    if (document == nullptr) {
        document = mxmlNewXML("1.0");
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
