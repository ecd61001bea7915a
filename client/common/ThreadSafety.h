// What clang's thread-safety analysis is told about locks. Nothing for other compilers.
#ifndef ZEF_CLIENT_COMMON_THREAD_SAFETY_H
#define ZEF_CLIENT_COMMON_THREAD_SAFETY_H

#if defined(__clang__)
#define ZEF_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define ZEF_THREAD_SAFETY(attribute)
#endif

// Of a class: its objects are locks; or hold one for the time of a scope.
#define ZEF_CAPABILITY(name) ZEF_THREAD_SAFETY(capability(name))
#define ZEF_SCOPED_CAPABILITY ZEF_THREAD_SAFETY(scoped_lockable)

// Of a member: touched only with that mutex held.
#define ZEF_GUARDED_BY(mutex) ZEF_THREAD_SAFETY(guarded_by(mutex))

// Of a mutex: never taken with that other one held already.
#define ZEF_ACQUIRED_BEFORE(mutex) ZEF_THREAD_SAFETY(acquired_before(mutex))

// Of a function: takes or gives up the mutex; is called with it held; must not be called with it held.
#define ZEF_ACQUIRE(...) ZEF_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define ZEF_RELEASE(...) ZEF_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define ZEF_REQUIRES(...) ZEF_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define ZEF_EXCLUDES(...) ZEF_THREAD_SAFETY(locks_excluded(__VA_ARGS__))

// Of a function that does with locks what the analysis cannot follow.
#define ZEF_NO_THREAD_SAFETY_ANALYSIS ZEF_THREAD_SAFETY(no_thread_safety_analysis)

#endif
