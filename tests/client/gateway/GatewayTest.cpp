#include "GatewayTest.h"

#include <filesystem>
#include <iterator>
#include <thread>

namespace zef {

namespace {

size_t Count(const char *directory)
{
    const auto entries = std::filesystem::directory_iterator(directory);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

std::atomic<int> GatewayTest::callbackResult{0};
std::atomic<int> GatewayTest::callbackCalls{0};
std::string GatewayTest::user = kUser;
std::string GatewayTest::password = kPassword;
std::mutex GatewayTest::credentialMutex;

LinkListener StateRecord::Listener()
{
    return [this](const LinkState &state) {
        const std::lock_guard<std::mutex> lock(mutex);
        changes.push_back(state);
        changed.notify_all();
    };
}

bool StateRecord::WaitFor(const std::function<bool(const LinkState &)> &fits)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, kPatience, [this, &fits] {
        while (examined < changes.size()) {
            if (fits(changes[examined++])) {
                return true;
            }
        }
        return false;
    });
}

bool StateRecord::WaitFor(LinkPhase phase)
{
    return WaitFor([phase](const LinkState &state) { return state.phase == phase; });
}

bool StateRecord::WaitForCause(LinkPhase phase, const std::string &cause)
{
    return WaitFor([phase, &cause](const LinkState &state) { return state.phase == phase && state.cause == cause; });
}

std::vector<LinkState> StateRecord::All() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return changes;
}

bool Eventually(const std::function<bool()> &condition)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

size_t OpenDescriptors()
{
    return Count("/proc/self/fd");
}

size_t RunningThreads()
{
    return Count("/proc/self/task");
}

// Waits are short where a test has to sit through them, and long where only a hang would reach them.
GatewayTest::GatewayTest()
{
    options.targetName = TgtArray::Settings().target;
    options.connectDeadline = kPatience;
    options.loginDeadline = kPatience;
    options.wwnDeadline = kPatience;
    options.retryDelay = std::chrono::milliseconds(20);
    callbackResult = 0;
    callbackCalls = 0;
    user = kUser;
    SetPassword(kPassword);
}

GatewayTest::~GatewayTest()
{
    gateway.Close();
}

TgtArray &GatewayTest::StartArray(TgtArray::Settings settings)
{
    settings.user = kUser;
    settings.password = kPassword;
    tgt = std::make_unique<TgtArray>(settings);
    options.arrayPort = tgt->Port();
    return *tgt;
}

void GatewayTest::StartGateway()
{
    gateway.SetClientUuid(kUuid);
    gateway.Start(options, record.Listener());
}

int GatewayTest::Create(const std::string &local, const std::string &array)
{
    const OrnLinkRequest request{local.c_str(), array.c_str(), callback, 0, 4};
    return gateway.CreateLink(request);
}

LinkState GatewayTest::OnlyLink() const
{
    const std::vector<LinkState> links = gateway.Links();
    EXPECT_EQ(links.size(), 1u);
    return links.empty() ? LinkState() : links.front();
}

OrnLinkInfo GatewayTest::Info(const std::string &local, const std::string &array) const
{
    OrnLinkInfo info{UINT64_MAX, -1, 0, ""};
    gateway.LinkInfo(local, array, info);
    return info;
}

void GatewayTest::SetPassword(const std::string &text)
{
    const std::lock_guard<std::mutex> lock(credentialMutex);
    password = text;
}

int GatewayTest::GiveCredential(const char *, const char *, OrnCredential *credential)
{
    const std::lock_guard<std::mutex> lock(credentialMutex);
    ++callbackCalls;
    user.copy(credential->user, sizeof credential->user);  // the record comes zeroed
    password.copy(credential->password, sizeof credential->password);
    return callbackResult;
}

}  // namespace zef
