#pragma once

#include <gtest/gtest.h>

#include <mutex>

#include "EnvConfig.h"
#include "OutputCapture.h"
#include "ScriptedServer.h"

namespace VarnelBase {

using Log = std::vector<std::string>;

struct StepFailed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A server, what the doubles of EnvConfig and AuthHandler answer, and what happens to all three.
class ConnectorFixture : public testing::Test {
public:
    ConnectorFixture();

    Environment environment = Environment::Local; ///< of EnvConfig()
    std::string apiHost = "127.0.0.1";
    unsigned int apiPort;
    bool offline = false;
    Log tokens{"t0ken"}; ///< one after the other, then the last one again
    std::string group;

    void Note(const std::string& step);
    void NoteHandlerCall(const std::string& step);
    std::string TakeToken();

    static inline ConnectorFixture* running = nullptr;

protected:
    /// Forgets what happened. The handler's call of the given number, counted from 1, will throw.
    void Restart(int failingCall = 0);

    /// Lets the server answer with a status, header lines (each with its line end) and a body.
    void Answer(int status, const std::string& body, const std::string& headerLines = "");
    void Answer(const std::string& bytes);

    /// Chooses Staging. "127" and "0.0.1" make a host that can be connected to.
    void UseGroup() {
        environment = Environment::Staging;
        group = "127";
        apiHost = "0.0.1";
    }

    Log TakeLog();
    Log TakeRequests();

private:
    std::mutex mutex; ///< guards the next three: the server's thread uses them too
    Log happened;
    Log requests;
    std::string scriptedAnswer;
    std::size_t tokensTaken = 0;
    int failingHandlerCall = 0;
    int handlerCalls = 0;
    ScriptedServer server;
};

} // namespace VarnelBase
