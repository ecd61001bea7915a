#include "Limits.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include <sys/resource.h>
#include <unistd.h>

namespace {

void LimitFileSize(rlim_t bytes)
{
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
        throw std::runtime_error("the file size cannot be limited");
    }
}

}  // namespace

void SaveUnderLimits(Saver &saver, const std::string &target, long version)
{
    long tried = 0;
    long refused = 0;
    long silent = 0;
    long damaged = 0;
    long left = 0;
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string before = TextOf(version + 1);
    const size_t length = TextOf(version).size();
    for (size_t limit = 0; limit <= length; ++limit) {
        std::remove(TemporaryOf(target).c_str());
        std::ofstream(target, std::ios::binary | std::ios::trunc) << before;
        LimitFileSize(limit);
        const int result = saver.Save(version, target);
        LimitFileSize(RLIM_INFINITY);
        const long found = VersionOf(Content(target));
        ++tried;
        refused += result != 0;
        silent += result == 0 && found != version;
        damaged += result != 0 && found != version + 1;
        left += access(TemporaryOf(target).c_str(), F_OK) == 0;
    }
    std::printf("tried %ld refused %ld silent %ld damaged %ld left %ld\n", tried, refused, silent, damaged, left);
}
