#pragma once

#include <chrono>
#include <string>

#include "TokenFile.h"

namespace VarnelBase {

/// The right to ask the provider for new tokens in place of those in a token file, for one handler
/// in any process at a time. It is a flock on a file of its own beside the token file, which the
/// kernel drops with its holder; on a file system without locks, a file that only one process can
/// create. That one counts as abandoned when its creator has ended, or after two minutes.
class RefreshLock {
public:
    /// Waits up to 10 s for the lock, and not beyond the deadline. Without a directory for tokens
    /// there is nothing to guard, and it does not wait.
    explicit RefreshLock(const TokenFile& tokenFile,
                         std::chrono::steady_clock::time_point deadline =
                             std::chrono::steady_clock::time_point::max());
    ~RefreshLock();
    RefreshLock(const RefreshLock&) = delete;
    RefreshLock& operator=(const RefreshLock&) = delete;

    /// Whether somebody else kept the lock all the time.
    bool IsBusy() const { return state == State::Busy; }

    /// Throws IdentityError in that case.
    void RequireFree(const std::string& issuer) const;

private:
    enum class State { Unguarded, Locked, Owned, Busy };

    State TryToLock();

    std::string path; ///< of the lock file
    int file = -1;
    State state = State::Unguarded;
};

} // namespace VarnelBase
