// The socket file of the control socket, and the socket that listens there.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_LISTENER_H
#define ZEF_CLIENT_CONTROL_CONTROL_LISTENER_H

#include "common/FileDescriptor.h"

#include <string>

#include <sys/stat.h>
#include <sys/types.h>

namespace zef {

// Listens from construction to destruction. The file has mode 0660 and never had more; its directory is created with
// mode 0755 when it is missing and its parent exists.
//
// Two clients that start at once take turns by a lock on the directory. What a dead client left behind is replaced; a
// socket that somebody answers on, and anything else that is no socket, is left alone.
class ControlListener {
public:
    // Throws ControlError, with what is in the way.
    explicit ControlListener(const std::string &path);

    // Removes the file, unless another has taken its place.
    ~ControlListener();

    ControlListener(const ControlListener &) = delete;
    ControlListener &operator=(const ControlListener &) = delete;

    // The next client's socket, not blocking; none, with errno, when there is none to be had.
    FileDescriptor Accept() const;

    // Readable when there is a client to accept.
    int GetDescriptor() const { return socket.Get(); }

    // The file's group now: an operator may have given the file to another one.
    gid_t GetGroup() const;

private:
    void Bind();
    bool IsOurs(const struct stat &status) const;

    std::string path;
    FileDescriptor socket;
    struct stat ours {};  // the file as it was created
};

}  // namespace zef

#endif
