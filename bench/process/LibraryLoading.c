/* Loads a library and says what that took: LibraryLoading LIBRARY prints nanoseconds; LibraryLoading LIBRARY memory
 * prints by how many KiB the process has grown. */
#include "Resident.h"

#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <time.h>

static int64_t Now(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000000 + now.tv_nsec;
}

int main(int argc, char **argv)
{
    if (argc < 2) {
        fputs("usage: LibraryLoading LIBRARY [memory]\n", stderr);
        return 2;
    }
    int64_t (*const measure)(void) = argc > 2 ? ResidentKiB : Now;
    const int64_t before = measure();
    void *const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    const int64_t after = measure();
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    printf("%lld\n", (long long)(after - before));
    return dlclose(library);
}
