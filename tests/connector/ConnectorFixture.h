#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "EnvConfig.h"
#include "ScriptedServer.h"

namespace nlohmann {

/// A document in a failure's message; its bytes need not be UTF-8.
inline void PrintTo(const json& document, std::ostream* out) {
    *out << document.dump(-1, ' ', true, json::error_handler_t::replace);
}

} // namespace nlohmann

namespace VarnelBase {

/// What a double of AuthHandler throws where a test says so.
struct StepFailed : std::exception {};

/// A server, what the doubles of EnvConfig and AuthHandler answer, and what happens to all three.
class ConnectorFixture : public testing::Test {
public:
    ConnectorFixture() { running = this; }

    static inline ConnectorFixture* running = nullptr;

    ScriptedServer server;
    Environment environment = Environment::Local; ///< of EnvConfig()
    std::string apiHost = "127.0.0.1";
    unsigned int apiPort = server.port;
    bool offline = false;
    Log tokens{"t0ken"}; ///< one after the other, then the last one again
    std::size_t tokensTaken = 0;
    std::string group;
    int callsToFailure = 0; ///< 1: the handler's next call throws

protected:
    /// Chooses Staging. "127" and "0.0.1" make a host that can be connected to.
    void UseGroup() {
        environment = Environment::Staging;
        group = "127";
        apiHost = "0.0.1";
    }

    /// What an action writes to standard output and flushes. It must leave standard error alone.
    static std::string CaptureOutput(const std::function<void()>& action);
};

} // namespace VarnelBase
