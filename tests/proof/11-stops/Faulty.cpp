// zef_faulty FAULT: does on purpose what a sanitizer has to report.
#include <iostream>
#include <memory>
#include <string>
#include <thread>

namespace {

int shared = 0;

void UseAfterFree()
{
    auto value = std::make_unique<int>(1);
    const volatile int *const kept = value.get();
    value.reset();
    std::cout << *kept << '\n';
}

void Race()
{
    std::thread other([] { ++shared; });
    ++shared;
    other.join();
}

void Leak()
{
    volatile auto *lost = new std::string(100, 'x');
    lost = nullptr;
    static_cast<void>(lost);
}

}  // namespace

int main(int argc, char **argv)
{
    const std::string fault = argc == 2 ? argv[1] : "";
    if (fault == "use-after-free") {
        UseAfterFree();
    } else if (fault == "race") {
        Race();
    } else if (fault == "leak") {
        Leak();
    } else {
        return 2;
    }
}
