// Erasing of decrypted passwords.
#ifndef ZEF_CONFIG_SCOPED_WIPE_H
#define ZEF_CONFIG_SCOPED_WIPE_H

#include "platform/BoundsChecked.h"

#include <string>

namespace zef_config {

// Overwrites and empties a text when the scope ends, however it ends. The text outlives it.
class ScopedWipe {
public:
    explicit ScopedWipe(std::string &secretText) : text(secretText) {}

    ~ScopedWipe()
    {
        if (text.empty()) {
            return;  // bounds-checked functions refuse a size of 0
        }
        (void)memset_s(text.data(), text.size(), 0, text.size());
        text.clear();
    }

    ScopedWipe(const ScopedWipe &) = delete;
    ScopedWipe &operator=(const ScopedWipe &) = delete;

private:
    std::string &text;
};

}  // namespace zef_config

#endif
