// Owns one descriptor and closes it when it goes out of scope.
#ifndef ZEF_CLIENT_COMMON_FILE_DESCRIPTOR_H
#define ZEF_CLIENT_COMMON_FILE_DESCRIPTOR_H

#include <utility>

#include <unistd.h>

namespace zef {

class FileDescriptor {
public:
    FileDescriptor() = default;

    // Takes the descriptor over; -1 stands for none.
    explicit FileDescriptor(int descriptor) : number(descriptor) {}

    FileDescriptor(FileDescriptor &&other) noexcept : number(std::exchange(other.number, -1)) {}

    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(number, other.number);
        return *this;
    }

    ~FileDescriptor() { Close(); }

    // -1 when there is none.
    int Get() const { return number; }

    explicit operator bool() const { return number >= 0; }

    void Close()
    {
        if (number >= 0) {
            close(std::exchange(number, -1));
        }
    }

private:
    int number = -1;
};

}  // namespace zef

#endif
