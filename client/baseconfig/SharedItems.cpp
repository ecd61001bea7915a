#include "baseconfig/SharedItems.h"

#include "baseconfig/SegmentFile.h"
#include "baseconfig/SharedBaseConfig.h"
#include "common/ExitCode.h"

#include <fmt/format.h>

#include <optional>
#include <ostream>
#include <string>

namespace zef {

int PrintSharedItems(std::ostream &output, std::ostream &errors, const std::string &name)
{
    std::string error;
    const std::optional<SharedBaseConfig> config = SharedBaseConfig::OpenReadOnly(name, error);
    if (!config.has_value()) {
        errors << error << '\n';
        return ToStatus(SegmentFile::IsForbidden(name) ? ExitCode::NotPermitted : ExitCode::Failed);
    }
    for (const SharedItem &item : kSharedItems) {
        output << fmt::format("{}  {:<42}  {}\n", item.number, item.name, config->Get(item.number).value_or(0));
    }
    return ToStatus(ExitCode::Done);
}

}  // namespace zef
