// What the log tells of links: each outage once, however often a login is tried meanwhile.
#ifndef ZEF_CLIENT_GATEWAY_LINK_REPORTS_H
#define ZEF_CLIENT_GATEWAY_LINK_REPORTS_H

#include "gateway/LinkState.h"
#include "log/FailureLog.h"

#include <string>

namespace zef {

// Writes at level warn that a link is lost or not up, and at level info that it is up after failed tries. FailureLog
// tells how often. Any thread.
class LinkReports {
public:
    explicit LinkReports(const LogClock &clock = {});

    // A change of a link's state.
    void Tell(const LinkState &state);

    // A try that did not even become a login.
    void Refused(const std::string &local, const std::string &array, const std::string &cause);

private:
    void NotUp(const std::string &link, const std::string &cause);
    void Lost(const std::string &link, const std::string &cause);
    void Up(const std::string &link);

    FailureLog failures;
};

}  // namespace zef

#endif
