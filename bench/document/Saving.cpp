// Saving on a file system in memory, beside the rendering and the bare system calls that a safe save is made of, and
// beside other writers, which write straight to the file. Then the layout alone, beside its rules taken character by
// character.
#include "Samples.h"

#include "SaveLayout.h"
#include "tests/support/PlainLayout.h"

#include <zef_config/ConfigMgr.h>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <mxml.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kRenderBufferBytes = 32768;

struct Deleter {
    void operator()(mxml_node_t *tree) const { mxmlDelete(tree); }
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};

// The same document of everybody, read from a text. Where that has white space between elements Mini-XML alone keeps
// it, and the library drops it from the rendering.
struct Sample {
    explicit Sample(const std::string &text)
    {
        const MemoryFolder folder;
        const std::string path = folder.FileOf("text", text);
        tree.reset(mxmlLoadString(MXML_NO_PARENT, text.c_str(), MXML_OPAQUE_CALLBACK));
        libxml2.reset(xmlReadMemory(text.data(), static_cast<int>(text.size()), "", nullptr, XML_PARSE_NOBLANKS));
        if (manager.ReadConfig(path) != 0 || manager.GetConfig().Size() != 1 || tree == nullptr ||
            libxml2 == nullptr || !pugixml.load_string(text.c_str()) ||
            tinyxml2.Parse(text.c_str()) != tinyxml2::XML_SUCCESS) {
            throw std::runtime_error("no document");
        }
    }

    ConfigMgr manager;
    std::unique_ptr<mxml_node_t, Deleter> tree;
    std::unique_ptr<xmlDoc, Deleter> libxml2;
    pugi::xml_document pugixml;
    tinyxml2::XMLDocument tinyxml2;
};

bool SavesOurs(Sample &sample, const std::string &path)
{
    return sample.manager.SaveConfig(path) == 0;
}

// Rendered, and put in place of the file as it is.
bool SavesBare(Sample &sample, const std::string &path)
{
    static char buffer[kRenderBufferBytes];
    const std::string temporaryPath = path + ".bak";
    mxmlSetWrapMargin(0);
    const auto length =
        static_cast<size_t>(mxmlSaveString(sample.tree.get(), buffer, sizeof buffer, MXML_NO_CALLBACK));
    const int descriptor = open(temporaryPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    struct stat target = {};
    return length < sizeof buffer && descriptor >= 0 && fchmod(descriptor, 0600) == 0 &&
           write(descriptor, buffer, length) == static_cast<ssize_t>(length) && fsync(descriptor) == 0 &&
           close(descriptor) == 0 && stat(path.c_str(), &target) == 0 &&
           chmod(temporaryPath.c_str(), target.st_mode) == 0 &&
           std::rename(temporaryPath.c_str(), path.c_str()) == 0;
}

bool SavesLibxml2(Sample &sample, const std::string &path)
{
    return xmlSaveFormatFile(path.c_str(), sample.libxml2.get(), 1) > 0;
}

bool SavesPugixml(Sample &sample, const std::string &path)
{
    return sample.pugixml.save_file(path.c_str(), "    ");
}

bool SavesTinyxml2(Sample &sample, const std::string &path)
{
    return sample.tinyxml2.SaveFile(path.c_str()) == tinyxml2::XML_SUCCESS;
}

std::string LaidOut(const std::string &text)
{
    return zef_config::LayOut(text.c_str());
}

void RegisterSave(const std::string &name, const std::string &text, const std::string &saved)
{
    static const MemoryFolder folder;
    const auto sample = std::make_shared<Sample>(text);
    const auto add = [&](const std::string &who, bool (*saves)(Sample &, const std::string &)) {
        const std::string path = folder.FileOf(name + " " + who, "old");
        if (!saves(*sample, path) || (who == "ours" && Content(path) != saved)) {
            throw std::runtime_error("not saved as it was");
        }
        benchmark::RegisterBenchmark((name + "/" + who).c_str(), [sample, saves, path](benchmark::State &state) {
            for (auto _ : state) {
                if (!saves(*sample, path)) {
                    state.SkipWithError("not saved");
                }
            }
        });
    };
    add("ours", SavesOurs);
    add("bare calls", SavesBare);
    add("libxml2", SavesLibxml2);
    add("pugixml", SavesPugixml);
    add("tinyxml2", SavesTinyxml2);
}

// The sizes are those of the saved files. Documents made with the setters have no white space between elements, those
// that were loaded have all of their file's.
void RegisterSaves()
{
    for (const auto &[name, bytes] : {std::pair("2 kB", 2000), std::pair("10 kB", 10000), std::pair("30 kB", 30000)}) {
        const std::string saved = Configuration(static_cast<size_t>(bytes));
        RegisterSave(name, XmlRmSpace(saved), saved);
        RegisterSave(name + std::string(" loaded"), saved, saved);
    }
}

void RegisterLayouts()
{
    for (const auto &[name, bytes] :
         {std::pair("layout 2 kB", 2000), std::pair("layout 30 kB", 30000), std::pair("layout 100 kB", 100000),
          std::pair("layout 10 MB", 10000000)}) {
        const auto text = std::make_shared<std::string>(Configuration(static_cast<size_t>(bytes)));
        if (LaidOut(*text) != LayOutPlainly(*text)) {
            throw std::runtime_error("not laid out like that");
        }
        const auto add = [&, name = std::string(name)](const char *who, std::string (*layOut)(const std::string &)) {
            benchmark::RegisterBenchmark((name + "/" + who).c_str(), [text, layOut](benchmark::State &state) {
                for (auto _ : state) {
                    benchmark::DoNotOptimize(layOut(*text));
                }
            });
        };
        add("ours", LaidOut);
        add("by character", LayOutPlainly);
    }
}

[[maybe_unused]] const bool isRegistered = (RegisterSaves(), RegisterLayouts(), true);

}  // namespace
