#include "gateway/WwnFromVpd.h"

namespace zef {

namespace {

constexpr uint8_t kPageCode = 0x83;
constexpr size_t kPageHeaderSize = 4;
constexpr size_t kDesignatorHeaderSize = 4;
constexpr uint8_t kQualifierNoSuchLun = 3;
constexpr uint8_t kCodeSetBinary = 1;
constexpr uint8_t kDesignatorNaa = 3;
constexpr uint8_t kAssociationLun = 0;
constexpr uint8_t kAssociationDevice = 2;
constexpr uint64_t kDigitsAfterNaa = 0x0FFFFFFFFFFFFFFF;

uint64_t UpperEightBytes(const uint8_t *bytes)
{
    uint64_t value = 0;
    for (size_t i = 0; i < 8; ++i) {
        value = value << 8 | bytes[i];
    }
    return value;
}

WwnFromVpd::Kind KindOf(uint8_t naa, size_t size)
{
    if ((naa == 2 || naa == 5) && size == 8) {
        return WwnFromVpd::Kind::Registered;
    }
    if (naa == 6 && size == 16) {
        return WwnFromVpd::Kind::Extended;
    }
    return naa == 3 && size == 8 ? WwnFromVpd::Kind::LocallyAssigned : WwnFromVpd::Kind::None;
}

bool IsIdentificationPage(const std::vector<uint8_t> &page)
{
    return page.size() >= kPageHeaderSize && page[1] == kPageCode && page[0] >> 5 != kQualifierNoSuchLun;
}

bool IsNaa(const uint8_t *header)
{
    return (header[0] & 0x0F) == kCodeSetBinary && (header[1] & 0x0F) == kDesignatorNaa;
}

}  // namespace

WwnFromVpd::WwnFromVpd(const std::vector<uint8_t> &page)
{
    if (!IsIdentificationPage(page)) {
        return;
    }
    const size_t announced = kPageHeaderSize + (static_cast<size_t>(page[2]) << 8 | page[3]);
    const size_t end = announced < page.size() ? announced : page.size();

    for (size_t at = kPageHeaderSize; at + kDesignatorHeaderSize <= end;) {
        const uint8_t *header = page.data() + at;
        const size_t size = header[3];
        at += kDesignatorHeaderSize + size;
        if (at <= end && IsNaa(header)) {
            Consider(header[1] >> 4 & 3, header + kDesignatorHeaderSize, size);
        }
    }
}

void WwnFromVpd::Consider(uint8_t association, const uint8_t *name, size_t size)
{
    if (size < 8 || (association != kAssociationLun && association != kAssociationDevice)) {
        return;
    }
    const Kind found = KindOf(name[0] >> 4, size);
    const uint64_t value = UpperEightBytes(name);
    const bool isOfDevice = association == kAssociationDevice;
    const bool isBetter = found > kind || (found == kind && isOfDevice && !ofDevice);
    if (found == Kind::None || !isBetter || (value & kDigitsAfterNaa) == 0) {
        return;
    }
    kind = found;
    wwn = value;
    ofDevice = isOfDevice;
}

}  // namespace zef
