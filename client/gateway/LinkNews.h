// Picks the changes of links that people are shown as they come, and words them.
#ifndef ZEF_CLIENT_GATEWAY_LINK_NEWS_H
#define ZEF_CLIENT_GATEWAY_LINK_NEWS_H

#include "gateway/LinkState.h"
#include "log/FailureLog.h"

#include <optional>
#include <string>

namespace zef {

// Shown are the phases of a link's first try, when it comes up, is lost or closed, and of its failures those that
// FailureLog holds to be news: a client that tries every 2 seconds must not fill the journal, to which its standard
// output may lead. A link that comes and goes all the time is shown a few times in ten minutes. Any thread.
class LinkNews {
public:
    explicit LinkNews(const LogClock &clock = {});

    // One line without its end, as Describe gives it, and with the number of tries in a summary; nothing when the
    // change is no news.
    std::optional<std::string> Line(const LinkState &state);

private:
    std::optional<std::string> FailureLine(const std::string &link, const LinkState &state);

    FailureLog failures;
};

}  // namespace zef

#endif
