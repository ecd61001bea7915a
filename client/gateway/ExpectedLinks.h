// Links that the library is about to ask for, which need not wait for one another.
#ifndef ZEF_CLIENT_GATEWAY_EXPECTED_LINKS_H
#define ZEF_CLIENT_GATEWAY_EXPECTED_LINKS_H

#include "common/Mutex.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

#include <cstddef>

namespace zef {

// A pair is expected first, then begun, and forgotten once it is asked for. Any thread.
class ExpectedLinks {
public:
    using Pair = std::pair<std::string, std::string>;  // local address, array address

    // As many pairs as the library keeps of a storage object.
    static constexpr size_t kMost = 32;

    // Expects these local addresses towards the array in addition to those begun, as far as there is room, and forgets
    // which it expected before. Returns what was begun and is not among `still` any more, which is forgotten as well.
    std::vector<Pair> Expect(const std::string &array, const std::set<std::string> &locals,
                             const std::set<std::string> &still);

    // What is expected and not begun; the caller begins it, or nobody does.
    std::set<Pair> TakeWaiting();

    void Begun(const Pair &pair);

    // The pair is asked for, or deleted. True when it was begun.
    bool Claim(const Pair &pair);

    void Clear();

private:
    Mutex mutex;
    std::set<Pair> waiting ZEF_GUARDED_BY(mutex);
    std::set<Pair> begun ZEF_GUARDED_BY(mutex);
};

}  // namespace zef

#endif
