// The base configuration that the client shares with other processes of its user.
#ifndef ZEF_CLIENT_BASECONFIG_SHARED_BASE_CONFIG_H
#define ZEF_CLIENT_BASECONFIG_SHARED_BASE_CONFIG_H

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace zef {

constexpr const char *kDefaultSharedBaseConfigName = "/zef_base_config";

// Numbered 64-bit items in a POSIX shared memory segment, opened for reading and writing or for reading only.
//
// Each item is read and written in one step without a lock: a process that dies at any moment leaves neither a torn
// value nor a held lock behind. The segment outlives the processes; it goes with a restart of the machine, or with
// shm_unlink. A segment that belongs to somebody else, that others may access, or that is laid out differently is
// refused.
//
// Movable. Values may be read and written from any thread. Functions that fail say why in `error` (one sentence without
// a newline) and leave it alone otherwise.
class SharedBaseConfig {
public:
    // Items are numbered from 0.
    static constexpr int kItemCount = 256;

    // Opens a segment, and creates it with its default values when there is none. Processes may race: exactly one sets
    // the default values, and nobody sees a segment without them. `name` is one of shm_open: a slash, then no other.
    static std::optional<SharedBaseConfig> OpenOrCreate(const std::string &name, std::string &error);

    // Opens a segment that exists, for reading only: Set is refused.
    static std::optional<SharedBaseConfig> OpenReadOnly(const std::string &name, std::string &error);

    // Nothing when there is no item of this number.
    std::optional<int64_t> Get(int item) const;

    // False when there is no item of this number, or the segment is open for reading only.
    bool Set(int item, int64_t value, std::string &error);

private:
    struct Segment;

    struct Unmap {
        void operator()(Segment *mapped) const;
    };

    using Mapping = std::unique_ptr<Segment, Unmap>;

    SharedBaseConfig(Mapping mapped, bool mayWrite);

    static Mapping Map(int descriptor, bool mayWrite, const std::string &name, std::string &error);
    static bool IsUsable(const Segment &segment, const std::string &name, std::string &error);
    static void Initialise(Segment &segment);

    Mapping segment;
    bool writable;
};

// Prints the items that have a meaning, one line each with number, name and value, from a segment that another process
// has published; creates none. Done; or Failed, with the reason in `errors`, when there is no usable segment,
// NotPermitted when the system does not let this user at it. All as an exit status.
int PrintSharedItems(std::ostream &output, std::ostream &errors,
                     const std::string &name = kDefaultSharedBaseConfigName);

}  // namespace zef

#endif
