// The time of this machine.
#ifndef ZEF_CLIENT_KEYS_SYSTEM_KEY_CLOCK_H
#define ZEF_CLIENT_KEYS_SYSTEM_KEY_CLOCK_H

#include "keys/KeyClock.h"

namespace zef {

// Has no state: any object is as good as another.
class SystemKeyClock final : public KeyClock {
public:
    int64_t NowSeconds() override;
    void WaitFor(Mutex &mutex, Condition &wakeUp, std::chrono::hours duration,
                 const std::function<bool()> &ready) override ZEF_REQUIRES(mutex);
};

}  // namespace zef

#endif
