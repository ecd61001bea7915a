// Decides when a status text is worth sending.
#ifndef ZEF_CLIENT_SERVICE_STATUS_THROTTLE_H
#define ZEF_CLIENT_SERVICE_STATUS_THROTTLE_H

#include <chrono>
#include <optional>
#include <string>

namespace zef {

// Lets one text through in every span of time. Of those that come faster the last one waits for its turn; one that says
// what was sent last is dropped. Knows no clock: callers say what time it is. Not synchronised.
class StatusThrottle {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit StatusThrottle(std::chrono::milliseconds minSpacing) : spacing(minSpacing) {}

    // Takes the place of a text that waits.
    void Offer(std::string text);

    // When TakeDue is to be called; nothing when no text waits.
    std::optional<TimePoint> DueTime() const;

    // The text that waits, if its time has come: it counts as sent. Nothing otherwise.
    std::optional<std::string> TakeDue(TimePoint now);

    // The caller has sent this text in some other way: no text waits now, and the span begins anew.
    void Sent(std::string text, TimePoint now);

private:
    const std::chrono::milliseconds spacing;
    std::optional<std::string> waiting;
    std::optional<std::string> lastSent;
    TimePoint nextTime = TimePoint::min();
};

}  // namespace zef

#endif
