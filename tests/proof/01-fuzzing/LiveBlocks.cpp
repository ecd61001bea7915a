#include "LiveBlocks.h"

#include <cstddef>

extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void *, size_t),
                                                         void (*onFree)(const volatile void *));

namespace {

thread_local long liveBlocks = 0;

void CountMalloc(const volatile void *, size_t)
{
    ++liveBlocks;
}

void CountFree(const volatile void *memory)
{
    liveBlocks -= memory == nullptr ? 0 : 1;
}

}  // namespace

long LiveBlocks()
{
    static const int installed = __sanitizer_install_malloc_and_free_hooks(CountMalloc, CountFree);
    (void)installed;
    return liveBlocks;
}
