// The options that say what is logged and where.
#ifndef ZEF_CLIENT_APP_LOG_ARGUMENTS_H
#define ZEF_CLIENT_APP_LOG_ARGUMENTS_H

#include <string>

namespace zef {

class Command;

class LogArguments {
public:
    // Adds --log-level and --log-to to a command; the object must live until it was parsed and applied.
    void AddTo(const Command &command);

    // Directs the log.
    void Apply() const;

private:
    std::string level = "info";
    std::string destination = "auto";
};

}  // namespace zef

#endif
