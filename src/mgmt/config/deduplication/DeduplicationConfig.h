/// \file
/// The client's data-reduction switches.
#ifndef ZEF_CONFIG_DEDUPLICATION_CONFIG_H
#define ZEF_CONFIG_DEDUPLICATION_CONFIG_H

#include "ConfigNode.h"
#include "ZefConfigApi.h"

#include <map>
#include <string>

/// Deduplication and compression, each 0 (off) or 1 (on), and their publication in the shared base configuration.
/// Compression needs deduplication. Only GetInstance is safe on several threads at once; callers of the rest take
/// turns.
///
/// Results are 0, -1 for a refusal, or the shared configuration's own code, unchanged.
class ZEF_CONFIG_API DeduplicationConfig {
public:
    /// The one object, which lives as long as the library is loaded.
    static DeduplicationConfig &GetInstance();

    DeduplicationConfig(const DeduplicationConfig &) = delete;
    DeduplicationConfig &operator=(const DeduplicationConfig &) = delete;

    /// The deduplication switch as held; the shared configuration is not read.
    int GetDeduplication();
    /// The same for compression.
    int GetCompression();

    /// -1 when compression is on while deduplication is off.
    int SwitchConditionCheck();

    /// Publishes both values, deduplication first, if they go together. A failure ends it there.
    int SetToPShim();

    /// Reads the elements `Compression` and `Deduplication` ("ON" or "OFF") of the element Config, then publishes. A
    /// value that was read before a failure stays held.
    int SetFromConfig(ConfigNode &config);

    /// Publishes and holds the compression switch, without asking whether the two go together. On failure the value
    /// held stays.
    int SetCompression(int value);
    /// The same for deduplication.
    int SetDeduplicationStatus(int value);

private:
    DeduplicationConfig() = default;

    // By name; read from the document in the order of the names.
    std::map<std::string, int> switches{{"Compression", 0}, {"Deduplication", 0}};
};

#endif
