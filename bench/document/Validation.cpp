// A validation beside the bare calls of the C library that it cannot do without.
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <benchmark/benchmark.h>

#include <string>

#include <regex.h>

namespace {

const std::string uuid = "0123abcd-ABCD-0a1B-9f9F-00112233aabb";
const std::string user = "zefuser";
const std::string storageName = "array-1/pool.7";

bool MatchesBare(const std::string &text, const char *pattern)
{
    regex_t expression;
    if (regcomp(&expression, pattern, REG_EXTENDED) != 0) {
        return false;
    }
    regmatch_t match;
    const int found = regexec(&expression, text.c_str(), 1, &match, 0);
    regfree(&expression);
    return found == 0;
}

template <class Validation>
void Validates(benchmark::State &state, Validation isValid)
{
    for (auto _ : state) {
        if (!isValid()) {
            state.SkipWithError("not valid");
        }
    }
}

void Register()
{
    const auto add = [](const char *name, auto isValid) {
        benchmark::RegisterBenchmark(name, [isValid](benchmark::State &state) { Validates(state, isValid); });
    };
    add("UUID/ours", [] { return UuidConfig::GetInstance().IsValidUuid(uuid); });
    add("UUID/bare calls",
        [] { return MatchesBare(uuid, "[A-F0-9a-f]{8}(-[A-F0-9a-f]{4}){3}-[A-F0-9a-f]{12}"); });
    add("user/ours", [] { return ZefStorageManager::IsValidUserName(user); });
    add("user/bare calls", [] { return MatchesBare(user, "[a-zA-Z][a-zA-Z0-9_]{4,31}"); });
    add("storage name/ours", [] { return ZefStorageManager::IsValidStorageName(storageName); });
    add("storage name/bare calls", [] { return MatchesBare(storageName, "[a-zA-Z0-9_/.-]{1,127}"); });
}

[[maybe_unused]] const bool isRegistered = (Register(), true);

}  // namespace
