// Keeps an object usable until the process is gone.
#ifndef ZEF_CLIENT_COMMON_NEVER_DESTROYED_H
#define ZEF_CLIENT_COMMON_NEVER_DESTROYED_H

namespace zef {

// Holds a T that is constructed as usual and never destroyed. For static objects that threads and destructors of other
// static objects may still use while the process ends.
template <class T>
class NeverDestroyed {
public:
    NeverDestroyed() : value() {}
    ~NeverDestroyed() {}
    NeverDestroyed(const NeverDestroyed &) = delete;
    NeverDestroyed &operator=(const NeverDestroyed &) = delete;

    T &Get() { return value; }

private:
    union {
        T value;
    };
};

}  // namespace zef

#endif
