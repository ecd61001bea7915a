#include <cstdlib>

// Tools that follow paths: freed twice, on one of two ways through.
void Drop(bool isOld)
{
    void *const memory = std::malloc(16);
    if (isOld) {
        std::free(memory);
    }
    std::free(memory);
}
