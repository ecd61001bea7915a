#include "iputil/IpUtilSettings.h"

#include "iputil/EarlyProbes.h"

#include <system_error>

#include <sys/eventfd.h>

#include <cerrno>

namespace zef {

IpUtilSettings &IpUtilSettings::Instance()
{
    static IpUtilSettings instance;
    return instance;
}

IpUtilSettings::IpUtilSettings() : stop(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!stop) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void IpUtilSettings::Configure(const IpUtilOptions &newOptions)
{
    const MutexLock lock(mutex);
    options = newOptions;
    eventfd_t ignored = 0;
    eventfd_read(stop.Get(), &ignored);
    EarlyProbes::Instance().Clear();
}

IpUtilOptions IpUtilSettings::Options() const
{
    const MutexLock lock(mutex);
    return options;
}

void IpUtilSettings::StopProbing()
{
    eventfd_write(stop.Get(), 1);
    EarlyProbes::Instance().Clear();  // after that, so that none begins any more
}

}  // namespace zef
