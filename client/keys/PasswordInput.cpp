#include "keys/PasswordInput.h"

#include "common/FileDescriptor.h"
#include "keys/KeyError.h"
#include "keys/KeyRing.h"

#include <fmt/format.h>

#include <ostream>
#include <system_error>
#include <utility>

#include <cerrno>
#include <csignal>
#include <cstring>

#include <poll.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

namespace zef {

namespace {

KeyError InputError(const char *what)
{
    return KeyError(fmt::format("{}: {}", what, std::generic_category().message(errno)));
}

sigset_t EndingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        sigaddset(&signals, signal);
    }
    return signals;
}

// Holds the signals back until it goes. They stay pending and are then delivered as if they had just come.
class HeldSignals {
public:
    HeldSignals() : arrival(signalfd(-1, &ending, SFD_CLOEXEC))
    {
        if (!arrival) {
            throw InputError("the password cannot be read");
        }
        sigset_t held = ending;
        sigaddset(&held, SIGTSTP);
        pthread_sigmask(SIG_BLOCK, &held, &before);
    }

    ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

    HeldSignals(const HeldSignals &) = delete;
    HeldSignals &operator=(const HeldSignals &) = delete;

    // Readable once one of the ending signals has come; -1 when there is no such descriptor.
    int Arrival() const { return arrival.Get(); }

private:
    const sigset_t ending = EndingSignals();
    FileDescriptor arrival;
    sigset_t before{};
};

// Switches the echo off until it goes. What was typed ahead is dropped, before and after.
class SilentTerminal {
public:
    explicit SilentTerminal(int terminal) : descriptor(terminal)
    {
        if (tcgetattr(descriptor, &before) != 0) {
            throw InputError("the terminal cannot be asked for its settings");
        }
        termios silent = before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHOK | ECHONL);
        silent.c_lflag |= ICANON | ISIG;
        if (tcsetattr(descriptor, TCSAFLUSH, &silent) != 0) {
            throw InputError("the terminal's echo cannot be switched off");
        }
    }

    ~SilentTerminal() { (void)tcsetattr(descriptor, TCSAFLUSH, &before); }

    SilentTerminal(const SilentTerminal &) = delete;
    SilentTerminal &operator=(const SilentTerminal &) = delete;

private:
    int descriptor;
    termios before{};
};

void AwaitInput(int descriptor, int arrival)
{
    // poll passes over a negative descriptor.
    pollfd sources[] = {{descriptor, POLLIN, 0}, {arrival, POLLIN, 0}};
    while (poll(sources, std::size(sources), -1) < 0) {
        if (errno != EINTR) {
            throw InputError("the password cannot be read");
        }
    }
    if (sources[1].revents != 0) {
        throw KeyError("interrupted");
    }
}

// Bytes up to the first newline or the end of the input, the newline left out.
class LineReader {
public:
    LineReader(int source, int arrivalDescriptor) : descriptor(source), arrival(arrivalDescriptor) {}

    SecretBuffer Read()
    {
        while (!ended) {
            if (size > KeyRing::kMaxPasswordBytes) {
                throw KeyError(fmt::format("the password is longer than {} bytes", KeyRing::kMaxPasswordBytes));
            }
            ReadByte();
        }
        return {line.Data(), size};
    }

private:
    // One at a time: nothing behind the line is taken away from whoever reads on.
    void ReadByte()
    {
        AwaitInput(descriptor, arrival);
        const ssize_t count = read(descriptor, line.Data() + size, 1);
        if (count < 0 && errno != EINTR && errno != EAGAIN) {
            throw InputError("the password cannot be read");
        }
        ended = count == 0 || (count > 0 && line.Data()[size] == '\n');
        size += count > 0 && !ended ? 1 : 0;
    }

    int descriptor;
    int arrival;
    SecretBuffer line{KeyRing::kMaxPasswordBytes + 1};
    size_t size = 0;
    bool ended = false;
};

}  // namespace

PasswordInput::PasswordInput(int inputDescriptor, std::ostream &promptStream)
    : descriptor(inputDescriptor), prompts(promptStream)
{
}

SecretBuffer PasswordInput::Read()
{
    return Read(Asking::Twice);
}

SecretBuffer PasswordInput::ReadOnce()
{
    return Read(Asking::Once);
}

SecretBuffer PasswordInput::Read(Asking asking)
{
    constexpr int kNoSignals = -1;
    return isatty(descriptor) == 1 ? ReadFromTerminal(asking) : LineReader(descriptor, kNoSignals).Read();
}

SecretBuffer PasswordInput::ReadFromTerminal(Asking asking)
{
    const HeldSignals signals;  // outlives the silence: the terminal is put right before a signal ends the process
    const SilentTerminal silence(descriptor);
    prompts << "Password: " << std::flush;
    SecretBuffer password = LineReader(descriptor, signals.Arrival()).Read();
    if (asking == Asking::Twice) {
        prompts << "\nOnce more: " << std::flush;
        if (!password.Equals(LineReader(descriptor, signals.Arrival()).Read())) {
            prompts << std::endl;
            throw KeyError("the two passwords differ");
        }
    }
    prompts << std::endl;
    return password;
}

}  // namespace zef
