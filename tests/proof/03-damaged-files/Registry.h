// What a client knows once it has taken a configuration.
#ifndef ZEF_PROOF_REGISTRY_H
#define ZEF_PROOF_REGISTRY_H

#include <zef_config/ConfigNode.h>

#include <set>
#include <string>
#include <vector>

struct Registry {
    std::string uuid;
    std::string deduplication;  // "ON" or "OFF", as the file has it
    std::string compression;
    int storageObjects = 0;
    std::string name;
    std::string user;
    std::string password;  // sealed
    bool isFibreChannel = false;
    std::set<std::string> addresses;

    // What of it is another than in that one, in words: "fewer addresses". Empty when it is the same.
    std::vector<std::string> DifferencesFrom(const Registry &other) const;
};

// Has the library load the file. False when it refuses it, on whichever step of its start.
bool LoadRegistry(const std::string &path, Registry &registry);

// The same of a document that is loaded already; `root` is its first node, or null.
bool TakeRegistry(mxml_node_t *root, Registry &registry);

#endif
