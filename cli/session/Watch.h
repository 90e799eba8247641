#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "session/Session.h"

namespace VarnelBase {

/// How executions are watched. Their documents are the service's own.
struct WatchRules {
    std::string field = "/state";        ///< JSON pointer to the state
    std::vector<std::string> goodStates; ///< that end an execution, besides "finished"
    std::vector<std::string> badStates;  ///< that end it badly, besides "failed"
    std::optional<double> intervalSeconds;
    bool isList = false; ///< whether the result is a list however many there are
};

/// An execution and what was last seen of it.
struct WatchedExecution {
    WatchedExecution(std::string name, std::string where)
        : identifier(std::move(name)), target(std::move(where)) {}

    std::string identifier;
    std::string target;
    std::string document; ///< empty: not seen yet
    std::string state;
    double fraction = 0; ///< of its work that is done, as far as it tells
    bool isEnded = false;
    bool isBad = false;
};

/// Reads the executions again and again until all have ended, or the session's time is over,
/// telling how far they are, and prints them. Answers that are lost or broken do not end it.
///
/// @throws CommandError when one has ended badly, the time is over, the service refuses, or has not
///         answered for minutes
void WatchExecutions(Session& session, std::vector<WatchedExecution> executions,
                     const WatchRules& rules);

} // namespace VarnelBase
