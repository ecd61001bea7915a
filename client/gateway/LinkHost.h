// What a link needs from whoever runs it.
#ifndef ZEF_CLIENT_GATEWAY_LINK_HOST_H
#define ZEF_CLIENT_GATEWAY_LINK_HOST_H

#include "gateway/IscsiSession.h"

#include <memory>

namespace zef {

class IscsiLink;

// Called on the gateway's thread, from inside the link's own functions; does not call back into the link.
class LinkHost {
public:
    virtual ~LinkHost() = default;

    // The link's phase, WWN, cause or number of failures is a new one.
    virtual void Publish(const IscsiLink &link) = 0;

    // The link wants to log in again by itself; the answer goes to IscsiLink::CredentialArrived.
    virtual void AskCredential(const IscsiLink &link) = 0;

    // Takes over a session that is no longer needed, to log it out without anybody waiting.
    virtual void Dismiss(std::unique_ptr<IscsiSession> session) = 0;
};

}  // namespace zef

#endif
