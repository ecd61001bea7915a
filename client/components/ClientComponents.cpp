#include "components/ClientComponents.h"

#include "common/NeverDestroyed.h"

#include <utility>

namespace zef {

ClientComponents &ClientComponents::Instance()
{
    static NeverDestroyed<ClientComponents> instance;
    return instance.Get();
}

void ClientComponents::SetInfoUuid(const std::string &uuid)
{
    const MutexLock lock(mutex);
    infoUuid = uuid;
}

void ClientComponents::SetHibUuid(const std::string &uuid)
{
    const MutexLock lock(mutex);
    hibUuid = uuid;
}

void ClientComponents::CountFibreChannelStart()
{
    const MutexLock lock(mutex);
    ++fibreChannelStarts;
}

uint32_t ClientComponents::SetSeenLinkRecords(uint32_t count)
{
    const MutexLock lock(mutex);
    return std::exchange(seenLinkRecords, count);
}

std::string ClientComponents::InfoUuid() const
{
    const MutexLock lock(mutex);
    return infoUuid;
}

std::string ClientComponents::HibUuid() const
{
    const MutexLock lock(mutex);
    return hibUuid;
}

uint32_t ClientComponents::FibreChannelStarts() const
{
    const MutexLock lock(mutex);
    return fibreChannelStarts;
}

uint32_t ClientComponents::SeenLinkRecords() const
{
    const MutexLock lock(mutex);
    return seenLinkRecords;
}

}  // namespace zef
