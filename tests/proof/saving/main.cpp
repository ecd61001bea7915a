// Saves, loads and is killed, for the proofs of saving.
//
//   zef_proof_saver save SAVER TARGET VERSION       "result N"; exits with 0 when the saver says it is saved, 1 if not
//   zef_proof_saver load FILE                       "loaded VERSION", -1 for another text; "refused"; "error N"
//   zef_proof_saver which FILE                      "version VERSION", -1 when it is no whole version
//   zef_proof_saver text VERSION                    its text
//   zef_proof_saver loop SAVER TARGET VERSION PROGRESS OTHER   saves on and on, while OTHER is synced now and then
//   zef_proof_saver kills SAVER TARGET COUNT SEED   see Kills.h
//   zef_proof_saver limits SAVER TARGET VERSION     see Limits.h
//
// What lies between two looks for kMark, which is not there, is what saving and loading ask of the kernel.
#include "Kills.h"
#include "Limits.h"
#include "Savers.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr const char *kMark = "/zef-proof-mark";

void Mark()
{
    (void)access(kMark, F_OK);
}

int Save(const std::vector<std::string> &arguments)
{
    Saver saver(arguments.at(0));
    int result = -1;
    Mark();
    try {
        result = saver.Save(std::stol(arguments.at(2)), arguments.at(1));
    } catch (const std::bad_alloc &) {
        result = -ENOMEM;
    }
    Mark();
    std::printf("result %d\n", result);
    return result == 0 ? 0 : 1;
}

int Load(const std::vector<std::string> &arguments)
{
    ConfigMgr manager;
    int result = -1;
    Mark();
    try {
        result = manager.ReadConfig(arguments.at(0));
    } catch (const std::bad_alloc &) {
        result = ENOMEM;
    }
    Mark();
    if (result != 0) {
        std::printf("error %d\n", result);
    } else if (manager.GetConfig().Size() == 0) {
        std::printf("refused\n");
    } else {
        const std::string copy = arguments.at(0) + ".copy";
        std::ofstream(copy).close();
        const int saved = manager.SaveConfig(copy);
        std::printf("loaded %ld\n", saved == 0 ? VersionOf(Content(copy)) : -1);
        std::remove(copy.c_str());
    }
    return 0;
}

// Makes the file system commit what it has, as the rest of a machine does.
void SyncOther(const std::string &path)
{
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    for (unsigned count = 0; descriptor >= 0; ++count) {
        if (pwrite(descriptor, &count, sizeof count, 0) < 0 || fsync(descriptor) != 0) {
            return;
        }
        usleep(5000);
    }
}

int Loop(const std::vector<std::string> &arguments)
{
    constexpr unsigned kPauseUs = 4000;
    const int descriptor = open(arguments.at(3).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0 || ftruncate(descriptor, sizeof(Progress)) != 0) {
        throw std::runtime_error("no file for the progress");
    }
    void *const memory = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no memory for the progress");
    }
    Saver saver(arguments.at(0));
    std::thread(SyncOther, arguments.at(4)).detach();
    const int result = SaveOnAndOn(saver, arguments.at(1), std::stol(arguments.at(2)), *static_cast<Progress *>(memory),
                                   kPauseUs);
    std::fprintf(stderr, "a save failed: %d\n", result);
    std::_Exit(1);
}

int Run(const std::string &command, const std::vector<std::string> &arguments)
{
    if (command == "save") {
        return Save(arguments);
    }
    if (command == "load") {
        return Load(arguments);
    }
    if (command == "loop") {
        return Loop(arguments);
    }
    if (command == "which") {
        std::printf("version %ld\n", VersionOf(Content(arguments.at(0))));
        return 0;
    }
    if (command == "text") {
        std::fputs(TextOf(std::stol(arguments.at(0))).c_str(), stdout);
        return 0;
    }
    Saver saver(arguments.at(0));
    if (command == "kills") {
        const unsigned seed = static_cast<unsigned>(std::stoul(arguments.at(3)));
        KillSaves(saver, arguments.at(1), std::stol(arguments.at(2)), seed);
    } else if (command == "limits") {
        SaveUnderLimits(saver, arguments.at(1), std::stol(arguments.at(2)));
    } else {
        throw std::runtime_error("no such command: " + command);
    }
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    try {
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        return Run(arguments.at(0), {arguments.begin() + 1, arguments.end()});
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 3;
    }
}
