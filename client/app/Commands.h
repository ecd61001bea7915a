// The commands of zef_client, by group: each function adds its commands to the parser.
#ifndef ZEF_CLIENT_APP_COMMANDS_H
#define ZEF_CLIENT_APP_COMMANDS_H

#include "common/ExitCode.h"

#include <functional>

namespace CLI {
class App;
}

namespace zef {

// What the command line asks for; set while it is parsed, carried out afterwards.
using Action = std::function<ExitCode()>;

void AddRunCommand(CLI::App &app, Action &action);
void AddCheckCommands(CLI::App &app, Action &action);   // check, show config
void AddStatusCommands(CLI::App &app, Action &action);  // status, links
void AddChangeCommands(CLI::App &app, Action &action);  // storage, switch, retry, log-level, save, reload
void AddKeyCommands(CLI::App &app, Action &action);     // keys, password
void AddBaseConfigCommand(CLI::App &app, Action &action);

}  // namespace zef

#endif
