// The command line of zef_client.
#ifndef ZEF_CLIENT_APP_COMMAND_LINE_H
#define ZEF_CLIENT_APP_COMMAND_LINE_H

namespace zef {

// Parses the arguments of main, carries the command out and returns the exit status, see ExitCode. Diagnostics go to
// standard error.
int RunCommandLine(int argc, char **argv);

}  // namespace zef

#endif
