// What a running client is asked for, beside the copies and the decryption that it cannot do without.
#include "PlainRecord.h"

#include "keys/KeyRing.h"

#include <zef_config/ZefConfig.h>
#include <zef_config/ZefStorageController.h>
#include <zef_config/ZefStorageManager.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <stdexcept>
#include <string>

#include <cstring>
#include <ctime>

namespace {

constexpr uint32_t kDomain = 2;
constexpr uint32_t kBufferBytes = 64;

// Opens passwords while it is there; without it they are opened by taking a prefix off.
std::unique_ptr<zef::KeyRing> ring;

// A password behind a prefix, as long as a sealed one.
std::string PrefixedPassword()
{
    return "sealed:" + std::string(93, 'p');
}

std::string SealedPassword()
{
    const std::string password = "correct horse battery staple";
    return ring->Seal(zef::SecretBuffer(password.data(), password.size()));
}

// One record of the usual size: four addresses, each with two pairs.
PlainRecord UsualRecord(const std::string &password)
{
    PlainRecord record;
    record.name = "array-1/pool.7";
    record.user = "zefuser";
    record.password = password;
    for (const char *address : {"192.0.2.101", "192.0.2.102", "192.0.2.103", "192.0.2.104"}) {
        record.addresses.insert(address);
        record.pairs.emplace_back("192.0.2.201", address);
        record.pairs.emplace_back("192.0.2.202", address);
    }
    return record;
}

void Require(bool holds, const char *otherwise)
{
    if (!holds) {
        throw std::logic_error(otherwise);
    }
}

// Puts the same into the library's registry, alone.
void Register(const PlainRecord &record)
{
    std::string addresses;
    for (const std::string &address : record.addresses) {
        addresses += (addresses.empty() ? "" : ";") + address;
    }
    ZefStorageManager::Clear();
    Require(ZefStorageManager::CreateStorage(record.name, record.user, record.password, addresses) == 0,
            "the record is refused");
    for (const IpPair &pair : record.pairs) {
        ZefStorageManager::GetByName(record.name).AddIpParis(pair);
    }
}

// With a ring the password is really sealed.
PlainRecord SetUp(bool isSealed)
{
    ring = isSealed ? std::make_unique<zef::KeyRing>(zef::KeyRing::Create(kDomain, std::time(nullptr))) : nullptr;
    PlainRecord record = UsualRecord(isSealed ? SealedPassword() : PrefixedPassword());
    Register(record);

    OrnCredential ours = {};
    OrnCredential bare = {};
    Require(ZefStorageGetCredentialCb(nullptr, nullptr, &ours) == 0 && CopyCredential(record, &bare) == 0 &&
                std::memcmp(&ours, &bare, sizeof ours) == 0,
            "two credentials");
    return record;
}

void OurCredential(benchmark::State &state, bool isSealed)
{
    SetUp(isSealed);
    OrnCredential credential = {};
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZefStorageGetCredentialCb(nullptr, nullptr, &credential));
        benchmark::ClobberMemory();
    }
}

void BareCredential(benchmark::State &state, bool isSealed)
{
    const PlainRecord record = SetUp(isSealed);
    OrnCredential credential = {};
    for (auto _ : state) {
        benchmark::DoNotOptimize(CopyCredential(record, &credential));
        benchmark::ClobberMemory();
    }
}

int CopyLocalAddress(const PlainRecord &record, char *buffer, uint32_t size)
{
    const PlainRecord copy = record;
    return strcpy_s(buffer, size, copy.pairs.front().first.c_str());
}

void OurLocalAddress(benchmark::State &state)
{
    const PlainRecord record = SetUp(false);
    char ours[kBufferBytes] = "";
    char bare[kBufferBytes] = "";
    Require(ZefConfigGetLocalAddr(ours, sizeof ours) == 0 && CopyLocalAddress(record, bare, sizeof bare) == 0 &&
                std::strcmp(ours, bare) == 0,
            "two addresses");
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZefConfigGetLocalAddr(ours, sizeof ours));
        benchmark::ClobberMemory();
    }
}

void BareLocalAddress(benchmark::State &state)
{
    const PlainRecord record = SetUp(false);
    char buffer[kBufferBytes] = "";
    for (auto _ : state) {
        benchmark::DoNotOptimize(CopyLocalAddress(record, buffer, sizeof buffer));
        benchmark::ClobberMemory();
    }
}

}  // namespace

std::string WoxUtil::WoxDecryptData(uint32_t domain, const std::string &cipherText)
{
    return ring == nullptr ? cipherText.substr(std::strlen("sealed:")) : ring->Open(domain, cipherText);
}

BENCHMARK_CAPTURE(OurCredential, prefixed, false)->Name("credential/ours");
BENCHMARK_CAPTURE(BareCredential, prefixed, false)->Name("credential/bare parts");
BENCHMARK_CAPTURE(OurCredential, sealed, true)->Name("credential, sealed by libsodium/ours");
BENCHMARK_CAPTURE(BareCredential, sealed, true)->Name("credential, sealed by libsodium/bare parts");
BENCHMARK(OurLocalAddress)->Name("local address/ours");
BENCHMARK(BareLocalAddress)->Name("local address/bare parts");
