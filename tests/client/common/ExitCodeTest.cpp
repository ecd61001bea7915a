#include "common/ExitCode.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using namespace zef;

}  // namespace

TEST(ExitCodeTest, EveryCodeStandsAtItsPlaceInTheTable)
{
    for (size_t i = 0; i < ExitCodes().size(); ++i) {
        EXPECT_EQ(ToStatus(ExitCodes()[i].code), static_cast<int>(i));
    }
    EXPECT_STREQ(Explain(ExitCode::Credential).name, "credential");
}

TEST(ExitCodeTest, NamesTellCodesApart)
{
    std::set<std::string> names;
    for (const ExitCodeEntry &entry : ExitCodes()) {
        names.insert(entry.name);
    }
    EXPECT_EQ(names.size(), ExitCodes().size());
}
