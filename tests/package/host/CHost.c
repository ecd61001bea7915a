/* A service that is written in C loads the platform and the library at run time:
 * CHost PLATFORM LIBRARY loads and unloads both 50 times, and ends with 0 when all was as it should be. */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef int32_t (*Query)(char *buffer, uint32_t size);
typedef void (*Command)(void);

/* A function pointer of a data pointer, in the way that ISO C leaves open. */
#define TAKE(function, library, name)                                \
    do {                                                             \
        void *const address = dlsym(library, name);                  \
        Require(address != NULL, name " is not exported");           \
        memcpy(&(function), &address, sizeof address);               \
    } while (0)

static void Require(int holds, const char *otherwise)
{
    if (!holds) {
        const char *const error = dlerror();
        fprintf(stderr, "CHost: %s %s\n", otherwise, error == NULL ? "" : error);
        exit(1);
    }
}

static int IsMapped(const char *path)
{
    char line[8192];
    int mapped = 0;
    FILE *const maps = fopen("/proc/self/maps", "r");
    Require(maps != NULL, "/proc/self/maps cannot be read");
    while (fgets(line, sizeof line, maps) != NULL) {
        mapped |= strstr(line, path) != NULL;
    }
    fclose(maps);
    return mapped;
}

static void Use(void *library)
{
    Query getUuid = NULL;
    Query getLocalAddr = NULL;
    Command finish = NULL;
    char buffer[40] = "untouched";
    TAKE(getUuid, library, "ZefConfigGetUuid");
    TAKE(getLocalAddr, library, "ZefConfigGetLocalAddr");
    TAKE(finish, library, "ZefConfigFinish");
    Require(getUuid(buffer, sizeof buffer) == -1, "a UUID although none was read");
    Require(getLocalAddr(buffer, sizeof buffer) == -1, "an address although there is no storage object");
    Require(strcmp(buffer, "untouched") == 0, "a buffer was written without a result");
    finish();
}

static void LoadUseAndUnload(const char *platformPath, const char *libraryPath)
{
    void *const platform = dlopen(platformPath, RTLD_NOW | RTLD_GLOBAL);
    Require(platform != NULL, "no platform:");
    void *const library = dlopen(libraryPath, RTLD_NOW | RTLD_LOCAL);
    Require(library != NULL, "no library:");
    Require(IsMapped(libraryPath), "the loaded library is not mapped");
    Use(library);
    Require(dlclose(library) == 0, "the library cannot be closed:");
    Require(!IsMapped(libraryPath), "the library stayed in memory");
    Require(dlclose(platform) == 0, "the platform cannot be closed:");
}

int main(int argc, char **argv)
{
    Require(argc == 3, "two arguments are expected: PLATFORM LIBRARY");
    for (int round = 0; round < 50; ++round) {
        LoadUseAndUnload(argv[1], argv[2]);
    }
    return 0;
}
