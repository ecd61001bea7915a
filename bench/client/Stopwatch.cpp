// bench_stopwatch COUNT TEXT COMMAND...: starts the command, waits until it has written the text so often to its standard
// output, and ends it with SIGTERM. Prints the milliseconds from its start to then, how often its threads have gone to
// sleep until then, and behind that what it wrote.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include <cstdio>
#include <cstdlib>

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

constexpr int kPatienceMs = 60000;  // for the next piece of output

class Output {
public:
    Output(int descriptor, std::string text) : pipe(descriptor), wanted(std::move(text)) {}

    // How often the text has come so far.
    int Count() const { return count; }

    const std::string &Text() const { return all; }

    // False at the end of the output, or when nothing more comes.
    bool ReadOn()
    {
        char piece[65536];
        pollfd readable = {pipe, POLLIN, 0};
        const ssize_t size = poll(&readable, 1, kPatienceMs) == 1 ? read(pipe, piece, sizeof piece) : -1;
        if (size <= 0) {
            return false;
        }
        all.append(piece, static_cast<size_t>(size));
        size_t found = 0;
        for (; (found = all.find(wanted, next)) != std::string::npos; next = found + wanted.size()) {
            ++count;
        }
        next = std::max(next, all.size() - std::min(all.size(), wanted.size() - 1));
        return true;
    }

private:
    const int pipe;
    const std::string wanted;
    std::string all;
    size_t next = 0;  // from here on it may still come
    int count = 0;
};

// Its process id, or -1; its output can be read from the descriptor.
pid_t Start(char **command, int &output)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return -1;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    pid_t child = -1;
    const bool started = posix_spawn(&child, command[0], &actions, nullptr, command, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    output = ends[0];
    return started ? child : -1;
}

// By the kernel's count, of the threads that are there.
long SleepsOf(pid_t process)
{
    long sleeps = 0;
    const std::filesystem::path tasks = "/proc/" + std::to_string(process) + "/task";
    for (const auto &task : std::filesystem::directory_iterator(tasks)) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            long count = 0;
            if (std::sscanf(line.c_str(), "voluntary_ctxt_switches: %ld", &count) == 1) {
                sleeps += count;
            }
        }
    }
    return sleeps;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 4) {
        return EXIT_FAILURE;
    }
    const int wanted = std::atoi(argv[1]);
    int descriptor = -1;
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = Start(argv + 3, descriptor);
    if (child < 0) {
        return EXIT_FAILURE;
    }
    Output output(descriptor, argv[2]);
    while (output.Count() < wanted && output.ReadOn()) {
    }
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    const bool done = output.Count() >= wanted;
    std::printf("%.3f %ld\n%s", taken.count(), SleepsOf(child), output.Text().c_str());
    kill(child, done ? SIGTERM : SIGKILL);
    while (output.ReadOn()) {
    }
    waitpid(child, nullptr, 0);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
