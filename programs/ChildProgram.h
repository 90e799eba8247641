#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace VarnelBase {

/// A program cannot be started, and why.
class ChildNotStarted : public std::runtime_error {
public:
    ChildNotStarted(const std::string& program, int error);

    /// The status that a shell has for it: 127 when nothing is found, otherwise 126.
    int GetExitStatus() const { return status; }

private:
    int status;
};

/// Keeps SIGINT, SIGQUIT, SIGTERM, SIGHUP and SIGCHLD for RunChild. To be called before the first
/// thread is started: one that takes SIGCHLD, although it ignores it, takes the news that the child
/// has ended.
void BlockChildSignals();

/// Forgets those that have come since, and lets further ones have their effect on this process.
void UnblockChildSignals();

/// Runs a program, found as a shell finds it, to its end. Signals that this process gets meanwhile,
/// and has got since BlockChildSignals, which must have been called, go to the program. SIGINT and
/// SIGQUIT that are typed while it runs reach it by themselves.
///
/// @param environment NAME=VALUE each
/// @return its exit status; 128 and the signal's number when a signal ended it
/// @throws ChildNotStarted
int RunChild(const std::vector<std::string>& command, const std::vector<std::string>& environment);

} // namespace VarnelBase
