#include "gateway/ExpectedLinks.h"

#include <iterator>

namespace zef {

std::vector<ExpectedLinks::Pair> ExpectedLinks::Expect(const std::string &array, const std::set<std::string> &locals,
                                                       const std::set<std::string> &still)
{
    const MutexLock lock(mutex);
    std::vector<Pair> dropped;
    for (auto one = begun.begin(); one != begun.end();) {
        const bool isGone = one->second == array && still.count(one->first) == 0;
        if (isGone) {
            dropped.push_back(*one);
        }
        one = isGone ? begun.erase(one) : std::next(one);
    }
    for (auto one = waiting.begin(); one != waiting.end();) {
        one = one->second == array ? waiting.erase(one) : std::next(one);
    }
    for (const std::string &local : locals) {
        if (waiting.size() + begun.size() < kMost) {
            waiting.emplace(local, array);
        }
    }
    return dropped;
}

std::set<ExpectedLinks::Pair> ExpectedLinks::TakeWaiting()
{
    const MutexLock lock(mutex);
    return std::exchange(waiting, {});
}

void ExpectedLinks::Begun(const Pair &pair)
{
    const MutexLock lock(mutex);
    begun.insert(pair);
}

bool ExpectedLinks::Claim(const Pair &pair)
{
    const MutexLock lock(mutex);
    waiting.erase(pair);
    return begun.erase(pair) > 0;
}

void ExpectedLinks::Clear()
{
    const MutexLock lock(mutex);
    waiting.clear();
    begun.clear();
}

}  // namespace zef
