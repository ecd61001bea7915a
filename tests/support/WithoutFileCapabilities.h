// Permissions that hold for root too.
#ifndef ZEF_TESTS_SUPPORT_WITHOUT_FILE_CAPABILITIES_H
#define ZEF_TESTS_SUPPORT_WITHOUT_FILE_CAPABILITIES_H

#include <stdexcept>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

// While it lives the calling thread is bound by the permission bits of files, whoever it runs as.
class WithoutFileCapabilities {
public:
    WithoutFileCapabilities()
    {
        if (syscall(SYS_capget, &header, saved) != 0) {
            throw std::runtime_error("cannot read capabilities");
        }
        __user_cap_data_struct reduced[2] = {saved[0], saved[1]};
        reduced[0].effective &= ~((1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH));
        Set(reduced);
    }

    ~WithoutFileCapabilities() { (void)syscall(SYS_capset, &header, saved); }

    WithoutFileCapabilities(const WithoutFileCapabilities &) = delete;
    WithoutFileCapabilities &operator=(const WithoutFileCapabilities &) = delete;

private:
    void Set(__user_cap_data_struct *data)
    {
        if (syscall(SYS_capset, &header, data) != 0) {
            throw std::runtime_error("cannot drop capabilities");
        }
    }

    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct saved[2] = {};
};

#endif
