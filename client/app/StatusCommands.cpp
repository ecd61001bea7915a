#include "app/Commands.h"

#include "app/Command.h"
#include "app/ControlArguments.h"
#include "control/ControlError.h"
#include "management/StatusReport.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <thread>

#include <unistd.h>

namespace zef {

namespace {

using Json = nlohmann::json;
using MakeReport = Report (*)(const Json &status);

// A table that changes faster than this is no longer read by anybody.
constexpr std::chrono::milliseconds kRedrawInterval(200);
constexpr const char *kClearScreen = "\033[H\033[2J";

struct StatusArguments {
    ControlArguments control;
    bool check = false;
    bool watch = false;
    MakeReport makeReport = nullptr;
};

// What an interrupt ends the watch with.
volatile std::sig_atomic_t watchVerdict = ToStatus(ExitCode::Done);

// Everything shown is flushed, and a request under way may be left: nothing is lost by ending here.
void OnInterrupt(int)
{
    _exit(watchVerdict);
}

void EndOnInterrupt()
{
    struct sigaction action = {};
    action.sa_handler = OnInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

Json Show(const StatusArguments &arguments, const char *before)
{
    Json status = arguments.control.Ask({{"op", "status"}});
    std::cout << before
              << Render(arguments.makeReport(status), arguments.control.Format(), isatty(STDOUT_FILENO) != 0)
              << std::flush;
    return status;
}

ExitCode Verdict(const StatusArguments &arguments, const Json &status)
{
    return arguments.check && IsSomeLinkDown(status) ? ExitCode::LinkDown : ExitCode::Done;
}

// Asks for the counter before the status, so that a change between the two is seen. Ends when nobody reads any more.
ExitCode Watch(const StatusArguments &arguments)
{
    const char *const before = isatty(STDOUT_FILENO) != 0 ? kClearScreen : "";
    EndOnInterrupt();
    ExitCode verdict = ExitCode::Done;
    for (Json changes = 0; std::cout;) {
        const Json now = arguments.control.Ask({{"op", "wait"}, {"since", changes}}).at("changes");
        if (now == changes) {
            continue;  // the request's time was over
        }
        changes = now;
        verdict = Verdict(arguments, Show(arguments, before));
        watchVerdict = ToStatus(verdict);
        std::this_thread::sleep_for(kRedrawInterval);
    }
    return verdict;
}

ExitCode ShowStatus(const StatusArguments &arguments)
{
    return arguments.watch ? Watch(arguments) : Verdict(arguments, Show(arguments, ""));
}

void AddCommand(Command &root, Action &action, const char *name, const char *description, MakeReport makeReport)
{
    const auto arguments = std::make_shared<StatusArguments>();
    arguments->makeReport = makeReport;
    const Command command = root.Add(name, description);
    command.Flag("--check", arguments->check, "Exit with status 7 when a link is down");
    command.Flag("--watch", arguments->watch, "Show it again whenever something changes, until SIGINT");
    arguments->control.AddTo(command, {"table", "json", "raw"});
    command.OnParsed([arguments, &action] {
        action = [arguments] { return arguments->control.Carry([&] { return ShowStatus(*arguments); }); };
    });
}

}  // namespace

void AddStatusCommands(Command &root, Action &action)
{
    AddCommand(root, action, "status", "Show what a running client knows: identity, switches, storage, links",
               MakeStatusReport);
    AddCommand(root, action, "links", "Show the links of a running client, one line a pair", MakeLinksReport);
}

}  // namespace zef
