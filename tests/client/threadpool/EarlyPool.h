// A shared library with a static pool, as the configuration library has one.
#ifndef ZEF_TESTS_CLIENT_THREADPOOL_EARLY_POOL_H
#define ZEF_TESTS_CLIENT_THREADPOOL_EARLY_POOL_H

#include <zef_config/ThreadPool.h>

// The pool, with one worker.
__attribute__((visibility("default"))) ThreadPool &EarlyPool();

// Of a task that was committed right after the pool was constructed; gives true.
__attribute__((visibility("default"))) std::future<bool> &EarlyTask();

#endif
