// The instances of ThreadPool::commit that the library exports. A compiler that puts one of them into its only caller
// would otherwise leave nothing to export.
#include "ThreadPool.h"
#include "ZefStorage.h"

#include <future>
#include <string>
#include <utility>

#include <cstdint>

using Name = const std::string &;
using Pair = const IpPair &;
using Count = const uint32_t &;
using Committed = std::pair<int, std::future<void>>;

// ConnectTask, CreateLinkTask, SetWwnTask, ConnectFCTask.
template Committed ThreadPool::commit(unsigned long, std::string, void (&)(Name, Name), Name, Name);
template Committed ThreadPool::commit(unsigned long, std::string, void (&)(Name, Pair), Name, Pair);
template Committed ThreadPool::commit(unsigned long, std::string, void (&)(Name, Pair, Count), Name, Pair, uint32_t &&);
template Committed ThreadPool::commit(unsigned long, std::string, void (&)(Name), Name);
