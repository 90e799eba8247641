#pragma once

#include <array>
#include <stdexcept>
#include <string>

namespace VarnelBase {

/// What the command's exit status tells a script. The numbers are part of the interface.
enum class ExitStatus : int {
    Done = 0,
    Refused = 1,
    Usage = 2,
    Unreachable = 3,
    LoginNeeded = 4,
    NotConfirmed = 5,
    Offline = 6,
    StillRunning = 7,
    ExecutionFailed = 8,
    Interrupted = 130,
};

struct ExplainedStatus {
    ExitStatus status;
    const char* meaning;
};

inline constexpr std::array<ExplainedStatus, 10> ExplainedStatuses{{
    {ExitStatus::Done, "Done"},
    {ExitStatus::Refused, "The service, the user or a file refused"},
    {ExitStatus::Usage, "The command line or a setting cannot be used; nothing was sent"},
    {ExitStatus::Unreachable, "The service cannot be reached or did not answer"},
    {ExitStatus::LoginNeeded, "There is no token, or none that the service accepts"},
    {ExitStatus::NotConfirmed, "A change was sent, and its effect is unknown"},
    {ExitStatus::Offline, "Offline mode is on; nothing was sent"},
    {ExitStatus::StillRunning, "The time for watching ran out, and the execution continues"},
    {ExitStatus::ExecutionFailed, "The execution that was watched has failed"},
    {ExitStatus::Interrupted, "Interrupted by Ctrl-C"},
}};

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
