// The file behind a shared memory segment.
#ifndef ZEF_CLIENT_BASECONFIG_SEGMENT_FILE_H
#define ZEF_CLIENT_BASECONFIG_SEGMENT_FILE_H

#include <cstddef>
#include <string>

#include <sys/stat.h>

namespace zef {

// An open descriptor of a POSIX shared memory object that belongs to this process's user, and to nobody else.
//
// Movable; closes on destruction. Functions that fail say why in `error` and leave it alone otherwise.
class SegmentFile {
public:
    // Both give a file that is not open when there is none to be had or it is refused. A new file is empty.
    static SegmentFile OpenOrCreate(const std::string &name, std::string &error);
    static SegmentFile OpenReadOnly(const std::string &name, std::string &error);

    // Whether the system keeps this user from reading the segment.
    static bool IsForbidden(const std::string &name);

    SegmentFile(SegmentFile &&other) noexcept;
    ~SegmentFile();
    SegmentFile(const SegmentFile &) = delete;
    SegmentFile &operator=(const SegmentFile &) = delete;

    bool IsOpen() const { return descriptor >= 0; }

    int Descriptor() const { return descriptor; }

    // Excludes others who call this, until this object or the process ends. Gives up after two seconds.
    bool LockForCreation(std::string &error) const;

    bool CheckSize(size_t bytes, std::string &error) const;

    // Gives an empty file its size, filled with zeros.
    bool CheckOrSetSize(size_t bytes, std::string &error) const;

    // What is wrong with a file as the owner's private one; "" when nothing is.
    static std::string WhyRefused(const struct stat &status, uid_t owner);

private:
    SegmentFile(std::string segmentName, int openDescriptor);

    // Closes a file that is refused.
    static SegmentFile Checked(SegmentFile file, bool onlyToRead, std::string &error);

    std::string name;
    int descriptor;
};

}  // namespace zef

#endif
