// The document: loaded as a whole or not at all, saved as a whole or not at all, changed as a caller was told.
#include "Operation.h"
#include "Platform.h"

#include <zef_config/ConfigMgr.h>

#include <mxml.h>

#include <fstream>
#include <iterator>
#include <memory>

#include <cstdio>
#include <unistd.h>

namespace {

const std::string kTemporary = std::string(kConfigFile) + ".bak";
const std::string kCopy = std::string(kConfigFile) + ".copy";

std::unique_ptr<ConfigMgr> manager;

void Release()
{
    manager.reset();
}

// Mini-XML keeps settings for each thread, which live as long as the thread: they are there before an operation begins.
void Begin()
{
    mxmlSetErrorCallback(nullptr);
    std::remove(kTemporary.c_str());
    WriteConfig();
    manager = std::make_unique<ConfigMgr>();
}

// As for a thread that has used Mini-XML never before.
void BeginOnAFreshThread()
{
    std::remove(kTemporary.c_str());
    WriteConfig();
    manager = std::make_unique<ConfigMgr>();
}

// The document held becomes part of what is seen, as it would be saved.
void NoteDocument()
{
    const Disarmed disarmed;
    std::ofstream(kCopy).close();
    std::string text = "none";
    if (manager->GetConfig().Size() != 0) {
        const int result = manager->SaveConfig(kCopy);
        std::ifstream stream(kCopy, std::ios::binary);
        text = std::to_string(result) + std::string(std::istreambuf_iterator<char>(stream), {});
        for (char &character : text) {
            character = character == '\n' ? '|' : character;
        }
    }
    std::remove(kCopy.c_str());
    Note("document", text);
}

// The result of a load that gave no document is 0 as well.
int Load()
{
    int result = 0;
    try {
        result = manager->ReadConfig(kConfigFile);
    } catch (...) {
        NoteDocument();
        throw;
    }
    NoteDocument();
    const Disarmed disarmed;
    return result == 0 && manager->GetConfig().Size() == 0 ? -1 : result;
}

void Loaded()
{
    Begin();
    manager->ReadConfig(kConfigFile);
    NoteDocument();
}

// What is malformed is refused, whatever memory there is.
int LoadMalformed()
{
    const int result = Load();
    return result == -1 ? 0 : result == 0 ? -2 : result;
}

void WriteMalformed(const std::string &text)
{
    Begin();
    std::ofstream(kConfigFile, std::ios::binary | std::ios::trunc) << text;
    Note("document", "none");
}

int Save()
{
    return manager->SaveConfig(kConfigFile);
}

ConfigNode Config()
{
    return manager->GetConfig().Get("Config");
}

// Changes are seen in the document. One that fails is told by an exception; of a text and its type the one may be there
// without the other.
bool MayLeaveTheHalf(const State &before, const State &, const State &after)
{
    State expected = before;
    expected["document"] = after.at("document");
    return after == expected;
}

Operation Change(const std::string &name, const std::function<void()> &change)
{
    Operation operation = {name, Loaded, [change] {
        try {
            change();
        } catch (...) {
            NoteDocument();
            throw;
        }
        NoteDocument();
        return 0;
    }};
    operation.cleanUp = Release;
    operation.allows = name.compare(0, 3, "Set") == 0 ? MayLeaveTheHalf : nullptr;
    return operation;
}

Operation Document(Operation operation)
{
    operation.cleanUp = Release;
    return operation;
}

}  // namespace

std::vector<Operation> DocumentOperations()
{
    const auto none = [] { Note("document", "none"); };
    const auto changed = [] {
        Loaded();
        Config().Get("Compression").SetString("OFF");
    };
    // What a failed load leaves is no document; it is read again after a release.
    const auto release = [] { manager->Release(); };
    std::vector<Operation> operations = {
        Document({"ReadConfig", [none] { Begin(), none(); }, Load, {}, release}),
        Document({"ReadConfig, first of a thread", [none] { BeginOnAFreshThread(), none(); }, Load, {}, release}),
        Document({"ReadConfig, malformed", [] { WriteMalformed("<?xml version=\"1.0\"?><Config><A>x</B></Config>"); },
                  LoadMalformed, {}, release}),
        Document({"ReadConfig, cut", [] { WriteMalformed("<?xml version=\"1.0\"?><Config><A b=\"c"); },
                  LoadMalformed, {}, release}),
        Document({"ReadConfig, no file", [none] { Begin(), std::remove(kConfigFile), none(); }, Load, {}, release}),
        Document({"SaveConfig", changed, Save}),
        Document({"SaveConfig, no target", [] { Loaded(), std::remove(kConfigFile); }, Save}),
        Document({"CreateConfig", [none] { Begin(), none(); }, [] {
            const int size = manager->CreateConfig().Size();
            return NoteDocument(), size;
        }}),
        Change("SetString", [] { Config().Get("Compression").SetString("a longer text than the one before"); }),
        Change("SetString, first text", [] { Config().Get("StorageObject").SetString("text"); }),
        Change("SetInt", [] { Config().Get("Compression").SetInt(1); }),
        Change("SetBool", [] { Config().Get("Compression").SetBool(true); }),
        Change("SetAttr", [] { Config().Get("Compression").SetAttr("note", "a text of some length"); }),
        Change("SetAttr, anew", [] { Config().Get("Compression").SetAttr("type", "a text of some length"); }),
        Change("Create", [] { (void)Config().Create("Element"); }),
        Change("Delete", [] {
            if (Config().Get("StorageObject").Size() != 0) {
                Config().Get("StorageObject").Delete();
            }
        }),
        Document({"ConfigNode, reading", Loaded, [] {
            std::string text;
            const ConfigNode storage = Config().Get("StorageObject");
            const int result = storage.Get("Ips")[1].GetString(text);
            const bool isRead = result == 0 && text == "192.168.100.102" &&
                                storage.Get("Name").GetAttr("type") == "string" &&
                                storage.Get("Ips").WithAttr("type", "string").Size() == 2;
            return isRead ? 0 : -1;
        }}),
    };
    return operations;
}
