#include "gateway/IscsiSession.h"

#include "common/Secrets.h"
#include "gateway/SourceBinding.h"

#include <fmt/format.h>
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>

#include <algorithm>
#include <array>
#include <utility>

#include <cctype>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>

namespace zef {

namespace {

constexpr int kSynCount = 2;              // SYN packets before the kernel gives up; our own deadline comes first
constexpr int kPageSize = 1024;           // room for a device identification page
constexpr int kLunListSize = 8 + 8 * 64;  // header and 64 LUNs
constexpr size_t kMostTargets = 1000;
constexpr size_t kLongestCause = 300;

// Part of the text comes from the array: only what is harmless in a log or on a terminal stays.
std::string Printable(const std::string &text)
{
    std::string clean;
    for (const char c : text.substr(0, kLongestCause)) {
        clean += std::isprint(static_cast<unsigned char>(c)) != 0 ? c : ' ';
    }
    clean.erase(clean.find_last_not_of(' ') + 1);
    return clean;
}

// The tag of a request is another one in every session; without it the same trouble always has the same words.
std::string WithoutTag(std::string text)
{
    constexpr char kTag[] = "itt:";
    const size_t found = text.find(kTag);
    if (found == std::string::npos) {
        return text;
    }
    const size_t begin = found + sizeof kTag - 1;
    return text.replace(begin, text.find_first_not_of("0123456789abcdefx", begin) - begin, "?");
}

bool HasUnreadBytes(int socket)
{
    int count = 0;
    return ioctl(socket, FIONREAD, &count) == 0 && count > 0;
}

void CloseOnExec(int socket)
{
    static_cast<void>(fcntl(socket, F_SETFD, FD_CLOEXEC));  // the program starts no others; one more guard
}

}  // namespace

void IscsiSession::DestroyContext::operator()(iscsi_context *pointer) const
{
    iscsi_destroy_context(pointer);
}

IscsiSession::IscsiSession(const SessionPlan &sessionPlan, const Credential &credential)
    : plan(sessionPlan), context(iscsi_create_context(plan.initiator.c_str()))
{
    if (context == nullptr) {
        End("libiscsi has no memory for a session");
        return;
    }
    Prepare(credential);
    Connect();
}

// Commands under way get their callbacks from the context's destructor, so it goes while the members still live.
IscsiSession::~IscsiSession()
{
    if (context != nullptr) {
        ForgetCredential();
    }
    context.reset();
}

void IscsiSession::Prepare(const Credential &credential)
{
    iscsi_context *iscsi = context.get();
    iscsi_set_noautoreconnect(iscsi, 1);
    iscsi_set_tcp_syncnt(iscsi, kSynCount);
    iscsi_set_isid_random(iscsi, plan.isidRandom, plan.isidQualifier);
    iscsi_set_session_type(iscsi, plan.target.empty() ? ISCSI_SESSION_DISCOVERY : ISCSI_SESSION_NORMAL);
    if (!plan.target.empty()) {
        iscsi_set_targetname(iscsi, plan.target.c_str());
    }
    iscsi_set_initiator_username_pwd(iscsi, credential.User(), credential.Password());
    ForgetTraces();
}

void IscsiSession::Connect()
{
    const auto connected = [](iscsi_context *, int status, void *, void *self) {
        static_cast<IscsiSession *>(self)->OnConnected(status);
    };
    const std::string portal = fmt::format("{}:{}", plan.array, plan.port);

    const SourceBinding binding(plan.local);
    const int result = iscsi_connect_async(context.get(), portal.c_str(), connected, this);
    if (result != 0) {
        End(fmt::format("cannot connect: {}", ErrorText()));
    } else if (!binding.Used()) {
        End("the source address cannot be enforced: libiscsi does not call this program's connect()");
    } else {
        CloseOnExec(iscsi_get_fd(context.get()));
    }
}

// Also called when an established connection breaks before the login is done.
void IscsiSession::OnConnected(int status)
{
    if (status != SCSI_STATUS_GOOD) {
        End(fmt::format("{}: {}", step == Step::Connecting ? "cannot connect" : "connection lost", ErrorText()));
        return;
    }
    const std::string source = SourceBinding::LocalAddress(iscsi_get_fd(context.get()));
    if (source != plan.local) {
        End(fmt::format("connected from address '{}' instead of {}", source, plan.local));
        return;
    }
    const auto loggedIn = [](iscsi_context *, int result, void *, void *self) {
        static_cast<IscsiSession *>(self)->OnLoggedIn(result);
    };
    step = Step::LoggingIn;
    if (iscsi_login_async(context.get(), loggedIn, this) != 0) {
        End(fmt::format("cannot log in: {}", ErrorText()));
    }
}

void IscsiSession::OnLoggedIn(int status)
{
    const std::string text = ErrorText();
    ForgetCredential();
    if (status == SCSI_STATUS_GOOD) {
        step = Step::LoggedIn;
    } else if (status == SCSI_STATUS_REDIRECT) {
        // The pair was asked for; another address is a pair of its own, which the library decides on.
        End(fmt::format("the array sends us to {}, which is not followed", iscsi_get_target_address(context.get())));
    } else {
        End(text.empty() ? "the login was cut short" : text);
    }
}

// libiscsi copies a text and its end alone: only one that fills its fields leaves nothing of those before it.
void IscsiSession::ForgetCredential()
{
    std::array<char, kLongestCredential + 1> filling{};
    std::fill_n(filling.begin(), kLongestCredential, '*');
    iscsi_set_initiator_username_pwd(context.get(), filling.data(), filling.data());
    iscsi_set_initiator_username_pwd(context.get(), "", "");
    ForgetTraces();
}

int IscsiSession::Descriptor() const
{
    return step == Step::Ended ? -1 : iscsi_get_fd(context.get());
}

short IscsiSession::Events() const
{
    return static_cast<short>(iscsi_which_events(context.get()) | POLLRDHUP);
}

void IscsiSession::Service(short revents)
{
    const int events = revents & ~POLLRDHUP;
    const bool isLogin = step == Step::Connecting || step == Step::LoggingIn;
    if (step != Step::Ended && events != 0 && iscsi_service(context.get(), events) != 0) {
        End(LossText());
    }
    NoticeHangUp(revents);
    SendNow();
    if (isLogin) {
        ForgetTraces();  // of the password
    }
}

// What the session answers to what it was sent. The socket nearly always has room for it; to wait until it says so would
// take one more round of the loop for each message. What it does not take goes out when it does. An answer that has come
// already is read first: it may tell why the array no longer listens.
void IscsiSession::SendNow()
{
    const bool isConnected = step != Step::Connecting && step != Step::Ended;
    if (isConnected && (iscsi_which_events(context.get()) & POLLOUT) != 0 && !HasUnreadBytes(Descriptor()) &&
        iscsi_service(context.get(), POLLOUT) != 0) {
        End(LossText());
    }
}

// Without its own reconnects libiscsi reports the end of a connection as no error at first. What the array sent before
// it closed has to be read first: it often says why.
void IscsiSession::NoticeHangUp(short revents)
{
    const int socket = Descriptor();
    if ((revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0 && socket >= 0 && !HasUnreadBytes(socket)) {
        End("the array closed the connection");
    }
}

void IscsiSession::Logout()
{
    const auto loggedOut = [](iscsi_context *, int, void *, void *self) {
        static_cast<IscsiSession *>(self)->End("logged out");
    };
    if (step == Step::LoggedIn && iscsi_logout_async(context.get(), loggedOut, this) == 0) {
        step = Step::LoggingOut;
    } else {
        End("ended");
    }
}

void IscsiSession::SendKeepAlive()
{
    if (iscsi_nop_out_async(context.get(), nullptr, nullptr, 0, nullptr) != 0) {
        End(fmt::format("cannot send a keep-alive: {}", ErrorText()));
    }
}

int IscsiSession::UnansweredKeepAlives() const
{
    return iscsi_get_nops_in_flight(context.get());
}

void IscsiSession::Discover()
{
    const auto answered = [](iscsi_context *, int status, void *data, void *self) {
        static_cast<IscsiSession *>(self)->OnTargets(status, data);
    };
    if (iscsi_discovery_async(context.get(), answered, this) != 0) {
        End(fmt::format("cannot ask for targets: {}", ErrorText()));
    }
}

void IscsiSession::OnTargets(int status, const void *data)
{
    if (status != SCSI_STATUS_GOOD) {
        End(fmt::format("the array does not tell its targets: {}", ErrorText()));
        return;
    }
    const auto *entry = static_cast<const iscsi_discovery_address *>(data);
    for (; entry != nullptr && targets.size() < kMostTargets; entry = entry->next) {
        targets.emplace_back(entry->target_name == nullptr ? "" : entry->target_name);
    }
    hasTargets = true;
}

void IscsiSession::SendInquiry(int lun)
{
    const auto answered = [](iscsi_context *, int status, void *data, void *self) {
        static_cast<IscsiSession *>(self)->OnAnswer(status, static_cast<scsi_task *>(data));
    };
    constexpr int kVitalProductData = 1;
    Expect(iscsi_inquiry_task(context.get(), lun, kVitalProductData, SCSI_INQUIRY_PAGECODE_DEVICE_IDENTIFICATION,
                              kPageSize, answered, this));
}

void IscsiSession::SendReportLuns()
{
    const auto answered = [](iscsi_context *, int status, void *data, void *self) {
        static_cast<IscsiSession *>(self)->OnAnswer(status, static_cast<scsi_task *>(data));
    };
    constexpr int kAddressableLuns = 0;
    Expect(iscsi_reportluns_task(context.get(), kAddressableLuns, kLunListSize, answered, this));
}

void IscsiSession::Expect(scsi_task *sent)
{
    task = sent;
    hasAnswer = false;
    if (task == nullptr) {
        End(fmt::format("cannot send a command: {}", ErrorText()));
    }
}

void IscsiSession::OnAnswer(int status, scsi_task *answered)
{
    if (status >= SCSI_STATUS_CANCELLED) {
        // No answer: libiscsi gives a session up, and with it its commands. It may leave the connection open.
        if (step == Step::LoggedIn) {
            End(LossText());
        }
    } else if (answered != nullptr) {
        answer.status = status;
        answer.senseKey = answered->sense.key;
        answer.data.assign(answered->datain.data, answered->datain.data + answered->datain.size);
        hasAnswer = true;
    }
    if (scsi_task *finished = std::exchange(task, nullptr); finished != nullptr) {
        scsi_free_scsi_task(finished);
    }
}

bool IscsiSession::TakeAnswer(ScsiAnswer &taken)
{
    if (!hasAnswer) {
        return false;
    }
    hasAnswer = false;
    taken = std::move(answer);
    return true;
}

std::string IscsiSession::ErrorText() const
{
    return WithoutTag(Printable(iscsi_get_error(context.get())));
}

// libiscsi's own words for a session that broke only tell what it did not do.
std::string IscsiSession::LossText() const
{
    const std::string text = ErrorText();
    const bool isUseless = text.empty() || text.find("Can not reconnect") != std::string::npos;
    return isUseless ? "the session broke off" : fmt::format("connection lost: {}", text);
}

void IscsiSession::End(const std::string &why)
{
    if (step != Step::Ended) {
        step = Step::Ended;
        cause = Printable(why);
    }
}

}  // namespace zef
