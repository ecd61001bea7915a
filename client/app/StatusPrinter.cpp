#include "app/StatusPrinter.h"

#include "common/QuietThread.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <climits>

#include <poll.h>
#include <unistd.h>

namespace zef {

namespace {

// A reader that takes nothing for so long is looked at again; while the client ends it is given up.
constexpr int kWritePatienceMs = 100;

// A link passes through the phases of a login one right after another, so the line for one waits that long for what
// comes of it: all of them are written at once, instead of waking this thread and the reader for each.
constexpr std::chrono::milliseconds kGathering(20);

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
        Add(std::move(line), !IsTrying(state.phase));
    }
}

void StatusPrinter::ShowTable()
{
    Add(std::nullopt, true);
}

void StatusPrinter::Add(Request request, bool atOnce)
{
    bool isNews = atOnce;
    {
        const MutexLock lock(mutex);
        isNews = isNews || requests.empty();
        isUrgent = isUrgent || atOnce;
        requests.push_back(std::move(request));
    }
    if (isNews) {
        changed.NotifyOne();
    }
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
        Gather();
        const std::string lines = TakeLines();
        if (lines.empty()) {
            requests.pop_front();
            if (ending) {
                continue;  // the table of a client that has gone already
            }
        }
        lock.Unlock();
        if (!Write(lines.empty() ? takeTable() : lines)) {
            return;
        }
        lock.Lock();
    }
}

void StatusPrinter::Gather()
{
    const auto until = std::chrono::steady_clock::now() + kGathering;
    while (!ending && !isUrgent && changed.WaitUntil(mutex, until)) {
    }
}

// Those in front of the next table, as many as a pipe takes in one piece; "" when the table is due.
std::string StatusPrinter::TakeLines()
{
    std::string lines;
    for (; !requests.empty() && requests.front(); requests.pop_front()) {
        if (!lines.empty() && lines.size() + requests.front()->size() >= PIPE_BUF) {
            break;
        }
        lines += *requests.front() + "\n";
    }
    isUrgent = !requests.empty();
    return lines;
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
