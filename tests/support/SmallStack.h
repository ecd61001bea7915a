// Code that must get along with little stack.
#ifndef ZEF_TESTS_SUPPORT_SMALL_STACK_H
#define ZEF_TESTS_SUPPORT_SMALL_STACK_H

#include <functional>
#include <stdexcept>

#include <cstddef>

#include <pthread.h>

// Runs the work on a thread whose stack is far too small for a recursion into a deep document, and waits for its end.
// Whoever recurses all the same crashes the test.
inline void RunOnSmallStack(std::function<void()> work)
{
    constexpr size_t kStackBytes = 256 * 1024;
    pthread_attr_t attributes;
    pthread_t thread;
    if (pthread_attr_init(&attributes) != 0 || pthread_attr_setstacksize(&attributes, kStackBytes) != 0 ||
        pthread_create(
            &thread, &attributes,
            [](void *argument) -> void * {
                (*static_cast<std::function<void()> *>(argument))();
                return nullptr;
            },
            &work) != 0) {
        throw std::runtime_error("no thread with a small stack");
    }
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

#endif
