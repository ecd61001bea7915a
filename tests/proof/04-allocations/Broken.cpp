// Operations that a lack of memory breaks, each in a way that has to be noticed.
#include "Operation.h"
#include "Platform.h"

#include <zef_config/ZefStorageManager.h>

#include <memory>

#include <cstdlib>
#include <cstring>

namespace {

void Nothing() {}

int LoseTheFirstBlock()
{
    void *const first = std::malloc(100);
    if (first == nullptr) {
        return -1;
    }
    void *const second = std::malloc(200);
    if (second == nullptr) {
        return -1;
    }
    std::free(first);
    std::free(second);
    return 0;
}

int UseWhatIsNotThere()
{
    char *const volatile block = static_cast<char *>(std::malloc(100));
    std::memset(block, 0, 100);
    std::free(block);
    return 0;
}

int TerminateInADestructor() noexcept
{
    const std::string text(100, 'x');
    return text.size() == 100 ? 0 : -1;
}

int ChangeTheHalf()
{
    if (ZefStorageManager::CreateStorage("first_storage_object", "first_user", "sealed:1", "") != 0) {
        return -1;
    }
    return ZefStorageManager::CreateStorage("second_storage_object", "second_user", "sealed:2", "");
}

int SayNothing()
{
    void *const block = std::malloc(100);
    const Disarmed disarmed;
    if (block != nullptr) {
        Platform::Get().items[1] = 1;
    }
    std::free(block);
    return 0;
}

// Remembers for ever that there was no memory once.
int RefuseForEver()
{
    static bool isBroken = false;
    const std::unique_ptr<char, decltype(&std::free)> block(static_cast<char *>(std::malloc(100)), &std::free);
    isBroken = isBroken || block == nullptr;
    return isBroken ? -1 : 0;
}

}  // namespace

std::vector<Operation> BrokenOperations()
{
    return {
        {"leaks", Nothing, LoseTheFirstBlock},
        {"crashes", Nothing, UseWhatIsNotThere},
        {"terminates", Nothing, TerminateInADestructor},
        {"changes the half", Nothing, ChangeTheHalf},
        {"changes nothing in silence", Nothing, SayNothing},
        {"cannot be repeated", Nothing, RefuseForEver},
    };
}
