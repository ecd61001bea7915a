#include "app/CommandLine.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Links and tries together; what is beyond that is there all the same, later.
constexpr int kDescriptors = 256;

// While a process has several threads, the one whose descriptor no longer fits the kernel's table waits for all
// processors until the table has grown, often for more than ten milliseconds; the first time is at the 64th descriptor.
// With one thread it waits for nobody. The library starts a thread as soon as it is loaded, in front of all constructors,
// so this is called in front of those, when not even the sanitizers' replacements of functions are ready.
__attribute__((no_sanitize("address", "thread", "undefined"))) void GrowDescriptorTable(int, char **, char **)
{
    const long highest = syscall(SYS_fcntl, STDERR_FILENO, F_DUPFD_CLOEXEC, kDescriptors - 1);
    if (highest >= 0) {
        syscall(SYS_close, highest);
    }
}

[[gnu::section(".preinit_array"), gnu::used]] void (*const growDescriptorTable)(int, char **, char **) =
    GrowDescriptorTable;

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): without memory for the command line the process ends
int main(int argc, char **argv)
{
    return zef::RunCommandLine(argc, argv);
}
