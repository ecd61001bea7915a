#include "support/TgtArray.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr std::chrono::seconds kPatience{30};
constexpr std::chrono::milliseconds kPause{10};
constexpr char kControlPort[] = "1";  // a part of the control socket's name
constexpr int kNotStarted = 127;

[[noreturn]] void Fail(const std::string &what)
{
    throw std::runtime_error("TgtArray: " + what);
}

// tgtd and tgtadm are in the system directories, which not everybody has in PATH.
std::string Program(const std::string &name)
{
    for (const char *directory : {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/", "/usr/local/sbin/"}) {
        if (access((directory + name).c_str(), X_OK) == 0) {
            return directory + name;
        }
    }
    Fail(name + " is not installed; it is needed as the array to test against (apt-get install tgt)");
}

uint16_t FreePort(const std::string &address)
{
    const int socketNumber = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    inet_pton(AF_INET, address.c_str(), &own.sin_addr);
    socklen_t size = sizeof own;
    if (bind(socketNumber, reinterpret_cast<const sockaddr *>(&own), size) != 0 ||
        getsockname(socketNumber, reinterpret_cast<sockaddr *>(&own), &size) != 0) {
        Fail("no free port on " + address);
    }
    close(socketNumber);
    return ntohs(own.sin_port);
}

std::string MakeDirectory()
{
    std::string path = std::filesystem::temp_directory_path() / "tgt-array-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        Fail("no directory for the array's files");
    }
    return path;
}

// Replaces the child's process; only calls that are safe between fork and exec.
[[noreturn]] void Execute(const std::vector<char *> &arguments, const std::vector<char *> &environment, int output)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // an array must not outlive the test
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execve(arguments[0], arguments.data(), environment.data());
    _exit(kNotStarted);
}

std::vector<char *> Pointers(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

pid_t Spawn(std::vector<std::string> arguments, const std::string &controlSocket, const std::string &outputFile)
{
    std::vector<std::string> environment{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "TGT_IPC_SOCKET=" + controlSocket};
    const std::vector<char *> argumentList = Pointers(arguments);
    const std::vector<char *> environmentList = Pointers(environment);
    const int output = open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const pid_t child = fork();
    if (child == 0) {
        Execute(argumentList, environmentList, output);
    }
    close(output);
    if (child < 0) {
        Fail("cannot start " + arguments[0]);
    }
    return child;
}

std::string Read(const std::string &file)
{
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

bool HasEnded(pid_t process)
{
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == process;
}

int WaitForEnd(pid_t process)
{
    int status = -1;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

}  // namespace

TgtArray::TgtArray(const Settings &wanted) : settings(wanted), directory(MakeDirectory())
{
    if (settings.port == 0) {
        settings.port = FreePort(settings.address);
    }
    Start();
}

TgtArray::~TgtArray()
{
    Kill();
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

uint64_t TgtArray::Wwn() const
{
    return std::stoull(settings.scsiId.substr(0, 16), nullptr, 16);
}

void TgtArray::Start()
{
    try {
        Launch();
        WaitUntilItAnswers();
        Configure();
    } catch (...) {
        Kill();
        throw;
    }
}

// In the foreground; it ignores SIGTERM, so only Kill ends it.
void TgtArray::Launch()
{
    const std::string portal = "portal=" + settings.address + ":" + std::to_string(settings.port);
    process = Spawn({Program("tgtd"), "--foreground", "--control-port", kControlPort, "--iscsi", portal},
                    directory + "/control", directory + "/tgtd.log");
}

void TgtArray::WaitUntilItAnswers() const
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (Admin({"--op", "show", "--mode", "sys"}).find("State: ready") == std::string::npos) {
        if (HasEnded(process) || std::chrono::steady_clock::now() > end) {
            Fail("tgtd does not run:\n" + Read(directory + "/tgtd.log"));
        }
        std::this_thread::sleep_for(kPause);
    }
}

void TgtArray::Configure()
{
    const std::string disk = directory + "/disk";
    std::ofstream(disk).close();
    std::filesystem::resize_file(disk, 1 << 20);

    targets = 0;
    NewTarget(settings.target);
    Admin({"--op", "new", "--mode", "logicalunit", "--tid", "1", "--lun", "1", "--backing-store", disk});
    SetLunScsiId(1, settings.scsiId);
    if (!settings.user.empty()) {
        Admin({"--op", "new", "--mode", "account", "--user", settings.user, "--password", settings.password});
        Admin({"--op", "bind", "--mode", "account", "--tid", "1", "--user", settings.user});
    }
    AdmitEverybody(1);  // last, so that nobody gets in without a password or finds no LUN
}

void TgtArray::Kill()
{
    if (process > 0) {
        kill(process, SIGKILL);
        WaitForEnd(process);
        process = -1;
    }
}

void TgtArray::Freeze()
{
    kill(process, SIGSTOP);
}

void TgtArray::Thaw()
{
    kill(process, SIGCONT);
}

void TgtArray::SetScsiId(const std::string &scsiId)
{
    settings.scsiId = scsiId;
    if (process > 0) {
        SetLunScsiId(1, scsiId);
    }
}

void TgtArray::SetLunScsiId(int lun, const std::string &scsiId)
{
    Admin({"--op", "update", "--mode", "logicalunit", "--tid", "1", "--lun", std::to_string(lun), "--params",
           "scsi_id=" + scsiId});
}

void TgtArray::AddTarget(const std::string &name)
{
    AdmitEverybody(NewTarget(name));
}

int TgtArray::NewTarget(const std::string &name)
{
    Admin({"--op", "new", "--mode", "target", "--tid", std::to_string(++targets), "--targetname", name});
    return targets;
}

void TgtArray::AdmitEverybody(int target)
{
    Admin({"--op", "bind", "--mode", "target", "--tid", std::to_string(target), "--initiator-address", "ALL"});
}

// Lines such as "            IP Address: 127.0.0.2".
std::vector<std::string> TgtArray::InitiatorAddresses() const
{
    constexpr char kLabel[] = "IP Address: ";
    std::vector<std::string> addresses;
    std::istringstream lines(Admin({"--op", "show", "--mode", "target"}));
    for (std::string line; std::getline(lines, line);) {
        const size_t at = line.find(kLabel);
        if (at != std::string::npos) {
            addresses.push_back(line.substr(at + std::strlen(kLabel)));
        }
    }
    return addresses;
}

std::string TgtArray::Admin(const std::vector<std::string> &arguments) const
{
    std::vector<std::string> all{Program("tgtadm"), "--control-port", kControlPort, "--lld", "iscsi"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const std::string output = directory + "/tgtadm.log";
    const int status = WaitForEnd(Spawn(all, directory + "/control", output));
    const std::string printed = Read(output);
    const bool isQuestion = arguments.size() > 1 && arguments[1] == "show";
    if (status != 0 && !isQuestion) {
        Fail("tgtadm " + arguments[1] + " " + arguments[3] + " failed: " + printed);
    }
    return printed;
}

}  // namespace zef
