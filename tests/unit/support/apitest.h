#pragma once

#include "support/apiserver.h"
#include "support/interposed.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace zantest {

/// A test with the API up, every cache expired, the agent's log captured and nothing interposed failing.
/// Fails when a transfer handle was not cleaned up.
class ApiTest : public testing::Test {
protected:
    ApiTest();
    ~ApiTest() override;

    void TearDown() override;

    ApiServer& api() { return *server; }

    /// The socket is gone.
    void apiDown() { server.reset(); }
    void apiUp() { server.emplace(); }

    /// Lets every cache of the module expire, and the API answer with this result (JSON text) from now on.
    void freshResult(const std::string& result);

    /// The line that every request logs.
    static LogLine executing(const std::string& path);

private:
    std::optional<ApiServer> server;
};

} // namespace zantest
