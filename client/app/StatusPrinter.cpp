#include "app/StatusPrinter.h"

#include "common/QuietThread.h"

#include <algorithm>
#include <utility>

#include <climits>

#include <poll.h>
#include <unistd.h>

namespace zef {

namespace {

// A reader that takes nothing for so long is looked at again; while the client ends it is given up.
constexpr int kWritePatienceMs = 100;

}  // namespace

StatusPrinter::StatusPrinter(int outputDescriptor, std::function<std::string()> tableSource, const LogClock &clock)
    : descriptor(outputDescriptor), takeTable(std::move(tableSource)), news(clock),
      thread(StartQuietThread([this] { Run(); }))
{
}

StatusPrinter::~StatusPrinter()
{
    {
        const MutexLock lock(mutex);
        ending = true;
    }
    changed.NotifyOne();
    thread.join();
}

void StatusPrinter::LinkChanged(const LinkState &state)
{
    if (std::optional<std::string> line = news.Line(state)) {
        Add(std::move(line));
    }
}

void StatusPrinter::ShowTable()
{
    Add(std::nullopt);
}

void StatusPrinter::Add(Request request)
{
    {
        const MutexLock lock(mutex);
        requests.push_back(std::move(request));
    }
    changed.NotifyOne();
}

void StatusPrinter::Run()
{
    MutexLock lock(mutex);
    while (true) {
        while (!ending && requests.empty()) {
            changed.Wait(mutex);
        }
        if (requests.empty()) {
            return;
        }
        const Request request = std::move(requests.front());
        requests.pop_front();
        if (!request && ending) {
            continue;  // the table of a client that has gone already
        }
        lock.Unlock();
        if (!Write(request ? *request + "\n" : takeTable())) {
            return;
        }
        lock.Lock();
    }
}

// False when the client ends and the reader takes nothing more.
bool StatusPrinter::Write(const std::string &text)
{
    size_t done = 0;
    while (done < text.size()) {
        pollfd writable = {descriptor, POLLOUT, 0};
        if (poll(&writable, 1, kWritePatienceMs) == 0) {
            if (IsEnding()) {
                return false;
            }
            continue;
        }
        // A pipe that is writable takes this many bytes without blocking, unless another writer is faster.
        const ssize_t written = write(descriptor, text.data() + done, std::min<size_t>(text.size() - done, PIPE_BUF));
        if (written < 0) {
            return true;  // nobody reads any more; that is no reason for a client to end
        }
        done += static_cast<size_t>(written);
    }
    return true;
}

bool StatusPrinter::IsEnding()
{
    const MutexLock lock(mutex);
    return ending;
}

}  // namespace zef
