#include "Kills.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <random>
#include <stdexcept>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr mode_t kTargetMode = 0640;

struct Counts {
    long torn, lost, readable, stopped, early, written, renamed, between, privateLeft, modedLeft;

    long InSaves() const { return early + written + renamed; }
};

using Clock = std::chrono::steady_clock;

long MicrosecondsOfASave(Saver &saver, const std::string &target)
{
    constexpr int kSaves = 50;
    const Clock::time_point start = Clock::now();
    for (int version = 1; version <= kSaves; ++version) {
        if (saver.Save(version, target) != 0) {
            throw std::runtime_error("nothing can be saved to " + target);
        }
    }
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count() / kSaves + 1;
}

// Returns once the child saves.
pid_t StartSaving(Saver &saver, const std::string &target, long version, volatile Progress &progress)
{
    int ready[2];
    if (pipe(ready) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ready[0]);
        close(ready[1]);
        SaveOnAndOn(saver, target, version, progress, 0);
        _exit(1);
    }
    close(ready[1]);
    char nothing;
    if (child < 0 || read(ready[0], &nothing, 1) != 0) {
        throw std::runtime_error("no child");
    }
    close(ready[0]);
    return child;
}

// True when it was killed, false when it had ended before.
bool Kill(pid_t child)
{
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status);
}

// A temporary file belongs to its owner alone, but for the moment before its renaming, when it is whole and has the
// mode of the target, and the moment after the next save has emptied that one.
void ExamineLeft(const std::string &temporary, mode_t mode, Counts &counts)
{
    constexpr mode_t kOwnerOnly = 0600;
    const std::string text = Content(temporary);
    const bool isModed = mode == kTargetMode && (text.empty() || VersionOf(text) >= 0);
    counts.privateLeft += mode == kOwnerOnly;
    counts.modedLeft += isModed;
    counts.readable += mode != kOwnerOnly && !isModed;
}

void ExamineTarget(const std::string &target, const volatile Progress &progress, Counts &counts)
{
    const long found = VersionOf(Content(target));
    counts.torn += found < 0 || found > progress.begun;
    counts.lost += found >= 0 && found < progress.done;
}

void NotePlace(const std::string &target, const volatile Progress &progress, bool isLeft, Counts &counts)
{
    const bool inSave = progress.begun != progress.done;
    const bool isRenamed = VersionOf(Content(target)) == progress.begun;
    counts.between += !inSave;
    counts.renamed += inSave && isRenamed;
    counts.written += inSave && !isRenamed && isLeft;
    counts.early += inSave && !isRenamed && !isLeft;
}

void Examine(const std::string &target, bool wasKilled, const volatile Progress &progress, Counts &counts)
{
    struct stat status = {};
    const bool isLeft = stat(TemporaryOf(target).c_str(), &status) == 0;
    ExamineTarget(target, progress, counts);
    counts.stopped += !wasKilled;
    if (wasKilled) {
        NotePlace(target, progress, isLeft, counts);
    }
    if (isLeft) {
        ExamineLeft(TemporaryOf(target), status.st_mode & 07777U, counts);
    }
}

}  // namespace

int SaveOnAndOn(Saver &saver, const std::string &target, long version, volatile Progress &progress, unsigned pauseUs)
{
    std::minstd_rand random(static_cast<unsigned>(version));
    for (;; ++version) {
        progress.begun = version;
        const int result = saver.Save(version, target);
        if (result != 0) {
            return result;
        }
        progress.done = version;
        if (pauseUs != 0) {
            usleep(static_cast<unsigned>(random() % pauseUs));
        }
    }
}

void KillSaves(Saver &saver, const std::string &target, long count, unsigned seed)
{
    void *const memory = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no shared memory");
    }
    volatile Progress &progress = *static_cast<Progress *>(memory);
    umask(0);
    prctl(PR_SET_TIMERSLACK, 1);
    std::ofstream(target, std::ios::binary | std::ios::trunc) << TextOf(0);
    if (chmod(target.c_str(), kTargetMode) != 0) {
        throw std::runtime_error("no mode for " + target);
    }
    std::mt19937 random(seed);
    std::uniform_int_distribution<long> delay(0, 3 * MicrosecondsOfASave(saver, target));
    Counts counts = {};
    long version = VersionOf(Content(target));
    progress.begun = progress.done = version;
    // Few kills come between two saves; more than that, and a saver that is stopped, end it too.
    for (long trial = 0; trial < 2 * count && counts.InSaves() < count; ++trial) {
        const pid_t child = StartSaving(saver, target, version + 1, progress);
        usleep(static_cast<unsigned>(delay(random)));
        const bool wasKilled = Kill(child);
        Examine(target, wasKilled, progress, counts);
        if (!wasKilled) {
            std::remove(TemporaryOf(target).c_str());
        }
        version = progress.begun;
        progress.begun = progress.done = std::max(VersionOf(Content(target)), 0L);
    }
    munmap(memory, sizeof(Progress));
    std::printf("torn %ld lost %ld readable %ld stopped %ld early %ld written %ld renamed %ld between %ld private %ld "
                "moded %ld\n", counts.torn, counts.lost, counts.readable, counts.stopped, counts.early, counts.written,
                counts.renamed, counts.between, counts.privateLeft, counts.modedLeft);
}
