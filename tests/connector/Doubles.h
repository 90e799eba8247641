#pragma once

#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "EnvConfig.h"

namespace VarnelBase {

/// What a scripted step of a double throws.
struct StepFailed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What the doubles of EnvConfig and AuthHandler answer, and a log of what happened.
class Doubles {
public:
    Environment environment = Environment::Local; ///< of EnvConfig()
    std::string apiHost = "127.0.0.1";
    unsigned int apiPort = 1;
    bool offline = false;
    std::vector<std::string> tokens{"t0ken"}; ///< one after the other, then the last one again
    std::string group;

    /// Forgets what happened. The handler's call of the given number, counted from 1, will throw.
    void Restart(int failingCall = 0);

    void Note(const std::string& step);
    std::vector<std::string> TakeLog();

    std::string NextToken();
    void CountHandlerCall(const std::string& step);

private:
    std::mutex mutex; ///< the server's thread notes too
    std::vector<std::string> log;
    std::size_t tokensGiven = 0;
    int throwAt = 0;
    int handlerCalls = 0;
};

/// Those of the running test.
extern Doubles* doubles;

} // namespace VarnelBase
