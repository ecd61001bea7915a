// Finds the WWN of the array behind a session that is logged in.
#ifndef ZEF_CLIENT_GATEWAY_WWN_READER_H
#define ZEF_CLIENT_GATEWAY_WWN_READER_H

#include "gateway/IscsiSession.h"
#include "gateway/LinkState.h"
#include "gateway/WwnFromVpd.h"

#include <string>
#include <vector>

#include <cstdint>

namespace zef {

// Reads the device identification page of LUN 0. Where LUN 0 has no registered or extended name, as with targets whose
// LUN 0 is a mere controller, the LUNs that the array lists are read in turn until one has; a locally assigned name is
// taken only when there is nothing better. One command is under way at a time. Same thread as the session.
class WwnReader {
public:
    // Sends the first command. The session must outlive the reader.
    explicit WwnReader(IscsiSession &loggedIn);

    // Takes the answer, if it has come, and sends the next command. To be called after the session was serviced.
    void Advance();

    // True until there is nothing left to ask. A session that ends leaves it true.
    bool IsReading() const { return reading; }

    // kNoWwn when nothing was found.
    uint64_t Wwn() const { return wwn; }

    // True when the WWN is only a locally assigned name.
    bool IsLocallyAssigned() const { return kind == WwnFromVpd::Kind::LocallyAssigned; }

private:
    void Ask(int lun);
    void Take(const ScsiAnswer &answer);
    void TakePage(const ScsiAnswer &answer);
    void TakeLuns(const ScsiAnswer &answer);
    void AskNextLun();
    void Repeat();

    IscsiSession &session;
    bool reading = true;
    bool askedForLuns = false;   // the command under way is REPORT LUNS
    bool hasLuns = false;        // REPORT LUNS was answered
    int lun = 0;                 // of the inquiry under way
    int repeats = 0;             // of the command under way
    std::vector<int> lunsLeft;   // last one next
    WwnFromVpd::Kind kind = WwnFromVpd::Kind::None;
    uint64_t wwn = kNoWwn;
};

}  // namespace zef

#endif
