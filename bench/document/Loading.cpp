// A configuration file loaded and let go, beside Mini-XML's loading as it is commonly written and beside other readers.
// The pool's worker runs, as in every host: a process with one thread alone would be spared the locks.
#include "Samples.h"

#include <zef_config/ConfigMgr.h>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <mxml.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <cstdio>

namespace {

mxml_node_t *LoadCommonly(const std::string &path)
{
    FILE *const file = std::fopen(path.c_str(), "r");
    if (file == nullptr) {
        return nullptr;
    }
    mxml_node_t *const tree = mxmlLoadFile(nullptr, file, MXML_OPAQUE_CALLBACK);
    std::fclose(file);
    return tree;
}

bool LoadsOurs(const std::string &path)
{
    ConfigMgr manager;
    const bool isLoaded = manager.ReadConfig(path) == 0 && manager.GetConfig().Size() == 1;
    manager.Release();
    return isLoaded;
}

bool LoadsMiniXml(const std::string &path)
{
    mxml_node_t *const tree = LoadCommonly(path);
    mxmlDelete(tree);
    return tree != nullptr;
}

bool LoadsLibxml2(const std::string &path)
{
    const xmlDocPtr document = xmlReadFile(path.c_str(), nullptr, 0);
    xmlFreeDoc(document);
    return document != nullptr;
}

bool LoadsPugixml(const std::string &path)
{
    pugi::xml_document document;
    return document.load_file(path.c_str());
}

bool LoadsTinyxml2(const std::string &path)
{
    tinyxml2::XMLDocument document;
    return document.LoadFile(path.c_str()) == tinyxml2::XML_SUCCESS;
}

// Whether the library's element has what Mini-XML's has: text, attributes, and children of every name.
bool IsSame(mxml_node_t *expected, const ConfigNode &found)
{
    const char *const text = mxmlGetOpaque(expected);
    bool isSame = found.GetString() == (text == nullptr ? "" : text);
    for (int i = 0; i < mxmlElementGetAttrCount(expected); ++i) {
        const char *name = nullptr;
        const char *const value = mxmlElementGetAttrByIndex(expected, i, &name);
        isSame = isSame && found.GetAttr(name) == value;
    }
    std::map<std::string, std::vector<mxml_node_t *>> children;
    for (mxml_node_t *child = mxmlGetFirstChild(expected); child != nullptr; child = mxmlGetNextSibling(child)) {
        if (mxmlGetElement(child) != nullptr) {
            children[mxmlGetElement(child)].push_back(child);
        }
    }
    for (const auto &[name, elements] : children) {
        const ConfigNode list = found.Get(name);
        isSame = isSame && list.Size() == static_cast<int>(elements.size());
        for (int i = 0; isSame && i < list.Size(); ++i) {
            isSame = IsSame(elements[static_cast<size_t>(i)], list[i]);
        }
    }
    return isSame;
}

void RequireSame(const std::string &path)
{
    mxml_node_t *const tree = LoadCommonly(path);
    ConfigMgr manager;
    const bool isSame = tree != nullptr && manager.ReadConfig(path) == 0 && IsSame(tree, manager.GetConfig());
    mxmlDelete(tree);
    if (!isSame) {
        throw std::runtime_error("the library and Mini-XML load different trees");
    }
}

void Register()
{
    static const MemoryFolder folder;
    LIBXML_TEST_VERSION
    for (const auto &[name, bytes] : {std::pair("2 kB", 2000), std::pair("30 kB", 30000), std::pair("1 MB", 1000000)}) {
        const std::string path = folder.FileOf(name, Configuration(bytes));
        RequireSame(path);
        const auto add = [path, name = std::string(name)](const char *who, bool (*loads)(const std::string &)) {
            benchmark::RegisterBenchmark((name + "/" + who).c_str(), [path, loads](benchmark::State &state) {
                for (auto _ : state) {
                    if (!loads(path)) {
                        state.SkipWithError("not loaded");
                    }
                }
            });
        };
        add("ours", LoadsOurs);
        add("mxmlLoadFile", LoadsMiniXml);
        add("libxml2", LoadsLibxml2);
        add("pugixml", LoadsPugixml);
        add("tinyxml2", LoadsTinyxml2);
    }
}

[[maybe_unused]] const bool isRegistered = (Register(), true);

}  // namespace
