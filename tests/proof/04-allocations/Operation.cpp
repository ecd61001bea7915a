#include "Operation.h"

#include "Platform.h"

#include <zef_config/ZefConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>

#include <csignal>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>
#include <execinfo.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned kTimeoutSeconds = 60;

// Written by the handler of a crash.
int crashReport = -1;

struct Place {
    const char *library;
    const char *function;
};

Place PlaceOf(const void *address)
{
    Dl_info info = {};
    const bool isKnown = dladdr(address, &info) != 0;
    return {isKnown && info.dli_fname != nullptr ? info.dli_fname : "?",
            isKnown && info.dli_sname != nullptr ? info.dli_sname : "?"};
}

bool IsIn(const char *library, const Place &place)
{
    return std::strstr(place.library, library) != nullptr;
}

// Mini-XML does not look whether it got memory for what it keeps for a thread, which its first use on that thread asks
// for. Nobody who calls it can help that. Where memory runs out twice, for the name of an element and for the one that
// it is given instead, loading crashes too, in a function that has no name outside.
bool MiniXmlMayCrashIn(const char *function)
{
    return std::strcmp(function, "mxmlSetErrorCallback") == 0 ||
           (Allocator().second != 0 && std::strcmp(function, "?") == 0);
}

// Says in which library, the C library aside, the process crashed.
void ReportCrash(int signal)
{
    constexpr int kMaxFrames = 64;
    Allocator().armed = false;
    void *frames[kMaxFrames];
    const int count = backtrace(frames, kMaxFrames);
    Place crashed = {"?", "?"};
    int i = 1;
    while (i < count && IsIn("libc.so", crashed = PlaceOf(frames[i]))) {
        ++i;
    }
    for (Place caller = crashed; i < count && IsIn("libmxml.so", caller); caller = PlaceOf(frames[++i])) {
        crashed = caller;
    }
    if (IsIn("libmxml.so", crashed) && MiniXmlMayCrashIn(crashed.function)) {
        dprintf(crashReport, "crash of Mini-XML in %s", crashed.function);
    } else {
        dprintf(crashReport, "FAILED: it crashed in %s %s: %s", crashed.library, crashed.function, strsignal(signal));
    }
    _exit(1);
}

void ReportCrashes(int report)
{
    crashReport = report;
    void *frame = nullptr;
    (void)backtrace(&frame, 1);  // loads what it needs before memory runs out
    for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL}) {
        std::signal(signal, ReportCrash);
    }
}

// What a child of this process returns; how it ended when it did not come to that.
std::string InChild(const std::function<std::string()> &body)
{
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_CORE, &none);
        alarm(kTimeoutSeconds);
        ReportCrashes(ends[1]);
        std::string text;
        try {
            text = body();
        } catch (const std::exception &error) {
            const Disarmed disarmed;
            text = std::string("FAILED: an exception in the proof itself: ") + error.what();
        }
        const bool written = write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
        _exit(written ? 0 : 1);
    }
    close(ends[1]);
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while (child > 0 && (count = read(ends[0], buffer, sizeof buffer)) > 0) {
        text.append(buffer, static_cast<size_t>(count));
    }
    close(ends[0]);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        throw std::runtime_error("no child");
    }
    if (WIFSIGNALED(status)) {
        return std::string("FAILED: it crashed: ") + strsignal(WTERMSIG(status));
    }
    return text.empty() ? "FAILED: it said nothing" : text;
}

void Arm(const Failure &failure)
{
    FailingAllocations &allocator = Allocator();
    allocator.first = failure.first;
    allocator.second = failure.second;
    allocator.onwards = failure.onwards;
    allocator.asked = 0;
    allocator.failed = 0;
    allocator.armed = true;
}

// Whether it threw; what else it threw is no concern of this proof, and reaches the caller.
bool RunArmed(const Operation &operation, const Failure &failure, int &result)
{
    Arm(failure);
    try {
        result = operation.run();
        Allocator().armed = false;
        return false;
    } catch (const std::bad_alloc &) {
        Allocator().armed = false;
        return true;
    }
}

// What the visit of live blocks, a plain function, works with.
const std::vector<std::string> *mayStay = nullptr;
std::string *leaks = nullptr;

// An attribute's place, which Mini-XML loses when it gets no memory for the attribute itself.
constexpr size_t kAttributeBytes = 16;
long lostAttributes = 0;

void NoteLeak(const void *block, size_t size, const void *caller)
{
    for (const std::string &content : *mayStay) {
        if (memmem(block, size, content.data(), content.size()) != nullptr) {
            return;
        }
    }
    const Place place = PlaceOf(caller);
    if (std::strcmp(place.function, "_mxml_global") == 0) {
        return;  // kept for the thread, and goes with it
    }
    if (IsIn("libmxml.so", place) && size == kAttributeBytes && lostAttributes++ < Allocator().failed) {
        return;
    }
    *leaks += std::to_string(size) + " bytes, asked for in " + place.library + " " + place.function + "; ";
}

// After everything was given up. Blocks of the registry's list itself stay for the next storage object.
std::string Leaks(const Operation &operation)
{
    if (operation.cleanUp) {
        operation.cleanUp();
    }
    ZefConfigFinish();
    ZefStorageManager::GetStorageAll().shrink_to_fit();
    std::string text;
    mayStay = &operation.stays;
    leaks = &text;
    Allocator().visitLive(NoteLeak);
    return text;
}

}  // namespace

void WriteConfig(const std::string &type)
{
    std::filesystem::create_directories(std::filesystem::path(kConfigFile).parent_path());
    std::ofstream stream(kConfigFile, std::ios::binary | std::ios::trunc);
    stream << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<Config>\n"
              "    <Uuid type=\"string\">" << kUuid << "</Uuid>\n"
              "    <SystemUuid type=\"string\">ffffffff-eeee-dddd-cccc-bbbbbbbbbbbb</SystemUuid>\n"
              "    <Deduplication type=\"string\">ON</Deduplication>\n"
              "    <Compression type=\"string\">ON</Compression>\n"
              "    <StorageObject>\n"
              "        <Name type=\"string\">an_array_with_a_long_name</Name>\n"
              "        <User type=\"string\">a_user_with_a_long_name</User>\n"
              "        <LinkType type=\"string\">" << type << "</LinkType>\n"
              "        <Password type=\"string\">sealed:a&amp;b&lt;c&gt;d</Password>\n"
              "        <Ips type=\"string\">192.168.100.101</Ips>\n"
              "        <Ips type=\"string\">192.168.100.102</Ips>\n"
              "    </StorageObject>\n"
              "</Config>\n";
}

// The same file for all; what others have left beside it goes.
void OperationRun::Prepare() const
{
    std::filesystem::remove_all(std::filesystem::path(kConfigFile).parent_path());
    WriteConfig();
    operation.prepare();
}

OperationRun::OperationRun(const Operation &theOperation) : operation(theOperation)
{
    before = StateOf(InChild([&] {
        Prepare();
        return TextOf(SeenState());
    }));
    State answer = StateOf(InChild([&] {
        Prepare();
        int result = 0;
        const bool thrown = RunArmed(operation, {0, 0, false}, result);
        State state = SeenState();
        state["thrown"] = std::to_string(thrown);
        state["result"] = std::to_string(result);
        state["allocations"] = std::to_string(Allocator().asked);
        state["leaks"] = Leaks(operation);
        return TextOf(state);
    }));
    if (answer["thrown"] != "0" || answer["leaks"] != "") {
        throw std::runtime_error(operation.name + " fails with all the memory it wants: " + TextOf(answer));
    }
    completeResult = std::stoi(answer["result"]);
    allocations = std::stol(answer["allocations"]);
    for (const char *own : {"thrown", "result", "allocations", "leaks"}) {
        answer.erase(own);
    }
    complete = answer;
}

std::string OperationRun::Try(const Failure &failure) const
{
    return InChild([&] { return Attempt(failure); });
}

// What is wrong with how it ended.
std::string OperationRun::Judge(bool thrown, int result) const
{
    const State after = SeenState();
    const bool saidDone = !thrown && result == completeResult && !operation.tellsNothing;
    if (saidDone) {
        return Difference(complete, after);
    }
    if (after == before || (operation.tellsNothing && after == complete) ||
        (operation.allows && operation.allows(before, complete, after))) {
        return "";
    }
    return "after the failure " + Difference(before, after);
}

// Whether a task ended early, and nothing is queued that would try again.
bool OperationRun::IsGivenUp() const
{
    const State after = SeenState();
    return operation.tellsNothing && after != complete && after.at("queue").empty();
}

std::string OperationRun::Attempt(const Failure &failure) const
{
    Prepare();
    int result = 0;
    const bool thrown = RunArmed(operation, failure, result);
    if (Allocator().failed == 0) {
        return "not reached";
    }
    std::string wrong = Judge(thrown, result);
    const bool isGivenUp = IsGivenUp();
    if (wrong.empty() && (thrown || result != completeResult || operation.tellsNothing)) {
        if (operation.recover) {
            operation.recover();
        }
        const int repeated = operation.again ? operation.again() : operation.run();
        if (repeated != completeResult) {
            wrong = "repeated, it gives " + std::to_string(repeated);
        } else {
            wrong = Difference(complete, SeenState());
            wrong = wrong.empty() ? "" : "repeated, " + wrong;
        }
    }
    if (wrong.empty()) {
        wrong = Leaks(operation);
        wrong = wrong.empty() ? "" : "leaks " + wrong;
    }
    if (!wrong.empty()) {
        return "FAILED: " + std::string(thrown ? "thrown" : "result " + std::to_string(result)) + ": " + wrong;
    }
    if (isGivenUp) {
        return "given up";
    }
    return thrown ? "thrown" : result == completeResult ? "done" : "refused";
}
