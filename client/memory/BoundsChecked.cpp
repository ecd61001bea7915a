// The bounds-checked functions under their plain names, over safec.
//
// safec exports them with one more argument, the object size that the compiler knows at the place of the call, and
// makes the plain names macros that supply it. The library calls functions, so here the macros go and functions take
// their place; the size of the object is then unknown, and destSize alone counts.
#include <safe_mem_lib.h>
#include <safe_str_lib.h>
#undef memset_s
#undef strcpy_s
#undef strcat_s

#include "log/Log.h"

#include <zef_config/platform/BoundsChecked.h>

#include <algorithm>

namespace {

// safec refuses a longer text buffer whatever the text. Only texts that reach this length are refused here.
size_t WithinLimit(size_t destSize)
{
    return std::min<size_t>(destSize, RSIZE_MAX_STR);
}

// A refusal is an ordinary result here: the caller gets its code, and the log one line. safec's texts are constants
// that name function and reason, never the data.
void LogRefusal(const char *message, void *, errno_t code)
{
    zef::LogWarn("memory", "refused by a bounds check: {} (code {})", message == nullptr ? "" : message, code);
}

// Once per process, on the first call of any of the functions. Without it safec would do what it is built to do by
// default.
void UseOwnHandler()
{
    static const bool installed = [] {
        set_mem_constraint_handler_s(LogRefusal);
        set_str_constraint_handler_s(LogRefusal);
        return true;
    }();
    static_cast<void>(installed);
}

}  // namespace

int memset_s(void *dest, size_t destSize, int value, size_t count)
{
    UseOwnHandler();
    return _memset_s_chk(dest, destSize, value, count, BOS_UNKNOWN);
}

int strcpy_s(char *dest, size_t destSize, const char *src)
{
    UseOwnHandler();
    return _strcpy_s_chk(dest, WithinLimit(destSize), src, BOS_UNKNOWN);
}

int strcat_s(char *dest, size_t destSize, const char *src)
{
    UseOwnHandler();
    return _strcat_s_chk(dest, WithinLimit(destSize), src, BOS_UNKNOWN);
}
