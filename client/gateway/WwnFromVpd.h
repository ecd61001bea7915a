// The WWN in a device identification page (VPD page 0x83), as an array returns it.
#ifndef ZEF_CLIENT_GATEWAY_WWN_FROM_VPD_H
#define ZEF_CLIENT_GATEWAY_WWN_FROM_VPD_H

#include "gateway/LinkState.h"

#include <vector>

#include <cstddef>
#include <cstdint>

namespace zef {

// The best name on the page: an 8-byte registered one (NAA 5 or 2); else the upper 8 bytes of a 16-byte one (NAA 6),
// which the LUNs of an array share; else a locally assigned one (NAA 3), which only its maker promises to be unique.
// Among equals a name of the device goes before a name of the LUN, then the page's order counts. Names of the target
// port are not looked at: they differ from portal to portal, and every portal must lead to the same WWN.
class WwnFromVpd {
public:
    enum class Kind { None, LocallyAssigned, Extended, Registered };  // in rising order of trust

    // Accepts any bytes: what is truncated, contradicts itself or names nothing (all digits zero) is skipped.
    explicit WwnFromVpd(const std::vector<uint8_t> &page);

    Kind GetKind() const { return kind; }

    // kNoWwn with Kind::None.
    uint64_t Wwn() const { return wwn; }

private:
    void Consider(uint8_t association, const uint8_t *name, size_t size);

    Kind kind = Kind::None;
    uint64_t wwn = kNoWwn;
    bool ofDevice = false;
};

}  // namespace zef

#endif
