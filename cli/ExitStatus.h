#pragma once

#include <stdexcept>
#include <string>

namespace VarnelBase {

/// What the command's exit status tells a script. The numbers are part of the interface.
enum class ExitStatus : int {
    Done = 0,
    Refused = 1,         ///< the service, the user or a file said no
    Usage = 2,           ///< the command line or a setting cannot be used; nothing was sent
    Unreachable = 3,     ///< no answer came from the service
    LoginNeeded = 4,     ///< there is no token that the service takes
    NotConfirmed = 5,    ///< something was sent, and what became of it is not known
    Offline = 6,         ///< the settings say offline; nothing was sent
    ExecutionFailed = 8, ///< the execution that was watched has failed
    Interrupted = 130,   ///< Ctrl-C
};

/// Ends the command with a message on standard error; without a text, silently.
class CommandError : public std::runtime_error {
public:
    CommandError(ExitStatus reason, const std::string& message)
        : std::runtime_error(message), status(reason) {}

    ExitStatus GetStatus() const { return status; }

private:
    ExitStatus status;
};

} // namespace VarnelBase
