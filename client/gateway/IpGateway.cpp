#include "gateway/IpGateway.h"

#include "gateway_fc/FibreChannelLinks.h"
#include "log/Log.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include <arpa/inet.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace zef {

namespace {

constexpr char kInitiatorPrefix[] = "iqn.2026-11.example.zef:";
constexpr char kSettingsPrefix[] = "LIBISCSI_";
constexpr std::chrono::seconds kMargin{1};  // for the gateway's thread to report a deadline that has passed

constexpr char kNoOutcome[] = "no outcome in time";

constexpr int64_t kStatusUp = 0;
constexpr int64_t kStatusNotYet = 1;
constexpr int64_t kStatusFailed = 2;

bool IsAddress(const char *text)
{
    in_addr address{};
    return text != nullptr && inet_pton(AF_INET, text, &address) == 1;
}

const char *TextOf(const char *text)
{
    return text == nullptr ? "(none)" : text;
}

int64_t StatusOf(LinkPhase phase)
{
    switch (phase) {
    case LinkPhase::Up:
        return kStatusUp;
    case LinkPhase::Failed:
    case LinkPhase::Closed:
        return kStatusFailed;
    default:
        return kStatusNotYet;
    }
}

std::vector<std::string> LibiscsiSettings()
{
    std::vector<std::string> names;
    for (char **variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        if (std::strncmp(*variable, kSettingsPrefix, sizeof kSettingsPrefix - 1) == 0) {
            names.emplace_back(*variable, std::strcspn(*variable, "="));
        }
    }
    return names;
}

void RemoveLibiscsiSettings()
{
    for (const std::string &name : LibiscsiSettings()) {
        LogWarn("gateway", "environment variable {} is not used", name);
        unsetenv(name.c_str());
    }
}

std::string LowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

IpGateway &IpGateway::Instance()
{
    static IpGateway instance;
    return instance;
}

IpGateway::~IpGateway()
{
    Close();
}

void IpGateway::Start(const GatewayOptions &newOptions, LinkListener listener)
{
    const MutexLock lock(mutex);
    if (state == State::Running) {
        return;
    }
    RemoveLibiscsiSettings();
    loop = std::make_shared<IscsiLoop>(newOptions, std::move(listener), table);
    options = newOptions;
    state = State::Running;
}

void IpGateway::Close()
{
    std::shared_ptr<IscsiLoop> ending;
    {
        const MutexLock lock(mutex);
        state = State::Closed;
        ending = std::move(loop);
    }
    if (ending != nullptr) {
        ending->Stop();
        expected.Clear();
        table.Clear();
    }
}

int IpGateway::CreateLink(const OrnLinkRequest &request)
{
    const std::string local = TextOf(request.localAddr);
    const std::string array = TextOf(request.storageAddr);
    const std::shared_ptr<IscsiLoop> running = RunningLoop();
    if (running == nullptr) {
        LogInfo("gateway", "link {} -> {} refused: the gateway does not run", local, array);
        return -1;
    }
    if (!IsWanted(local, array)) {
        LogInfo("gateway", "link {} -> {} refused: it is no longer configured", local, array);
        return -1;
    }
    if (const std::string refusal = Refusal(request); !refusal.empty()) {
        running->Reports().Refused(local, array, refusal);
        return -1;
    }
    return BringUp(request, *running) ? 0 : -1;
}

bool IpGateway::IsWanted(const std::string &local, const std::string &array) const
{
    std::function<bool(const std::string &, const std::string &)> ask;
    {
        const MutexLock lock(mutex);
        ask = options.isWanted;
    }
    return !ask || ask(local, array);
}

// Why there can be no login; empty when there can.
std::string IpGateway::Refusal(const OrnLinkRequest &request) const
{
    if (!IsAddress(request.localAddr) || !IsAddress(request.storageAddr)) {
        return "not a pair of IPv4 addresses";
    }
    return Initiator().empty() ? "the client's UUID is not known, so it has no initiator name" : "";
}

// The loop reports how the login ends.
bool IpGateway::BringUp(const OrnLinkRequest &request, IscsiLoop &running)
{
    const bool isBegun = expected.Claim({request.localAddr, request.storageAddr});
    const LinkTable::Entry entry = table.Join(request.localAddr, request.storageAddr);
    if (entry.state.phase == LinkPhase::Up) {
        return true;
    }
    IscsiLoop::ConnectCommand command =
        NewConnect({entry.id, request.localAddr, request.storageAddr, request.credentialCb});
    if (!isBegun && !IsTrying(entry.state.phase)) {
        command.credential =
            Credential::Ask(request.credentialCb, command.pair.local, command.pair.array, command.cause);
    }
    const bool begins = command.credential != nullptr;
    const std::shared_ptr<LoginTicket> ticket = command.ticket;
    const auto deadline = std::chrono::steady_clock::now() + LongestLogin();
    running.Post(std::move(command));
    if (begins) {
        BeginExpected(request.credentialCb, running);
    }
    const std::string cause = ticket->Wait(deadline, kNoOutcome);
    if (cause == kNoOutcome) {
        running.Reports().Refused(entry.state.local, entry.state.array, cause);
    }
    return cause.empty();
}

void IpGateway::Expect(const std::string &array, const std::set<std::string> &locals)
{
    const std::shared_ptr<IscsiLoop> running = RunningLoop();
    if (running == nullptr) {
        return;
    }
    std::set<std::string> unknown;
    std::copy_if(locals.begin(), locals.end(), std::inserter(unknown, unknown.end()),
                 [&](const std::string &local) { return !table.Find(local, array); });
    for (const ExpectedLinks::Pair &pair : expected.Expect(array, unknown, locals)) {
        if (const std::optional<uint64_t> id = table.Remove(pair.first, pair.second)) {
            running->Post(IscsiLoop::DeleteCommand{*id});
        }
    }
}

// Without a credential it is left to whoever asks.
void IpGateway::BeginExpected(OrnCredentialCb credentialCb, IscsiLoop &running)
{
    for (const ExpectedLinks::Pair &pair : expected.TakeWaiting()) {
        const auto &[local, array] = pair;
        std::string ignored;
        std::unique_ptr<Credential> credential = Credential::Ask(credentialCb, local, array, ignored);
        if (credential == nullptr || table.Find(local, array)) {
            continue;
        }
        IscsiLoop::ConnectCommand command = NewConnect({table.Join(local, array).id, local, array, credentialCb});
        command.credential = std::move(credential);
        expected.Begun(pair);
        running.Post(std::move(command));
    }
}

// Without a credential; for whoever waits there is the ticket.
IscsiLoop::ConnectCommand IpGateway::NewConnect(const IscsiLink::Pair &pair) const
{
    IscsiLoop::ConnectCommand command;
    command.pair = pair;
    command.initiator = Initiator();
    command.ticket = std::make_shared<LoginTicket>();
    return command;
}

std::chrono::milliseconds IpGateway::LongestLogin() const
{
    const MutexLock lock(mutex);
    return options.loginDeadline + options.wwnDeadline + kMargin;
}

std::vector<std::pair<std::string, std::string>> IpGateway::RetryNow()
{
    const std::shared_ptr<IscsiLoop> running = RunningLoop();
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const LinkTable::Entry &entry : table.Entries()) {
        if (entry.state.phase == LinkPhase::WaitingToRetry && running != nullptr &&
            running->Post(IscsiLoop::RetryCommand{entry.id})) {
            pairs.emplace_back(entry.state.local, entry.state.array);
        }
    }
    return pairs;
}

bool IpGateway::IsAlive(std::chrono::milliseconds patience) const
{
    const std::shared_ptr<IscsiLoop> running = RunningLoop();
    return running == nullptr || running->IsAlive(patience);
}

int IpGateway::DeleteLink(const std::string &local, const std::string &array)
{
    expected.Claim({local, array});
    const std::optional<uint64_t> id = table.Remove(local, array);
    const std::shared_ptr<IscsiLoop> running = RunningLoop();
    if (!id) {
        return -1;
    }
    LogInfo("gateway", "link {} -> {} is deleted", local, array);
    if (running != nullptr) {
        running->Post(IscsiLoop::DeleteCommand{*id});
    }
    return 0;
}

int IpGateway::LinkInfo(const std::string &local, const std::string &array, OrnLinkInfo &info) const
{
    const std::optional<LinkState> found = table.Find(local, array);
    if (!found) {
        return -1;
    }
    info = OrnLinkInfo{};
    info.wwn = found->wwn;
    info.status = StatusOf(found->phase);
    return 0;
}

int IpGateway::FibreChannelLinks(OrnLinkInfo *records, uint32_t count, uint32_t *countOut) const
{
    if (records == nullptr || countOut == nullptr) {
        return -1;
    }
    std::vector<OrnLinkInfo> found;
    std::string sysfsRoot;
    bool isClosed = false;
    {
        const MutexLock lock(mutex);
        isClosed = state == State::Closed;
        sysfsRoot = options.sysfsRoot;
    }
    if (isClosed) {
        found.push_back({kNoWwn, kStatusUp, 0, ""});
    } else {
        found = ReadFibreChannelLinks(sysfsRoot);
    }
    *countOut = static_cast<uint32_t>(std::min<size_t>(found.size(), count));
    std::copy_n(found.begin(), *countOut, records);
    return 0;
}

int IpGateway::SetClientUuid(const std::string &uuid)
{
    if (uuid.empty()) {
        return -1;
    }
    const MutexLock lock(mutex);
    clientUuid = uuid;
    LogInfo("gateway", "client UUID is {}", uuid);
    return 0;
}

int IpGateway::RegisterCredential(OrnCredentialCb callback, int32_t kind, const std::string &name)
{
    if (callback == nullptr) {
        return -1;
    }
    const MutexLock lock(mutex);
    registeredCredential = callback;
    LogInfo("gateway", "credential callback {} of kind {} is registered", name, kind);
    return 0;
}

std::vector<LinkState> IpGateway::Links() const
{
    std::vector<LinkState> states;
    for (const LinkTable::Entry &entry : table.Entries()) {
        states.push_back(entry.state);
    }
    return states;
}

std::shared_ptr<IscsiLoop> IpGateway::RunningLoop() const
{
    const MutexLock lock(mutex);
    return loop;
}

std::string IpGateway::Initiator() const
{
    const MutexLock lock(mutex);
    if (!options.initiatorName.empty()) {
        return options.initiatorName;
    }
    return clientUuid.empty() ? "" : kInitiatorPrefix + LowerCase(clientUuid);
}

}  // namespace zef
