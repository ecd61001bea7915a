// A server for a test, with a handler that the test steers.
#ifndef ZEF_TESTS_CLIENT_CONTROL_SERVER_TEST_H
#define ZEF_TESTS_CLIENT_CONTROL_SERVER_TEST_H

#include "AwkwardClient.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace zef {

class ServerTest : public testing::Test {
protected:
    ServerTest() { options.path = folder.File("socket"); }

    // A handler that still waits would keep the server from stopping.
    ~ServerTest() override { handler.LetGo(); }

    void Start() { server = std::make_unique<ControlServer>(options, handler.Handler()); }

    AwkwardClient Connect() const { return AwkwardClient(options.path); }

    // A request and its success.
    static std::string Echo(int value)
    {
        return R"({"version":1,"op":"echo","value":)" + std::to_string(value) + "}";
    }
    static std::string Echoed(int value)
    {
        return R"({"ok":true,"result":{"value":)" + std::to_string(value) + R"(},"version":1})";
    }
    static std::string Wait(uint64_t since, const std::string &more = "")
    {
        return R"({"version":1,"op":"wait","since":)" + std::to_string(since) + more + "}";
    }
    static std::string Changes(uint64_t count)
    {
        return R"({"ok":true,"result":{"changes":)" + std::to_string(count) + R"(},"version":1})";
    }

    static constexpr const char *kBlock = R"({"version":1,"op":"block"})";
    static constexpr const char *kBlocked = R"({"ok":true,"result":{},"version":1})";

    ScratchFolder folder;
    ControlOptions options;
    SteeredHandler handler;
    std::unique_ptr<ControlServer> server;
};

}  // namespace zef

#endif
