// The platform's memory and bounds-checked functions, for programs that want nothing special of them.
#include <zef_config/platform/BoundsChecked.h>
#include <zef_config/platform/Memory.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

extern "C" {

void *yrmm_malloc(size_t size, int, const char *)
{
    return std::malloc(size);
}

void yrmm_free(void *memory, int, const char *)
{
    std::free(memory);
}

int memset_s(void *dest, size_t destSize, int value, size_t count)
{
    if (dest == nullptr || count > destSize) {
        return EINVAL;
    }
    std::memset(dest, value, count);
    return 0;
}

int strcpy_s(char *dest, size_t destSize, const char *src)
{
    if (dest == nullptr || src == nullptr || std::strlen(src) >= destSize) {
        return EINVAL;
    }
    std::memcpy(dest, src, std::strlen(src) + 1);
    return 0;
}

int strcat_s(char *dest, size_t destSize, const char *src)
{
    const size_t length = std::strlen(dest);
    return length < destSize ? strcpy_s(dest + length, destSize - length, src) : EINVAL;
}
}
