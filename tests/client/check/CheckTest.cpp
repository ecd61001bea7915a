#include "CheckTest.h"

#include "keys/KeyStore.h"
#include "support/OptFolder.h"

#include <fmt/format.h>

#include <chrono>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr int kRefuses = 10;
constexpr int64_t kCreated = 1'000'000'000;

pid_t Spawn(const char *program)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    char *const arguments[] = {const_cast<char *>(program), nullptr};
    pid_t child = -1;
    const int error = posix_spawn(&child, program, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw std::runtime_error(std::string("cannot run ") + program);
    }
    return child;
}

}  // namespace

std::string MakeKeys(const KeyPaths &keys)
{
    const KeyStore store(keys.primary, keys.standby);
    store.CreateDirectories();
    const KeyStoreLock lock = store.Lock(std::chrono::seconds(30));
    const KeyRing ring = KeyRing::Create(kPasswordDomain, kCreated);
    store.Save(lock, ring);
    return ring.Seal(SecretBuffer(kPlainPassword, std::char_traits<char>::length(kPlainPassword)));
}

std::string WithPassword(std::string text, const std::string &sealed)
{
    const std::string mark = kSealedMark;
    for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + sealed.size())) {
        text.replace(at, mark.size(), sealed);
    }
    return text;
}

std::string ConfigWith(const std::string &topElements, const std::string &storageElements)
{
    const std::string storage = "<StorageObject>\n" + storageElements + "\n</StorageObject>\n";
    return "<?xml version=\"1.0\"?>\n<Config>\n" + topElements + "\n" + (storageElements.empty() ? "" : storage) +
           "</Config>\n";
}

std::string ValidConfig(const std::string &sealed)
{
    return ConfigWith(std::string("<Uuid>") + kUuid +
                          "</Uuid>\n<Deduplication>ON</Deduplication>\n<Compression>OFF</Compression>",
                      "<Name>array-1</Name>\n<User>zefuser</User>\n<LinkType>0</LinkType>\n<Password>" + sealed +
                          "</Password>\n<Ips>127.0.0.1</Ips>");
}

std::vector<std::string> Summary(const std::vector<Finding> &findings)
{
    std::vector<std::string> lines;
    for (const Finding &finding : findings) {
        lines.push_back(fmt::format("{}:{}: {}: {}{}", finding.position.line, finding.position.column,
                                    finding.severity == Severity::Error ? "error" : "warning", finding.id,
                                    finding.refusesStart ? "!" : ""));
    }
    return lines;
}

std::vector<std::string> Summary(const CheckResult &result)
{
    return Summary(result.findings);
}

bool DependsOnOrder(const CheckResult &result)
{
    return result.Has("duplicate-element") || result.Has("address-order");
}

bool LibraryStarts()
{
    const pid_t child = Spawn(ZEF_CHECK_STARTER);
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    if (!WIFEXITED(status) || (WEXITSTATUS(status) != 0 && WEXITSTATUS(status) != kRefuses)) {
        throw std::runtime_error(fmt::format("the library's process ended with status {:#x}", status));
    }
    return WEXITSTATUS(status) == 0;
}

}  // namespace zef
