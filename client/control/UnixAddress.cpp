#include "control/UnixAddress.h"

#include "control/ControlError.h"

#include <fmt/format.h>

#include <cstring>

namespace zef {

UnixAddress::UnixAddress(const std::string &path)
{
    constexpr size_t kLongest = sizeof(address.sun_path) - 1;
    if (path.empty() || path.size() > kLongest || path.find('\0') != std::string::npos) {
        throw ControlError(ExitCode::Usage, fmt::format("the path of the control socket must have 1 to {} bytes and no "
                                                        "zero byte; it has {} bytes",
                                                        kLongest, path.size()));
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
}

}  // namespace zef
