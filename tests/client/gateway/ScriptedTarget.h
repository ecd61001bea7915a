// A target that lets everybody in and answers SCSI commands as the test says.
#ifndef ZEF_TESTS_CLIENT_GATEWAY_SCRIPTED_TARGET_H
#define ZEF_TESTS_CLIENT_GATEWAY_SCRIPTED_TARGET_H

#include "FakePortal.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <cstdint>

namespace zef {

// For what a real array does only rarely. Speaks just enough iSCSI for one session after the other; a request is
// answered before the next one is read.
class ScriptedTarget {
public:
    struct Reply {
        uint8_t status = 0;
        std::vector<uint8_t> data;  // of a good command; else sense data
        uint8_t opcode = 0;         // in place of the right one
    };

    // Gives the reply to a command; the CDB has 16 bytes. Called on the target's thread.
    using Script = std::function<Reply(int lun, const uint8_t *cdb)>;

    ScriptedTarget(const std::string &address, Script script);

    // Sends every login to this address instead.
    void RedirectTo(const std::string &address);

    uint16_t Port() const { return portal.Port(); }

    static constexpr uint8_t kInquiry = 0x12;
    static constexpr uint8_t kReportLuns = 0xA0;

    // Check condition, unit attention: power on or reset.
    static Reply UnitAttention();
    // Check condition, illegal request: no such page.
    static Reply IllegalRequest();
    static Reply Busy();
    // A device identification page with one designator of the LUN: NAA 5 or 3 with eight bytes, NAA 6 with sixteen.
    static Reply Page(const std::vector<uint8_t> &name);
    static Reply Luns(const std::vector<int> &luns);

private:
    using Bytes = std::vector<uint8_t>;

    void Serve(int connection);
    bool Answer(int connection, const Bytes &header);
    Bytes LoginAnswer(const Bytes &header);
    Bytes CommandAnswer(const Bytes &header);
    Bytes Header(uint8_t opcode, uint8_t flags, const Bytes &request);

    const Script script;
    std::mutex mutex;  // guards redirection
    std::string redirection;
    uint32_t statusNumber = 1;  // of the target's thread alone
    FakePortal portal;
};

}  // namespace zef

#endif
