// RoundTrip WORK SEED TRIALS BREAK: sets values, saves the document, loads it again, and compares. WORK is a folder for
// the file. BREAK is what is to go wrong, for a control: the setter of a "string", a "bool", an "int" or an
// "attribute", a "lost" element, or "nothing".
#include "01-fuzzing/SavedLayout.h"
#include "Sample.h"

#include <zef_config/ConfigMgr.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <cstdio>

namespace {

constexpr int kFailuresShown = 10;

using Kind = Sample::Kind;

std::string path;
std::string broken;

void WriteFile(const std::string &text)
{
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << text;
}

std::string ReadFile()
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void SetValue(ConfigNode &node, const Sample &sample)
{
    switch (sample.kind) {
        case Kind::String:
            // Over a value of another kind, which has to go.
            node.SetInt(-12345);
            node.SetString(broken == "string" ? sample.text.substr(0, 8) : sample.text);
            break;
        case Kind::Bool:
            node.SetString("before");
            node.SetBool(sample.boolean || broken == "bool");
            break;
        case Kind::Integer:
            node.SetInt(broken == "int" ? static_cast<short>(sample.integer) : sample.integer);
            break;
        case Kind::Nothing:
            break;
    }
}

void Set(ConfigNode node, const Sample &sample)
{
    for (const auto &[name, value] : sample.attributes) {
        node.SetAttr(name, broken == "attribute" ? WithoutWhiteSpace(value) : value);
    }
    for (const Sample &child : sample.children) {
        if (broken != "lost" || child.children.size() < 2) {
            Set(node.Create(child.name), child);
        }
    }
    // One that comes and goes leaves nothing behind.
    node.Create("Fleeting").Delete();
    SetValue(node, sample);
}

bool IsSameString(const ConfigNode &node, const std::string &text)
{
    std::string read;
    const std::string kept = WithoutWhiteSpace(text);
    if (node.GetString(read) != 0 || read != node.GetString()) {
        return false;
    }
    return kept.empty() ? WithoutWhiteSpace(read).empty() : read == kept;
}

bool IsSameValue(const ConfigNode &node, const Sample &sample)
{
    std::string string;
    bool boolean = !sample.boolean;
    int integer = ~sample.integer;
    const std::string type = node.GetAttr("type");
    switch (sample.kind) {
        case Kind::String:
            return type == "string" && IsSameString(node, sample.text) && node.GetBool(boolean) == -1 &&
                   node.GetInt(integer) == -1;
        case Kind::Bool:
            return type == "bool" && node.GetBool(boolean) == 0 && boolean == sample.boolean &&
                   node.GetBool() == sample.boolean && node.GetString(string) == -1;
        case Kind::Integer:
            return type == "int" && node.GetInt(integer) == 0 && integer == sample.integer &&
                   node.GetInt() == sample.integer && node.GetString(string) == -1;
        default:
            return type.empty() && (!sample.children.empty() || node.GetString(string) == -1);
    }
}

bool IsSame(const ConfigNode &node, const Sample &sample)
{
    if (node.Size() != 1 || !IsSameValue(node, sample) || node.Get("Fleeting").Size() != 0) {
        return false;
    }
    for (const auto &[name, value] : sample.attributes) {
        if (node.GetAttr(name) != value) {
            return false;
        }
    }
    for (const Sample &child : sample.children) {
        const ConfigNode found = node.Get(child.name);
        const auto id = child.attributes.find("id");
        const auto count = std::count_if(sample.children.begin(), sample.children.end(),
                                         [&child](const Sample &other) { return other.name == child.name; });
        const ConfigNode one = id == child.attributes.end() ? found : found.WithAttr("id", id->second);
        if (found.Size() != count || !IsSame(one, child)) {
            return false;
        }
    }
    return true;
}

// Saves a document of one element below the top, which `set` fills, and returns that element of the document that was
// loaded again; the empty node when it was not.
template <class Setter>
ConfigNode SaveAndLoad(ConfigMgr &loaded, Setter set)
{
    WriteFile("");
    ConfigMgr manager;
    set(manager.CreateConfig().Create("Config").Create("A"));
    if (manager.SaveConfig(path) != 0 || loaded.ReadConfig(path) != 0) {
        return ConfigNode();
    }
    return loaded.GetConfig().Get("Config").Get("A");
}

bool KeepsValues(const Sample &sample)
{
    ConfigMgr manager;
    Set(manager.CreateConfig().Create(sample.name), sample);
    ConfigMgr loaded;
    return manager.SaveConfig(path) == 0 && loaded.ReadConfig(path) == 0 &&
           IsSame(loaded.GetConfig().Get(sample.name), sample);
}

std::string Loaded(const std::string &value)
{
    ConfigMgr loaded;
    const ConfigNode node = SaveAndLoad(loaded, [&value](ConfigNode element) { element.SetString(value); });
    return node.Size() == 1 ? "text:" + node.GetString() : loaded.GetConfig().Size() == 0 ? "refused" : "gone";
}

std::string LoadedBesideElements()
{
    ConfigMgr loaded;
    const ConfigNode node = SaveAndLoad(loaded, [](ConfigNode element) {
        element.SetString("a");
        element.Create("B").SetString("b");
    });
    return "text:" + node.GetString();
}

std::string LoadedWithAttribute(const std::string &name)
{
    ConfigMgr loaded;
    const ConfigNode node = SaveAndLoad(loaded, [&name](ConfigNode element) {
        element.SetAttr(name, "1");
        element.SetAttr(name, "2");
    });
    return "text:" + node.GetAttr(name);
}

// That what is left out is lost as it is said to be.
int CountWrongLosses()
{
    struct Loss {
        const char *what;
        std::string found;
        std::string expected;
    };
    const std::string tooLong(40000, 'x');
    const std::vector<Loss> losses = {
        {"a control character", Loaded("a\x01z"), "refused"},
        {"a byte that is no UTF-8", Loaded("a\xe9z"), "refused"},
        {"a surrogate, which stays", Loaded("a\xed\xa0\x80z"), "text:a\xed\xa0\x80z"},
        {"U+FEFF", Loaded("a\xef\xbb\xbfz"), "text:az"},
        {"a zero byte", Loaded(std::string("a\0z", 3)), "text:a"},
        {"white space", Loaded(" a \t\n z "), "text:az"},
        {"a text of white space", Loaded(" \n"), "text:\n    "},
        {"an empty text", Loaded(""), "text:\n    "},
        {"a carriage return, which stays", Loaded("a\rz"), "text:a\rz"},
        {"a text beside an element", LoadedBesideElements(), "text:a        "},
        {"an attribute that is set twice", LoadedWithAttribute("b"), "text:2"},
        {"a document beyond 32767 bytes", Loaded(tooLong), "refused"},
    };
    int wrong = 0;
    for (const Loss &loss : losses) {
        if (loss.found != loss.expected) {
            ++wrong;
            std::printf("FAILED: %s: \"%s\" instead of \"%s\"\n", loss.what, loss.found.c_str(), loss.expected.c_str());
        }
    }
    std::printf("%zu losses that are left out: %d not as described\n", losses.size(), wrong);
    return wrong;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 5) {
        return 2;
    }
    path = std::string(argv[1]) + "/config.xml";
    const unsigned long long seed = std::stoull(argv[2]);
    const long trials = std::stol(argv[3]);
    broken = argv[4];
    WriteFile("");
    int failed = CountWrongLosses();
    std::mt19937_64 random(seed);
    SampleMaker maker(random);
    for (long i = 0; i < trials; ++i) {
        if (!KeepsValues(maker.Make()) && failed++ < kFailuresShown) {
            std::printf("FAILED: sample %ld of seed %llu; the saved file:\n%.2000s\n", i, seed, ReadFile().c_str());
        }
    }
    std::printf("tried %ld failed %d\n", trials, failed);
    return failed == 0 ? 0 : 1;
}
