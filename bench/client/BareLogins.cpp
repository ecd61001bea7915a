// bench_bare_logins FORM USER PASSWORD TARGET LUN ADDRESS...: logs in at an array's addresses one after another, with
// libiscsi's synchronous calls and nothing else. Prints a line for each session, and keeps them all until SIGTERM ends it.
//
// The forms: "login" connects and logs in, with CHAP. "known" also reads the name of the LUN, without which nobody knows
// which array this is. "asked" finds out everything by itself, at each address, as a client does that was told no more
// than addresses, user and password: a discovery session for the target, then the LUNs that have a name. "probed" does
// the same once the address was tried by a connection that comes to nothing else, as the library wants it.
//
// libiscsi offers no choice of the local address, so all sessions come from the one that the system chooses. That takes
// neither side longer.
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr uint16_t kPort = 3260;
constexpr int kPageSize = 1024;
constexpr int kLunListSize = 8 + 8 * 64;
constexpr uint32_t kIsid = 0x4711;
constexpr char kInitiator[] = "iqn.2026-11.example.zef:bare";

struct DestroyContext {
    void operator()(iscsi_context *context) const { iscsi_destroy_context(context); }
};
using Context = std::unique_ptr<iscsi_context, DestroyContext>;

struct FreeTask {
    void operator()(scsi_task *task) const { scsi_free_scsi_task(task); }
};
using Task = std::unique_ptr<scsi_task, FreeTask>;

struct Access {
    std::string user;
    std::string password;
    std::string target;
    int lun;
};

[[noreturn]] void Fail(const Context &context)
{
    throw std::runtime_error(context == nullptr ? "no memory" : iscsi_get_error(context.get()));
}

// target: empty for a discovery session.
Context LogIn(const Access &access, const std::string &address, const std::string &target, int number)
{
    Context context(iscsi_create_context(kInitiator));
    if (context == nullptr) {
        Fail(context);
    }
    iscsi_context *iscsi = context.get();
    iscsi_set_isid_random(iscsi, target.empty() ? kIsid ^ 1 : kIsid, number);
    iscsi_set_session_type(iscsi, target.empty() ? ISCSI_SESSION_DISCOVERY : ISCSI_SESSION_NORMAL);
    if (!target.empty()) {
        iscsi_set_targetname(iscsi, target.c_str());
    }
    iscsi_set_initiator_username_pwd(iscsi, access.user.c_str(), access.password.c_str());
    if (iscsi_connect_sync(iscsi, address.c_str()) != 0 || iscsi_login_sync(iscsi) != 0) {
        Fail(context);
    }
    return context;
}

std::string FindTarget(const Access &access, const std::string &address, int number)
{
    const Context context = LogIn(access, address, "", number);
    iscsi_discovery_address *const found = iscsi_discovery_sync(context.get());
    if (found == nullptr) {
        Fail(context);
    }
    std::string target = found->target_name;
    iscsi_free_discovery_data(context.get(), found);
    iscsi_logout_sync(context.get());
    return target;
}

// A LUN's 16-byte name as tgtd writes it, the first 8 bytes; "" for a LUN whose name is all zeros, such as tgtd's
// controller.
std::string ReadName(const Context &context, int lun)
{
    constexpr int kVitalProductData = 1;
    const Task task(iscsi_inquiry_sync(context.get(), lun, kVitalProductData,
                                       SCSI_INQUIRY_PAGECODE_DEVICE_IDENTIFICATION, kPageSize));
    if (task == nullptr || task->status != SCSI_STATUS_GOOD) {
        return "";
    }
    auto *const page = static_cast<scsi_inquiry_device_identification *>(scsi_datain_unmarshall(task.get()));
    for (auto *one = page == nullptr ? nullptr : page->designators; one != nullptr; one = one->next) {
        const auto *bytes = reinterpret_cast<const unsigned char *>(one->designator);
        if (one->designator_type == SCSI_DESIGNATOR_TYPE_NAA && one->designator_length == 16) {
            std::string name;
            for (int i = 0; i < 8; ++i) {
                constexpr char kDigits[] = "0123456789abcdef";
                name += {kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15]};
            }
            return name.find_first_not_of('0', 1) == std::string::npos ? "" : name;
        }
    }
    return "";
}

std::vector<int> ListLuns(const Context &context)
{
    const Task task(iscsi_reportluns_sync(context.get(), 0, kLunListSize));
    auto *const list = task == nullptr || task->status != SCSI_STATUS_GOOD
                           ? nullptr
                           : static_cast<scsi_reportluns_list *>(scsi_datain_unmarshall(task.get()));
    return list == nullptr ? std::vector<int>() : std::vector<int>(list->luns, list->luns + list->num);
}

// LUN 0 first, which may be a mere controller without a name.
std::string FindName(const Context &context)
{
    std::string name = ReadName(context, 0);
    for (const int lun : name.empty() ? ListLuns(context) : std::vector<int>()) {
        if (lun != 0 && name.empty()) {
            name = ReadName(context, lun);
        }
    }
    return name;
}

void Probe(const std::string &address)
{
    sockaddr_in portal = {};
    portal.sin_family = AF_INET;
    portal.sin_port = htons(kPort);
    inet_pton(AF_INET, address.c_str(), &portal.sin_addr);
    const int connection = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(connection, reinterpret_cast<const sockaddr *>(&portal), sizeof portal) != 0) {
        throw std::runtime_error("the array is not reached");
    }
    close(connection);
}

Context Reach(const std::string &form, const Access &access, const std::string &address, int number)
{
    const bool isProbed = form == "probed";
    const bool isAsked = isProbed || form == "asked";
    if (isProbed) {
        Probe(address);
    }
    const std::string target = isAsked ? FindTarget(access, address, number) : access.target;
    Context context = LogIn(access, address, target, number);
    std::string name;
    if (form != "login") {
        name = isAsked ? FindName(context) : ReadName(context, access.lun);
        if (name.empty()) {
            throw std::runtime_error("the array has no name");
        }
    }
    std::printf("%s up %s\n", address.c_str(), name.c_str());
    std::fflush(stdout);
    return context;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 7) {
        return EXIT_FAILURE;
    }
    const Access access{argv[2], argv[3], argv[4], std::atoi(argv[5])};
    std::vector<Context> sessions;
    try {
        for (int i = 6; i < argc; ++i) {
            sessions.push_back(Reach(argv[1], access, argv[i], i));
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    pause();
    return EXIT_SUCCESS;
}
