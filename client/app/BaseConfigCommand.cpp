#include "app/Commands.h"

#include "app/Command.h"
#include "app/LogArguments.h"
#include "baseconfig/SharedBaseConfig.h"

#include <iostream>
#include <memory>

namespace zef {

void AddBaseConfigCommand(Command &root, Action &action)
{
    const auto log = std::make_shared<LogArguments>();
    const Command command =
        root.Add("base-config", "Print the shared base configuration that a client has published");
    log->AddTo(command);
    command.OnParsed([log, &action] {
        action = [log] {
            log->Apply();
            return static_cast<ExitCode>(PrintSharedItems(std::cout, std::cerr));
        };
    });
}

}  // namespace zef
