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
    const std::lock_guard<std::mutex> lock(mutex);
    infoUuid = uuid;
}

void ClientComponents::SetHibUuid(const std::string &uuid)
{
    const std::lock_guard<std::mutex> lock(mutex);
    hibUuid = uuid;
}

void ClientComponents::CountFibreChannelStart()
{
    const std::lock_guard<std::mutex> lock(mutex);
    ++fibreChannelStarts;
}

uint32_t ClientComponents::SetSeenLinkRecords(uint32_t count)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(seenLinkRecords, count);
}

std::string ClientComponents::InfoUuid() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return infoUuid;
}

std::string ClientComponents::HibUuid() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return hibUuid;
}

uint32_t ClientComponents::FibreChannelStarts() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return fibreChannelStarts;
}

uint32_t ClientComponents::SeenLinkRecords() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return seenLinkRecords;
}

}  // namespace zef
