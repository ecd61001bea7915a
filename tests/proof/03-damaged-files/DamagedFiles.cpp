// DamagedFiles WORK BYTES FIRST STEP BREAK CONFIGURATION...: damages configurations in every place, and has the library
// load and the check judge what comes of it. BYTES are the values put into the place of each byte ("00,ff"); with FIRST
// and STEP only every STEPth damage is done. WORK is a folder for files. BREAK is what is to go wrong, for a control:
// a "loader" that drops the last address, a "careless" one that does not listen to Mini-XML, a "check" that says
// nothing, or "nothing".
#include "Registry.h"
#include "StrictReading.h"

#include "baseconfig/PlatformSharedBaseConfig.h"
#include "check/ConfigCheck.h"
#include "keys/KeyCommands.h"
#include "log/Log.h"
#include "support/Files.h"

#include <zef_config/platform/KeyManagement.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr const char *kSealedMark = "@SEALED@";
constexpr int kFailuresShown = 20;

struct Arguments {
    std::string work;
    std::vector<int> bytes;
    size_t first = 0;
    size_t step = 1;
    std::string broken;
    std::vector<std::string> configurations;
};

struct Damage {
    std::string kind;  // "cut off", "changed into white space"
    size_t place;
    std::string text;
};

std::string Seal(const zef::KeyPaths &keys)
{
    const std::string password = "a-password-of-the-proof\n";
    const int descriptor = memfd_create("password", MFD_CLOEXEC);
    const bool isWritten =
        write(descriptor, password.data(), password.size()) > 0 && lseek(descriptor, 0, SEEK_SET) == 0;
    std::ostringstream sealed;
    std::ostringstream messages;
    if (!isWritten || zef::KeysInit(keys.primary, keys.standby, false, messages, messages) != 0 ||
        zef::PasswordEncrypt(keys.primary, keys.standby, descriptor, sealed, messages) != 0) {
        throw std::runtime_error("no keys and no sealed password: " + messages.str());
    }
    close(descriptor);
    const std::string text = sealed.str();
    return text.substr(0, text.find('\n'));
}

// How often each finding is there.
std::map<std::string, int> Findings(const std::string &text, const zef::KeyPaths &keys)
{
    std::map<std::string, int> findings;
    for (const zef::Finding &finding : zef::CheckBytes(text, "config.xml", keys).findings) {
        ++findings[finding.id];
    }
    return findings;
}

// Mini-XML alone. It may hand back a tree although it complains.
class MiniXmlDocument {
public:
    explicit MiniXmlDocument(const std::string &path)
    {
        complained = false;
        const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "r"), std::fclose);
        mxmlSetErrorCallback([](const char *) { complained = true; });
        root = mxmlLoadFile(nullptr, file.get(), mxml_opaque_cb);
        mxmlSetErrorCallback(nullptr);
    }

    ~MiniXmlDocument() { mxmlDelete(root); }

    MiniXmlDocument(const MiniXmlDocument &) = delete;
    MiniXmlDocument &operator=(const MiniXmlDocument &) = delete;

    bool IsComplaint() const { return complained || root == nullptr; }
    mxml_node_t *Root() const { return root; }

private:
    static inline bool complained = false;
    mxml_node_t *root;
};

// What the damages of one kind have in common for a reader of XML.
std::string KindOfByte(int byte)
{
    if (byte == '\t' || byte == '\n' || byte == '\r' || byte == ' ') {
        return "white space";
    }
    if (byte < ' ') {
        return "a control character";
    }
    return byte < 0x80 ? "another ASCII character" : "a byte beyond ASCII";
}

class Trials {
public:
    explicit Trials(const Arguments &wanted)
        : arguments(wanted), keys{wanted.work + "/keys/pri", wanted.work + "/keys/std"}
    {
        sealed = Seal(keys);
        if (WoxUtil::Init(zef::kPasswordDomain, keys.primary, keys.standby) != 0) {
            throw std::runtime_error("key management does not start");
        }
    }

    void Run(const std::string &configuration)
    {
        name = configuration.substr(configuration.rfind('/') + 1);
        whole = ReadFile(configuration);
        for (size_t at = whole.find(kSealedMark); at != std::string::npos; at = whole.find(kSealedMark)) {
            whole.replace(at, std::string(kSealedMark).size(), sealed);
        }
        BeginWithTheWholeFile();
        for (size_t end = 0; end < whole.size(); ++end) {
            TryOneOfStep("cut off", end, whole.substr(0, end));
        }
        for (const int byte : arguments.bytes) {
            for (size_t place = 0; place < whole.size(); ++place) {
                std::string text = whole;
                text[place] = static_cast<char>(byte);
                if (text != whole) {
                    TryOneOfStep("changed into " + KindOfByte(byte), place, text);
                }
            }
        }
    }

    int Report() const
    {
        for (const auto &[what, count] : outcomes) {
            std::printf("%7d  %s\n", count, what.c_str());
        }
        std::printf("values that are another now, as the text says:\n");
        for (const auto &[what, count] : changed) {
            std::printf("%7d  %s\n", count, what.c_str());
        }
        std::printf("damage that Mini-XML does not show, all of it found by the check unless said otherwise:\n");
        for (const auto &[what, placeAndCount] : unseen) {
            std::printf("%7d  %s, such as %s\n", placeAndCount.second, what.c_str(), placeAndCount.first.c_str());
        }
        std::printf("tried %d failed %d\n", tried, failed);
        return failed == 0 ? 0 : 1;
    }

private:
    // The library takes it as the strict parser reads it: what damage is measured against.
    void BeginWithTheWholeFile()
    {
        const std::optional<Registry> said = ReadStrictly(whole);
        Registry taken;
        const bool isTaken = Load(whole, taken);
        if (!said || !isTaken || !taken.DifferencesFrom(*said).empty()) {
            Fail({"undamaged", 0, whole}, "is not taken as it says");
        }
        undamaged = said.value_or(Registry());
        usualFindings = Findings(whole, keys);
    }

    void TryOneOfStep(const std::string &kind, size_t place, const std::string &text)
    {
        if (damages++ % arguments.step == arguments.first) {
            ++tried;
            Try({kind, place, text});
        }
    }

    void Try(const Damage &damage)
    {
        Registry taken;
        const bool isTaken = Load(damage.text, taken);
        if (!isTaken) {
            Count(damage, "refused");
            return;
        }
        if (MiniXmlDocument(Path()).IsComplaint()) {
            Fail(damage, "taken although Mini-XML complains");
        }
        const std::optional<Registry> said = ReadStrictly(damage.text);
        const std::vector<std::string> differences = taken.DifferencesFrom(undamaged);
        if (!said || !taken.DifferencesFrom(*said).empty()) {
            JudgeUnseen(damage, differences, said.has_value());
        } else if (differences.empty()) {
            Count(damage, "whole");
        } else {
            Count(damage, "as the text now says");
            ++changed[damage.kind + ": " + Join(differences)];
        }
    }

    std::string Path() const { return arguments.work + "/config.xml"; }

    bool Load(const std::string &text, Registry &registry)
    {
        WriteFile(Path(), text);
        const bool isTaken = arguments.broken == "careless"
                                 ? TakeRegistry(MiniXmlDocument(Path()).Root(), registry)
                                 : LoadRegistry(Path(), registry);
        if (isTaken && arguments.broken == "loader" && !registry.addresses.empty()) {
            registry.addresses.erase(std::prev(registry.addresses.end()));
        }
        return isTaken;
    }

    // Mini-XML has not shown that the text is damaged. The check has to say more of it than of the whole file.
    void JudgeUnseen(const Damage &damage, const std::vector<std::string> &differences, bool isXml)
    {
        std::string what = isXml ? "XML that says something else; taken " : "no XML any more; taken ";
        what += differences.empty() ? "whole" : "with " + Join(differences);
        Count(damage, "damage that Mini-XML does not show");
        const std::string place = name + " at byte " + std::to_string(damage.place);
        ++unseen.try_emplace(damage.kind + ": " + what, place, 0).first->second.second;
        std::map<std::string, int> findings;
        if (arguments.broken != "check") {
            findings = Findings(damage.text, keys);
        }
        for (const auto &[id, count] : findings) {
            const auto usual = usualFindings.find(id);
            if (usual == usualFindings.end() || usual->second < count) {
                return;
            }
        }
        Fail(damage, what + ", and the check finds nothing");
    }

    static std::string Join(const std::vector<std::string> &texts)
    {
        std::string joined;
        for (const std::string &text : texts) {
            joined += (joined.empty() ? "" : ", ") + text;
        }
        return joined;
    }

    void Count(const Damage &damage, const std::string &outcome)
    {
        ++outcomes[name + (damage.kind == "cut off" ? ", cut off: " : ", a byte changed: ") + outcome];
    }

    // Without the text, which holds a sealed password.
    void Fail(const Damage &damage, const std::string &why)
    {
        if (failed++ < kFailuresShown) {
            std::printf("FAILED: %s, %s at byte %zu: %s\n", name.c_str(), damage.kind.c_str(), damage.place,
                        why.c_str());
        }
    }

    const Arguments &arguments;
    const zef::KeyPaths keys;
    std::string sealed;

    std::string name;
    std::string whole;
    Registry undamaged;
    std::map<std::string, int> usualFindings;

    size_t damages = 0;
    int tried = 0;
    int failed = 0;
    std::map<std::string, int> outcomes;
    std::map<std::string, int> changed;
    std::map<std::string, std::pair<std::string, int>> unseen;  // by what it is: the first place, and how often
};

Arguments Parse(int count, char **values)
{
    if (count < 7) {
        throw std::runtime_error("too few arguments");
    }
    Arguments arguments;
    arguments.work = values[1];
    std::istringstream bytes(values[2]);
    for (std::string byte; std::getline(bytes, byte, ',');) {
        arguments.bytes.push_back(std::stoi(byte, nullptr, 16));
    }
    arguments.first = std::stoul(values[3]);
    arguments.step = std::stoul(values[4]);
    arguments.broken = values[5];
    arguments.configurations.assign(values + 6, values + count);
    return arguments;
}

}  // namespace

int main(int argc, char **argv)
{
    const Arguments arguments = Parse(argc, argv);
    const std::string segment = "/zef_proof_damaged_" + std::to_string(getpid());
    (void)zef::UseSharedBaseConfig(segment);
    zef::StartLog({zef::LogLevel::Error, zef::LogDestination::Console});
    int status = 1;
    {
        Trials trials(arguments);
        for (const std::string &configuration : arguments.configurations) {
            trials.Run(configuration);
        }
        status = trials.Report();
    }
    (void)WoxUtil::Finish();
    zef::CloseSharedBaseConfig();
    (void)shm_unlink(segment.c_str());
    return status;
}
