// What the tests of the storage subsystem have in common.
#ifndef ZEF_TESTS_STORAGE_TEST_H
#define ZEF_TESTS_STORAGE_TEST_H

#include "support/LibraryTest.h"

#include <zef_config/ZefStorage.h>
#include <zef_config/ZefStorageManager.h>
#include <zef_config/platform/Gateway.h>

#include <set>
#include <string>
#include <vector>

#include <cstdint>

// Log messages are compared as one text, such as "3 LinkTasks ConnectTask: ZEF: ...": level, file, function, message.
class StorageTest : public LibraryTest {
protected:
    static constexpr int kError = 3;
    static constexpr int kNotice = 4;
    static constexpr int kInfo = 5;
    static constexpr uint64_t kNoWwn = 0xFFFFFFFFFFFFFFFF;

    // Registers a record without asking the manager's rules.
    static ZefStorage &Register(const std::string &name, const std::set<std::string> &ips = {},
                                const std::vector<IpPair> &pairs = {})
    {
        ZefStorage storage;
        storage.SetName(name);
        storage.SetUser("admin");
        storage.SetPassword("sealed:secret");
        storage.AddIpList(ips);
        storage.SetIpParis(pairs);
        ZefStorageManager::GetStorageAll().push_back(storage);
        return ZefStorageManager::GetStorageAll().back();
    }

    // The list as new: every record stands elsewhere in memory, behind others. The old places are gone.
    static void MoveRecords()
    {
        std::vector<ZefStorage> moved(3);
        for (const ZefStorage &storage : ZefStorageManager::GetStorageAll()) {
            moved.push_back(storage);
        }
        ZefStorageManager::GetStorageAll().swap(moved);
    }

    static std::vector<std::string> Names()
    {
        std::vector<std::string> names;
        for (const ZefStorage &storage : ZefStorageManager::GetStorageAll()) {
            names.push_back(storage.GetName());
        }
        return names;
    }

    // One message of the ordinary log, as Logged gives it.
    static std::string Line(int level, const std::string &file, const std::string &function, const std::string &message)
    {
        return std::to_string(level) + " " + file + " " + function + ": ZEF: " + message;
    }

    // One refusal of the registry in the protocol log, as Refused gives it.
    static std::string Refusal(const std::string &function, const std::string &message)
    {
        return "3 src/mgmt/config/storage/ZefStorageManager.cpp " + function + ": PROTOCOL: zef storage manager " +
               message + "\n";
    }

    // The ordinary log. Every message's first argument is the tag.
    std::vector<std::string> Logged() const { return Lines(873, "%s: "); }

    // The protocol log.
    std::vector<std::string> Refused() const { return Lines(666, "PROTOCOL: "); }

    // Calls and texts of messages in the order in which they happened.
    std::vector<std::string> Timeline() const
    {
        std::vector<std::string> events;
        size_t calls = 0;
        for (const LogRecord &record : platform.logs) {
            while (calls < record.callsBefore) {
                events.push_back(platform.calls[calls++]);
            }
            events.push_back(record.text);
        }
        events.insert(events.end(), platform.calls.begin() + static_cast<std::ptrdiff_t>(calls), platform.calls.end());
        return events;
    }

    size_t Queued() const { return platform.pool->tasks.size(); }

    // Calls that begin like this.
    size_t CountCalls(const std::string &beginning) const
    {
        size_t count = 0;
        for (const std::string &call : platform.calls) {
            count += call.compare(0, beginning.size(), beginning) == 0 ? 1U : 0U;
        }
        return count;
    }

private:
    std::vector<std::string> Lines(int module, const std::string &formatBeginning) const
    {
        std::vector<std::string> lines;
        for (const LogRecord &record : platform.logs) {
            if (record.module != module) {
                continue;
            }
            EXPECT_EQ(record.reserved, 0);
            EXPECT_GT(record.line, 0);
            EXPECT_EQ(record.format.compare(0, formatBeginning.size(), formatBeginning), 0) << record.format;
            lines.push_back(std::to_string(record.level) + " " + record.file + " " + record.function + ": " +
                            record.text);
        }
        return lines;
    }
};

#endif
