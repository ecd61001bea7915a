#include "common/Mutex.h"

// clang's thread-safety analysis: written without the mutex.
class Counter {
public:
    void Count() { ++count; }

private:
    zef::Mutex mutex;
    int count ZEF_GUARDED_BY(mutex) = 0;
};

void CountOnce(Counter &counter)
{
    counter.Count();
}
