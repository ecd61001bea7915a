// The command line of zef_client.
#ifndef ZEF_CLIENT_APP_COMMAND_LINE_H
#define ZEF_CLIENT_APP_COMMAND_LINE_H

namespace zef {

// Exit statuses of all commands.
constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

// Parses the arguments of main, carries the command out and returns the exit status. Diagnostics go to standard error.
int RunCommandLine(int argc, char **argv);

}  // namespace zef

#endif
