// Ends the library's worker before the program's own objects go, as a client does.
#include "gateway/IpGateway.h"

#include <zef_config/ZefStorageController.h>

#include <gtest/gtest.h>

namespace {

class FinishAtEnd : public ::testing::Environment {
public:
    void TearDown() override
    {
        zef::IpGateway::Instance().Close();  // ends a task that looks for Fibre Channel links
        ZefStorageController::Finish();
    }
};

const ::testing::Environment *const environment = ::testing::AddGlobalTestEnvironment(new FinishAtEnd);

}  // namespace
