#include "service/StatusThrottle.h"

#include <utility>

namespace zef {

void StatusThrottle::Offer(std::string text)
{
    if (text == lastSent) {
        waiting.reset();
    } else {
        waiting = std::move(text);
    }
}

std::optional<StatusThrottle::TimePoint> StatusThrottle::DueTime() const
{
    return waiting ? std::optional<TimePoint>(nextTime) : std::nullopt;
}

std::optional<std::string> StatusThrottle::TakeDue(TimePoint now)
{
    if (!waiting || now < nextTime) {
        return std::nullopt;
    }
    Sent(*std::exchange(waiting, std::nullopt), now);
    return lastSent;
}

void StatusThrottle::Sent(std::string text, TimePoint now)
{
    waiting.reset();
    lastSent = std::move(text);
    nextTime = now + spacing;
}

}  // namespace zef
