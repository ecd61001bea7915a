#include "gateway/WwnFromVpd.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using zef::kNoWwn;
using zef::WwnFromVpd;
using Bytes = std::vector<uint8_t>;

constexpr uint8_t kLun = 0;
constexpr uint8_t kPort = 1;
constexpr uint8_t kDevice = 2;

const Bytes kNaa5{0x50, 0x01, 0x40, 0x51, 0x23, 0x45, 0x67, 0x89};
const Bytes kNaa2{0x20, 0x00, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
const Bytes kNaa3{0x30, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x07};
const Bytes kNaa6{0x60, 0x01, 0x40, 0x51, 0x23, 0x45, 0x67, 0x89, 0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7};

Bytes Designator(uint8_t association, const Bytes &name, uint8_t type = 3, uint8_t codeSet = 1)
{
    Bytes bytes{codeSet, static_cast<uint8_t>(association << 4 | type), 0, static_cast<uint8_t>(name.size())};
    bytes.insert(bytes.end(), name.begin(), name.end());
    return bytes;
}

Bytes Page(const std::vector<Bytes> &designators)
{
    Bytes page{0, 0x83, 0, 0};
    for (const Bytes &one : designators) {
        page.insert(page.end(), one.begin(), one.end());
    }
    page[2] = static_cast<uint8_t>((page.size() - 4) >> 8);
    page[3] = static_cast<uint8_t>(page.size() - 4);
    return page;
}

uint64_t WwnOf(const std::vector<Bytes> &designators)
{
    return WwnFromVpd(Page(designators)).Wwn();
}

}  // namespace

TEST(WwnFromVpdTest, TakesAnNaa5NameWhole)
{
    const WwnFromVpd found(Page({Designator(kLun, kNaa5)}));
    EXPECT_EQ(found.Wwn(), 0x5001405123456789u);
    EXPECT_EQ(found.GetKind(), WwnFromVpd::Kind::Registered);
}

TEST(WwnFromVpdTest, TakesAnNaa2NameWhole)
{
    const WwnFromVpd found(Page({Designator(kLun, kNaa2)}));
    EXPECT_EQ(found.Wwn(), 0x2000001122334455u);
    EXPECT_EQ(found.GetKind(), WwnFromVpd::Kind::Registered);
}

TEST(WwnFromVpdTest, TakesTheUpperHalfOfAnNaa6Name)
{
    const WwnFromVpd found(Page({Designator(kLun, kNaa6)}));
    EXPECT_EQ(found.Wwn(), 0x6001405123456789u);
    EXPECT_EQ(found.GetKind(), WwnFromVpd::Kind::Extended);
}

TEST(WwnFromVpdTest, TakesAnNaa3NameAsTheLastResort)
{
    const WwnFromVpd found(Page({Designator(kLun, kNaa3)}));
    EXPECT_EQ(found.Wwn(), 0x3000000100000007u);
    EXPECT_EQ(found.GetKind(), WwnFromVpd::Kind::LocallyAssigned);
}

TEST(WwnFromVpdTest, PrefersTheBetterKindWhateverTheOrder)
{
    const Bytes five = Designator(kLun, kNaa5);
    const Bytes six = Designator(kLun, kNaa6);
    const Bytes three = Designator(kLun, kNaa3);
    EXPECT_EQ(WwnOf({three, six, five}), 0x5001405123456789u);
    EXPECT_EQ(WwnOf({five, six, three}), 0x5001405123456789u);
    EXPECT_EQ(WwnOf({three, six}), 0x6001405123456789u);
    EXPECT_EQ(WwnOf({six, three}), 0x6001405123456789u);
}

TEST(WwnFromVpdTest, TakesTheFirstOfEqualNames)
{
    EXPECT_EQ(WwnOf({Designator(kLun, kNaa2), Designator(kLun, kNaa5)}), 0x2000001122334455u);
    EXPECT_EQ(WwnOf({Designator(kDevice, kNaa2), Designator(kDevice, kNaa5)}), 0x2000001122334455u);
}

TEST(WwnFromVpdTest, PrefersTheDevicesNameToTheLunsAmongEquals)
{
    EXPECT_EQ(WwnOf({Designator(kLun, kNaa2), Designator(kDevice, kNaa5)}), 0x5001405123456789u);
    EXPECT_EQ(WwnOf({Designator(kDevice, kNaa5), Designator(kLun, kNaa2)}), 0x5001405123456789u);
    EXPECT_EQ(WwnOf({Designator(kDevice, kNaa6), Designator(kLun, kNaa2)}), 0x2000001122334455u);
}

TEST(WwnFromVpdTest, IgnoresNamesOfTheTargetPort)
{
    EXPECT_EQ(WwnOf({Designator(kPort, kNaa5)}), kNoWwn);
    EXPECT_EQ(WwnOf({Designator(kPort, kNaa5), Designator(kLun, kNaa6)}), 0x6001405123456789u);
}

TEST(WwnFromVpdTest, IgnoresNamesOfOtherTypesAndCodeSets)
{
    EXPECT_EQ(WwnOf({Designator(kLun, kNaa5, 1)}), kNoWwn);
    EXPECT_EQ(WwnOf({Designator(kLun, kNaa5, 2)}), kNoWwn);
    EXPECT_EQ(WwnOf({Designator(kLun, kNaa5, 3, 2)}), kNoWwn);
}

TEST(WwnFromVpdTest, IgnoresNamesOfTheWrongSize)
{
    Bytes longFive = kNaa5;
    longFive.resize(16);
    const Bytes shortSix(kNaa6.begin(), kNaa6.begin() + 8);
    const Bytes tooShort(kNaa5.begin(), kNaa5.begin() + 7);
    EXPECT_EQ(WwnOf({Designator(kLun, longFive)}), kNoWwn);
    EXPECT_EQ(WwnOf({Designator(kLun, shortSix)}), kNoWwn);
    EXPECT_EQ(WwnOf({Designator(kLun, tooShort)}), kNoWwn);
    EXPECT_EQ(WwnOf({Designator(kLun, {})}), kNoWwn);
}

TEST(WwnFromVpdTest, IgnoresNamesThatNameNothing)
{
    EXPECT_EQ(WwnOf({Designator(kLun, {0x50, 0, 0, 0, 0, 0, 0, 0})}), kNoWwn);
    Bytes six(16, 0);
    six[0] = 0x60;
    six[15] = 1;
    EXPECT_EQ(WwnOf({Designator(kLun, six)}), kNoWwn);
}

TEST(WwnFromVpdTest, IgnoresOtherNaaFormats)
{
    for (const uint8_t naa : Bytes{0x00, 0x10, 0x40, 0x70, 0xF0}) {
        Bytes name = kNaa5;
        name[0] = naa;
        EXPECT_EQ(WwnOf({Designator(kLun, name)}), kNoWwn) << int{naa};
        EXPECT_EQ(WwnOf({Designator(kDevice, name)}), kNoWwn) << int{naa};
    }
}

TEST(WwnFromVpdTest, FindsNothingWhereThereIsNoSuchLun)
{
    Bytes page = Page({Designator(kLun, kNaa5)});
    page[0] = 0x7F;
    EXPECT_EQ(WwnFromVpd(page).Wwn(), kNoWwn);
}

TEST(WwnFromVpdTest, ReadsAPageWhoseDeviceIsNotConnected)
{
    Bytes page = Page({Designator(kLun, kNaa5)});
    page[0] = 0x20;
    EXPECT_EQ(WwnFromVpd(page).Wwn(), 0x5001405123456789u);
}

TEST(WwnFromVpdTest, FindsNothingOnAnotherPage)
{
    Bytes page = Page({Designator(kLun, kNaa5)});
    page[1] = 0x80;
    EXPECT_EQ(WwnFromVpd(page).Wwn(), kNoWwn);
}

TEST(WwnFromVpdTest, StopsAtTheAnnouncedLength)
{
    Bytes page = Page({Designator(kLun, kNaa6), Designator(kLun, kNaa5)});
    page[3] = 20;
    EXPECT_EQ(WwnFromVpd(page).Wwn(), 0x6001405123456789u);
}

TEST(WwnFromVpdTest, StopsAtTheEndOfATruncatedPage)
{
    const Bytes whole = Page({Designator(kLun, kNaa6), Designator(kLun, kNaa5)});
    for (size_t size = 0; size < whole.size(); ++size) {
        const Bytes page(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(WwnFromVpd(page).Wwn(), size < 24 ? kNoWwn : 0x6001405123456789u) << size;
    }
    EXPECT_EQ(WwnFromVpd(whole).Wwn(), 0x5001405123456789u);
}

TEST(WwnFromVpdTest, IgnoresADesignatorThatReachesBeyondThePage)
{
    Bytes page = Page({Designator(kLun, kNaa5)});
    page[7] = 255;
    EXPECT_EQ(WwnFromVpd(page).Wwn(), kNoWwn);
}

TEST(WwnFromVpdTest, ReadsTheControllerPageOfTgt)
{
    const Bytes name{'I', 'E', 'T', ' ', ' ', ' ', ' ', ' ', '0', '0', '0', '1', '0', '0', '0', '0'};
    Bytes six(16, 0);
    six[0] = 0x60;
    six[8] = 0x0E;
    six[13] = 0x01;
    const WwnFromVpd found(
        Page({Designator(kLun, name, 1, 2), Designator(kLun, {0x30, 0, 0, 1, 0, 0, 0, 0}), Designator(kLun, six)}));
    EXPECT_EQ(found.Wwn(), 0x3000000100000000u);
    EXPECT_EQ(found.GetKind(), WwnFromVpd::Kind::LocallyAssigned);
}

TEST(WwnFromVpdTest, SurvivesArbitraryBytes)
{
    std::mt19937 random(20261101);
    for (int round = 0; round < 20000; ++round) {
        Bytes page(random() % 64);
        for (uint8_t &byte : page) {
            byte = static_cast<uint8_t>(random());
        }
        if (page.size() > 3) {
            page[0] = 0;
            page[1] = 0x83;
        }
        const WwnFromVpd found(page);
        EXPECT_EQ(found.Wwn() == kNoWwn, found.GetKind() == WwnFromVpd::Kind::None);
    }
}
