// The commands of zef_client, by group: each function adds its commands to the parser.
#ifndef ZEF_CLIENT_APP_COMMANDS_H
#define ZEF_CLIENT_APP_COMMANDS_H

#include "common/ExitCode.h"

#include <functional>

namespace zef {

class Command;

// What the command line asks for; set while it is parsed, carried out afterwards.
using Action = std::function<ExitCode()>;

void AddRunCommand(Command &root, Action &action);
void AddCheckCommands(Command &root, Action &action);   // check, show config
void AddStatusCommands(Command &root, Action &action);  // status, links
void AddChangeCommands(Command &root, Action &action);  // storage, switch, retry, log-level, save, reload
void AddKeyCommands(Command &root, Action &action);     // keys, password
void AddBaseConfigCommand(Command &root, Action &action);

}  // namespace zef

#endif
