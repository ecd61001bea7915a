#include "app/MainEvents.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <system_error>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace zef {

namespace {

// A pipe, since writing to one is among the few things that a signal handler may do.
std::atomic<int> readEnd{-1};
std::atomic<int> writeEnd{-1};

constexpr std::array<int, 5> kSignals = {SIGINT, SIGTERM, SIGUSR1, SIGHUP, SIGPIPE};
std::array<struct sigaction, kSignals.size()> previousActions;

MainEvent EventOf(int signal)
{
    switch (signal) {
    case SIGUSR1:
        return MainEvent::ShowTable;
    case SIGHUP:
        return MainEvent::Reload;
    default:
        return MainEvent::Stop;
    }
}

void OnSignal(int signal)
{
    const int error = errno;
    MainEvents::Post(EventOf(signal));
    errno = error;
}

int PollTime(std::chrono::steady_clock::time_point end)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
}

void Handle(size_t index)
{
    struct sigaction action = {};
    action.sa_handler = kSignals[index] == SIGPIPE ? SIG_IGN : OnSignal;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(kSignals[index], &action, &previousActions[index]);
}

}  // namespace

MainEvents::MainEvents()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    readEnd = ends[0];
    writeEnd = ends[1];
    for (size_t i = 0; i < kSignals.size(); ++i) {
        Handle(i);
    }
}

MainEvents::~MainEvents()
{
    for (size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &previousActions[i], nullptr);
    }
    close(writeEnd.exchange(-1));
    close(readEnd.exchange(-1));
}

MainEvent MainEvents::Wait(std::chrono::milliseconds patience)
{
    // Waits in poll, which every signal ends; a read would be taken up again behind the handler's back.
    const bool isEndless = patience < std::chrono::milliseconds(0);
    const auto end = std::chrono::steady_clock::now() + patience;
    pollfd readable = {readEnd, POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&readable, 1, isEndless ? -1 : PollTime(end));
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) {
        return MainEvent::Nothing;
    }
    char event = static_cast<char>(MainEvent::Stop);
    while (read(readEnd, &event, 1) < 0 && errno == EINTR) {
    }
    return static_cast<MainEvent>(event);
}

void MainEvents::Post(MainEvent event)
{
    const char byte = static_cast<char>(event);
    const ssize_t written = write(writeEnd, &byte, 1);
    (void)written;
}

}  // namespace zef
