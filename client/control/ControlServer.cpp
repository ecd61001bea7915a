#include "control/ControlServer.h"

#include <utility>

namespace zef {

ControlServer::ControlServer(const ControlOptions &options, RequestHandler handler)
    : loop(options), executor(
                         std::move(handler), [this](uint64_t id, std::string line) { loop.Post(id, std::move(line)); },
                         options.maxQueued)
{
    loop.Start(executor);
}

ControlServer::~ControlServer()
{
    Stop();
}

void ControlServer::NotifyChange()
{
    loop.NotifyChange();
}

// In this order the last answer gets out.
void ControlServer::Stop()
{
    executor.Stop();
    loop.Stop();
}

}  // namespace zef
