// A validation beside the bare calls of the C library that it cannot do without, in the same locale, and beside the
// regular expressions of the C++ library. Each compiles its expression every time.
#include "BareValidation.h"

#include <zef_config/UuidConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <benchmark/benchmark.h>

#include <regex>
#include <string>

namespace {

bool MatchesByStd(const std::string &text, const char *pattern)
{
    return std::regex_match(text, std::regex(pattern, std::regex::extended));
}

template <class Validation>
void Add(const std::string &name, bool expected, Validation isValid)
{
    benchmark::RegisterBenchmark(name.c_str(), [expected, isValid](benchmark::State &state) {
        for (auto _ : state) {
            if (isValid() != expected) {
                state.SkipWithError("judged otherwise");
            }
        }
    });
}

template <class Validation>
void AddAll(const std::string &name, const std::string &text, bool expected, const char *pattern, Validation isValid)
{
    Add(name + "/ours", expected, [text, isValid] { return isValid(text); });
    Add(name + "/bare calls", expected, [text, pattern] { return MatchesBare(text, pattern); });
    Add(name + "/std::regex", expected, [text, pattern] { return MatchesByStd(text, pattern); });
}

void Register()
{
    const auto isUuid = [](const std::string &text) { return UuidConfig::GetInstance().IsValidUuid(text); };
    AddAll("UUID", "0123abcd-ABCD-0a1B-9f9F-00112233aabb", true, kUuid, isUuid);
    AddAll("refused UUID", "0123abcd-ABCD-0a1B-9f9F-00112233aabg", false, kUuid, isUuid);
    AddAll("user", "zefuser", true, kUser, ZefStorageManager::IsValidUserName);
    AddAll("refused user", "zef-user", false, kUser, ZefStorageManager::IsValidUserName);
    AddAll("storage name", "array-1/pool.7", true, kStorageName, ZefStorageManager::IsValidStorageName);
    AddAll("refused storage name", "array 1", false, kStorageName, ZefStorageManager::IsValidStorageName);
}

[[maybe_unused]] const bool isRegistered = (Register(), true);

}  // namespace
