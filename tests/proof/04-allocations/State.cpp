#include "State.h"

#include "Operation.h"
#include "Platform.h"

#include <zef_config/DeduplicationConfig.h>
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include <unistd.h>

namespace {

State &Notes()
{
    static State notes;
    return notes;
}

std::string TextOf(const std::vector<IpPair> &pairs)
{
    std::string text;
    for (const IpPair &pair : pairs) {
        text += pair.first + "," + pair.second + ";";
    }
    return text;
}

// In the order of the list, which is part of the state.
void AddStorages(State &state)
{
    int number = 0;
    for (const ZefStorage &storage : ZefStorageManager::GetStorageAll()) {
        const std::string prefix = "storage" + std::to_string(number++) + ".";
        state[prefix + "name"] = storage.GetName();
        state[prefix + "user"] = storage.GetUser();
        state[prefix + "password"] = storage.GetPassword();
        state[prefix + "ips"] = storage.GetIps();
        state[prefix + "pairs"] = TextOf(storage.GetIpParis());
        state[prefix + "unconnected"] = TextOf(storage.GetUnConnIpParis());
        state[prefix + "wwn"] = std::to_string(storage.GetWwn());
        state[prefix + "type"] = std::to_string(static_cast<int>(storage.GetLinkType()));
    }
}

std::string QueuedNames(const Platform &platform)
{
    std::vector<std::string> names;
    for (const ThreadPool::Task &task : platform.pool->tasks) {
        names.push_back(std::to_string(std::get<0>(task)) + " " + std::get<1>(task));
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string &name : names) {
        text += name + ";";
    }
    return text;
}

std::string FileText(const char *path)
{
    std::ifstream stream(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(stream), {});
    std::replace(text.begin(), text.end(), '\n', '|');
    return text;
}

}  // namespace

State SeenState()
{
    Platform &platform = Platform::Get();
    State state = Notes();
    AddStorages(state);
    const ZefStorage &emptyRecord = ZefStorageManager::GetByName("");
    state["empty record"] = emptyRecord.GetUser() + TextOf(emptyRecord.GetIpParis());
    state["uuid"] = UuidConfig::GetInstance().GetUuid();
    state["deduplication"] = std::to_string(DeduplicationConfig::GetInstance().GetDeduplication());
    state["compression"] = std::to_string(DeduplicationConfig::GetInstance().GetCompression());
    state["queue"] = QueuedNames(platform);
    state["pool"] = platform.pool->running ? "runs" : "has ended";
    state["keys"] = platform.keysAreReady ? "ready" : "none";
    state["key updates"] = platform.keyUpdatesRun ? "run" : "none";
    state["gateway's uuid"] = platform.gatewayUuid;
    for (const auto &[item, value] : platform.items) {
        state["item" + std::to_string(item)] = std::to_string(value);
    }
    for (const std::string &link : platform.links) {
        state["link " + link] = "up";
    }
    state["file"] = FileText(kConfigFile);
    state["temporary file"] = access((std::string(kConfigFile) + ".bak").c_str(), F_OK) == 0 ? "there" : "none";
    return state;
}

void Note(const std::string &name, const std::string &value)
{
    Notes()[name] = value;
}

std::string TextOf(const State &state)
{
    std::string text;
    for (const auto &[name, value] : state) {
        text += name + "=" + value + "\n";
    }
    return text;
}

State StateOf(const std::string &text)
{
    State state;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        const size_t place = line.find('=');
        state[line.substr(0, place)] = line.substr(place + 1);
    }
    return state;
}

std::string Difference(const State &expected, const State &found)
{
    std::string text;
    State all = expected;
    all.insert(found.begin(), found.end());
    for (const auto &entry : all) {
        const auto in = [&entry](const State &state) {
            const auto place = state.find(entry.first);
            return place == state.end() ? std::string("(none)") : place->second;
        };
        if (in(expected) != in(found)) {
            text += entry.first + ": " + in(found) + " instead of " + in(expected) + ". ";
        }
    }
    return text;
}
