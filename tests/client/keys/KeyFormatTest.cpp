#include "keys/KeyFormat.h"

#include "TestFiles.h"
#include "keys/KeyError.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <cstring>

namespace zef {

namespace {

// Written by another program from the description of the format: domain 2, generation 7, root key of 1600000000, master
// keys 0123456789abcdef of 1500000000 and 00000000000000ff of 1550000000.
constexpr const char *kGoldenFile =
    "5a45464b455953000100000002000000101112131415161718191a1b1c1d1e1f070000000000000000105e5f00000000"
    "404142434445464748494a4b4c4d4e4f505152535455565758595a5b5c5d5e5f02000000efcdab8967452301002f6859"
    "00000000000102030405060708090a0b0c0d0e0f1011121314151617197d4b83cc48dda4ad2319514aa1a3ae03b48061"
    "16fb6d3158e8b3ff93b9ebc386715ab1ea4a66e8dc43de632e1ecf34ff00000000000000801f635c0000000018191a1b"
    "1c1d1e1f202122232425262728292a2b2c2d2e2f167426c2b91309c33e8ae23529471173d64609c297d7f210dec38e00"
    "8f2629b93db796b364819b7f213350d16c48cad9b34ff14a7aba4ff3c23af0b8d023acccd605db07f9e8167fa9725505"
    "9617b320";
constexpr const char *kGoldenOldText =
    "zef1:0123456789abcdef:AQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEB741GuV8e0vw4MUYksHK5Oqw1E_r5BG7Vw96lNhqGbTgu96"
    "HRLvlPzDQY20vwMrWJkiOX4Ea6rhNcWV7vy_b2ZvwbG3Iq0Um_UkjPytxZsuA";
constexpr const char *kGoldenNewText =
    "zef1:00000000000000ff:AgICAgICAgICAgICAgICAgICAgICAgICKE3LVpZA1fd36DfSGv7UxqjCxtdIqs3mmLA67kQyIN6yfi"
    "J685a_a09ndLZZtoKkqQoGilRuwUCBVxHrc7EFuPD-crFoPZrMV8HsCPKCN4Y";

constexpr size_t kChecksumBytes = 32;
constexpr size_t kVersionPosition = 8;
constexpr size_t kCountPosition = 80;

SecretBuffer FromHex(const std::string &text)
{
    std::string bytes(text.size() / 2, '\0');
    size_t size = 0;
    sodium_hex2bin(reinterpret_cast<unsigned char *>(bytes.data()), bytes.size(), text.data(), text.size(), nullptr,
                   &size, nullptr);
    return {bytes.data(), size};
}

// Of a parse that has to fail: "damaged: " or "unusable: " and why.
std::string Verdict(const std::string &bytes)
{
    try {
        KeyFormat::Parse(Secret(bytes));
    } catch (const DamagedKeysError &error) {
        return std::string("damaged: ") + error.what();
    } catch (const KeyError &error) {
        return std::string("unusable: ") + error.what();
    }
    return "sound";
}

std::string TwoKeyFile()
{
    return BytesOf(KeyFormat::Serialise(KeyRing::Create(2, 1000).WithNewMasterKey(2000)));
}

// For changes that a checksum does not give away.
std::string WithChecksum(std::string bytes)
{
    const size_t checkedSize = bytes.size() - kChecksumBytes;
    crypto_generichash(reinterpret_cast<unsigned char *>(bytes.data() + checkedSize), kChecksumBytes,
                       reinterpret_cast<const unsigned char *>(bytes.data()), checkedSize, nullptr, 0);
    return bytes;
}

bool SameKeys(const KeyRing &one, const KeyRing &two)
{
    const size_t count = one.GetMasterKeys().size();
    return count == two.GetMasterKeys().size() &&
           std::memcmp(one.RootKey(), two.RootKey(), (count + 1) * KeyRing::kKeyBytes) == 0;
}

}  // namespace

TEST(KeyFormatTest, ReadsWhatItWrites)
{
    const KeyRing ring = KeyRing::Create(2, 1000).WithNewMasterKey(2000).WithNewRootKey(3000);
    const KeyRing copy = KeyFormat::Parse(KeyFormat::Serialise(ring));
    EXPECT_EQ(copy.GetHead().domain, 2u);
    EXPECT_EQ(copy.GetHead().storeId, ring.GetHead().storeId);
    EXPECT_EQ(copy.GetHead().generation, 3u);
    EXPECT_EQ(copy.GetHead().rootCreated, 3000);
    ASSERT_EQ(copy.GetMasterKeys().size(), 2u);
    EXPECT_EQ(copy.GetMasterKeys()[0].id, ring.GetMasterKeys()[0].id);
    EXPECT_EQ(copy.GetMasterKeys()[1].id, ring.GetMasterKeys()[1].id);
    EXPECT_EQ(copy.GetMasterKeys()[1].created, 2000);
    EXPECT_TRUE(SameKeys(copy, ring));
}

TEST(KeyFormatTest, ReadsTheFormatAsItIsDescribed)
{
    const KeyRing ring = KeyFormat::Parse(FromHex(kGoldenFile));
    EXPECT_EQ(ring.GetHead().domain, 2u);
    EXPECT_EQ(ring.GetHead().generation, 7u);
    EXPECT_EQ(ring.GetHead().rootCreated, 1600000000);
    ASSERT_EQ(ring.GetMasterKeys().size(), 2u);
    EXPECT_EQ(ring.GetMasterKeys()[0].id, 0x0123456789abcdefu);
    EXPECT_EQ(ring.GetMasterKeys()[0].created, 1500000000);
    EXPECT_EQ(ring.GetMasterKeys()[1].id, 0xffu);
    EXPECT_EQ(ring.Open(2, kGoldenOldText), "old password");
    EXPECT_EQ(ring.Open(2, kGoldenNewText), "new password");
}

TEST(KeyFormatTest, KeepsTheMasterKeysSealed)
{
    const KeyRing ring = KeyRing::Create(2, 1000);
    const std::string bytes = BytesOf(KeyFormat::Serialise(ring));
    const std::string masterKey(reinterpret_cast<const char *>(ring.MasterKeyBytes(0)), KeyRing::kKeyBytes);
    EXPECT_EQ(bytes.find(masterKey), std::string::npos);
}

TEST(KeyFormatTest, ReadsAFullFile)
{
    std::vector<KeyRing::MasterKey> masters;
    for (uint64_t id = 0; id < KeyRing::kMaxMasterKeys; ++id) {
        masters.push_back({id, 1000});
    }
    const KeyRing full(KeyRing::Create(2, 1000).GetHead(), masters,
                       SecretBuffer((KeyRing::kMaxMasterKeys + 1) * KeyRing::kKeyBytes));
    const SecretBuffer bytes = KeyFormat::Serialise(full);
    EXPECT_EQ(bytes.Size(), KeyFormat::kMaxBytes);
    EXPECT_TRUE(SameKeys(KeyFormat::Parse(bytes), full));
}

TEST(KeyFormatTest, NoticesEveryFlippedBit)
{
    const std::string bytes = TwoKeyFile();
    for (size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        std::string flipped = bytes;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
        ASSERT_EQ(Verdict(flipped).compare(0, 9, "damaged: "), 0) << "bit " << bit << ": " << Verdict(flipped);
    }
}

TEST(KeyFormatTest, NoticesEveryTruncation)
{
    const std::string bytes = TwoKeyFile();
    for (size_t length = 0; length < bytes.size(); ++length) {
        ASSERT_EQ(Verdict(bytes.substr(0, length)).compare(0, 9, "damaged: "), 0) << length;
    }
}

TEST(KeyFormatTest, NoticesWhatIsAppended)
{
    EXPECT_EQ(Verdict(TwoKeyFile() + '\0'), "damaged: its checksum is wrong");
}

TEST(KeyFormatTest, SaysWhatIsWrong)
{
    EXPECT_EQ(Verdict(""), "damaged: it is empty");
    EXPECT_EQ(Verdict("ZEFKEYS"), "damaged: it is cut short");
    EXPECT_EQ(Verdict(std::string(200, 'x')), "damaged: it does not begin like a key file");
}

TEST(KeyFormatTest, LeavesAFileOfANewerVersionAlone)
{
    std::string bytes = TwoKeyFile();
    bytes[kVersionPosition] = 2;
    EXPECT_EQ(Verdict(WithChecksum(bytes)), "unusable: its format version is 2, this program knows 1");
}

TEST(KeyFormatTest, NoticesACountThatDoesNotFitTheSize)
{
    for (const int count : {0, 1, 3, 255}) {
        std::string bytes = TwoKeyFile();
        bytes[kCountPosition] = static_cast<char>(count);
        EXPECT_EQ(Verdict(WithChecksum(bytes)), "damaged: its size does not fit its number of keys") << count;
    }
    std::string bytes = TwoKeyFile();
    std::memset(bytes.data() + kCountPosition, 0xff, 4);
    EXPECT_EQ(Verdict(WithChecksum(bytes)), "damaged: its size does not fit its number of keys");
}

TEST(KeyFormatTest, NoticesAHeadWithoutKeys)
{
    const std::string bytes = TwoKeyFile();
    EXPECT_EQ(Verdict(WithChecksum(bytes.substr(0, kCountPosition) + std::string(kChecksumBytes, '\0'))),
              "damaged: it is cut short");
}

// Each of these is bound to the sealed master keys: domain, store id, root key; then key id, creation time, nonce, key.
TEST(KeyFormatTest, NoticesChangesThatTheChecksumHasBeenMadeToFit)
{
    for (const size_t position : {12u, 16u, 48u, 84u, 92u, 100u, 124u}) {
        std::string bytes = TwoKeyFile();
        bytes[position] = static_cast<char>(bytes[position] ^ 1);
        EXPECT_EQ(Verdict(WithChecksum(bytes)), "damaged: a master key in it does not open") << position;
    }
}

}  // namespace zef
