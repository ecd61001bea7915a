#include "app/Commands.h"

#include "app/LogArguments.h"
#include "baseconfig/SharedBaseConfig.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace zef {

void AddBaseConfigCommand(CLI::App &app, Action &action)
{
    const auto log = std::make_shared<LogArguments>();
    CLI::App *const command =
        app.add_subcommand("base-config", "Print the shared base configuration that a client has published");
    log->AddTo(*command);
    command->callback([log, &action] {
        action = [log] {
            log->Apply();
            return static_cast<ExitCode>(PrintSharedItems(std::cout, std::cerr));
        };
    });
}

}  // namespace zef
